#include "OVUtility/Features/ProductFeature.h"

#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "FeatureTestSupport.h"
#include "OVUtility/Features/ProductFeatureController.h"
#include "support/DataDirectory.h"

namespace {

using ov::ProductFeature;
using ov::ProductFeatureSourceFile;

// Find-or-create updates only the fields it is given, never the override,
// and announces nothing even when the effective value changes.
TEST(ProductFeatureTest, FindOrCreateReturnsOneObjectAndUpdatesGivenFields) {
    auto a = ProductFeature::product("TEST-100");
    ovtest::ChangeRecorder changes(a);
    a->setManuallyEnabled(false);  // silent
    auto b = ProductFeature::product("TEST-100", "Described", true, ProductFeatureSourceFile::local,
                                     true);
    EXPECT_EQ(a, b);
    EXPECT_EQ(a->description(), "Feature TEST-100: Described (local-features) = disabled");
    EXPECT_TRUE(a->initiallyEnabled());
    EXPECT_TRUE(a->isCompileTimeOnly());
    EXPECT_EQ(a->manuallyEnabled(), false);
    a->setManuallyEnabled(std::nullopt);
    ProductFeature::product("TEST-100", std::nullopt, false);
    EXPECT_EQ(a->description(), "Feature TEST-100: Described (local-features) = disabled");
    EXPECT_EQ(ProductFeature::product("TEST-101")->description(),
              "Feature TEST-101:  (none) = disabled");
    EXPECT_EQ(changes.count, 0);
}

// The setter compares stored overrides (absent -> v is a change even when the
// value stays); reset compares effective values. Counts are cumulative.
TEST(ProductFeatureTest, SetterComparesOverridesResetComparesEffectiveValues) {
    const struct {
        bool initially;
        std::vector<std::pair<const char*, int>> steps;
        const char* finalText;
    } cases[] = {
        {false, {{"off", 1}, {"off", 1}, {"on", 2}}, "Feature TEST-200: S (develop-features) = enabled"},
        {true, {{"reset", 0}, {"on", 1}, {"reset", 1}, {"off", 2}, {"reset", 3}},
         "Feature TEST-201: S (develop-features) = enabled"},
    };
    int n = 0;
    for (const auto& c : cases) {
        auto feature = ProductFeature::product("TEST-20" + std::to_string(n++), "S", c.initially,
                                               ProductFeatureSourceFile::develop);
        ovtest::ChangeRecorder changes(feature);
        for (const auto& [op, expected] : c.steps) {
            if (std::string(op) == "reset")
                feature->reset();
            else
                feature->setEnabled(std::string(op) == "on");
            EXPECT_EQ(changes.count, expected) << op;
        }
        EXPECT_EQ(changes.last.object.as<ProductFeature>(), feature);
        EXPECT_TRUE(changes.last.userInfo.is_null());
        EXPECT_EQ(feature->description(), c.finalText);
        EXPECT_EQ(feature->initiallyEnabled(), c.initially);
    }
}

TEST(ProductFeatureTest, AccessorsUseTheirIdentifiers) {
    // Load the sample files first: an accessor read for an identifier that no
    // file has defined yet makes a code feature (source none), which every
    // later reload keeps in place of the file's definition. Loading first
    // keeps the sample features file-defined for the other tests.
    ov::ProductFeatureController::setBundleToLoad(
        ov::Bundle::make(ovtest::dataDirectory() / "SampleBundle"));
    ov::ProductFeatureController::updateProductFeatures(ov::ProductFeatureSet::develop);
    EXPECT_EQ(ProductFeature::limitSLLeadInAudioMessages()->featureID(), "IOS-11718");

    // Every accessor names its own feature.
    std::set<std::string> identifiers;
#define OV_PRODUCT_FEATURE(name, identifier) \
    identifiers.insert(ProductFeature::name()->featureID());
#define OV_PRODUCT_FEATURE_FIXED(name, identifier, d, e, c) \
    identifiers.insert(ProductFeature::name()->featureID());
#include "OVUtility/Features/ProductFeatureList.def"
#undef OV_PRODUCT_FEATURE
#undef OV_PRODUCT_FEATURE_FIXED
    EXPECT_EQ(identifiers.size(), 103u);
}

// Its fixed fields are forced back on every read; the others are left alone.
TEST(ProductFeatureTest, DisableCacheForFRCIsForcedOnEveryRead) {
    auto feature = ProductFeature::disableCacheForFRC();
    feature->setInitiallyEnabled(false);
    feature->setIsCompileTimeOnly(false);
    feature->setFeatureDescription("changed");
    feature->setSourceFile(ProductFeatureSourceFile::local);
    feature->setEnabled(false);
    EXPECT_EQ(ProductFeature::disableCacheForFRC(), feature);
    EXPECT_EQ(feature->description(),
              "Feature IOS-7740: Disable cache for FRC in iOS 10 (local-features) = disabled");
    EXPECT_TRUE(feature->initiallyEnabled());
    EXPECT_TRUE(feature->isCompileTimeOnly());
    feature->setManuallyEnabled(std::nullopt);
}

TEST(ProductFeatureTest, SourceFileAndSetValues) {
    using ov::ProductFeatureSet;
    EXPECT_EQ(ov::rawValue(ProductFeatureSourceFile::release), "release-features");
    EXPECT_EQ(ov::description(ProductFeatureSourceFile::develop), "Develop");
    EXPECT_EQ(ov::description(ProductFeatureSourceFile::none), "None");
    EXPECT_EQ(ov::productFeatureSourceFile("local-features"), ProductFeatureSourceFile::local);
    EXPECT_FALSE(ov::productFeatureSourceFile("local"));
    EXPECT_EQ(ov::productFeatureSet(1), ProductFeatureSet::develop);
    EXPECT_FALSE(ov::productFeatureSet(2) || ov::productFeatureSet(-1));
}

// Find-or-create from several threads hands out one object per identifier;
// every writer ends with a reset, so no override is left.
TEST(ProductFeatureTest, ConcurrentUseKeepsOneObjectPerIdentifier) {
    auto feature = ProductFeature::product("TEST-600", "Threads", false);
    std::vector<std::vector<std::shared_ptr<ProductFeature>>> made(4);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 200; ++i) {
                if (t % 2 == 0) {
                    feature->setEnabled(i % 2 == 0);
                    feature->reset();
                } else {
                    (void)feature->description();
                }
                made[t].push_back(ProductFeature::product("TEST-6" + std::to_string(10 + i)));
            }
        });
    }
    for (auto& t : threads) t.join();
    for (int t = 1; t < 4; ++t) EXPECT_EQ(made[t], made[0]);
    EXPECT_FALSE(feature->manuallyEnabled());
}

}  // namespace
