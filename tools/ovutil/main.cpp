// ovutil: command-line jobs around OVUtility (demo, feature files, strings
// tables). `ovutil help` lists the verbs.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <unicode/utf8.h>

#include "OVLog/OVLog.h"
#include "Verb.h"

namespace ovutil {

std::map<std::string, Verb>& verbs() {
    static std::map<std::string, Verb> table;
    return table;
}

std::string dataDirectory() {
    if (const char* env = std::getenv("OVUTIL_DATA"); env && *env) return env;
    // An installed ovutil sits in <prefix>/bin; its data in <prefix>/share/ovutil.
    std::error_code error;
    auto exe = std::filesystem::read_symlink("/proc/self/exe", error);
    if (!error) {
        auto binDir = exe.parent_path();
        if (binDir.filename() == std::filesystem::path(OV_INSTALL_BIN_DIR).filename()) {
            auto installed = binDir.parent_path() / OV_INSTALL_DATA_DIR;
            if (std::filesystem::is_directory(installed / "SampleBundle", error)) {
                return installed.string();
            }
        }
    }
    return OV_SOURCE_DATA_DIR;
}

std::string printable(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
    const auto length = static_cast<int32_t>(text.size());
    for (int32_t i = 0; i < length;) {
        const int32_t start = i;
        UChar32 c;
        U8_NEXT(bytes, i, length, c);
        if (c >= 0x20 && c != 0x7F && !(c >= 0x80 && c < 0xA0)) {
            out.append(text.substr(static_cast<size_t>(start), static_cast<size_t>(i - start)));
            continue;
        }
        for (int32_t j = start; j < i; ++j) out += fmt::format("\\x{:02X}", bytes[j]);
    }
    return out;
}

}  // namespace ovutil

static int usage() {
    std::printf(
        "usage: ovutil <verb> [args...]    (ovutil <verb> --help for its options)\n\nverbs:\n");
    for (const auto& [name, verb] : ovutil::verbs()) {
        std::printf("  %-10s %s\n", name.c_str(), verb.summary.c_str());
    }
    std::printf(
        "\nenvironment:\n"
        "  OVUTIL_DATA  directory of the sample data (SampleBundle/, malformed/);\n"
        "               now: %s\n",
        ovutil::dataDirectory().c_str());
    return 2;
}

int main(int argc, char** argv) {
    if (argc < 2) return usage();
    std::string name = argv[1];
    if (name == "help" || name == "--help" || name == "-h") {
        usage();
        return 0;
    }
    auto it = ovutil::verbs().find(name);
    if (it == ovutil::verbs().end()) {
        std::fprintf(stderr, "ovutil: unknown verb '%s'\n", ovutil::printable(name).c_str());
        return usage();
    }
    std::vector<std::string> args(argv + 2, argv + argc);
    if (!args.empty() && (args[0] == "--help" || args[0] == "-h")) {
        std::fputs(it->second.usage.c_str(), stdout);
        return 0;
    }
    return it->second.run(args);
}
