#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "OVUtility/Extensions/Bitrate.h"
#include "OVUtility/Extensions/Dictionary.h"

namespace {

using ov::Json;

TEST(DictionaryMerge, DeepMergeCases) {
    // Arrays under the same key are concatenated, a's elements first.
    EXPECT_EQ(ov::dictionaryByMerging(Json{{"a", {1}}}, Json{{"a", {2}}}), (Json{{"a", {1, 2}}}));
    // Different kinds: b wins, whichever way round.
    EXPECT_EQ(ov::dictionaryByMerging(Json{{"a", 1}}, Json{{"a", {{"b", 2}}}}),
              (Json{{"a", {{"b", 2}}}}));
    EXPECT_EQ(ov::dictionaryByMerging(Json{{"a", {{"b", 2}}}}, Json{{"a", 1}}), (Json{{"a", 1}}));
    EXPECT_EQ(ov::dictionaryByMerging(Json{{"a", {1}}}, Json{{"a", {{"k", 1}}}}),
              (Json{{"a", {{"k", 1}}}}));
    // A null in b replaces (it is a value like any other, not a deletion).
    EXPECT_EQ(ov::dictionaryByMerging(Json{{"a", 1}}, Json{{"a", nullptr}}),
              (Json{{"a", nullptr}}));

    // Nested dictionaries merge at every depth; keys only in a survive.
    Json a = Json::parse(R"({"keep": true,
        "outer": {"x": 1, "inner": {"list": [1, 2], "deep": {"p": 1}}}})");
    Json b = Json::parse(R"({"new": "n",
        "outer": {"y": 2, "inner": {"list": [3], "deep": {"q": 2}}}})");
    Json expected = Json::parse(R"({"keep": true, "new": "n",
        "outer": {"x": 1, "y": 2, "inner": {"list": [1, 2, 3], "deep": {"p": 1, "q": 2}}}})");
    const Json aBefore = a, bBefore = b;
    EXPECT_EQ(ov::dictionaryByMerging(a, b), expected);
    EXPECT_EQ(ov::dictionaryByMergingWith(a, b), expected);
    EXPECT_EQ(a, aBefore);  // arguments untouched
    EXPECT_EQ(b, bBefore);
}

TEST(DictionaryMerge, NonDictionaryArgumentsAreEmptyDictionaries) {
    EXPECT_EQ(ov::dictionaryByMerging(Json(5), Json{{"a", 1}}), (Json{{"a", 1}}));
    EXPECT_EQ(ov::dictionaryByMerging(Json{{"a", 1}}, Json::array({1})), (Json{{"a", 1}}));
    EXPECT_EQ(ov::dictionaryByMerging(Json(), Json()), Json::object());
}

TEST(DictionaryMerge, ShallowAddingReplacesNestedDictionaries) {
    Json a = {{"k", {{"x", 1}}}, {"a", 1}};
    Json b = {{"k", {{"y", 2}}}};
    EXPECT_EQ(ov::dictionaryByAddingDictionary(a, b), (Json{{"k", {{"y", 2}}}, {"a", 1}}));
    EXPECT_EQ(ov::dictionaryByAddingDictionary(a, Json::object()), a);
    EXPECT_EQ(ov::dictionaryWithDictionaries(
                  {Json{{"a", 1}, {"b", 1}}, Json{{"b", 2}}, Json(3), Json{{"c", 3}, {"a", 4}}}),
              (Json{{"a", 4}, {"b", 2}, {"c", 3}}));
    EXPECT_EQ(ov::dictionaryWithDictionaries({}), Json::object());
}

