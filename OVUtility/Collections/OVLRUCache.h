// OVLRUCache: a size-bounded key/object store that forgets the least recently
// used key. Storing or finding a key makes it the most recent one; storing a
// new key into a full cache evicts the least recent key.
//
//   auto cache = ov::OVLRUCache<std::string, Track>::make(2);
//   cache->setObject(a, "a");
//   cache->setObject(b, "b");
//   cache->objectForKey("a");          // a hit: "a" becomes most recent
//   cache->setObject(c, "c");          // evicts "b"
//   cache->keys();                     // {"c", "a"}, most recent first
//
// Contract:
// - `setObject`, `objectForKey` and `removeObjectForKey` are constant time
//   (expected): each entry lives in one hash-table node that is also linked
//   into the recency list, so neither a search nor a second allocation is paid.
// - An empty object pointer is ignored by `setObject`. Keys are values (there
//   is no absent key).
// - Equality counts the recency order: equal `size`, equal entries (objects
//   compared by value when the object type has `==`, else by identity) and
//   equal `keys`.
// - JSON coding under "size", "internalList" (an object for text keys, an
//   array of [key, object] pairs for other keys) and "sortedKeys" (most recent
//   first). Decoding refuses malformed or inconsistent input with a log line.
// - No locking: confine an instance to one thread.
#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <nlohmann/json.hpp>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

namespace detail {
// Logs why a coded LRU cache was refused (kept out of line: one log module).
OV_API void logLRUCacheDecodeFailure(const std::string& reason);

template <typename T>
bool sameObject(const std::shared_ptr<T>& a, const std::shared_ptr<T>& b) {
    if (a == b) return true;
    if constexpr (std::equality_comparable<T>) {
        return a && b && *a == *b;
    } else {
        return false;
    }
}
}  // namespace detail

template <typename Key, typename Object, typename Hash = std::hash<Key>,
          typename KeyEqual = std::equal_to<Key>>
class OVLRUCache : public std::enable_shared_from_this<OVLRUCache<Key, Object, Hash, KeyEqual>> {
  public:
    using ObjectPtr = std::shared_ptr<Object>;

    // A cache that keeps at most `size` keys (`initWithSize:`).
    static std::shared_ptr<OVLRUCache> make(std::size_t size = 0) {
        return std::shared_ptr<OVLRUCache>(new OVLRUCache(size));
    }

    OVLRUCache(const OVLRUCache&) = delete;
    OVLRUCache& operator=(const OVLRUCache&) = delete;

    std::size_t size() const { return size_; }
    std::size_t count() const { return entries_.size(); }

    // Stores `object` under `key`, makes the key the most recent and evicts
    // the least recent key when the cache holds more than `size` keys.
    void setObject(ObjectPtr object, const Key& key) {
        if (!object) return;
        auto [it, inserted] = entries_.try_emplace(key);
        Entry& entry = it->second;
        entry.object = std::move(object);
        if (inserted) {
            entry.key = &it->first;
            linkFront(&entry);
        } else {
            moveToFront(&entry);
        }
        if (entries_.size() > size_) evictLeastRecentObject();
    }

    // The object stored under `key`, or an empty pointer. A hit makes the key
    // the most recent.
    ObjectPtr objectForKey(const Key& key) {
        auto it = entries_.find(key);
        if (it == entries_.end()) return nullptr;
        moveToFront(&it->second);
        return it->second.object;
    }

    void removeObjectForKey(const Key& key) {
        auto it = entries_.find(key);
        if (it == entries_.end()) return;
        unlink(&it->second);
        entries_.erase(it);
    }

    // Removes the least recently used key and its object, if any.
    void evictLeastRecentObject() {
        if (!tail_) return;
        Entry* victim = tail_;
        unlink(victim);
        entries_.erase(*victim->key);
    }

    // Moves a known key to the front of the recency order.
    void promoteKey(const Key& key) {
        auto it = entries_.find(key);
        if (it != entries_.end()) moveToFront(&it->second);
    }

    // The keys, most recently used first.
    std::vector<Key> keys() const {
        std::vector<Key> result;
        result.reserve(entries_.size());
        for (const Entry* e = head_; e; e = e->next) result.push_back(*e->key);
        return result;
    }

    // A snapshot of the key -> object entries.
    std::unordered_map<Key, ObjectPtr, Hash, KeyEqual> map() const {
        std::unordered_map<Key, ObjectPtr, Hash, KeyEqual> result;
        result.reserve(entries_.size());
        for (const auto& [key, entry] : entries_) result.emplace(key, entry.object);
        return result;
    }

    bool isEqualToLRUCache(const OVLRUCache& other) const {
        if (size_ != other.size_ || entries_.size() != other.entries_.size()) return false;
        const Entry* a = head_;
        const Entry* b = other.head_;
        for (; a && b; a = a->next, b = b->next) {
            if (!KeyEqual{}(*a->key, *b->key)) return false;
            if (!detail::sameObject(a->object, b->object)) return false;
        }
        return a == nullptr && b == nullptr;
    }

    // Same instance, or an equal cache; an empty pointer is never equal.
    bool isEqual(const std::shared_ptr<const OVLRUCache>& other) const {
        if (other.get() == this) return true;
        return other && isEqualToLRUCache(*other);
    }

    friend bool operator==(const OVLRUCache& a, const OVLRUCache& b) {
        return &a == &b || a.isEqualToLRUCache(b);
    }

