#include "OVUtility/Extensions/NSStringAdditions.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "Extensions/LocaleGuard.h"
#include "OVLog/CaptureSink.h"
#include "OVUtility/Platform/Bundle.h"
#include "support/TempDirectory.h"

namespace ns = ov::nsstring;

namespace {

struct CountCase {
    std::int64_t count;
    const char* expected;
};

// Expected values come from an independent float32 model of the rule (round
// the quotient to float, then floor its decimal form).
// clang-format off
constexpr CountCase kCountCases[] = {
    {-5000, "-5,000"}, {-1, "-1"}, {0, "0"}, {999, "999"}, {1000, "1.0K"}, {1099, "1.0K"},
    {1100, "1.1K"}, {1300, "1.2K"}, {1999, "1.9K"}, {9999, "9.9K"}, {10000, "10K"},
    {99999, "99K"}, {999999, "999K"}, {1000000, "1.0M"}, {1099999, "1.0M"}, {1300000, "1.2M"},
    {1999999, "1.9M"}, {9999999, "9.9M"}, {10000000, "10M"}, {16777217, "16M"},
    {19999999, "20M"}, {999999999, "1,000M"}, {1234567890, "1,234M"}, {2147483647, "2,147M"},
};
// clang-format on

}  // namespace

TEST(NSStringAdditions, ListenerCountsAroundEveryBoundaryFollowTheCurrentLocale) {
    ovtest::LocaleGuard guard("en_US");
    for (const auto& c : kCountCases) {
        EXPECT_EQ(ns::abbreviateListenerCountNumber(c.count),
                  std::string(c.expected) + " listeners")
            << "count " << c.count;
    }
    {
        ovtest::LocaleGuard german("de_DE");
        EXPECT_EQ(ns::abbreviateListenerCountNumber(1999), "1,9K listeners");
        EXPECT_EQ(ns::abbreviateListenerCountNumber(1234567890), "1.234M listeners");
    }
    EXPECT_EQ(ns::abbreviateListenerCountNumber(1999), "1.9K listeners");
}

TEST(NSStringAdditions, OrdinalsKeepTheNarrowTeenRule) {
    // clang-format off
    const std::pair<std::int32_t, const char*> cases[] = {
        {1, "first"}, {2, "second"}, {3, "third"}, {4, "fourth"}, {5, "5th"}, {0, "0th"},
        {11, "11th"}, {12, "12th"}, {13, "13th"}, {21, "21st"}, {22, "22nd"}, {23, "23rd"},
        {24, "24th"}, {111, "111st"}, {112, "112nd"}, {113, "113rd"}, {-1, "-1th"}, {-2, "-2th"},
        {-21, "-21th"}, {1000, "1000th"}, {2147483647, "2147483647th"},
        {-2147483647 - 1, "-2147483648th"},
    };
    // clang-format on
    for (const auto& [n, expected] : cases) {
        EXPECT_EQ(ns::ordinalStringForInteger(n), expected) << n;
    }
}

TEST(NSStringAdditions, IntegerScanningSkipsWhitespaceAndNeedsTheWholeText) {
    for (const char* yes : {"12", "-7", "+7", "  42", "42 \n", "0", "99999999999", "\t-0"}) {
        EXPECT_TRUE(ns::isInteger(yes)) << yes;
    }
    for (const char* no : {"", " ", "12a", "a12", "1 2", "-", "+", "1.5", "١٢", "--1"}) {
        EXPECT_FALSE(ns::isInteger(no)) << no;
    }
}

TEST(NSStringAdditions, SearchesAndWhitespaceTests) {
    // {text, needle or nothing, contains, containsIgnoreCase}
    const std::tuple<const char*, const char*, bool, bool> searches[] = {
        {"Rock Radio", "k R", true, true},
        {"Rock Radio", "rock", false, true},
        {"Rock Radio", "", false, false},    // the platform never finds ""
        {"STRASSE", "straße", false, true},  // full case folding
        {"ΣΊΣΥΦΟΣ", "σίσυφος", false, true}};
    for (const auto& [text, needle, plain, folded] : searches) {
        EXPECT_EQ(ns::containsString(text, needle), plain) << needle;
        EXPECT_EQ(ns::containsStringIgnoreCase(text, needle), folded) << needle;
    }
    EXPECT_TRUE(ns::hasContentExcludingWhitespace(" a "));
    EXPECT_FALSE(ns::hasContentExcludingWhitespace(""));
    EXPECT_FALSE(ns::hasContentExcludingWhitespace(" \t\r\n\u00A0\u2028\u3000"));
    for (const char* yes : {"abc", "Élan", "\u0301x"}) EXPECT_TRUE(ns::beginsWithLetter(yes));
    // A surrogate first UTF-16 unit is no letter.
    for (const char* no : {"1abc", "", " a", "\U0001D400bc"})
        EXPECT_FALSE(ns::beginsWithLetter(no));
}

