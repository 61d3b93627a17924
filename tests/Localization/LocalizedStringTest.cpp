#include "OVUtility/Localization/LocalizedString.h"

#include <set>
#include <thread>
#include <utility>

#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include "OVUtility/Localization/PseudoLocalizationFilter.h"
#include "OVUtility/Platform/Bundle.h"
#include "OVUtility/Platform/UserDefaults.h"
#include "support/DataDirectory.h"

namespace {

using ov::LocalizedString;
using ov::PseudoLocalizationFilter;
using ov::UserDefaults;

// Must stay the first test of this program: it checks the one-time read of
// the settings, which only the first use in a process performs.
TEST(LocalizedStringFilterTest, SettingsAreReadOnceFromTheStandardDefaults) {
    static bool ranBefore = false;  // e.g. --gtest_repeat: the one-time read is long done
    if (std::exchange(ranBefore, true)) GTEST_SKIP() << "settings were read in an earlier run";
    auto previous = UserDefaults::standard();
    auto defaults = UserDefaults::makeInMemory({{"OVLocalizedStringsPercent", 0}});
    UserDefaults::setStandard(defaults);
    EXPECT_EQ(LocalizedString::badgeNew(), "[#New#]");
    defaults->remove("OVLocalizedStringsPercent");
    EXPECT_EQ(LocalizedString::badgeNew(), "[#New#]");  // still on: read once
    UserDefaults::setStandard(previous);
    PseudoLocalizationFilter::setShared(PseudoLocalizationFilter());
}

TEST(LocalizedStringFilterTest, SettingsNeedAnInteger) {
    auto from = [](nlohmann::json values) {
        return PseudoLocalizationFilter::fromUserDefaults(*UserDefaults::makeInMemory(values));
    };
    EXPECT_EQ(from({{"OVLocalizedStringsPercent", 30}}).percent(), 30);
    EXPECT_EQ(from({{"OVLocalizedStringsPercent", 0}}).percent(), 0);
    for (const nlohmann::json& bad :
         {nlohmann::json("30"), nlohmann::json(30.0), nlohmann::json(true)}) {
        EXPECT_FALSE(from({{"OVLocalizedStringsPercent", bad}}).isOn()) << bad;
    }
    EXPECT_FALSE(from(nlohmann::json::object()).isOn());
}

TEST(LocalizedStringFilterTest, GrowthFollowsThePercentage) {
    EXPECT_EQ(PseudoLocalizationFilter().apply("Play %@"), "Play %@");
    EXPECT_EQ(PseudoLocalizationFilter(0).apply("Play %@"), "[#Play %@#]");
    EXPECT_EQ(PseudoLocalizationFilter(-5).apply(""), "[##]");

    // 100 %: one look-alike capital per character (grapheme cluster), at the end.
    std::string text = "Cafe\u0301 \xF0\x9F\x8E\xB5";  // "Café 🎵": 6 characters, 7 code points
    std::string out = PseudoLocalizationFilter(100).apply(text);
    ASSERT_EQ(out.rfind("[#" + text, 0), 0u);
    ASSERT_EQ(out.substr(out.size() - 2), "#]");
    auto extra =
        icu::UnicodeString::fromUTF8(out.substr(2 + text.size(), out.size() - 4 - text.size()));
    EXPECT_EQ(extra.countChar32(), 6);
    auto capitals = icu::UnicodeString::fromUTF8(PseudoLocalizationFilter::kLookAlikeCapitals);
    for (int32_t i = 0; i < extra.length(); i = extra.moveIndex32(i, 1)) {
        EXPECT_GE(capitals.indexOf(extra.char32At(i)), 0);
    }

    // 50 % over 2000 characters: the count lands near 1000, and draws vary.
    std::string long_(2000, 'a');
    std::set<std::string> distinct;
    for (int run = 0; run < 3; ++run) {
        std::string filtered = PseudoLocalizationFilter(50).apply(long_);
        auto added =
            icu::UnicodeString::fromUTF8(filtered.substr(2 + 2000, filtered.size() - 2004));
        EXPECT_GT(added.countChar32(), 800);
        EXPECT_LT(added.countChar32(), 1200);
        distinct.insert(filtered);
    }
    EXPECT_EQ(distinct.size(), 3u);
    // 1 % over 10000 characters: about 100 added (5 standard deviations from 50 or 150).
    const std::string few = PseudoLocalizationFilter(1).apply(std::string(10000, 'a'));
    const auto fewAdded = icu::UnicodeString::fromUTF8(few.substr(10002, few.size() - 10004));
    EXPECT_GT(fewAdded.countChar32(), 50);
    EXPECT_LT(fewAdded.countChar32(), 150);
}

class LocalizedStringTest : public ::testing::Test {
  protected:
    void SetUp() override { PseudoLocalizationFilter::setShared(PseudoLocalizationFilter()); }
    void TearDown() override { PseudoLocalizationFilter::setShared(PseudoLocalizationFilter()); }
};

TEST_F(LocalizedStringTest, AccessorsReturnTheTableText) {
    EXPECT_EQ(LocalizedString::badgeNew(), "New");
    EXPECT_EQ(LocalizedString::delete_(), "Delete");
    // Same name, with and without placeholders.
    EXPECT_EQ(LocalizedString::artists(), "Artists");
    EXPECT_EQ(LocalizedString::artists(12), "12 Artists");
    EXPECT_EQ(LocalizedString::checkOutSongBy("Halo", "The Band"),
              "Check out Halo by The Band on Orvanta");
    EXPECT_EQ(LocalizedString::imListeningTo("Halo"), "I'm listening to Halo on Orvanta");
    EXPECT_EQ(LocalizedString::imListeningTo("Halo", "The Band"),
              "I'm listening to Halo by The Band on Orvanta");
    EXPECT_EQ(LocalizedString::daysLeft(-1), "-1 days left");
}

TEST_F(LocalizedStringTest, CatalogueAndTableAgree) {
    const auto& keys = LocalizedString::allKeys();
    ASSERT_EQ(keys.size(), 809u);
    auto table = LocalizedString::bundle()->stringsTable("", "en");
    std::set<std::string_view> seen;
    size_t withPlaceholders = 0;
    size_t lowerCase = 0;
    for (const auto& key : keys) {
        EXPECT_TRUE(seen.insert(key.key).second) << "duplicate " << key.key;
        auto text = table->value(key.key);
        ASSERT_TRUE(text) << key.key;
        EXPECT_FALSE(text->empty()) << key.key;
        auto placeholders = ov::formatPlaceholders(key.key);
        EXPECT_EQ(ov::formatPlaceholders(*text), placeholders) << key.key;
        if (!placeholders.empty()) ++withPlaceholders;
        if (std::islower(static_cast<unsigned char>(key.key[0]))) {
            ++lowerCase;
            EXPECT_EQ(key.accessor, key.key);
        }
    }
    EXPECT_EQ(withPlaceholders, 54u);
    EXPECT_EQ(lowerCase, 7u);
    EXPECT_EQ(table->size(), 809u);
}

TEST_F(LocalizedStringTest, FormattingWorksThroughTheFilter) {
    PseudoLocalizationFilter::setShared(PseudoLocalizationFilter(0));
    EXPECT_EQ(LocalizedString::artists(3), "[#3 Artists#]");
    EXPECT_EQ(LocalizedString::songFromAndBy("Album", "Band"), "[#From Album by Band#]");
    // The filter runs before formatting: arguments are not grown.
    PseudoLocalizationFilter::setShared(PseudoLocalizationFilter(100));
    std::string out = LocalizedString::by("Band");
    EXPECT_EQ(out.rfind("[#By Band", 0), 0u);
    auto grown = icu::UnicodeString::fromUTF8(out.substr(9, out.size() - 11));
    EXPECT_EQ(grown.countChar32(), 5);  // "By %@" has five characters
}

TEST_F(LocalizedStringTest, PassthroughUsesTheMainBundle) {
    auto previous = ov::Bundle::main();
    ov::Bundle::setPreferredLanguages({"en"});
    ov::Bundle::setMain(ov::Bundle::make(ovtest::dataDirectory() / "SampleBundle"));
    EXPECT_EQ(LocalizedString::passthrough("AppTitle"), "Sample Player");
    EXPECT_EQ(LocalizedString::passthrough("BadgeNew"), "BadgeNew");  // not the library's table
    PseudoLocalizationFilter::setShared(PseudoLocalizationFilter(0));
    EXPECT_EQ(LocalizedString::passthrough("NoSuchKey"), "[#NoSuchKey#]");
    ov::Bundle::setMain(previous);
    ov::Bundle::setPreferredLanguages({});
}

TEST_F(LocalizedStringTest, LookupsFromManyThreads) {
    std::vector<std::thread> threads;
    std::atomic<int> mismatches{0};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 200; ++i) {
                if (LocalizedString::stations(i) != std::to_string(i) + " Stations") ++mismatches;
            }
        });
    }
    for (auto& t : threads) t.join();
    EXPECT_EQ(mismatches.load(), 0);
}

}  // namespace