    // Coding: {"size": n, "internalList": ..., "sortedKeys": [...]}.
    nlohmann::json encodeWithCoder() const {
        nlohmann::json coded = nlohmann::json::object();
        coded["size"] = size_;
        nlohmann::json list;
        if constexpr (std::is_convertible_v<const Key&, std::string>) {
            list = nlohmann::json::object();
            for (const auto& [key, entry] : entries_) list[std::string(key)] = *entry.object;
        } else {
            list = nlohmann::json::array();
            for (const auto& [key, entry] : entries_)
                list.push_back(nlohmann::json::array({key, *entry.object}));
        }
        coded["internalList"] = std::move(list);
        nlohmann::json sorted = nlohmann::json::array();
        for (const Entry* e = head_; e; e = e->next) sorted.push_back(*e->key);
        coded["sortedKeys"] = std::move(sorted);
        return coded;
    }

    // Rebuilds a cache from `encodeWithCoder()` output; an empty pointer (and
    // a log line) for malformed input or entries that disagree with the keys.
    static std::shared_ptr<OVLRUCache> initWithCoder(const nlohmann::json& coded) {
        try {
            return decode(coded);
        } catch (const nlohmann::json::exception& e) {
            detail::logLRUCacheDecodeFailure(e.what());
            return nullptr;
        }
    }

  private:
    struct Entry {
        const Key* key = nullptr;  // the hash-table node's own key
        ObjectPtr object;
        Entry* previous = nullptr;  // towards the most recent
        Entry* next = nullptr;      // towards the least recent
    };

    explicit OVLRUCache(std::size_t size) : size_(size) {
        // Reserve like the platform's capacity hint, but do not let a huge
        // bound allocate a huge table up front.
        entries_.reserve(std::min<std::size_t>(size, 1024));
    }

    static std::shared_ptr<OVLRUCache> decode(const nlohmann::json& coded) {
        if (!coded.is_object()) {
            detail::logLRUCacheDecodeFailure("not a JSON object");
            return nullptr;
        }
        const auto& size = coded.at("size");
        const auto& list = coded.at("internalList");
        const auto& sorted = coded.at("sortedKeys");
        if (!size.is_number_unsigned() &&
            !(size.is_number_integer() && size.get<std::int64_t>() >= 0)) {
            detail::logLRUCacheDecodeFailure("\"size\" is not an unsigned integer");
            return nullptr;
        }
        if (!sorted.is_array()) {
            detail::logLRUCacheDecodeFailure("\"sortedKeys\" is not an array");
            return nullptr;
        }
        std::unordered_map<Key, ObjectPtr, Hash, KeyEqual> objects;
        if constexpr (std::is_convertible_v<const Key&, std::string>) {
            if (!list.is_object()) {
                detail::logLRUCacheDecodeFailure("\"internalList\" is not an object");
                return nullptr;
            }
            for (const auto& [key, value] : list.items())
                objects.emplace(Key(key), std::make_shared<Object>(value.template get<Object>()));
        } else {
            if (!list.is_array()) {
                detail::logLRUCacheDecodeFailure("\"internalList\" is not an array of pairs");
                return nullptr;
            }
            for (const auto& pair : list) {
                if (!pair.is_array() || pair.size() != 2) {
                    detail::logLRUCacheDecodeFailure("\"internalList\" holds a malformed pair");
                    return nullptr;
                }
                objects.emplace(pair[0].template get<Key>(),
                                std::make_shared<Object>(pair[1].template get<Object>()));
            }
        }
        auto cache = make(size.get<std::size_t>());
        std::unordered_set<Key, Hash, KeyEqual> seen;
        for (const auto& codedKey : sorted) {
            Key key = codedKey.template get<Key>();
            auto found = objects.find(key);
            if (found == objects.end() || !seen.insert(key).second) {
                detail::logLRUCacheDecodeFailure(
                    "\"sortedKeys\" and \"internalList\" do not hold the same keys");
                return nullptr;
            }
            // Appending at the least-recent end keeps the coded order.
            auto [it, inserted] = cache->entries_.try_emplace(key);
            it->second.key = &it->first;
            it->second.object = found->second;
            cache->linkBack(&it->second);
        }
        if (seen.size() != objects.size() || objects.size() > cache->size_) {
            detail::logLRUCacheDecodeFailure(
                objects.size() > cache->size_
                    ? "more entries than \"size\" allows"
                    : "\"sortedKeys\" and \"internalList\" do not hold the same keys");
            return nullptr;
        }
        return cache;
    }

    void linkFront(Entry* e) {
        e->previous = nullptr;
        e->next = head_;
        if (head_) head_->previous = e;
        head_ = e;
        if (!tail_) tail_ = e;
    }

    void linkBack(Entry* e) {
        e->next = nullptr;
        e->previous = tail_;
        if (tail_) tail_->next = e;
        tail_ = e;
        if (!head_) head_ = e;
    }

    void unlink(Entry* e) {
        if (e->previous)
            e->previous->next = e->next;
        else
            head_ = e->next;
        if (e->next)
            e->next->previous = e->previous;
        else
            tail_ = e->previous;
        e->previous = e->next = nullptr;
    }

    void moveToFront(Entry* e) {
        if (head_ == e) return;
        unlink(e);
        linkFront(e);
    }

    std::size_t size_;
    // Node-based: entries never move, so the recency links stay valid across
    // rehashing.
    std::unordered_map<Key, Entry, Hash, KeyEqual> entries_;
    Entry* head_ = nullptr;
    Entry* tail_ = nullptr;
};

}  // namespace ov
