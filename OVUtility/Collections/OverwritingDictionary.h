// OverwritingDictionary<Key, Value>: a dictionary that reports every value it
// is about to lose, e.g. to release a resource held by the value.
//
//   auto players = std::make_shared<ov::OverwritingDictionary<std::string, Handle>>(
//       [](const Handle& old) { old.close(); });
//   players->set("a", h1);
//   players->set("a", h2);          // calls willOverwrite(h1) first
//   players->set("a", std::nullopt); // calls willOverwrite(h2), removes "a"
//   players->clear();               // willOverwrite for every stored value
//
// `willOverwrite` runs before the change, also when the new value equals the
// old one. No locking: confine an instance to one thread.
#pragma once

#include <functional>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace ov {

template <typename Key, typename Value, typename Hash = std::hash<Key>>
class OverwritingDictionary {
  public:
    using WillOverwrite = std::function<void(const Value&)>;

    explicit OverwritingDictionary(WillOverwrite willOverwrite)
        : willOverwrite_(std::move(willOverwrite)) {}

    // The stored value, or none.
    std::optional<Value> get(const Key& key) const {
        auto it = underlyingDictionary_.find(key);
        if (it == underlyingDictionary_.end()) return std::nullopt;
        return it->second;
    }
    std::optional<Value> operator[](const Key& key) const { return get(key); }

    // Stores `value` (none removes the key), reporting any stored value first.
    void set(const Key& key, std::optional<Value> value) {
        if (auto it = underlyingDictionary_.find(key); it != underlyingDictionary_.end()) {
            // A copy: the callback may itself edit the dictionary.
            const Value old = it->second;
            if (willOverwrite_) willOverwrite_(old);
        }
        if (value) {
            underlyingDictionary_.insert_or_assign(key, std::move(*value));
        } else {
            underlyingDictionary_.erase(key);
        }
    }

    // Sets every key (snapshot taken first) to none.
    void clear() {
        std::vector<Key> keys;
        keys.reserve(underlyingDictionary_.size());
        for (const auto& [key, value] : underlyingDictionary_) keys.push_back(key);
        for (const auto& key : keys) set(key, std::nullopt);
    }

    std::size_t count() const { return underlyingDictionary_.size(); }
    bool isEmpty() const { return underlyingDictionary_.empty(); }

  private:
    WillOverwrite willOverwrite_;
    std::unordered_map<Key, Value, Hash> underlyingDictionary_;
};

}  // namespace ov
