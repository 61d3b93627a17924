#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <thread>
#include <unordered_set>
#include <vector>

#include "OVUtility/Extensions/Bitrate.h"

namespace {

using ov::Bitrate;
using ov::BitrateType;

TEST(Bitrate, UnitsAndQualityLevels) {
    EXPECT_EQ(Bitrate::fromKilobitsPerSecond(64).bitsPerSecond(), 64000.0);
    EXPECT_EQ(Bitrate(1500).kilobitsPerSecond(), 1.5);
    EXPECT_EQ(Bitrate(-3).bitsPerSecond(), -3.0);  // kept, not validated
    // Each level's raw value maps back to it; nothing else (192 is not high).
    for (BitrateType type : ov::allCases<BitrateType>())
        EXPECT_EQ(ov::bitrateType(ov::rawValue(type)), type);
    EXPECT_EQ(ov::rawValue(BitrateType::high), 196.0);
    for (double kbps : {192.0, 128.0, 64.0000001, 0.0})
        EXPECT_EQ(ov::bitrateType(kbps), std::nullopt) << kbps;
    EXPECT_EQ(Bitrate::bitrates(),
              (std::vector<Bitrate>{Bitrate(32000.0), Bitrate(64000.0), Bitrate(196000.0)}));
}

TEST(Bitrate, EqualityAndHashingFollowFloatingPoint) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_NE(Bitrate(nan), Bitrate(nan));
    EXPECT_EQ(std::hash<Bitrate>{}(Bitrate(0.0)), std::hash<Bitrate>{}(Bitrate(-0.0)));
    std::unordered_set<Bitrate> set{Bitrate(0.0), Bitrate(-0.0), Bitrate(32000),
                                    Bitrate::fromKilobitsPerSecond(32)};
    EXPECT_EQ(set.size(), 2u);
}

TEST(Bitrate, JsonCoding) {
    EXPECT_EQ(nlohmann::json(Bitrate(32000)), (nlohmann::json{{"bitsPerSecond", 32000.0}}));
    EXPECT_EQ(Bitrate(12.5).encode().dump(), R"({"bitsPerSecond":12.5})");
    // An integer in the JSON is read as floating point.
    EXPECT_EQ(Bitrate::decode(nlohmann::json::parse(R"({"bitsPerSecond": 32000})")),
              Bitrate(32000));
    for (double v : {-0.5, 0.0, 196000.0, 1e-300, 123456.789})
        EXPECT_EQ(nlohmann::json::parse(nlohmann::json(Bitrate(v)).dump()).get<Bitrate>(),
                  Bitrate(v));
}

TEST(Bitrate, DecodingFailures) {
    const std::pair<nlohmann::json, long> cases[] = {
        {nlohmann::json{{"kbps", 1}}, Bitrate::keyNotFound},
        {nlohmann::json::array({1}), Bitrate::keyNotFound},
        {nlohmann::json{{"bitsPerSecond", "fast"}}, Bitrate::typeMismatch},
        {nlohmann::json{{"bitsPerSecond", nullptr}}, Bitrate::typeMismatch}};
    for (const auto& [json, code] : cases) {
        ov::Error error;
        EXPECT_EQ(Bitrate::decode(json, &error), std::nullopt) << json;
        EXPECT_EQ(error.domain, Bitrate::kDecodingErrorDomain);
        EXPECT_EQ(error.code, code) << json;
    }
    // The throwing form raises nlohmann's standard key-not-found error.
    try {
        (void)nlohmann::json::object().get<Bitrate>();
        FAIL() << "decoding a missing key must fail";
    } catch (const nlohmann::json::out_of_range& e) {
        EXPECT_EQ(e.id, 403);
        EXPECT_NE(std::string(e.what()).find("key 'bitsPerSecond' not found"), std::string::npos);
    }
}

TEST(Bitrate, ProcessWideListIsInitialisedOnce) {
    std::vector<const std::vector<Bitrate>*> seen(8);
    std::vector<std::thread> threads;
    for (auto& s : seen) threads.emplace_back([&s] { s = &Bitrate::bitrates(); });
    for (auto& t : threads) t.join();
    for (auto* p : seen) EXPECT_EQ(p, seen[0]);
}

}  // namespace
