// MemoryCache<T>: an unbounded in-memory dictionary of MemoryCacheItem<T>
// keyed by string, guarded by a reader/writer discipline (`strict`) or, by
// choice, not guarded at all (`fast`).
//
//   auto cache = ov::MemoryCache<Track>::make(ov::MemoryCacheThreadSafePolicy::strict);
//   cache->upsert(ov::MemoryCacheItem<Track>("id1", track));
//   std::optional<Track> t = cache->value(ov::MemoryCacheItem<Track>("id1"));
//   cache->clear();
//
// Contract:
// - `strict`: reads go through the access's concurrentRead (readers run in
//   parallel), writes through exclusiveWrite (a barrier that may complete
//   after the call returns; a later strict read through the same access sees
//   it). Caches made without an access share one concurrent queue,
//   "com.orvanta.memory-cache.rwLock", so their writes are serialised with
//   each other. Calls made from an operation whose queue runs on that queue
//   run inline.
// - `fast`: every call touches the dictionary directly on the calling
//   thread; the caller confines the cache to one thread.
// - Write bodies hold the cache weakly: a write still pending when the last
//   owner lets the cache go does nothing. (Reads run before the call
//   returns, while the caller holds the cache, so they need no such check.)
// - No count or cost limit and no expiry: entries stay until `clear()`.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

#include "OVUtility/Collections/CacheAccess.h"
#include "OVUtility/Collections/MemoryCacheItem.h"
#include "OVUtility/Concurrency/DispatchQueueReaderWriter.h"
#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/DispatchQueue.h"

namespace ov {

enum class MemoryCacheThreadSafePolicy { strict, fast };

// A concurrent dispatch queue as a CacheAccess: reads through
// ov::concurrentRead (sync, or inline from an operation running on the
// queue), writes through ov::exclusiveWrite (an asynchronous barrier, or
// inline from such an operation).
class OV_API DispatchQueueCacheAccess final : public CacheAccess {
  public:
    explicit DispatchQueueCacheAccess(std::shared_ptr<DispatchQueue> queue)
        : queue_(std::move(queue)) {}
    // The access over the shared queue "com.orvanta.memory-cache.rwLock".
    static std::shared_ptr<DispatchQueueCacheAccess> shared();

    void concurrentRead(ReadBody body) override {
        ov::concurrentRead(*queue_, [&] { body(); });
    }
    void exclusiveWrite(std::function<void()> body) override {
        ov::exclusiveWrite(*queue_, std::move(body));
    }
    const std::shared_ptr<DispatchQueue>& queue() const { return queue_; }

  private:
    std::shared_ptr<DispatchQueue> queue_;
};

template <typename T>
class MemoryCache : public std::enable_shared_from_this<MemoryCache<T>> {
  public:
    using ThreadSafePolicy = MemoryCacheThreadSafePolicy;
    using Item = MemoryCacheItem<T>;

    // On the shared queue "com.orvanta.memory-cache.rwLock".
    static std::shared_ptr<MemoryCache> make(ThreadSafePolicy policy) {
        return make(DispatchQueueCacheAccess::shared(), policy);
    }
    // On a concurrent queue of the caller's.
    static std::shared_ptr<MemoryCache> make(std::shared_ptr<DispatchQueue> queue,
                                             ThreadSafePolicy policy) {
        return make(std::make_shared<DispatchQueueCacheAccess>(std::move(queue)), policy);
    }
    static std::shared_ptr<MemoryCache> make(std::nullptr_t, ThreadSafePolicy policy) {
        return make(policy);
    }
    // With any access strategy (an empty one means the shared queue).
    static std::shared_ptr<MemoryCache> make(std::shared_ptr<CacheAccess> access,
                                             ThreadSafePolicy policy) {
        if (!access) access = DispatchQueueCacheAccess::shared();
        return std::shared_ptr<MemoryCache>(new MemoryCache(std::move(access), policy));
    }

    MemoryCache(const MemoryCache&) = delete;
    MemoryCache& operator=(const MemoryCache&) = delete;

    ThreadSafePolicy policy() const { return policy_; }
    const std::shared_ptr<CacheAccess>& access() const { return access_; }

    // Stores the item under its key, replacing an earlier item with that key.
    void upsert(Item item) {
        write([item = std::move(item)](MemoryCache& self) mutable {
            std::string key = item.key;
            self.cache_.insert_or_assign(std::move(key), std::move(item));
        });
    }

    // The value stored under `item.key` (only the key is used), or none.
    std::optional<T> value(const Item& item) const {
        auto body = [this, &item]() -> std::optional<T> {
            auto it = cache_.find(item.key);
            if (it == cache_.end()) return std::nullopt;
            return it->second.value;
        };
        if (policy_ == ThreadSafePolicy::fast) return body();
        return access_->read(body);
    }

    // Removes every entry (and lets the storage go).
    void clear() {
        write([](MemoryCache& self) { std::unordered_map<std::string, Item>().swap(self.cache_); });
    }

  private:
    MemoryCache(std::shared_ptr<CacheAccess> access, ThreadSafePolicy policy)
        : access_(std::move(access)), policy_(policy) {}

    template <typename F>
    void write(F&& body) {
        if (policy_ == ThreadSafePolicy::fast) {
            body(*this);
            return;
        }
        std::weak_ptr<MemoryCache> weak = this->weak_from_this();
        access_->exclusiveWrite([weak, body = std::forward<F>(body)]() mutable {
            if (auto self = weak.lock()) body(*self);
        });
    }

    std::unordered_map<std::string, Item> cache_;
    std::shared_ptr<CacheAccess> access_;
    ThreadSafePolicy policy_;
};

}  // namespace ov
