// libFuzzer target: the feature-file reader must never crash or throw on any
// bytes; a usable file is an array of objects and every reported problem
// points at an entry that exists.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "OVUtility/Features/ProductFeatureFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    auto file = ov::ProductFeatureFile::parse(bytes);
    if (file.entries.has_value() == file.fileError.has_value()) std::abort();
    if (file.entries) {
        if (!file.entries->is_array()) std::abort();
        for (const auto& entry : *file.entries) {
            if (!entry.is_object()) std::abort();
        }
        for (const auto& problem : file.entryProblems) {
            if (problem.index >= file.entries->size()) std::abort();
        }
    }
    return 0;
}
