#include "OVUtility/Extensions/StringAdditions.h"

#include <cmath>
#include <limits>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Extensions/LocaleGuard.h"
#include "OVLog/CaptureSink.h"

namespace str = ov::strings;

TEST(StringAdditions, TrackTimeTruncatesEachPartAndKeepsNegativeParts) {
    // clang-format off
    const std::pair<double, const char*> cases[] = {
        {0, "0:00"}, {0.999, "0:00"}, {59.9, "0:59"}, {60, "1:00"}, {61.5, "1:01"},
        {3599.999, "59:59"}, {3600, "1:00:00"}, {3725, "1:02:05"}, {36000, "10:00:00"},
        {90061, "25:01:01"}, {-5, "0:-5"}, {-65, "-1:-5"}, {-3600, "0:00"}, {-3661, "-1:-1"},
        {-0.5, "0:00"}, {1e12, "277777777:46:40"},
    };
    // clang-format on
    for (const auto& [seconds, expected] : cases) {
        EXPECT_EQ(str::trackTime(seconds), expected) << seconds;
    }
    EXPECT_EQ(str::trackTime(std::nullopt), "0:00");
    EXPECT_EQ(str::trackTime(std::nan("")), "0:00");
}

TEST(StringAdditions, TrackTimeRefusesValuesBeyondSixtyFourBitHoursWithALogLine) {
    auto capture = ovlog::CaptureSink::attach();
    EXPECT_EQ(str::trackTime(std::numeric_limits<double>::infinity()), "0:00");
    EXPECT_EQ(str::trackTime(-std::numeric_limits<double>::infinity()), "0:00");
    EXPECT_EQ(str::trackTime(1e30), "0:00");
    EXPECT_EQ(capture->messages("OVUtility").size(), 3u);
    // The largest value that still fits is formatted.
    EXPECT_NE(str::trackTime(3.2e22), "0:00");
}

TEST(StringAdditions, CanonicalNameDropsOneLeadingArticle) {
    // clang-format off
    const std::pair<const char*, const char*> cases[] = {
        {"The Beatles", "beatles"}, {"Another", "another"}, {"An Album", "album"},
        {"A Tribe", "tribe"}, {"THE THE", "the"}, {"Theory", "theory"}, {"a", "a"}, {"", ""},
        {"Ärzte", "ärzte"},
    };
    // clang-format on
    for (const auto& [input, expected] : cases) EXPECT_EQ(str::canonicalName(input), expected);
}

TEST(StringAdditions, NativeListenerCountsHaveTheirOwnWordingAndRefusals) {
    ovtest::LocaleGuard guard("en_US");
    EXPECT_EQ(str::abbreviateListenerCountNumber(1999), "1.9K monthly listeners");
    EXPECT_EQ(str::abbreviateListenerCountNumber(0), "0 monthly listeners");
    EXPECT_EQ(str::abbreviateListenerCountNumber(std::nullopt), std::nullopt);
    EXPECT_EQ(str::listenerCountAbbreviation(1500000), "1.5M listeners");
    EXPECT_EQ(str::listenerCountAbbreviation(19999), "19K listeners");
    EXPECT_EQ(str::listenerCountAbbreviation(0), std::nullopt);
}

TEST(StringAdditions, FirstLetterCaseWorksOnWholeCharacters) {
    EXPECT_EQ(str::capitalizingFirstLetter("hello world"), "Hello world");
    EXPECT_EQ(str::capitalizingFirstLetter("hELLO"), "HELLO");
    EXPECT_EQ(str::capitalizingFirstLetter("e\u0301cole"), "E\u0301cole");
    EXPECT_EQ(str::capitalizingFirstLetter("ßtraße"), "Sstraße");
    EXPECT_EQ(str::capitalizingFirstLetter(""), "");
    EXPECT_EQ(str::lowercasingFirstLetter("Hello World"), "hello World");
    EXPECT_EQ(str::lowercasingFirstLetter("ÉCOLE"), "éCOLE");
    EXPECT_EQ(str::lowercasingFirstLetter("🇫🇷France"), "🇫🇷France");
}