TEST(DictionaryTypedReads, IntegersAre64BitAndExact) {
    Json d = {{"i", 42},      {"f", 3.0},          {"half", 3.5},    {"s", "3"},
              {"t", true},    {"big", 3000000000}, {"neg", -7},      {"u64", UINT64_MAX},
              {"huge", 1e30}, {"min", INT64_MIN},  {"two63", 0x1p63}};
    // clang-format off
    const std::pair<const char*, std::optional<std::int64_t>> rows[] = {
        {"i", 42}, {"f", 3}, {"half", std::nullopt}, {"s", std::nullopt}, {"t", 1},
        {"big", 3000000000}, {"neg", -7}, {"u64", std::nullopt}, {"huge", std::nullopt},
        {"min", INT64_MIN}, {"two63", std::nullopt}, {"missing", std::nullopt},
    };
    // clang-format on
    for (const auto& [key, expected] : rows) {
        EXPECT_EQ(ov::getInt(d, key), expected) << key;
        EXPECT_EQ(ov::getInt64(d, key), expected) << key;
        EXPECT_EQ(ov::getIntOrDefault(d, key, -1), expected.value_or(-1)) << key;
    }
    // Not a dictionary: nothing to read.
    EXPECT_EQ(ov::getInt(Json::array({1}), "0"), std::nullopt);
}

TEST(DictionaryTypedReads, FloatingPointAndNumbers) {
    Json d = {{"d", 0.25}, {"i", 3}, {"big", 1e39}, {"b", false}, {"s", "1.5"}, {"ms", 1500}};
    EXPECT_EQ(ov::getDouble(d, "d"), 0.25);
    EXPECT_EQ(ov::getDouble(d, "i"), 3.0);
    EXPECT_EQ(ov::getDouble(d, "s"), std::nullopt);
    EXPECT_EQ(ov::getFloat(d, "d"), 0.25f);
    EXPECT_EQ(ov::getFloat(d, "big"), std::nullopt);  // outside the float range
    EXPECT_EQ(ov::getDouble(d, "big"), 1e39);
    EXPECT_EQ(ov::getNumber(d, "b"), 0.0);
    EXPECT_EQ(ov::getNumber(d, "s"), std::nullopt);
    EXPECT_EQ(ov::getTimeIntervalFromMillis(d, "ms"), 1.5);
    EXPECT_EQ(ov::getTimeIntervalFromMillis(d, "s"), std::nullopt);
    EXPECT_EQ(ov::getDate(d, "ms"), ov::Date(1500));
    EXPECT_EQ(ov::getDate(d, "s"), std::nullopt);
}

TEST(DictionaryTypedReads, BooleanValueOfNumbersAndStrings) {
    // clang-format off
    const std::pair<Json, std::optional<bool>> rows[] = {
        {true, true}, {0, false}, {3.14, true}, {-0.5, true}, {"yes", true}, {"True", true},
        {"no", false}, {"1", true}, {"  +0042", true}, {"000", false}, {"", false}, {"-5", true},
        {Json::array({1}), std::nullopt}, {nullptr, std::nullopt},
    };
    // clang-format on
    for (const auto& [value, expected] : rows) {
        EXPECT_EQ(ov::getBool(Json{{"k", value}}, "k"), expected) << value;
    }
    EXPECT_EQ(ov::getBool(Json::object(), "missing"), std::nullopt);
}

TEST(DictionaryTypedReads, TextArraysAndNestedDictionaries) {
    Json d = {{"s", "text"},     {"i", 12},         {"f", 0.5},           {"b", true},
              {"null", nullptr}, {"arr", {1, "x"}}, {"obj", {{"k", "v"}}}};
    EXPECT_EQ(ov::getString(d, "s"), "text");
    EXPECT_EQ(ov::getString(d, "i"), std::nullopt);
    const std::pair<const char*, std::optional<std::string>> texts[] = {
        {"s", "text"}, {"i", "12"},           {"f", "0.5"},
        {"b", "true"}, {"arr", R"([1,"x"])"}, {"null", std::nullopt}};
    for (const auto& [key, expected] : texts) {
        EXPECT_EQ(ov::getCustomStringConvertible(d, key), expected) << key;
    }
    // Invalid UTF-8 inside a container is replaced, never thrown over.
    EXPECT_EQ(ov::getCustomStringConvertible(Json{{"k", {"a\xFF"}}}, "k"), "[\"a\uFFFD\"]");
    EXPECT_EQ(ov::getArray(d, "arr"), (Json{1, "x"}));
    EXPECT_EQ(ov::getArray(d, "obj"), Json::array());
    EXPECT_EQ(ov::getDictionary(d, "obj"), (Json{{"k", "v"}}));
    EXPECT_EQ(ov::getDictionary(d, "arr"), std::nullopt);
    auto native = ov::getNativeDictionary(d, "obj");
    ASSERT_TRUE(native);
    EXPECT_EQ(native->at("k"), "v");
    EXPECT_EQ(ov::getNativeDictionary(d).size(), 7u);
    EXPECT_TRUE(ov::getNativeDictionary(Json(1)).empty());
}

