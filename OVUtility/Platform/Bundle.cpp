#include "OVUtility/Platform/Bundle.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

#include <unistd.h>

#include "OVLog/OVLog.h"

namespace ov {

namespace detail {
// Defined by the source that the build generates from the library's resources.
const std::vector<std::pair<std::string_view, std::string_view>>& embeddedResources();
}  // namespace detail

static ovlog::Module& kModule = ovlog::Module::named("Bundle");

namespace {

struct Globals {
    std::mutex mutex;
    std::shared_ptr<Bundle> main;
    std::vector<std::string> preferred;
};

Globals& globals() {
    static Globals g;
    return g;
}

std::optional<std::string> readFile(const std::filesystem::path& path) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec)) return std::nullopt;
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    std::ostringstream buffer;
    buffer << in.rdbuf();
    if (in.bad()) return std::nullopt;
    return buffer.str();
}

std::string fileName(std::string_view name, std::string_view extension) {
    std::string file(name);
    if (!extension.empty()) {
        if (extension.front() != '.') file += '.';
        file += extension;
    }
    return file;
}

// "de_DE.UTF-8@euro" -> {"de_DE", "de"}; "C" and "POSIX" name no language.
void addLanguage(std::vector<std::string>& out, std::string value) {
    if (auto cut = value.find_first_of(".@"); cut != std::string::npos) value.resize(cut);
    if (value.empty() || value == "C" || value == "POSIX") return;
    std::replace(value.begin(), value.end(), '-', '_');
    out.push_back(value);
    if (auto underscore = value.find('_'); underscore != std::string::npos) {
        out.push_back(value.substr(0, underscore));
    }
}

std::vector<std::string> environmentLanguages() {
    std::vector<std::string> out;
    if (const char* list = std::getenv("LANGUAGE"); list && *list) {
        std::stringstream stream(list);
        std::string item;
        while (std::getline(stream, item, ':')) addLanguage(out, item);
    }
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        if (const char* value = std::getenv(name); value && *value) {
            addLanguage(out, value);
            break;
        }
    }
    return out;
}

std::filesystem::path executableDirectory() {
    std::error_code ec;
    auto exe = std::filesystem::read_symlink("/proc/self/exe", ec);
    if (ec) return std::filesystem::current_path(ec);
    return exe.parent_path();
}

}  // namespace

std::shared_ptr<Bundle> Bundle::make(std::filesystem::path directory) {
    std::shared_ptr<Bundle> bundle(new Bundle());
    bundle->directory_ = std::move(directory);
    bundle->loadInfo();
    bundle->scanLocalizations();
    return bundle;
}

std::shared_ptr<Bundle> Bundle::makeEmbedded(std::map<std::string, std::string> files,
                                             std::filesystem::path overlay) {
    std::shared_ptr<Bundle> bundle(new Bundle());
    bundle->embedded_ = std::move(files);
    bundle->directory_ = std::move(overlay);
    bundle->loadInfo();
    bundle->scanLocalizations();
    return bundle;
}

std::shared_ptr<Bundle> Bundle::main() {
    auto& g = globals();
    std::lock_guard lock(g.mutex);
    if (!g.main) {
        const char* configured = std::getenv("OV_MAIN_BUNDLE");
        g.main = make(configured && *configured ? std::filesystem::path(configured)
                                                : executableDirectory());
    }
    return g.main;
}

void Bundle::setMain(std::shared_ptr<Bundle> bundle) {
    auto& g = globals();
    std::lock_guard lock(g.mutex);
    g.main = std::move(bundle);
}

std::shared_ptr<Bundle> Bundle::library() {
    static const std::shared_ptr<Bundle> bundle = [] {
        std::map<std::string, std::string> files;
        for (const auto& [path, bytes] : detail::embeddedResources()) {
            files.emplace(std::string(path), std::string(bytes));
        }
        const char* overlay = std::getenv("OVUTILITY_RESOURCES");
        return makeEmbedded(std::move(files), overlay && *overlay ? std::filesystem::path(overlay)
                                                                  : std::filesystem::path());
    }();
    return bundle;
}

void Bundle::setPreferredLanguages(std::vector<std::string> languages) {
    auto& g = globals();
    std::lock_guard lock(g.mutex);
    g.preferred = std::move(languages);
}

void Bundle::loadInfo() {
    auto text = read("Info.json");
    if (!text) return;
    auto parsed = nlohmann::json::parse(*text, nullptr, /*allow_exceptions=*/false);
    if (parsed.is_discarded() || !parsed.is_object()) {
        OVLOG_WARNING(kModule, "Info.json of bundle {} is not a JSON object; ignored",
                      directory_.string());
        return;
    }
    info_ = std::move(parsed);
}