TEST(NSStringAdditions, SuffixPluralQuotesAndCustomString) {
    EXPECT_EQ(ns::stringWithSuffix("Rock", "Radio"), "Rock Radio");
    EXPECT_EQ(ns::stringWithSuffix("Rock Radio", "Radio"), "Rock Radio");
    EXPECT_EQ(ns::stringWithSuffix("Rock", ""), "Rock ");  // "" is never a suffix
    EXPECT_EQ(ns::stringWithSuffix("", "Radio"), " Radio");

    EXPECT_EQ(ns::pluralizedWithCount("song", 0), "songs");
    EXPECT_EQ(ns::pluralizedWithCount("song", 1), "song");
    EXPECT_EQ(ns::pluralizedWithCount("song", -1), "songs");

    EXPECT_EQ(ns::inQuotes("Hey Jude"), "\u201CHey Jude\u201C");

    EXPECT_EQ(ns::stringWithCustomString("Mine", "Default"), "Mine");
    EXPECT_EQ(ns::stringWithCustomString(" \n ", "Default"), "Default");
    EXPECT_EQ(ns::stringWithCustomString(std::nullopt, "Default"), "Default");
}

TEST(NSStringAdditions, HashesMatchKnownDigests) {
    EXPECT_EQ(ns::stringWithSHA1Hash("abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(ns::stringWithSHA1Hash("héllo wörld"), "24e9f5c07847ff8a2a9fa77456655792f5bc7f9f");
    EXPECT_EQ(ns::stringWithSHA256Hash("abc"),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(NSStringAdditions, HmacUsesAFixed64ByteKeyAndStopsAtNul) {
    // A short key padded to 64 bytes is the ordinary HMAC of that key.
    EXPECT_EQ(ns::hmacWithKey("what do ya want for nothing?", "Jefe"),
              "7/zfauXrL6LSdBbV8YTfnCWafHk=");
    EXPECT_EQ(ns::hmacWithKey("abc", std::string(64, 'k')), "fET2ly/on8xt9BOSG242Fq3/qWQ=");
    // A longer key is cut to 64 bytes rather than hashed first (as HMAC would).
    const std::string longKey(80, '\xaa');
    const char* message = "Test Using Larger Than Block-Size Key - Hash Key First";
    EXPECT_EQ(ns::hmacWithKey(message, longKey), "BwqYmSxMGoNHTLeA/FZGCN889QM=");
    // The message is a C string.
    using namespace std::string_literals;
    EXPECT_EQ(ns::hmacWithKey("abc\0def"s, std::string(64, 'k')), "fET2ly/on8xt9BOSG242Fq3/qWQ=");
    EXPECT_EQ(ns::hmacWithKey("", ""), "+9sdGxiqbAgyS31ktx+3Y3BpDh0=");
}

TEST(NSStringAdditions, UnCamelCaseAppliesBothPatternsThenCapitalises) {
    const std::pair<const char*, const char*> cases[] = {
        {"myCollectionLargerText", "My Collection Larger Text"},
        {"abc1", "Abc 1"},
        {"HTMLParser", "HTML Parser"},
        {"getHTTPResponseCode", "Get HTTP Response Code"},
        {"version2Point0", "Version 2Point 0"},
        {"already Spaced", "Already Spaced"},
        {"ABC", "ABC"},
        {"a", "A"},
        {"", ""},
        {"élanVital", "Élan Vital"},
        {"ÉtéChaud", "ÉtéChaud"},  // the patterns only know ASCII letters
        {"ßeta", "Sseta"},         // capitalisation is title-casing
        {"\u01C6ungla", "\u01C5ungla"},
    };
    for (const auto& [input, expected] : cases) {
        EXPECT_EQ(ns::unCamelCase(input), expected) << input;
    }
}

namespace {

// The rule stated plainly: find the first match from the start, delete it,
// repeat. The implementation resumes its search where it deleted; this
// reference does not, so any difference shows.
std::string stripNaively(std::string text) {
    for (;;) {
        std::size_t open = std::string::npos, close = std::string::npos;
        for (std::size_t i = 0; i < text.size() && open == std::string::npos; ++i) {
            if (text[i] != '<') continue;
            std::size_t j = text.find('>', i + 1);
            if (j != std::string::npos && j > i + 1) open = i, close = j;
        }
        if (open == std::string::npos) return text;
        text.erase(open, close - open + 1);
    }
}

}  // namespace

TEST(NSStringAdditions, StrippingHtmlMatchesRepeatedFirstMatchDeletion) {
    EXPECT_EQ(ns::stringByStrippingHTML("<p>Hello <b>World</b></p>"), "Hello World");
    EXPECT_EQ(ns::stringByStrippingHTML("a < b and c > d"), "a  d");
    EXPECT_EQ(ns::stringByStrippingHTML("<<b>>"), ">");
    EXPECT_EQ(ns::stringByStrippingHTML("<>"), "<>");
    EXPECT_EQ(ns::stringByStrippingHTML("x<br/>y<img src=\"é.png\">z"), "xyz");

    // Exhaustive over short texts of the significant characters.
    const char alphabet[] = {'<', '>', 'a'};
    for (int length = 0; length <= 7; ++length) {
        int total = 1;
        for (int i = 0; i < length; ++i) total *= 3;
        for (int n = 0; n < total; ++n) {
            std::string text;
            for (int i = 0, v = n; i < length; ++i, v /= 3) text += alphabet[v % 3];
            ASSERT_EQ(ns::stringByStrippingHTML(text), stripNaively(text)) << text;
        }
    }
}

TEST(NSStringAdditions, LongRunsOfCapitalsAndBracketsTakeLinearTime) {
    // A backtracking engine rescans such runs from every position: seconds
    // at 16 KB, minutes at 64 KB. Linear work takes milliseconds.
    const std::string caps(64000, 'A'), opens(64000, '<');
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ns::unCamelCase(caps), caps);
    EXPECT_EQ(ns::unCamelCase("x" + caps + "b"), "X " + caps.substr(1) + " Ab");
    EXPECT_EQ(ns::stringByStrippingHTML(opens), opens);
    EXPECT_EQ(ns::stringByStrippingHTML(opens + ">"), "");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

TEST(NSStringAdditions, SupportedSchemesComeFromTheInfoDictionary) {
    ovtest::TempDirectory directory;
    const auto path = directory.path() / "info.json";
    std::ofstream(path) << R"({"CFBundleURLTypes": [
                     {"CFBundleURLSchemes": ["orvanta", "", 7, "ovfm"]},
                     {"CFBundleURLSchemes": ["second"]}]})";
    ns::setInfoDictionaryProvider(ns::infoDictionaryFromJsonFile(path.string()));
    EXPECT_TRUE(ns::isPrefixedBySupportedURLScheme("orvanta://play/1"));
    EXPECT_TRUE(ns::isPrefixedBySupportedURLScheme("orvantafoo"));  // plain prefix, no ":"
    EXPECT_TRUE(ns::isPrefixedBySupportedURLScheme("ovfm:"));
    EXPECT_FALSE(ns::isPrefixedBySupportedURLScheme("second://x"));  // only the first entry
    EXPECT_FALSE(ns::isPrefixedBySupportedURLScheme("http://orvanta"));
    EXPECT_FALSE(ns::isPrefixedBySupportedURLScheme(""));

    // The file is read once: later changes are not seen by this provider.
    std::filesystem::remove(path);
    EXPECT_TRUE(ns::isPrefixedBySupportedURLScheme("orvanta://"));

    auto capture = ovlog::CaptureSink::attach();
    ns::setInfoDictionaryProvider(ns::infoDictionaryFromJsonFile(path.string()));
    EXPECT_FALSE(ns::isPrefixedBySupportedURLScheme("orvanta://"));
    EXPECT_EQ(capture->messages("OVUtility"),
              std::vector<std::string>{"information dictionary " + path.string() +
                                       " could not be opened"});

    for (const char* malformed :
         {R"({"CFBundleURLTypes": {}})", R"({"CFBundleURLTypes": []})",
          R"({"CFBundleURLTypes": [["orvanta"]]})",
          R"({"CFBundleURLTypes": [{"CFBundleURLSchemes": "orvanta"}]})", "[1, 2]"}) {
        auto json = nlohmann::json::parse(malformed);
        ns::setInfoDictionaryProvider([json] { return std::optional<nlohmann::json>(json); });
        EXPECT_FALSE(ns::isPrefixedBySupportedURLScheme("orvanta://")) << malformed;
    }
    ns::setInfoDictionaryProvider(nullptr);
}

TEST(NSStringAdditions, SupportedSchemesDefaultToTheMainBundleAndStoreHostsAreKnown) {
    ovtest::TempDirectory directory;
    std::ofstream(directory.path() / "Info.json")
        << R"({"CFBundleURLTypes": [{"CFBundleURLSchemes": ["mainscheme"]}]})";
    const auto previous = ov::Bundle::main();
    ov::Bundle::setMain(ov::Bundle::make(directory.path()));
    ns::setInfoDictionaryProvider(nullptr);
    EXPECT_TRUE(ns::isPrefixedBySupportedURLScheme("mainscheme://x"));
    EXPECT_FALSE(ns::isPrefixedBySupportedURLScheme("orvanta://x"));
    ov::Bundle::setMain(previous);

    for (const char* yes : {"https://itunes.apple.com/us/album/1", "http://itunes.apple.com",
                            "https://geo.itunes.apple.com/x", "http://geo.itunes.apple.com/x"}) {
        EXPECT_TRUE(ns::isSupportedAppleURLScheme(yes)) << yes;
    }
    EXPECT_FALSE(ns::isSupportedAppleURLScheme("itunes.apple.com"));
    EXPECT_FALSE(ns::isSupportedAppleURLScheme("https://example.com/itunes.apple.com"));
}

TEST(NSStringAdditions, SocketAddressesInBothLayouts) {
    std::vector<std::uint8_t> v4 = {16, 2, 0x1F, 0x90, 192, 168, 1, 20, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(ns::stringFromIpAddress(v4), "192.168.1.20");

    std::vector<std::uint8_t> v6(28, 0);
    v6[0] = 28;
    v6[1] = 30;
    v6[8 + 15] = 1;
    EXPECT_EQ(ns::stringFromIpAddress(v6), "::1");
    const std::uint8_t doc[16] = {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x42};
    std::copy(std::begin(doc), std::end(doc), v6.begin() + 8);
    EXPECT_EQ(ns::stringFromIpAddress(v6), "2001:db8::42");
    const std::uint8_t mapped[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 1, 2, 3, 4};
    std::copy(std::begin(mapped), std::end(mapped), v6.begin() + 8);
    EXPECT_EQ(ns::stringFromIpAddress(v6), "::ffff:1.2.3.4");

    EXPECT_EQ(ns::stringFromIpAddress(std::nullopt), std::nullopt);
    std::vector<std::uint8_t> unknown = v4;
    unknown[1] = 10;  // Linux's AF_INET6 number is not the platform's
    EXPECT_EQ(ns::stringFromIpAddress(unknown), std::nullopt);
    // Too short for the family: refused instead of reading past the end.
    EXPECT_EQ(ns::stringFromIpAddress(std::span(v4).first(7)), std::nullopt);
    EXPECT_EQ(ns::stringFromIpAddress(std::span(v6).first(23)), std::nullopt);
    EXPECT_EQ(ns::stringFromIpAddress(std::span(v4).first(1)), std::nullopt);
}

TEST(NSStringAdditions, HexadecimalOfDataAndNilForEmpty) {
    const std::vector<std::uint8_t> bytes = {0x00, 0x0f, 0xa0, 0xff};
    EXPECT_EQ(ns::hexadecimalStringFromData(bytes), "000fa0ff");
    EXPECT_EQ(ns::hexadecimalStringFromData(std::span<const std::uint8_t>()), std::nullopt);
    EXPECT_EQ(ns::hexadecimalStringFromData(std::nullopt), std::nullopt);
}

TEST(NSStringAdditions, SharedPatternsAndFormattersWorkFromManyThreads) {
    ovtest::LocaleGuard guard("en_US");
    std::vector<std::thread> threads;
    std::atomic<int> failures{0};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 200; ++i) {
                if (ns::unCamelCase("myCollectionLargerText") != "My Collection Larger Text")
                    ++failures;
                if (ns::stringByStrippingHTML("<b>x</b>") != "x") ++failures;
                if (ns::abbreviateListenerCountNumber(1999) != "1.9K listeners") ++failures;
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(failures.load(), 0);
}
