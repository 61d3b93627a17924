// ov::ObjectCache<Key, Value>: a thread-safe key/object cache with the
// platform cache's contract: it may drop entries at any time, so a value put
// in is never guaranteed to come back out.
//
//   auto cache = ov::ObjectCache<std::string, Image>::make();
//   cache->setCountLimit(100);                 // 0 (default): no count limit
//   cache->setObject(image, "cover", /*cost=*/bytes);
//   if (auto hit = cache->objectForKey("cover")) draw(*hit);
//
// Contract:
// - Entries are evicted when a count or total-cost limit is exceeded (least
//   recently used first) and when memory is short: every cache registers with
//   ov::MemoryPressureMonitor and empties itself of everything it may drop
//   on a memory warning.
// - Values that implement ov::DiscardableContent are evicted by calling
//   `discardContentIfPossible`; a value whose content access is open keeps
//   its content and its entry (eviction moves on to the next candidate, so a
//   cache whose values are all in use may stay above its limits). With
//   `evictsObjectsWithDiscardedContent` (the default) an entry whose content
//   has been discarded, by the cache or by anyone else, is removed and no
//   longer returned.
// - Explicit `removeObjectForKey`/`removeAllObjects` always remove.
// - `setWillEvictObject` installs a callback told about every value the cache
//   drops on its own (not explicit removals); it runs without the cache's lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "OVUtility/Platform/DiscardableContent.h"
#include "OVUtility/Platform/MemoryPressureMonitor.h"

namespace ov {

template <typename Key, typename Value, typename Hash = std::hash<Key>>
class ObjectCache : public std::enable_shared_from_this<ObjectCache<Key, Value, Hash>> {
  public:
    using ValuePtr = std::shared_ptr<Value>;

    static std::shared_ptr<ObjectCache> make() {
        std::shared_ptr<ObjectCache> cache(new ObjectCache());
        std::weak_ptr<ObjectCache> weak = cache;
        cache->pressureToken_ = MemoryPressureMonitor::addPurgeHandler([weak] {
            if (auto strong = weak.lock()) strong->evictUnderMemoryPressure();
        });
        return cache;
    }

    ObjectCache(const ObjectCache&) = delete;
    ObjectCache& operator=(const ObjectCache&) = delete;

    std::string name() const {
        std::lock_guard lock(mutex_);
        return name_;
    }
    void setName(std::string name) {
        std::lock_guard lock(mutex_);
        name_ = std::move(name);
    }
    std::size_t countLimit() const {
        std::lock_guard lock(mutex_);
        return countLimit_;
    }
    void setCountLimit(std::size_t limit) {
        mutate([&] { countLimit_ = limit; });
    }
    std::size_t totalCostLimit() const {
        std::lock_guard lock(mutex_);
        return totalCostLimit_;
    }
    void setTotalCostLimit(std::size_t limit) {
        mutate([&] { totalCostLimit_ = limit; });
    }
    bool evictsObjectsWithDiscardedContent() const {
        std::lock_guard lock(mutex_);
        return evictsDiscarded_;
    }
    void setEvictsObjectsWithDiscardedContent(bool evicts) {
        std::lock_guard lock(mutex_);
        evictsDiscarded_ = evicts;
    }
    void setWillEvictObject(std::function<void(const ValuePtr&)> callback) {
        std::lock_guard lock(mutex_);
        willEvict_ = std::move(callback);
    }

    ValuePtr objectForKey(const Key& key) {
        std::vector<ValuePtr> evicted;
        ValuePtr result;
        {
            std::lock_guard lock(mutex_);
            auto it = entries_.find(key);
            if (it == entries_.end()) return nullptr;
            DiscardableContent* content = discardable(it->second.value);
            if (evictsDiscarded_ && content && content->isContentDiscarded()) {
                evicted.push_back(it->second.value);
                eraseLocked(it);
            } else {
                recency_.splice(recency_.begin(), recency_, it->second.position);
                result = it->second.value;
            }
        }
        notifyEvicted(evicted);
        return result;
    }

