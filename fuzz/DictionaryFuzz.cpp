// libFuzzer target: the JSON-as-dictionary readers. Any bytes parsed as JSON
// (and, separately, taken raw as a string value, which may be invalid UTF-8)
// are read with every typed reader under every key: nothing throws, the
// integer readers agree and hold their value exactly, texts are valid UTF-8
// except a string returned as it was stored, and merging with an empty
// dictionary changes nothing.
#include <cmath>

#include "FuzzSupport.h"
#include "OVUtility/Extensions/Dictionary.h"

namespace {

void readEveryKey(const ov::Json& dictionary) {
    for (auto it = dictionary.begin(); it != dictionary.end(); ++it) {
        const std::string& key = it.key();
        const ov::Json& value = it.value();
        const auto i = ov::getInt(dictionary, key);
        ovfuzz::check(i == ov::getInt64(dictionary, key), "getInt reads 64 bits like getInt64");
        ovfuzz::check(ov::getIntOrDefault(dictionary, key, 7) == i.value_or(7), "default");
        if (i && value.is_number()) {
            ovfuzz::check(static_cast<double>(*i) == value.get<double>(), "integers are exact");
        }
        (void)ov::getNumber(dictionary, key);
        (void)ov::getFloat(dictionary, key);
        (void)ov::getDouble(dictionary, key);
        (void)ov::getBool(dictionary, key);
        (void)ov::getTimeIntervalFromMillis(dictionary, key);
        (void)ov::getDate(dictionary, key);
        (void)ov::getArray(dictionary, key);
        (void)ov::getDictionary(dictionary, key);
        (void)ov::getNativeDictionary(dictionary, key);
        const auto text = ov::getCustomStringConvertible(dictionary, key);
        ovfuzz::check(text.has_value() == !value.is_null(), "text for every non-null value");
        if (text && !value.is_string()) {
            ovfuzz::check(ovfuzz::isValidUtf8(*text), "descriptions are valid UTF-8");
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto input = ovfuzz::text(data, size);
    const ov::Json parsed = ov::Json::parse(input, nullptr, /*allow_exceptions=*/false);
    if (parsed.is_object()) {
        readEveryKey(parsed);
        ovfuzz::check(ov::dictionaryByMerging(parsed, ov::Json::object()) == parsed,
                      "merging nothing changes nothing");
        (void)ov::dictionaryByMerging(parsed, parsed);
    }
    const ov::Json raw = {{"raw", std::string(input)},
                          {"nested", {{"k", std::string(input)}}},
                          {"list", {std::string(input), 1}}};
    readEveryKey(raw);
    return 0;
}
