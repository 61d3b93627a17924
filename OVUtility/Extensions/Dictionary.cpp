#include "OVUtility/Extensions/Dictionary.h"

#include <cctype>
#include <cmath>
#include <limits>

namespace ov {
namespace {

const Json* valueFor(const Json& dictionary, std::string_view key) {
    if (!dictionary.is_object()) return nullptr;
    auto it = dictionary.find(key);
    return it == dictionary.end() ? nullptr : &*it;
}

Json objectOrEmpty(const Json& value) {
    return value.is_object() ? value : Json::object();
}

// An integer type holds the JSON number exactly.
template <typename I>
std::optional<I> exactInteger(const Json& v) {
    if (v.is_boolean()) return static_cast<I>(v.get<bool>() ? 1 : 0);
    if (v.is_number_unsigned()) {
        auto u = v.get<std::uint64_t>();
        if (u > static_cast<std::uint64_t>(std::numeric_limits<I>::max())) return std::nullopt;
        return static_cast<I>(u);
    }
    if (v.is_number_integer()) {
        auto s = v.get<std::int64_t>();
        if (s < std::numeric_limits<I>::min() || s > std::numeric_limits<I>::max()) {
            return std::nullopt;
        }
        return static_cast<I>(s);
    }
    if (v.is_number_float()) {
        double d = v.get<double>();
        // The bounds are powers of two, exact in double: [-2^(n-1), 2^(n-1)).
        const double lo = static_cast<double>(std::numeric_limits<I>::min());
        const double hi = -lo;
        if (!std::isfinite(d) || d != std::trunc(d) || d < lo || d >= hi) return std::nullopt;
        return static_cast<I>(d);
    }
    return std::nullopt;
}

std::optional<double> asDouble(const Json* v) {
    if (!v) return std::nullopt;
    if (v->is_boolean()) return v->get<bool>() ? 1.0 : 0.0;
    if (v->is_number()) return v->get<double>();
    return std::nullopt;
}

// The platform string's Boolean value.
bool stringBoolValue(std::string_view s) {
    std::size_t i = 0;
    while (i < s.size() && std::isspace(static_cast<unsigned char>(s[i]))) ++i;
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
    while (i < s.size() && s[i] == '0') ++i;
    if (i >= s.size()) return false;
    char c = s[i];
    return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
}

}  // namespace

Json dictionaryWithDictionaries(const std::vector<Json>& dictionaries) {
    Json out = Json::object();
    for (const auto& d : dictionaries) {
        if (d.is_object()) out.update(d);
    }
    return out;
}

Json dictionaryByAddingDictionary(const Json& receiver, const Json& other) {
    Json out = objectOrEmpty(receiver);
    if (other.is_object()) out.update(other);
    return out;
}

Json dictionaryByMerging(const Json& a, const Json& b) {
    Json out = objectOrEmpty(a);
    if (!b.is_object()) return out;
    for (auto it = b.begin(); it != b.end(); ++it) {
        const Json& v = it.value();
        auto existing = out.find(it.key());
        if (existing != out.end() && existing->is_object() && v.is_object()) {
            *existing = dictionaryByMerging(*existing, v);
        } else if (existing != out.end() && existing->is_array() && v.is_array()) {
            existing->insert(existing->end(), v.begin(), v.end());
        } else {
            out[it.key()] = v;
        }
    }
    return out;
}

Json dictionaryByMergingWith(const Json& receiver, const Json& other) {
    return dictionaryByMerging(receiver, other);
}

std::optional<std::string> getString(const Json& dictionary, std::string_view key) {
    const Json* v = valueFor(dictionary, key);
    if (!v || !v->is_string()) return std::nullopt;
    return v->get<std::string>();
}

std::optional<double> getNumber(const Json& dictionary, std::string_view key) {
    return asDouble(valueFor(dictionary, key));
}

std::optional<std::int64_t> getInt(const Json& dictionary, std::string_view key) {
    return getInt64(dictionary, key);
}

std::optional<std::int64_t> getInt64(const Json& dictionary, std::string_view key) {
    const Json* v = valueFor(dictionary, key);
    return v ? exactInteger<std::int64_t>(*v) : std::nullopt;
}

std::int64_t getIntOrDefault(const Json& dictionary, std::string_view key,
                             std::int64_t defaultValue) {
    return getInt(dictionary, key).value_or(defaultValue);
}

std::optional<float> getFloat(const Json& dictionary, std::string_view key) {
    auto d = asDouble(valueFor(dictionary, key));
    if (!d) return std::nullopt;
    if (std::isfinite(*d) && std::fabs(*d) > std::numeric_limits<float>::max()) {
        return std::nullopt;
    }
    return static_cast<float>(*d);
}

std::optional<double> getDouble(const Json& dictionary, std::string_view key) {
    return asDouble(valueFor(dictionary, key));
}

std::optional<bool> getBool(const Json& dictionary, std::string_view key) {
    const Json* v = valueFor(dictionary, key);
    if (!v) return std::nullopt;
    if (v->is_boolean()) return v->get<bool>();
    if (v->is_number()) return v->get<double>() != 0.0;
    if (v->is_string()) return stringBoolValue(v->get_ref<const std::string&>());
    return std::nullopt;
}

std::optional<double> getTimeIntervalFromMillis(const Json& dictionary, std::string_view key) {
    const Json* v = valueFor(dictionary, key);
    if (!v || !v->is_number()) return std::nullopt;
    return v->get<double>() / 1000.0;
}

std::optional<Date> getDate(const Json& dictionary, std::string_view key) {
    const Json* v = valueFor(dictionary, key);
    if (!v || !v->is_number()) return std::nullopt;
    return Date(v->get<double>());
}

std::optional<std::string> getCustomStringConvertible(const Json& dictionary,
                                                      std::string_view key) {
    const Json* v = valueFor(dictionary, key);
    if (!v || v->is_null() || v->is_discarded()) return std::nullopt;
    if (v->is_string()) return v->get<std::string>();
    // dump() throws on invalid UTF-8 unless told to replace it.
    return v->dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json getArray(const Json& dictionary, std::string_view key) {
    const Json* v = valueFor(dictionary, key);
    if (!v || !v->is_array()) return Json::array();
    return *v;
}

std::optional<Json> getDictionary(const Json& dictionary, std::string_view key) {
    const Json* v = valueFor(dictionary, key);
    if (!v || !v->is_object()) return std::nullopt;
    return *v;
}

std::optional<std::map<std::string, Json>> getNativeDictionary(const Json& dictionary,
                                                               std::string_view key) {
    const Json* v = valueFor(dictionary, key);
    if (!v || !v->is_object()) return std::nullopt;
    return getNativeDictionary(*v);
}

std::map<std::string, Json> getNativeDictionary(const Json& dictionary) {
    std::map<std::string, Json> out;
    if (!dictionary.is_object()) return out;
    for (auto it = dictionary.begin(); it != dictionary.end(); ++it) out.emplace(it.key(), *it);
    return out;
}

Json dictionaryWithFilledKeys(const Json& receiver, const std::vector<std::string>& keys,
                              const Json& backfillDictionary) {
    Json out = objectOrEmpty(receiver);
    for (const auto& key : keys) {
        auto have = out.find(key);
        if (have != out.end() && !have->is_null()) continue;
        const Json* fill = valueFor(backfillDictionary, key);
        if (fill && !fill->is_null()) out[key] = *fill;
    }
    return out;
}

}  // namespace ov