TEST(DictionaryTypedReads, FilledKeysOnlyFillWhatIsListedAndMissing) {
    Json receiver = {{"a", 1}, {"b", nullptr}};
    Json backfill = {{"a", 9}, {"b", 2}, {"c", 3}, {"d", 4}, {"e", nullptr}};
    EXPECT_EQ(ov::dictionaryWithFilledKeys(receiver, {"a", "b", "c", "e", "zz"}, backfill),
              (Json{{"a", 1}, {"b", 2}, {"c", 3}}));
}

struct Point {
    int x = 0, y = 0;
    friend bool operator==(const Point&, const Point&) = default;
};
void to_json(Json& j, const Point& p) {
    j = Json{{"x", p.x}, {"y", p.y}};
}
void from_json(const Json& j, Point& p) {
    p.x = j.at("x").get<int>();
    p.y = j.at("y").get<int>();
}

TEST(DictionaryWrapper, WrapsAndUnwrapsValues) {
    auto box = ov::DictionaryWrapper::wrap(Point{3, 4});
    EXPECT_TRUE(box.is_object());
    EXPECT_EQ(ov::DictionaryWrapper::unwrap<Point>(box), (Point{3, 4}));
    EXPECT_EQ(ov::DictionaryWrapper::unwrap<std::string>(ov::DictionaryWrapper::wrap("hi")), "hi");
    auto bitrate = ov::Bitrate::fromKilobitsPerSecond(64);
    EXPECT_EQ(ov::DictionaryWrapper::unwrap<ov::Bitrate>(ov::DictionaryWrapper::wrap(bitrate)),
              bitrate);
    // Wrong type, missing value, not a dictionary: nothing, never an exception.
    EXPECT_EQ(ov::DictionaryWrapper::unwrap<Point>(ov::DictionaryWrapper::wrap(5)), std::nullopt);
    EXPECT_EQ(ov::DictionaryWrapper::unwrap<int>(Json{{"other", 1}}), std::nullopt);
    EXPECT_EQ(ov::DictionaryWrapper::unwrap<int>(Json(1)), std::nullopt);
}

TEST(NativeDictionary, AddingMergingAndEveryCase) {
    using ov::operator+=;
    std::map<std::string, int> a{{"x", 1}, {"y", 2}};
    a += std::map<std::string, int>{{"y", 20}, {"z", 30}};
    EXPECT_EQ(a, (std::map<std::string, int>{{"x", 1}, {"y", 20}, {"z", 30}}));

    std::unordered_map<int, int> u{{1, 1}};
    auto merged = ov::merging(u, std::unordered_map<int, int>{{1, 2}, {3, 3}});
    EXPECT_EQ(merged, (std::unordered_map<int, int>{{1, 2}, {3, 3}}));
    EXPECT_EQ(u, (std::unordered_map<int, int>{{1, 1}}));

    std::map<ov::BitrateType, std::string> labels{{ov::BitrateType::high, "HQ"}};
    std::vector<std::string> seen;
    ov::forEachCase(labels, [&](ov::BitrateType type, const std::string* label) {
        seen.push_back(std::to_string(static_cast<int>(type)) + "=" + (label ? *label : "-"));
    });
    EXPECT_EQ(seen, (std::vector<std::string>{"0=-", "1=-", "2=HQ"}));
}

}  // namespace
