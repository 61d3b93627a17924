// MemoryCacheItem<T>: one entry of a MemoryCache: a key and an optional value.
// Lookups use only the key, so an item without a value is a handy probe:
//
//   cache->upsert(ov::MemoryCacheItem<int>("k", 5));
//   cache->value(ov::MemoryCacheItem<int>("k"));     // 5
#pragma once

#include <optional>
#include <string>
#include <utility>

namespace ov {

template <typename T>
struct MemoryCacheItem {
    std::string key;
    std::optional<T> value;

    explicit MemoryCacheItem(std::string key) : key(std::move(key)) {}
    MemoryCacheItem(std::string key, std::optional<T> value)
        : key(std::move(key)), value(std::move(value)) {}

    // A copy with the same key and the given value.
    MemoryCacheItem withValue(std::optional<T> newValue) const {
        return MemoryCacheItem(key, std::move(newValue));
    }
};

}  // namespace ov
