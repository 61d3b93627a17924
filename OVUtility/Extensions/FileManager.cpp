#include "OVUtility/Extensions/FileManager.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "OVLog/OVLog.h"
#include "OVUtility/Extensions/Device.h"

namespace ov {
namespace {

ovlog::Module& logModule() {
    static ovlog::Module& module = ovlog::Module::named("OVUtility");
    return module;
}

bool ensureDirectory(const std::filesystem::path& path) {
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) return true;
    std::filesystem::create_directories(path, ec);
    if (ec || !std::filesystem::is_directory(path, ec)) {
        OVLOG_WARNING(logModule(), "cannot create directory '{}': {}", path.string(),
                      ec ? ec.message() : "not a directory");
        return false;
    }
    return true;
}

// Marks `directory` as a cache (backup tools skip directories holding a
// CACHEDIR.TAG that starts with the standard signature).
void markExcludedFromBackup(const std::filesystem::path& directory) {
    auto tag = directory / OVFileManager::kCacheDirectoryTagName;
    std::error_code ec;
    if (std::filesystem::exists(tag, ec)) return;
    std::ofstream out(tag, std::ios::binary | std::ios::trunc);
    out << OVFileManager::kCacheDirectoryTagSignature << "\n"
        << "# This file is a cache directory tag created by OVUtility.\n"
        << "# Offline data can be downloaded again and need not be backed up.\n"
        << "# For information about cache directory tags see https://bford.info/cachedir/\n";
    out.close();
    if (!out) {
        OVLOG_WARNING(logModule(), "cannot write '{}'; backups may include it", tag.string());
    }
}

}  // namespace

std::string OVFileManager::userDataDirectory() {
    if (const char* xdg = std::getenv("XDG_DATA_HOME"); xdg && xdg[0] == '/') return xdg;
    std::string home = homeDirectory();
    if (home.empty()) return {};
    return (std::filesystem::path(home) / ".local" / "share").string();
}

std::string OVFileManager::preparePrivateDataPath(const std::string& directory) {
    if (directory.empty()) return {};
    return ensureDirectory(directory) ? directory : std::string{};
}

std::string OVFileManager::prepareOfflineDataPath(const std::string& privatePath) {
    if (privatePath.empty()) return {};
    auto path = std::filesystem::path(privatePath) / kOfflineDataComponent;
    if (!ensureDirectory(path)) return {};
    markExcludedFromBackup(path);
    return path.string();
}

const std::string& OVFileManager::privateDataPath() {
    static const std::string path = preparePrivateDataPath(userDataDirectory());
    return path;
}

const std::string& OVFileManager::offlineDataPath() {
    static const std::string path = prepareOfflineDataPath(privateDataPath());
    return path;
}

}  // namespace ov
