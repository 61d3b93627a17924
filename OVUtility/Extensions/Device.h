// Disk sizes of the device, in bytes: the file system that holds the user's
// home directory ($HOME, else the password database's entry).
//
//   if (auto free = ov::systemDiskSizeFree()) showFree(*free);
//
// Sizes come from statvfs(3): total is blocks × fragment size, free is the
// blocks available to an unprivileged user (what the user can still write),
// used is total − free. When the file system cannot be queried the value is
// absent. Each call queries afresh.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

OV_API std::optional<std::int64_t> systemDiskSizeTotal();
OV_API std::optional<std::int64_t> systemDiskSizeFree();
OV_API std::optional<std::int64_t> systemDiskSizeUsed();

// The same figures for the file system holding `path`.
struct DiskSizes {
    std::int64_t total = 0;
    std::int64_t free = 0;
    std::int64_t used() const { return total - free; }
};
OV_API std::optional<DiskSizes> diskSizes(const std::string& path);

// The user's home directory, or empty when it cannot be found.
OV_API std::string homeDirectory();

}  // namespace ov
