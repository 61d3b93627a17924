// Test helper: a fresh, empty directory under the system's temporary
// directory, removed with everything in it when the helper goes away.
//
//   ovtest::TempDirectory tmp;
//   auto defaults = ov::UserDefaults::make(tmp.path() / "defaults.json");
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

namespace ovtest {

class TempDirectory {
  public:
    TempDirectory() {
        std::string pattern = (std::filesystem::temp_directory_path() / "ovtest-XXXXXX").string();
        path_ = ::mkdtemp(pattern.data());
    }
    ~TempDirectory() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;
    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

}  // namespace ovtest
