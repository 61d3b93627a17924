// Dictionary additions. A loosely typed platform dictionary (string keys,
// values of any JSON-like type) is a `nlohmann::json` object here; typed
// native dictionaries are std::map / std::unordered_map.
//
//   nlohmann::json a = {{"tags", {1}}, {"opts", {{"x", 1}}}};
//   nlohmann::json b = {{"tags", {2}}, {"opts", {{"y", 2}}}};
//   auto m = ov::dictionaryByMerging(a, b);   // {"tags":[1,2],"opts":{"x":1,"y":2}}
//   std::optional<std::int64_t> n = ov::getInt(m, "count"); // nullopt: absent
//   auto box = ov::DictionaryWrapper::wrap(42);             // {"value": 42}
//   std::optional<int> back = ov::DictionaryWrapper::unwrap<int>(box);
//
// Nothing here throws or changes its arguments. A "dictionary" argument that
// is not a JSON object is read as an empty dictionary; typed reads of a value
// of the wrong type give nullopt.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include <nlohmann/json.hpp>

#include "OVUtility/Extensions/CaseIterable.h"
#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/Date.h"

namespace ov {

using Json = nlohmann::json;

// ---------------------------------------------------------------- bridged category

// Entries of all dictionaries added in order into one; later keys overwrite
// earlier ones (shallow).
OV_API Json dictionaryWithDictionaries(const std::vector<Json>& dictionaries);

// A copy of `receiver` with `other`'s entries added, `other` winning (shallow).
OV_API Json dictionaryByAddingDictionary(const Json& receiver, const Json& other);

// Deep merge of `b` into a copy of `a`. For each key of `b`:
// - both values are dictionaries: the result is their deep merge;
// - both values are arrays: the result is `a`'s elements followed by `b`'s;
// - otherwise `b`'s value wins (also when the kinds differ).
OV_API Json dictionaryByMerging(const Json& a, const Json& b);
// Same as `dictionaryByMerging(receiver, other)`.
OV_API Json dictionaryByMergingWith(const Json& receiver, const Json& other);

// ---------------------------------------------------------------- typed reads

// The value when it is a string.
OV_API std::optional<std::string> getString(const Json& dictionary, std::string_view key);
// The value as a number when it is a number or a Boolean (the platform boxes
// Booleans as numbers: true is 1).
OV_API std::optional<double> getNumber(const Json& dictionary, std::string_view key);
// The value as an integer when it is a number that a 64-bit integer holds
// exactly (3.0 gives 3, 3.5 gives nullopt, beyond 64 bits gives nullopt) or a
// Boolean. The platform's integer is word-sized, so `getInt` reads 64 bits
// like `getInt64`: large ids and millisecond counts come through whole.
OV_API std::optional<std::int64_t> getInt(const Json& dictionary, std::string_view key);
OV_API std::optional<std::int64_t> getInt64(const Json& dictionary, std::string_view key);
OV_API std::int64_t getIntOrDefault(const Json& dictionary, std::string_view key,
                                    std::int64_t defaultValue);
// The value as floating point when it is a number or a Boolean. `getFloat`
// rounds to the nearest float and gives nullopt outside the float range.
OV_API std::optional<float> getFloat(const Json& dictionary, std::string_view key);
OV_API std::optional<double> getDouble(const Json& dictionary, std::string_view key);
// Booleans as they are; numbers are true when non-zero; strings follow the
// platform's string Boolean value: after leading white space and an optional
// sign and leading zeros, true exactly when the next character is one of
// "YyTt1-9" ("yes", "true", "1", "0042", "+3" are true; "no", "0", "" are
// false). Anything else gives nullopt.
OV_API std::optional<bool> getBool(const Json& dictionary, std::string_view key);
// A number of milliseconds as seconds (value / 1000).
OV_API std::optional<double> getTimeIntervalFromMillis(const Json& dictionary,
                                                       std::string_view key);
// A number as seconds since 1970. Other values give nullopt.
OV_API std::optional<Date> getDate(const Json& dictionary, std::string_view key);
// The value's text: strings as they are, integers in decimal, floating point
// in the shortest form that reads back the same, Booleans "true"/"false",
// arrays and dictionaries as compact JSON. Null or absent gives nullopt.
// Strings are returned byte for byte; inside arrays and dictionaries, bytes
// that are not valid UTF-8 are written as U+FFFD.
OV_API std::optional<std::string> getCustomStringConvertible(const Json& dictionary,
                                                             std::string_view key);
// The value when it is an array, else an empty array.
OV_API Json getArray(const Json& dictionary, std::string_view key);
// The value when it is a dictionary.
OV_API std::optional<Json> getDictionary(const Json& dictionary, std::string_view key);
// The value, when it is a dictionary, as a typed native map.
OV_API std::optional<std::map<std::string, Json>> getNativeDictionary(const Json& dictionary,
                                                                      std::string_view key);
// The receiver as a typed native map (empty when it is not a dictionary).
OV_API std::map<std::string, Json> getNativeDictionary(const Json& dictionary);

// A copy of `receiver` in which every listed key that the receiver lacks
// (absent or null) is filled from `backfillDictionary` when that has a
// non-null value for it. Keys not listed are never copied.
OV_API Json dictionaryWithFilledKeys(const Json& receiver, const std::vector<std::string>& keys,
                                     const Json& backfillDictionary);

// ---------------------------------------------------------------- DictionaryWrapper

// Carries one value through a string-keyed dictionary (for user-information
// dictionaries of notifications). The value sits under the key "value" and
// goes through nlohmann's to_json/from_json for its type.
struct DictionaryWrapper {
    DictionaryWrapper() = delete;

