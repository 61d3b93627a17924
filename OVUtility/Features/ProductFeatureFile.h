// ov::ProductFeatureFile: reads and checks one feature file, a JSON array of
// entries such as {"id": "IOS-10887", "description": "...", "enabled": true}.
//
//   auto file = ov::ProductFeatureFile::parse(bytes, "release-features.json");
//   if (file.fileError) log(*file.fileError);        // whole file unusable
//   for (auto& p : file.entryProblems) log(p.index, p.reason);
//   controller.createProductFeatures(*file.entries, source);
//
// A file is usable when it is valid JSON (UTF-8) whose top level is an array
// of objects; otherwise `fileError` says why ("not valid JSON: ...", "the top
// level is not an array", "entry 3 is not an object") and `entries` is empty.
// Messages are printable ASCII: bytes they quote from the file appear as \xNN.
// In a usable file, entries that the loader skips (empty, no "id", "id" not a
// string) and fields that it ignores ("description" not a string, "enabled"
// not a Boolean) are listed in `entryProblems` with their 0-based index.
//
// Depends on nothing but nlohmann-json, so the fuzz target can build it alone.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

struct ProductFeatureEntryProblem {
    size_t index = 0;
    std::string reason;
    bool skipped = false;  // the entry is skipped (else only a field is ignored)
};

struct OV_API ProductFeatureFile {
    std::optional<nlohmann::json> entries;  // an array of objects when usable
    std::optional<std::string> fileError;
    std::vector<ProductFeatureEntryProblem> entryProblems;

    static ProductFeatureFile parse(std::string_view bytes);
    // Reads a file whole; an unreadable file gives `fileError` "cannot be
    // read", a directory "is a directory, not a file".
    static ProductFeatureFile load(const std::filesystem::path& path);

    // The problems of one entry (empty for a good entry).
    static std::vector<ProductFeatureEntryProblem> checkEntry(const nlohmann::json& entry,
                                                              size_t index);
};

}  // namespace ov
