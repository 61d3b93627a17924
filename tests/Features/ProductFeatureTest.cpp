#include "OVUtility/Features/ProductFeature.h"

#include <atomic>
#include <set>
#include <thread>

#include <gtest/gtest.h>

#include "FeatureTestSupport.h"
#include "OVUtility/Features/ProductFeatureController.h"
#include "OVUtility/Features/Verification.h"
#include "support/DataDirectory.h"

namespace {

using ov::ProductFeature;
using ov::ProductFeatureSourceFile;

TEST(ProductFeatureTest, FindOrCreateReturnsOneObjectAndUpdatesGivenFields) {
    auto a = ProductFeature::product("TEST-100");
    EXPECT_EQ(a->featureDescription(), "");
    EXPECT_FALSE(a->initiallyEnabled());
    EXPECT_FALSE(a->manuallyEnabled());
    EXPECT_EQ(a->sourceFile(), ProductFeatureSourceFile::none);
    EXPECT_FALSE(a->isCompileTimeOnly());

    ovtest::ChangeRecorder changes(a);
    a->setManuallyEnabled(false);  // silent
    auto b = ProductFeature::product("TEST-100", "Described", true, ProductFeatureSourceFile::local,
                                     true);
    EXPECT_EQ(a, b);
    EXPECT_EQ(a->featureDescription(), "Described");
    EXPECT_TRUE(a->initiallyEnabled());
    EXPECT_EQ(a->sourceFile(), ProductFeatureSourceFile::local);
    EXPECT_TRUE(a->isCompileTimeOnly());
    EXPECT_EQ(a->manuallyEnabled(), false);  // never touched by find-or-create

    // Absent arguments leave fields alone; no announcement even though the
    // effective value changes.
    a->setManuallyEnabled(std::nullopt);
    ProductFeature::product("TEST-100", std::nullopt, false);
    EXPECT_EQ(a->featureDescription(), "Described");
    EXPECT_FALSE(a->enabled());
    EXPECT_EQ(changes.count(), 0);
}

TEST(ProductFeatureTest, SetterComparesStoredOverrides) {
    auto feature = ProductFeature::product("TEST-200", "Setter", false);
    ovtest::ChangeRecorder changes(feature);
    feature->setEnabled(false);  // absent -> false: a change, though the value stays false
    EXPECT_EQ(changes.count(), 1);
    EXPECT_EQ(changes.lastObject(), feature);
    EXPECT_TRUE(changes.lastUserInfoNull());
    feature->setEnabled(false);  // false -> false: nothing
    EXPECT_EQ(changes.count(), 1);
    feature->setEnabled(true);
    EXPECT_EQ(changes.count(), 2);
    EXPECT_TRUE(feature->enabled());
    EXPECT_FALSE(feature->initiallyEnabled());
}

TEST(ProductFeatureTest, ResetComparesEffectiveValues) {
    auto feature = ProductFeature::product("TEST-300", "Reset", true);
    ovtest::ChangeRecorder changes(feature);
    feature->reset();  // no override at all
    EXPECT_EQ(changes.count(), 0);

    feature->setEnabled(true);  // override equal to the initial value
    EXPECT_EQ(changes.count(), 1);
    feature->reset();
    EXPECT_EQ(changes.count(), 1);  // effective value unchanged: silent
    EXPECT_FALSE(feature->manuallyEnabled());

    feature->setEnabled(false);
    EXPECT_EQ(changes.count(), 2);
    feature->reset();
    EXPECT_EQ(changes.count(), 3);
    EXPECT_TRUE(feature->enabled());
}

TEST(ProductFeatureTest, DescriptionText) {
    auto feature =
        ProductFeature::product("TEST-400", "Shows text", false, ProductFeatureSourceFile::develop);
    EXPECT_EQ(feature->description(), "Feature TEST-400: Shows text (develop-features) = disabled");
    feature->setEnabled(true);
    EXPECT_EQ(feature->description(), "Feature TEST-400: Shows text (develop-features) = enabled");
    EXPECT_EQ(ProductFeature::product("TEST-401")->description(),
              "Feature TEST-401:  (none) = disabled");
}

TEST(ProductFeatureTest, AccessorsUseTheirIdentifiers) {
    // Load the sample files first: an accessor read for an identifier that no
    // file has defined yet makes a code feature (source none), which every
    // later reload keeps in place of the file's definition. Loading first
    // keeps the sample features file-defined for the other tests.
    ov::ProductFeatureController::setBundleToLoad(
        ov::Bundle::make(ovtest::dataDirectory() / "SampleBundle"));
    ov::ProductFeatureController::updateProductFeatures(ov::ProductFeatureSet::develop);
    EXPECT_EQ(ProductFeature::premiumBrowseRefactor()->featureID(), "IOS-10887");
    EXPECT_EQ(ProductFeature::uiAutomationTest()->featureID(), "IOS-5222");
    EXPECT_EQ(ProductFeature::limitSLLeadInAudioMessages()->featureID(), "IOS-11718");
    EXPECT_EQ(ProductFeature::alexaAppToAppLinking()->featureID(), "DEVICE-10546");
    EXPECT_EQ(ProductFeature::speechRecognitionSettingsAlert(),
              ProductFeature::speechRecognitionSettingsAlert());
    EXPECT_EQ(ProductFeature::product("IOS-10887"), ProductFeature::premiumBrowseRefactor());

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

TEST(ProductFeatureTest, DisableCacheForFRCIsForcedOnEveryRead) {
    auto feature = ProductFeature::disableCacheForFRC();
    EXPECT_EQ(feature->featureID(), "IOS-7740");
    EXPECT_EQ(feature->featureDescription(), "Disable cache for FRC in iOS 10");
    feature->setInitiallyEnabled(false);
    feature->setIsCompileTimeOnly(false);
    feature->setFeatureDescription("changed");
    feature->setSourceFile(ProductFeatureSourceFile::local);
    feature->setEnabled(false);
    auto again = ProductFeature::disableCacheForFRC();
    EXPECT_EQ(again, feature);
    EXPECT_TRUE(feature->initiallyEnabled());
    EXPECT_TRUE(feature->isCompileTimeOnly());
    EXPECT_EQ(feature->featureDescription(), "Disable cache for FRC in iOS 10");
    EXPECT_EQ(feature->sourceFile(), ProductFeatureSourceFile::local);  // not passed
    EXPECT_EQ(feature->manuallyEnabled(), false);                       // not passed
    feature->setManuallyEnabled(std::nullopt);
}

TEST(ProductFeatureTest, SourceFileAndSetValues) {
    using ov::ProductFeatureSet;
    EXPECT_EQ(ov::rawValue(ProductFeatureSourceFile::release), "release-features");
    EXPECT_EQ(ov::rawValue(ProductFeatureSourceFile::none), "none");
    EXPECT_EQ(ov::description(ProductFeatureSourceFile::develop), "Develop");
    EXPECT_EQ(ov::description(ProductFeatureSourceFile::none), "None");
    EXPECT_EQ(ov::productFeatureSourceFile("local-features"), ProductFeatureSourceFile::local);
    EXPECT_FALSE(ov::productFeatureSourceFile("local"));
    EXPECT_FALSE(ov::productFeatureSourceFile(""));
    EXPECT_EQ(ov::productFeatureSet(0), ProductFeatureSet::release);
    EXPECT_EQ(ov::productFeatureSet(1), ProductFeatureSet::develop);
    EXPECT_FALSE(ov::productFeatureSet(2));
    EXPECT_FALSE(ov::productFeatureSet(-1));

    ov::Verification<bool> seen({true});
    seen.values.push_back(ProductFeature::product("TEST-500")->enabled());
    EXPECT_EQ(seen.values, (std::vector<bool>{true, false}));
}

}  // namespace

namespace {

// Features are meant for one thread, but reading them elsewhere must be safe.
TEST(ProductFeatureTest, ConcurrentUseIsSafe) {
    auto feature = ov::ProductFeature::product("TEST-600", "Threads", false);
    std::atomic<int> notifications{0};
    auto center = ov::NotificationCenter::defaultCenter();
    auto token = center->addObserver(ov::ProductFeature::featureDidChangeNotificationName,
                                     ov::AnyObject(feature), nullptr,
                                     [&](const ov::Notification&) { ++notifications; });
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 200; ++i) {
                if (t % 2 == 0) {
                    feature->setEnabled(i % 2 == 0);
                    feature->reset();
                } else {
                    EXPECT_EQ(ov::ProductFeature::product("TEST-600"), feature);
                    (void)feature->description();
                    (void)ov::ProductFeature::product("TEST-6" + std::to_string(10 + i % 5));
                }
            }
        });
    }
    for (auto& t : threads) t.join();
    center->removeObserver(token);
    EXPECT_GT(notifications.load(), 0);
    EXPECT_FALSE(feature->manuallyEnabled());
}

}  // namespace
