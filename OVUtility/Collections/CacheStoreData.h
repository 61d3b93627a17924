// CacheStoreData<Value>: the box a CacheStore keeps in its object cache. It
// follows the discardable-content protocol: while an access is open its
// payload stays; once no access is open the cache may discard the payload,
// after which the box is empty for good (a new box is needed).
//
//   auto box = ov::CacheStoreData<Track>::make(track);
//   if (box->beginContentAccess()) { use(*box->data()); box->endContentAccess(); }
//
// Thread-safe (the cache discards from whichever thread evicts). An access
// count beyond the largest unsigned value is a fatal error.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "OVUtility/Platform/DiscardableContent.h"
#include "OVUtility/Platform/Fatal.h"

namespace ov {

template <typename Value>
class CacheStoreData final : public DiscardableContent {
  public:
    static std::shared_ptr<CacheStoreData> make(Value data) {
        return std::make_shared<CacheStoreData>(std::move(data));
    }
    explicit CacheStoreData(Value data) : data_(std::move(data)) {}

    // The payload as it stands; none once discarded.
    std::optional<Value> data() const {
        std::lock_guard lock(mutex_);
        return data_;
    }
    std::uint64_t accessCount() const {
        std::lock_guard lock(mutex_);
        return accessCount_;
    }

    bool beginContentAccess() override {
        std::lock_guard lock(mutex_);
        if (!data_) return false;
        if (__builtin_add_overflow(accessCount_, 1, &accessCount_))
            ov::fatal("CacheStoreData: access count overflow");
        return true;
    }
    void endContentAccess() override {
        std::lock_guard lock(mutex_);
        if (accessCount_ > 0) --accessCount_;
    }
    void discardContentIfPossible() override {
        std::lock_guard lock(mutex_);
        if (accessCount_ == 0) data_.reset();
    }
    bool isContentDiscarded() const override {
        std::lock_guard lock(mutex_);
        return !data_.has_value();
    }

  private:
    mutable std::mutex mutex_;
    std::optional<Value> data_;
    std::uint64_t accessCount_ = 0;
};

}  // namespace ov
