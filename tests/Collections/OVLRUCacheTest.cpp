#include "OVUtility/Collections/OVLRUCache.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "OVLog/CaptureSink.h"

namespace {

using Cache = ov::OVLRUCache<std::string, int>;

std::shared_ptr<int> obj(int v) {
    return std::make_shared<int>(v);
}

TEST(OVLRUCache, EqualityCountsRecencyOrderAndComparesObjectsByValue) {
    auto fill = [](std::size_t size, std::initializer_list<std::pair<const char*, int>> entries) {
        auto cache = Cache::make(size);
        for (auto [key, value] : entries) cache->setObject(obj(value), key);
        return cache;
    };
    auto a = fill(3, {{"x", 1}, {"y", 2}});
    auto b = fill(3, {{"y", 2}, {"x", 1}});
    auto c = fill(4, {{"x", 1}, {"y", 2}});
    EXPECT_FALSE(a->isEqual(b));  // same entries, other order
    b->promoteKey("y");
    EXPECT_TRUE(a->isEqual(b));  // distinct but equal objects
    EXPECT_TRUE(*a == *b);
    EXPECT_FALSE(a->isEqual(c));  // sizes differ
    EXPECT_FALSE(a->isEqual(nullptr));
    b->setObject(obj(99), "y");
    EXPECT_FALSE(a->isEqual(b));
}

TEST(OVLRUCache, CodingRoundTripsAndRefusesBadInput) {
    auto cache = Cache::make(3);
    cache->setObject(obj(1), "a");
    cache->setObject(obj(2), "b");
    cache->objectForKey("a");
    nlohmann::json coded = cache->encodeWithCoder();
    EXPECT_EQ(coded, nlohmann::json::parse(
                         R"({"size":3,"sortedKeys":["a","b"],"internalList":{"a":1,"b":2}})"));
    auto decoded = Cache::initWithCoder(coded);
    ASSERT_TRUE(decoded);
    EXPECT_TRUE(decoded->isEqual(cache));

    // Non-text keys code as [key, object] pairs.
    auto numeric = ov::OVLRUCache<int, std::string>::make(2);
    numeric->setObject(std::make_shared<std::string>("one"), 1);
    numeric->setObject(std::make_shared<std::string>("two"), 2);
    auto numericBack = ov::OVLRUCache<int, std::string>::initWithCoder(numeric->encodeWithCoder());
    ASSERT_TRUE(numericBack);
    EXPECT_EQ(numericBack->keys(), (std::vector<int>{2, 1}));
    EXPECT_EQ(*numericBack->objectForKey(1), "one");

    auto capture = ovlog::CaptureSink::attach();
    const char* bad[] = {
        R"([1,2])",
        R"({"size":2,"internalList":{"a":1}})",
        R"({"size":-1,"internalList":{},"sortedKeys":[]})",
        R"({"size":2,"internalList":{"a":1},"sortedKeys":["b"]})",
        R"({"size":2,"internalList":{"a":1,"b":2},"sortedKeys":["a"]})",
        R"({"size":2,"internalList":{"a":1},"sortedKeys":["a","a"]})",
        R"({"size":1,"internalList":{"a":1,"b":2},"sortedKeys":["a","b"]})",
        R"({"size":2,"internalList":{"a":"text"},"sortedKeys":["a"]})",
    };
    for (const char* text : bad)
        EXPECT_EQ(Cache::initWithCoder(nlohmann::json::parse(text)), nullptr) << text;
    EXPECT_EQ(capture->messages().size(), std::size(bad));
    for (const auto& line : capture->messages())
        EXPECT_NE(line.find("cannot decode OVLRUCache"), std::string::npos) << line;
}

// Random operation sequences against a plain vector model (most recent first),
// sizes 0 to 5; empty objects are ignored.
TEST(OVLRUCache, MatchesReferenceModelOnRandomOperations) {
    std::mt19937 rng(1234);
    for (int round = 0; round < 40; ++round) {
        const std::size_t size = rng() % 6;
        auto cache = Cache::make(size);
        std::vector<std::pair<std::string, int>> model;
        auto find = [&](const std::string& k) {
            return std::find_if(model.begin(), model.end(), [&](auto& e) { return e.first == k; });
        };
        auto toFront = [&](auto it) { std::rotate(model.begin(), it, it + 1); };
        for (int step = 0; step < 400; ++step) {
            const std::string key(1, static_cast<char>('a' + rng() % 8));
            const int value = static_cast<int>(rng() % 1000);
            const auto it = find(key);
            switch (rng() % 5) {
                case 0:
                case 1:
                    if (value % 10 == 0) {
                        cache->setObject(nullptr, key);
                        break;
                    }
                    cache->setObject(obj(value), key);
                    if (it != model.end()) model.erase(it);
                    model.insert(model.begin(), {key, value});
                    if (model.size() > size) model.pop_back();
                    break;
                case 2: {
                    auto got = cache->objectForKey(key);
                    ASSERT_EQ(got ? std::optional(*got) : std::nullopt,
                              it == model.end() ? std::nullopt : std::optional(it->second));
                    if (it != model.end()) toFront(it);
                    break;
                }
                case 3:
                    cache->removeObjectForKey(key);
                    if (it != model.end()) model.erase(it);
                    break;
                default:
                    if (rng() % 2) {
                        cache->evictLeastRecentObject();
                        if (!model.empty()) model.pop_back();
                    } else {
                        cache->promoteKey(key);
                        if (it != model.end()) toFront(it);
                    }
            }
            std::vector<std::string> expected;
            for (const auto& e : model) expected.push_back(e.first);
            ASSERT_EQ(cache->keys(), expected) << "round " << round << " step " << step;
            auto map = cache->map();
            ASSERT_EQ(map.size(), model.size());
            ASSERT_EQ(cache->count(), model.size());
            for (const auto& [k, v] : model) ASSERT_EQ(*map.at(k), v);
        }
    }
}

}  // namespace