    void setObject(ValuePtr value, const Key& key, std::size_t cost = 0) {
        if (!value) {
            removeObjectForKey(key);
            return;
        }
        mutate([&] {
            auto it = entries_.find(key);
            if (it != entries_.end()) {
                totalCost_ -= it->second.cost;
                it->second.value = std::move(value);
                it->second.cost = cost;
                recency_.splice(recency_.begin(), recency_, it->second.position);
            } else {
                recency_.push_front(key);
                entries_.emplace(key, Entry{std::move(value), cost, recency_.begin()});
            }
            totalCost_ += cost;
        });
    }

    void removeObjectForKey(const Key& key) {
        ValuePtr released;  // destroyed after the lock is released
        std::lock_guard lock(mutex_);
        auto it = entries_.find(key);
        if (it == entries_.end()) return;
        released = it->second.value;
        eraseLocked(it);
    }

    void removeAllObjects() {
        std::unordered_map<Key, Entry, Hash> released;
        {
            std::lock_guard lock(mutex_);
            released.swap(entries_);
            recency_.clear();
            totalCost_ = 0;
        }
    }

    // Drops everything that may be dropped (memory warning).
    void evictUnderMemoryPressure() {
        std::vector<ValuePtr> evicted;
        {
            std::lock_guard lock(mutex_);
            evictLocked(evicted, /*everything=*/true);
        }
        notifyEvicted(evicted);
    }

    std::size_t count() const {
        std::lock_guard lock(mutex_);
        return entries_.size();
    }
    std::size_t totalCost() const {
        std::lock_guard lock(mutex_);
        return totalCost_;
    }

  private:
    struct Entry {
        ValuePtr value;
        std::size_t cost = 0;
        typename std::list<Key>::iterator position;  // in recency_, most recent first
    };

    ObjectCache() = default;

    static DiscardableContent* discardable(const ValuePtr& value) {
        if constexpr (std::is_base_of_v<DiscardableContent, Value>) {
            return value.get();
        } else if constexpr (std::is_polymorphic_v<Value>) {
            return dynamic_cast<DiscardableContent*>(value.get());
        } else {
            return nullptr;
        }
    }

    // Runs a change under the lock, then enforces the limits.
    template <typename F>
    void mutate(F&& change) {
        std::vector<ValuePtr> evicted;
        {
            std::lock_guard lock(mutex_);
            change();
            evictLocked(evicted, /*everything=*/false);
        }
        notifyEvicted(evicted);
    }

    bool overLimits() const {
        return (countLimit_ > 0 && entries_.size() > countLimit_) ||
               (totalCostLimit_ > 0 && totalCost_ > totalCostLimit_);
    }

    void evictLocked(std::vector<ValuePtr>& evicted, bool everything) {
        if (!everything && !overLimits()) return;
        // Least recently used first; entries in use are passed over. Erasing
        // `current` leaves `position` (its successor or end) valid.
        auto position = recency_.end();
        while (position != recency_.begin()) {
            auto current = std::prev(position);
            auto it = entries_.find(*current);
            if (DiscardableContent* content = discardable(it->second.value)) {
                content->discardContentIfPossible();
                if (!content->isContentDiscarded() || !evictsDiscarded_) {
                    position = current;  // in use (or kept discarded): keep
                    continue;
                }
            }
            evicted.push_back(it->second.value);
            eraseLocked(it);
            if (!everything && !overLimits()) return;
        }
    }

    void eraseLocked(typename std::unordered_map<Key, Entry, Hash>::iterator it) {
        totalCost_ -= it->second.cost;
        recency_.erase(it->second.position);
        entries_.erase(it);
    }

    void notifyEvicted(const std::vector<ValuePtr>& evicted) {
        if (evicted.empty()) return;
        std::function<void(const ValuePtr&)> callback;
        {
            std::lock_guard lock(mutex_);
            callback = willEvict_;
        }
        if (callback)
            for (const auto& value : evicted) callback(value);
    }

    mutable std::mutex mutex_;
    std::string name_;
    std::size_t countLimit_ = 0;
    std::size_t totalCostLimit_ = 0;
    bool evictsDiscarded_ = true;
    std::unordered_map<Key, Entry, Hash> entries_;
    std::list<Key> recency_;
    std::size_t totalCost_ = 0;
    std::function<void(const ValuePtr&)> willEvict_;
    MemoryPressureMonitor::PurgeToken pressureToken_;
};

}  // namespace ov
