// `ovutil strings`: checks a strings table against the catalogue and shows
// catalogue texts, optionally through the pseudo-localisation filter. Also the
// "Localized strings" demo section.
//
//   ovutil strings lint OVUtility/Localization/Resources/en.lproj/Localizable.strings
//   ovutil strings show BadgeNew "Artists %d" checkOutSongBy --pseudo 50
//
// lint reports keys the catalogue has and the table lacks, keys the table has
// and the catalogue does not know, keys whose placeholders (%@ text, %d
// integer, in order) differ from the catalogue key's, and keys defined twice;
// it exits non-zero when it found anything, or when the table does not parse.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "OVUtility/Localization/LocalizedString.h"
#include "OVUtility/Localization/PseudoLocalizationFilter.h"
#include "OVUtility/Platform/StringFormat.h"
#include "OVUtility/Platform/StringsTable.h"
#include "Verb.h"

namespace ovutil {
namespace {

const char* const kUsage =
    "usage: ovutil strings lint TABLE.strings\n"
    "       ovutil strings show KEY... [--pseudo PERCENT]\n";

int usage() {
    std::fputs(kUsage, stderr);
    return 2;
}

std::string joinPlaceholders(const std::vector<std::string>& placeholders) {
    if (placeholders.empty()) return "none";
    std::string out;
    for (const auto& p : placeholders) out += (out.empty() ? "%" : " %") + p;
    return out;
}

int lint(const std::string& path) {
    auto result = ov::StringsTable::load(path);
    if (!result.table) {
        std::printf("%s\n", printable(result.error->description()).c_str());
        return 1;
    }
    const auto& table = *result.table;
    int problems = 0;
    std::set<std::string_view> known;
    for (const auto& key : ov::LocalizedString::allKeys()) {
        known.insert(key.key);
        auto text = table.value(key.key);
        if (!text) {
            std::printf("missing: \"%s\"\n", std::string(key.key).c_str());
            ++problems;
            continue;
        }
        auto expected = ov::formatPlaceholders(key.key);
        auto found = ov::formatPlaceholders(*text);
        if (expected != found) {
            std::printf("placeholders: \"%s\" expects %s, the text has %s\n",
                        std::string(key.key).c_str(), joinPlaceholders(expected).c_str(),
                        joinPlaceholders(found).c_str());
            ++problems;
        }
    }
    std::map<std::string, int> firstLine;
    for (const auto& entry : table.entries()) {
        if (!known.count(entry.key)) {
            std::printf("%s:%d: unknown key \"%s\"\n", printable(path).c_str(), entry.line,
                        printable(entry.key).c_str());
            ++problems;
        }
        auto [it, inserted] = firstLine.emplace(entry.key, entry.line);
        if (!inserted) {
            std::printf("%s:%d: \"%s\" defined again (first on line %d); the last one wins\n",
                        printable(path).c_str(), entry.line, printable(entry.key).c_str(),
                        it->second);
            ++problems;
        }
    }
    std::printf("%s: %zu keys, %d problem%s\n", printable(path).c_str(), table.size(), problems,
                problems == 1 ? "" : "s");
    return problems == 0 ? 0 : 1;
}

int show(const std::vector<std::string>& args) {
    std::vector<std::string> keys;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--pseudo") {
            const char* value = i + 1 < args.size() ? args[i + 1].c_str() : "";
            char* end = nullptr;
            errno = 0;
            long long percent = std::strtoll(value, &end, 10);
            if (end == value || *end != '\0' || errno != 0 || percent < 0 || percent > 100) {
                std::fprintf(stderr,
                             "ovutil strings: --pseudo needs an integer percentage from 0 to "
                             "100\n");
                return 2;
            }
            ov::PseudoLocalizationFilter::setShared(ov::PseudoLocalizationFilter(percent));
            ++i;
        } else {
            keys.push_back(args[i]);
        }
    }
    if (keys.empty()) return usage();
    int unknown = 0;
    for (const auto& wanted : keys) {
        // A catalogue key or an accessor name.
        std::string key = wanted;
        bool found = false;
        for (const auto& entry : ov::LocalizedString::allKeys()) {
            if (entry.key == wanted || entry.accessor == wanted) {
                key = std::string(entry.key);
                found = true;
                break;
            }
        }
        std::printf("%s = %s%s\n", printable(key).c_str(),
                    printable(ov::LocalizedString::localized(key)).c_str(),
                    found ? "" : "   (not in the catalogue)");
        if (!found) ++unknown;
    }
    return unknown == 0 ? 0 : 1;
}

int runStrings(const std::vector<std::string>& args) {
    if (args.empty()) return usage();
    if (args[0] == "lint" && args.size() == 2) return lint(args[1]);
    if (args[0] == "show") return show({args.begin() + 1, args.end()});
    return usage();
}

VerbRegistration registration{"strings",
                              "lint a strings table against the catalogue, or show catalogue texts",
                              &runStrings, kUsage};

void runStringsDemo() {
    demoLine("badgeNew()                 -> " + ov::LocalizedString::badgeNew());
    demoLine("artists(12)                -> " + ov::LocalizedString::artists(12));
    demoLine("checkOutSongBy(Halo, Band) -> " +
             ov::LocalizedString::checkOutSongBy("Halo", "Band"));
    auto previous = ov::PseudoLocalizationFilter::shared();
    ov::PseudoLocalizationFilter::setShared(ov::PseudoLocalizationFilter(0));
    demoLine("pseudo 0 %:   " + ov::LocalizedString::artists(12));
    ov::PseudoLocalizationFilter::setShared(ov::PseudoLocalizationFilter(60));
    demoLine("pseudo 60 %:  " + ov::LocalizedString::artists(12));
    ov::PseudoLocalizationFilter::setShared(previous);
}

DemoSectionRegistration demoSection{70, "Localized strings", &runStringsDemo};

}  // namespace
}  // namespace ovutil
