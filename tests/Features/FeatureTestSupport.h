// Helpers for the feature tests: temporary bundles with feature files, and a
// recorder of "featureDidChangeNotificationName" posts for one feature.
#pragma once

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

#include "OVUtility/Features/ProductFeature.h"
#include "OVUtility/Platform/Bundle.h"
#include "OVUtility/Platform/NotificationCenter.h"

namespace ovtest {

class TemporaryBundle {
  public:
    TemporaryBundle() {
        static std::atomic<int> counter{0};
        path_ = std::filesystem::temp_directory_path() /
                ("ovfeatures-" + std::to_string(::getpid()) + "-" + std::to_string(counter++));
        std::filesystem::create_directories(path_);
    }
    ~TemporaryBundle() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    TemporaryBundle& write(const std::string& name, const std::string& bytes) {
        std::ofstream(path_ / name, std::ios::binary) << bytes;
        return *this;
    }
    std::shared_ptr<ov::Bundle> bundle() const { return ov::Bundle::make(path_); }
    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

// Counts change notifications whose object is one feature; keeps the last.
class ChangeRecorder {
  public:
    explicit ChangeRecorder(const std::shared_ptr<ov::ProductFeature>& feature)
        : center_(ov::NotificationCenter::defaultCenter()),
          token_(center_->addObserver(ov::ProductFeature::featureDidChangeNotificationName,
                                      ov::AnyObject(feature), nullptr,
                                      [this](const ov::Notification& n) { ++count, last = n; })) {}
    ~ChangeRecorder() { center_->removeObserver(token_); }
    int count = 0;
    ov::Notification last;

  private:
    std::shared_ptr<ov::NotificationCenter> center_;
    ov::NotificationCenter::Token token_;
};

}  // namespace ovtest
