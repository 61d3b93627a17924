// CacheStore<Key, Value>: a typed front over the platform object cache
// (ov::ObjectCache) that empties itself when the application receives a
// memory warning.
//
//   auto store = ov::CacheStore<std::string, Artwork>::make();
//   store->set("cover", artwork);
//   std::optional<Artwork> hit = store->get("cover");   // may be gone any time
//   store->set("cover", std::nullopt);                 // removes
//
// Every value is kept in a fresh CacheStoreData box, so the object cache may
// discard it under its own eviction rules. `get` does not open a content
// access: a box already discarded yields none. From creation to destruction
// the store observes "UIApplicationDidReceiveMemoryWarningNotification" on
// its notification centre (the default centre unless given one) and removes
// everything when it is posted. To have the kernel's memory pressure post
// that notification, start ov::MemoryPressureMonitor. Thread-safe.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "OVUtility/Collections/CacheStoreData.h"
#include "OVUtility/Platform/MemoryPressureMonitor.h"
#include "OVUtility/Platform/NotificationCenter.h"
#include "OVUtility/Platform/ObjectCache.h"

namespace ov {

template <typename Key, typename Value, typename Hash = std::hash<Key>>
class CacheStore : public std::enable_shared_from_this<CacheStore<Key, Value, Hash>> {
  public:
    using Cache = ObjectCache<Key, CacheStoreData<Value>, Hash>;

    // A new object cache with default settings, on the default centre.
    static std::shared_ptr<CacheStore> make() {
        return make(Cache::make(), NotificationCenter::defaultCenter());
    }
    static std::shared_ptr<CacheStore> make(
        std::shared_ptr<Cache> cache, std::shared_ptr<NotificationCenter> notificationCenter) {
        if (!cache) cache = Cache::make();
        if (!notificationCenter) notificationCenter = NotificationCenter::defaultCenter();
        std::shared_ptr<CacheStore> store(
            new CacheStore(std::move(cache), std::move(notificationCenter)));
        store->notificationCenter_->addObserver(
            store, &CacheStore::didReceiveMemoryWarningForApplication,
            std::string(MemoryPressureMonitor::didReceiveMemoryWarningNotification));
        return store;
    }

    ~CacheStore() {
        notificationCenter_->removeObserver(static_cast<const void*>(this));
        cache_->removeAllObjects();
    }
    CacheStore(const CacheStore&) = delete;
    CacheStore& operator=(const CacheStore&) = delete;

    std::optional<Value> get(const Key& key) const {
        auto box = cache_->objectForKey(key);
        if (!box) return std::nullopt;
        return box->data();
    }
    std::optional<Value> operator[](const Key& key) const { return get(key); }

    // A value stores a new box; none removes the key.
    void set(const Key& key, std::optional<Value> value) {
        if (value) {
            cache_->setObject(CacheStoreData<Value>::make(std::move(*value)), key);
        } else {
            cache_->removeObjectForKey(key);
        }
    }

    void didReceiveMemoryWarningForApplication(const Notification&) { cache_->removeAllObjects(); }

    const std::shared_ptr<Cache>& cache() const { return cache_; }
    const std::shared_ptr<NotificationCenter>& notificationCenter() const {
        return notificationCenter_;
    }

  private:
    CacheStore(std::shared_ptr<Cache> cache, std::shared_ptr<NotificationCenter> center)
        : cache_(std::move(cache)), notificationCenter_(std::move(center)) {}

    std::shared_ptr<Cache> cache_;
    std::shared_ptr<NotificationCenter> notificationCenter_;
};

}  // namespace ov
