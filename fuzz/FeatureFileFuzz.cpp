// libFuzzer target: the feature-file reader must never crash or throw on any
// bytes; a usable file is an array of objects, every reported problem points
// at an entry that exists, and messages are printable ASCII.
#include "FuzzSupport.h"
#include "OVUtility/Features/ProductFeatureFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    auto file = ov::ProductFeatureFile::parse(ovfuzz::text(data, size));
    ovfuzz::check(file.entries.has_value() != file.fileError.has_value(), "entries or an error");
    if (file.fileError) {
        for (char c : *file.fileError) ovfuzz::check(c >= 0x20 && c < 0x7F, "printable message");
        return 0;
    }
    ovfuzz::check(file.entries->is_array(), "entries are an array");
    for (const auto& entry : *file.entries) ovfuzz::check(entry.is_object(), "of objects");
    for (const auto& problem : file.entryProblems) {
        ovfuzz::check(problem.index < file.entries->size(), "problems point at entries");
    }
    return 0;
}
