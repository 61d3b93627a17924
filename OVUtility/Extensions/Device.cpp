#include "OVUtility/Extensions/Device.h"

#include <pwd.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

#include "OVLog/OVLog.h"

namespace ov {

std::string homeDirectory() {
    if (const char* home = std::getenv("HOME"); home && *home) return home;
    long size = sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(size > 0 ? static_cast<std::size_t>(size) : 16384);
    passwd entry{};
    passwd* result = nullptr;
    if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &result) == 0 && result &&
        result->pw_dir) {
        return result->pw_dir;
    }
    return {};
}

std::optional<DiskSizes> diskSizes(const std::string& path) {
    static ovlog::Module& module = ovlog::Module::named("OVUtility");
    struct statvfs info {};
    if (path.empty() || statvfs(path.c_str(), &info) != 0) {
        OVLOG_DEBUG(module, "cannot read file-system attributes of '{}'", path);
        return std::nullopt;
    }
    const auto fragment = static_cast<std::int64_t>(info.f_frsize ? info.f_frsize : info.f_bsize);
    DiskSizes sizes;
    sizes.total = static_cast<std::int64_t>(info.f_blocks) * fragment;
    sizes.free = static_cast<std::int64_t>(info.f_bavail) * fragment;
    return sizes;
}

std::optional<std::int64_t> systemDiskSizeTotal() {
    auto sizes = diskSizes(homeDirectory());
    return sizes ? std::optional(sizes->total) : std::nullopt;
}

std::optional<std::int64_t> systemDiskSizeFree() {
    auto sizes = diskSizes(homeDirectory());
    return sizes ? std::optional(sizes->free) : std::nullopt;
}

std::optional<std::int64_t> systemDiskSizeUsed() {
    auto sizes = diskSizes(homeDirectory());
    return sizes ? std::optional(sizes->used()) : std::nullopt;
}

}  // namespace ov