TEST(StringAdditions, CategoryKeysSkipLeadingSpecialCharacters) {
    const std::pair<const char*, std::optional<std::string>> cases[] = {
        {"beatles", "B"}, {"Zed", "Z"},          {"42nd Street", "#"},      {"...And Justice", "A"},
        {"  (7)", "#"},   {"!!!", std::nullopt}, {"", std::nullopt},        {"Élan", "L"},
        {"«Zut»", "Z"},   {"🎵x", "X"},           {"\r\nabc", std::nullopt},
    };
    for (const auto& [input, expected] : cases) {
        EXPECT_EQ(str::alphanumericCategoryKey(input), expected) << input;
    }
}

TEST(StringAdditions, CharacterClassTests) {
    for (const char* no : {"abcXYZ019", "", "a\nb\nc"}) {  // "." does not cross line breaks
        EXPECT_FALSE(str::containsSpecialCharacters(no)) << no;
    }
    for (const char* yes : {"abc def", "é", "a\nb"})
        EXPECT_TRUE(str::containsSpecialCharacters(yes));

    EXPECT_TRUE(str::isNumeric("0123"));
    for (const char* no : {"12.5", "١٢", ""}) EXPECT_FALSE(str::isNumeric(no)) << no;
    EXPECT_TRUE(str::isAlphabetical("abcXYZ"));
    EXPECT_FALSE(str::isAlphabetical("abc1"));
    EXPECT_FALSE(str::isAlphabetical("é"));
    EXPECT_TRUE(str::isAlphanumeric("abc1"));
    EXPECT_FALSE(str::isAlphanumeric("abc 1"));

    EXPECT_EQ(str::alphanumeric("Hello, World 2!"), "helloworld2");
    EXPECT_EQ(str::alphanumeric("Café-Olé ٣"), "caféolé٣");
    EXPECT_EQ(str::alphanumeric("---"), "");
}

TEST(StringAdditions, SearchNormalisationTransliteratesStripsAndLowerCases) {
    // clang-format off
    const std::pair<const char*, const char*> cases[] = {
        {"Björk Guðmundsdóttir", "bjork gudmundsdottir"}, {"Mötley Crüe", "motley crue"},
        {"Москва", "moskva"}, {"ÆON", "aeon"}, {"", ""},
    };
    // clang-format on
    for (const auto& [input, expected] : cases) {
        EXPECT_EQ(str::normalizedForSearch(input), expected) << input;
    }
    // Other scripts come out as ASCII Latin.
    for (const char* input : {"東京", "Ελλάδα", "ひらがな"}) {
        const std::string out = str::normalizedForSearch(input);
        EXPECT_FALSE(out.empty());
        for (unsigned char c : out) EXPECT_LT(c, 0x80) << input << " -> " << out;
    }
}

TEST(StringAdditions, ApostrophesLettersAndCamelCase) {
    EXPECT_EQ(str::replacingDirectedApostrophes("Don\u2019t \u2018stop\u2019 \u201Cno\u201D"),
              "Don't 'stop' \u201Cno\u201D");
    EXPECT_TRUE(str::beginsWithLetter("abc"));
    EXPECT_FALSE(str::beginsWithLetter("1abc"));
    EXPECT_TRUE(str::beginsWithLetter("\U0001D400bc"));  // a letter outside the BMP
    EXPECT_EQ(str::getFirstCharacterIfIsLetter("e\u0301t\u00E9"), "e\u0301");
    EXPECT_EQ(str::getFirstCharacterIfIsLetter("Zed"), "Z");
    EXPECT_EQ(str::getFirstCharacterIfIsLetter("#1"), std::nullopt);
    EXPECT_EQ(str::getFirstCharacterIfIsLetter(""), std::nullopt);

    EXPECT_EQ(str::getCamelCasedString("hello big world"), "helloBigWorld");
    EXPECT_EQ(str::getCamelCasedString("Hello World"), "helloWorld");
    EXPECT_EQ(str::getCamelCasedString("My-Song 2"), "mySong2");
    EXPECT_EQ(str::getCamelCasedString("HTTP SERVER"), "httpServer");
    EXPECT_EQ(str::getCamelCasedString("  "), "");
}

