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

TEST(Bitrate, UnitsAndRawValues) {
    EXPECT_EQ(Bitrate::fromKilobitsPerSecond(64).bitsPerSecond(), 64000.0);
    EXPECT_EQ(Bitrate::fromKilobitsPerSecond(64).kilobitsPerSecond(), 64.0);
    EXPECT_EQ(Bitrate(1500).kilobitsPerSecond(), 1.5);
    EXPECT_EQ(Bitrate(-3).bitsPerSecond(), -3.0);  // kept, not validated
    EXPECT_TRUE(std::isinf(Bitrate(std::numeric_limits<double>::infinity()).bitsPerSecond()));

    EXPECT_EQ(ov::rawValue(BitrateType::low), 32.0);
    EXPECT_EQ(ov::rawValue(BitrateType::standard), 64.0);
    EXPECT_EQ(ov::rawValue(BitrateType::high), 196.0);
    EXPECT_EQ(ov::bitrateType(196.0), BitrateType::high);
    EXPECT_EQ(ov::bitrateType(32.0), BitrateType::low);
    EXPECT_EQ(ov::bitrateType(192.0), std::nullopt);
    EXPECT_EQ(ov::bitrateType(128.0), std::nullopt);
    EXPECT_EQ(ov::bitrateType(64.0000001), std::nullopt);
    auto cases = ov::allCases<BitrateType>();
    EXPECT_EQ(
        std::vector<BitrateType>(cases.begin(), cases.end()),
        (std::vector<BitrateType>{BitrateType::low, BitrateType::standard, BitrateType::high}));
}

TEST(Bitrate, EqualityAndHashingFollowFloatingPoint) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_NE(Bitrate(nan), Bitrate(nan));
    EXPECT_EQ(Bitrate(0.0), Bitrate(-0.0));
    EXPECT_EQ(std::hash<Bitrate>{}(Bitrate(0.0)), std::hash<Bitrate>{}(Bitrate(-0.0)));
    EXPECT_EQ(std::hash<Bitrate>{}(Bitrate(64000)),
              std::hash<Bitrate>{}(Bitrate::fromKilobitsPerSecond(64)));

    std::unordered_set<Bitrate> set{Bitrate(0.0), Bitrate(-0.0), Bitrate(32000),
                                    Bitrate::fromKilobitsPerSecond(32)};
    EXPECT_EQ(set.size(), 2u);
}

TEST(Bitrate, JsonCoding) {
    nlohmann::json j = Bitrate(32000);
    EXPECT_EQ(j, (nlohmann::json{{"bitsPerSecond", 32000.0}}));
    EXPECT_EQ(Bitrate(12.5).encode().dump(), R"({"bitsPerSecond":12.5})");

    // An integer in the JSON is read as floating point.
    auto decoded = Bitrate::decode(nlohmann::json::parse(R"({"bitsPerSecond": 32000})"));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(*decoded, Bitrate(32000));
    EXPECT_EQ(nlohmann::json::parse(R"({"bitsPerSecond": -0.5})").get<Bitrate>(), Bitrate(-0.5));

    // Round trip through text.
    for (double v : {0.0, 1.0, 196000.0, 1e-300, 123456.789}) {
        EXPECT_EQ(nlohmann::json::parse(nlohmann::json(Bitrate(v)).dump()).get<Bitrate>(),
                  Bitrate(v));
    }
}

TEST(Bitrate, DecodingFailures) {
    ov::Error error;
    EXPECT_EQ(Bitrate::decode(nlohmann::json{{"kbps", 1}}, &error), std::nullopt);
    EXPECT_EQ(error.domain, Bitrate::kDecodingErrorDomain);
    EXPECT_EQ(error.code, Bitrate::keyNotFound);
    EXPECT_NE(error.message.find("bitsPerSecond"), std::string::npos);

    EXPECT_EQ(Bitrate::decode(nlohmann::json{{"bitsPerSecond", "fast"}}, &error), std::nullopt);
    EXPECT_EQ(error.code, Bitrate::typeMismatch);
    EXPECT_EQ(Bitrate::decode(nlohmann::json::array({1}), &error), std::nullopt);
    EXPECT_EQ(error.code, Bitrate::keyNotFound);
    EXPECT_EQ(Bitrate::decode(nlohmann::json{{"bitsPerSecond", nullptr}}), std::nullopt);

    // The throwing form raises nlohmann's standard key-not-found error.
    try {
        (void)nlohmann::json::object().get<Bitrate>();
        FAIL() << "decoding a missing key must fail";
    } catch (const nlohmann::json::out_of_range& e) {
        EXPECT_EQ(e.id, 403);
        EXPECT_NE(std::string(e.what()).find("key 'bitsPerSecond' not found"), std::string::npos);
    }
}

TEST(Bitrate, ProcessWideValuesAreSettable) {
    // Many threads racing to the first use see one initialisation.
    std::vector<std::thread> threads;
    std::vector<const std::vector<Bitrate>*> seen(8);
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&, i] { seen[i] = &Bitrate::bitrates(); });
    }
    for (auto& t : threads) t.join();
    for (auto* p : seen) EXPECT_EQ(p, seen[0]);

    EXPECT_EQ(Bitrate::bitrates(),
              (std::vector<Bitrate>{Bitrate(32000.0), Bitrate(64000.0), Bitrate(196000.0)}));
    EXPECT_EQ(Bitrate::zero(), Bitrate(0.0));

    const auto savedList = Bitrate::bitrates();
    const auto savedZero = Bitrate::zero();
    Bitrate::bitrates() = {Bitrate(96000.0)};
    Bitrate::zero() = Bitrate(1.0);
    EXPECT_EQ(Bitrate::bitrates(), std::vector<Bitrate>{Bitrate(96000.0)});
    EXPECT_EQ(Bitrate::zero(), Bitrate(1.0));
    Bitrate::bitrates() = savedList;
    Bitrate::zero() = savedZero;
}

}  // namespace