bool Bundle::exists(const std::string& relativePath) const {
    std::error_code ec;
    if (!directory_.empty() && std::filesystem::is_regular_file(directory_ / relativePath, ec)) {
        return true;
    }
    return embedded_.count(relativePath) != 0;
}

std::optional<std::string> Bundle::read(const std::string& relativePath) const {
    if (!directory_.empty()) {
        if (auto text = readFile(directory_ / relativePath)) return text;
    }
    if (auto it = embedded_.find(relativePath); it != embedded_.end()) return it->second;
    return std::nullopt;
}

std::optional<nlohmann::json> Bundle::objectForInfoDictionaryKey(const std::string& key) const {
    auto it = info_.find(key);
    if (it == info_.end()) return std::nullopt;
    return *it;
}

std::string Bundle::developmentLocalization() const {
    auto it = info_.find("DevelopmentLocalization");
    if (it != info_.end() && it->is_string()) return it->get<std::string>();
    return "en";
}

std::vector<std::string> Bundle::localizations() const {
    return localizations_;
}

void Bundle::scanLocalizations() {
    std::set<std::string> found;
    auto consider = [&](const std::string& first) {
        constexpr std::string_view suffix = ".lproj";
        if (first.size() > suffix.size() &&
            first.compare(first.size() - suffix.size(), suffix.size(), suffix) == 0) {
            found.insert(first.substr(0, first.size() - suffix.size()));
        }
    };
    std::error_code ec;
    if (!directory_.empty()) {
        for (const auto& entry : std::filesystem::directory_iterator(directory_, ec)) {
            if (entry.is_directory(ec)) consider(entry.path().filename().string());
        }
    }
    for (const auto& [path, bytes] : embedded_) {
        if (auto slash = path.find('/'); slash != std::string::npos) {
            consider(path.substr(0, slash));
        }
    }
    localizations_.assign(found.begin(), found.end());
}

std::vector<std::string> Bundle::preferredLocalizations() const {
    std::vector<std::string> wanted;
    {
        auto& g = globals();
        std::lock_guard lock(g.mutex);
        for (const auto& language : g.preferred) addLanguage(wanted, language);
    }
    if (wanted.empty()) wanted = environmentLanguages();
    auto available = localizations();
    std::vector<std::string> order;
    auto add = [&](const std::string& language) {
        if (std::find(available.begin(), available.end(), language) != available.end() &&
            std::find(order.begin(), order.end(), language) == order.end()) {
            order.push_back(language);
        }
    };
    for (const auto& language : wanted) add(language);
    add(developmentLocalization());
    return order;
}

std::optional<std::filesystem::path> Bundle::url(std::string_view name,
                                                 std::string_view extension) const {
    if (directory_.empty() || name.empty()) return std::nullopt;
    const auto file = fileName(name, extension);
    std::error_code ec;
    if (std::filesystem::is_regular_file(directory_ / file, ec)) return directory_ / file;
    for (const auto& language : preferredLocalizations()) {
        auto path = directory_ / (language + ".lproj") / file;
        if (std::filesystem::is_regular_file(path, ec)) return path;
    }
    return std::nullopt;
}

std::optional<std::string> Bundle::contents(std::string_view name,
                                            std::string_view extension) const {
    const auto file = fileName(name, extension);
    if (auto text = read(file)) return text;
    for (const auto& language : preferredLocalizations()) {
        if (auto text = read(language + ".lproj/" + file)) return text;
    }
    return std::nullopt;
}

std::shared_ptr<const StringsTable> Bundle::stringsTable(std::string_view table,
                                                         std::string_view localization) const {
    std::string name = fileName(table.empty() ? "Localizable" : table, "strings");
    std::string relative =
        localization.empty() ? name : std::string(localization) + ".lproj/" + name;
    std::lock_guard lock(cacheMutex_);
    if (auto it = tables_.find(relative); it != tables_.end()) return it->second;
    std::shared_ptr<const StringsTable> parsed;
    if (auto text = read(relative)) {
        std::string source =
            directory_.empty() ? "<library>/" + relative : (directory_ / relative).string();
        auto result = StringsTable::parse(*text, source);
        if (result.table) {
            parsed = std::make_shared<const StringsTable>(std::move(*result.table));
        } else {
            OVLOG_WARNING(kModule, "strings table ignored: {}", result.error->description());
        }
    }
    tables_.emplace(relative, parsed);
    return parsed;
}

std::string Bundle::localizedString(std::string_view key, std::string_view value,
                                    std::string_view table) const {
    auto languages = preferredLocalizations();
    languages.push_back("");  // a table at the top level comes last
    for (const auto& language : languages) {
        auto strings = stringsTable(table, language);
        if (!strings) continue;
        if (auto text = strings->value(key)) return *text;
    }
    return std::string(value.empty() ? key : value);
}

}  // namespace ov
