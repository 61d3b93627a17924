// libFuzzer target: the user-defaults file reader. Whatever the file holds,
// loading gives a dictionary whose typed reads agree with the stored values,
// and a value set afterwards is written and read back by a fresh store.
#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

#include "FuzzSupport.h"
#include "OVUtility/Platform/UserDefaults.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // One directory per process, removed at exit.
    static const struct Directory {
        std::filesystem::path path = std::filesystem::temp_directory_path() /
                                     ("ov-defaults-fuzz-" + std::to_string(getpid()));
        Directory() { std::filesystem::create_directories(path); }
        ~Directory() {
            std::error_code ignored;
            std::filesystem::remove_all(path, ignored);
        }
    } directory;
    const std::filesystem::path& dir = directory.path;
    const auto path = dir / "defaults.json";
    std::filesystem::remove(dir / "defaults.json.bad");  // a broken file moved aside last time
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));

    auto defaults = ov::UserDefaults::make(path);
    const nlohmann::json all = defaults->dictionaryRepresentation();
    ovfuzz::check(all.is_object(), "the store is a dictionary");
    for (auto it = all.begin(); it != all.end(); ++it) {
        ovfuzz::check(it->is_number_integer() || !defaults->integer(it.key()),
                      "integer answers only for stored integers");
        ovfuzz::check(defaults->string(it.key()).has_value() == it->is_string(), "strings");
        ovfuzz::check(defaults->boolean(it.key()).has_value() == it->is_boolean(), "Booleans");
        ovfuzz::check(defaults->object(it.key()) == *it, "objects as stored");
    }
    defaults->set("OVLocalizedStringsPercent", 42);
    ovfuzz::check(ov::UserDefaults::make(path)->integer("OVLocalizedStringsPercent") == 42,
                  "a set value is written and read back");
    return 0;
}
