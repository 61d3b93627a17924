#include "OVUtility/Platform/Bundle.h"

#include <fstream>

#include <gtest/gtest.h>

#include "OVLog/CaptureSink.h"
#include "support/DataDirectory.h"
#include "support/TempDirectory.h"

namespace {

using ov::Bundle;

class BundleTest : public ::testing::Test {
  protected:
    void SetUp() override { Bundle::setPreferredLanguages({"en"}); }
    void TearDown() override { Bundle::setPreferredLanguages({}); }
    std::filesystem::path sample = ovtest::dataDirectory() / "SampleBundle";
};

TEST_F(BundleTest, FindsResourcesAndInformation) {
    auto bundle = Bundle::make(sample);
    EXPECT_EQ(bundle->url("release-features", "json"), sample / "release-features.json");
    EXPECT_EQ(bundle->url("release-features", ".json"), sample / "release-features.json");
    EXPECT_FALSE(bundle->url("missing-features", "json"));
    EXPECT_FALSE(bundle->url("", "json"));
    // Localised resources are found in the preferred .lproj folder.
    EXPECT_EQ(bundle->url("Localizable", "strings"), sample / "en.lproj/Localizable.strings");
    EXPECT_EQ(bundle->localizations(), (std::vector<std::string>{"de", "en"}));
    EXPECT_EQ(bundle->objectForInfoDictionaryKey("BundleIdentifier"), "com.orvanta.sample");
    EXPECT_FALSE(bundle->objectForInfoDictionaryKey("Nope"));
}

TEST_F(BundleTest, LocalizedStringFallsBackLikeThePlatform) {
    auto bundle = Bundle::make(sample);
    EXPECT_EQ(bundle->localizedString("AppTitle"), "Sample Player");
    EXPECT_EQ(bundle->localizedString("Missing"), "Missing");             // the key itself
    EXPECT_EQ(bundle->localizedString("Missing", "Default"), "Default");  // or the given value
    EXPECT_EQ(bundle->localizedString("AppTitle", "", "NoSuchTable"), "AppTitle");
    // German first; keys that the German table lacks come from the
    // development language.
    Bundle::setPreferredLanguages({"de_DE.UTF-8"});
    EXPECT_EQ(bundle->preferredLocalizations(), (std::vector<std::string>{"de", "en"}));
    EXPECT_EQ(bundle->localizedString("AppTitle"), "Beispielspieler");
    EXPECT_EQ(bundle->localizedString("NowStreaming"), "Now streaming %@");
    Bundle::setPreferredLanguages({"fr"});
    EXPECT_EQ(bundle->preferredLocalizations(), (std::vector<std::string>{"en"}));
}

TEST_F(BundleTest, MalformedTableIsLoggedOnceAndTreatedAsEmpty) {
    ovtest::TempDirectory tmp;
    const auto dir = tmp.path();
    std::filesystem::create_directories(dir / "en.lproj");
    std::ofstream(dir / "en.lproj/Localizable.strings") << "\"a\" = \"b\"\n\"c\" = \"d\";\n";
    std::ofstream(dir / "Info.json") << "[1, 2";
    auto capture = ovlog::CaptureSink::attach();
    auto bundle = Bundle::make(dir);
    EXPECT_EQ(bundle->localizedString("a"), "a");
    EXPECT_EQ(bundle->localizedString("c"), "c");
    EXPECT_TRUE(bundle->infoDictionary().empty());
    auto messages = capture->messages("Bundle");
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_NE(messages[0].find("Info.json"), std::string::npos);
    EXPECT_EQ(messages[1],
              "strings table ignored: " + (dir / "en.lproj/Localizable.strings").string() +
                  ":2: expected \";\" after the value, found \"\"\"");
}

TEST_F(BundleTest, LibraryBundleIsCompiledIn) {
    auto library = Bundle::library();
    EXPECT_EQ(library->localizedString("BadgeNew"), "New");
    EXPECT_EQ(library->objectForInfoDictionaryKey("BundleIdentifier"), "com.orvanta.OVUtility");
    ASSERT_TRUE(library->stringsTable("", "en"));
    EXPECT_EQ(library->stringsTable("", "en")->size(), 809u);
}

}  // namespace