    static constexpr const char* kValueKey = "value";

    template <typename T>
    static Json wrap(const T& value) {
        Json dictionary = Json::object();
        dictionary[kValueKey] = value;
        return dictionary;
    }

    // The value, or nullopt when the dictionary has none of that type.
    template <typename T>
    static std::optional<T> unwrap(const Json& dictionary) {
        if (!dictionary.is_object()) return std::nullopt;
        auto it = dictionary.find(kValueKey);
        if (it == dictionary.end()) return std::nullopt;
        try {
            return it->template get<T>();
        } catch (const Json::exception&) {
            return std::nullopt;
        }
    }
};

// ---------------------------------------------------------------- native dictionaries

namespace dictionary_detail {
template <typename M>
struct IsNativeMap : std::false_type {};
template <typename K, typename V, typename C, typename A>
struct IsNativeMap<std::map<K, V, C, A>> : std::true_type {};
template <typename K, typename V, typename H, typename E, typename A>
struct IsNativeMap<std::unordered_map<K, V, H, E, A>> : std::true_type {};
}  // namespace dictionary_detail

template <typename M>
concept NativeMap = dictionary_detail::IsNativeMap<std::remove_cvref_t<M>>::value;

// Adds the right side's entries; the right side wins.
template <NativeMap M>
M& operator+=(M& lhs, const M& rhs) {
    for (const auto& [key, value] : rhs) lhs.insert_or_assign(key, value);
    return lhs;
}

// The merged copy; the argument wins.
template <NativeMap M>
M merging(const M& receiver, const M& other) {
    M out = receiver;
    out += other;
    return out;
}

// Calls `body(key, value-or-nullptr)` for every case of the key type, in
// case order, whether or not the map holds it.
template <NativeMap M, typename F>
requires CaseIterableType<typename std::remove_cvref_t<M>::key_type>
void forEachCase(const M& map, F&& body) {
    for (const auto& key : allCases<typename M::key_type>()) {
        auto it = map.find(key);
        body(key, it == map.end() ? nullptr : &it->second);
    }
}

}  // namespace ov
