// Helpers for the feature tests: temporary bundles with feature files, and a
// recorder of "featureDidChangeNotificationName" posts for one feature.
#pragma once

#include <fstream>
#include <string>

#include "OVUtility/Features/ProductFeature.h"
#include "OVUtility/Platform/Bundle.h"
#include "OVUtility/Platform/NotificationCenter.h"
#include "support/TempDirectory.h"

namespace ovtest {

class TemporaryBundle : public TempDirectory {
  public:
    void write(const std::string& name, const std::string& bytes) {
        std::ofstream(path() / name, std::ios::binary) << bytes;
    }
    std::shared_ptr<ov::Bundle> bundle() const { return ov::Bundle::make(path()); }
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