TEST(StringAdditions, OptionalTextsPrefixesAndConcatenation) {
    EXPECT_EQ(str::nonEmptyString(""), std::nullopt);
    EXPECT_EQ(str::nonEmptyString(" "), " ");
    EXPECT_EQ(str::nonEmptyTrimmedString("  a b \n"), "a b");
    EXPECT_EQ(str::nonEmptyTrimmedString(" \u3000\n"), std::nullopt);
    EXPECT_FALSE(str::isNonempty(""));
    EXPECT_EQ(str::deletePrefix("spotlight:123", "spotlight:"), "123");
    EXPECT_EQ(str::deletePrefix("spotlight:123", "x"), "spotlight:123");
    EXPECT_EQ(str::deletePrefix("abc", ""), "abc");
}

TEST(StringAdditions, SubstringsCountWholeCharacters) {
    EXPECT_EQ(str::substringAfterCharacter("key=value=x", "="), "value=x");
    EXPECT_EQ(str::substringAfterCharacter("abc", "="), std::nullopt);
    EXPECT_EQ(str::substringAfterCharacter("abc=", "="), "");
    // "e" is not the character "é" (e + combining acute) ...
    EXPECT_EQ(str::substringAfterCharacter("cafe\u0301!", "e"), std::nullopt);
    // ... but precomposed and decomposed "é" are the same character.
    EXPECT_EQ(str::substringAfterCharacter("cafe\u0301!", "\u00E9"), "!");
    EXPECT_EQ(str::substringAfterCharacter("a🇫🇷b", "🇫🇷"), "b");
    EXPECT_EQ(str::substringAfterCharacter("abc", ""), std::nullopt);

    const std::string text = "a\u00E9e\u0301🇫🇷👩‍👩‍👧z";  // 6 characters
    EXPECT_EQ(str::from(text, 0), text);
    EXPECT_EQ(str::from(text, 2), "e\u0301🇫🇷👩‍👩‍👧z");
    EXPECT_EQ(str::from(text, 4), "👩‍👩‍👧z");
    EXPECT_EQ(str::from(text, 6), "");
    EXPECT_EQ(str::from(text, 7), std::nullopt);
    EXPECT_EQ(str::from(text, -1), std::nullopt);
    EXPECT_EQ(str::substringFromIndex(text, 3), "🇫🇷👩‍👩‍👧z");
    EXPECT_EQ(str::from("", 0), "");
}

TEST(StringAdditions, JsonEscapingWritesWhatThePlatformSerialiserWrites) {
    EXPECT_EQ(str::jsonEscaped("a\"b\\c/d"), "a\\\"b\\\\c\\/d");
    EXPECT_EQ(str::jsonEscaped("http://x/y"), "http:\\/\\/x\\/y");
    EXPECT_EQ(str::jsonEscaped("\n\r\t\b\f"), "\\n\\r\\t\\b\\f");
    EXPECT_EQ(str::jsonEscaped(std::string("\x01\x1f", 2)), "\\u0001\\u001f");
    EXPECT_EQ(str::jsonEscaped(std::string(1, '\0')), "\\u0000");
    EXPECT_EQ(str::jsonEscaped("é 🎵 \u2028"), "é 🎵 \u2028");
}

TEST(StringAdditions, AnyStringCanBeUsedAsAnError) {
    ov::Error error = str::asError("no connection");
    EXPECT_EQ(error.domain, str::kStringErrorDomain);
    EXPECT_EQ(error.code, 1);
    EXPECT_EQ(str::errorDescription(error), "no connection");
    EXPECT_EQ(error, str::asError("something else"));  // same domain and code
    EXPECT_EQ(str::errorDescription(ov::Error("other", 1, "x")), std::nullopt);
}

TEST(StringAdditions, SharedTransformAndIteratorsWorkFromManyThreads) {
    std::vector<std::thread> threads;
    std::atomic<int> failures{0};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 100; ++i) {
                if (str::normalizedForSearch("Björk") != "bjork") ++failures;
                if (str::from("a🇫🇷b", 1) != "🇫🇷b") ++failures;
                if (str::alphanumericCategoryKey("..x") != "X") ++failures;
                if (str::getCamelCasedString("a b") != "aB") ++failures;
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(failures.load(), 0);
}
