// ovutil: command-line jobs around OVUtility (demo, feature files, strings
// tables). `ovutil help` lists the verbs.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "OVLog/OVLog.h"
#include "Verb.h"

namespace ovutil {

std::map<std::string, Verb>& verbs() {
    static std::map<std::string, Verb> table;
    return table;
}

std::string dataDirectory() {
    if (const char* env = std::getenv("OVUTIL_DATA")) return env;
    return std::string(OV_SOURCE_DIR) + "/data";
}

}  // namespace ovutil

static int usage() {
    std::printf("usage: ovutil <verb> [args...]\n\nverbs:\n");
    for (const auto& [name, verb] : ovutil::verbs()) {
        std::printf("  %-10s %s\n", name.c_str(), verb.summary.c_str());
    }
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
        std::fprintf(stderr, "ovutil: unknown verb '%s'\n", name.c_str());
        return usage();
    }
    std::vector<std::string> args(argv + 2, argv + argc);
    return it->second.run(args);
}
