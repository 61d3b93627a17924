// OVFileManager: the application's private and offline data directories.
//
//   std::string base = ov::OVFileManager::privateDataPath();     // "" when unavailable
//   std::string offline = ov::OVFileManager::offlineDataPath();  // base + "/Offline Data"
//
// - `privateDataPath()` is the user's data directory by the XDG convention:
//   $XDG_DATA_HOME when it is set to an absolute path, else
//   "<home>/.local/share". It is created with its parents when missing. The
//   empty string when no home directory is known or creation fails.
// - `offlineDataPath()` is `privateDataPath()` + "/Offline Data", created when
//   missing and marked so that backup tools skip it: a CACHEDIR.TAG file
//   with the standard signature (written when absent). Empty when the
//   private path is empty or creation fails; a tag that cannot be written is
//   logged and does not empty the path.
// - Both are computed once, on first use (thread-safe), and never change for
//   the life of the process. The `prepare...` functions do the same work for
//   a given base without caching.
#pragma once

#include <string>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

class OV_API OVFileManager {
  public:
    OVFileManager() = delete;

    static const std::string& privateDataPath();
    static const std::string& offlineDataPath();

    // The directory `privateDataPath()` would use now (not created).
    static std::string userDataDirectory();
    // Creates `directory` with its parents; returns it, or "" on failure
    // (also for an empty argument).
    static std::string preparePrivateDataPath(const std::string& directory);
    // Creates "<privatePath>/Offline Data" and its CACHEDIR.TAG; returns the
    // path or "" on failure (also for an empty argument).
    static std::string prepareOfflineDataPath(const std::string& privatePath);

    static constexpr const char* kOfflineDataComponent = "Offline Data";
    static constexpr const char* kCacheDirectoryTagName = "CACHEDIR.TAG";
    static constexpr const char* kCacheDirectoryTagSignature =
        "Signature: 8a477f597d28d172789f06886806bc55";
};

}  // namespace ov
