// Ill-formed UTF-8 handed to every text function: no crash, and the
// documented result (ill-formed sequences read as U+FFFD; byte-exact
// functions pass the bytes through).
#include <functional>
#include <vector>

#include <gtest/gtest.h>
#include <unicode/utf8.h>

#include "Extensions/LocaleGuard.h"
#include "OVUtility/Extensions/NSStringAdditions.h"
#include "OVUtility/Extensions/StringAdditions.h"
#include "OVUtility/Localization/PseudoLocalizationFilter.h"

namespace ns = ov::nsstring;
namespace str = ov::strings;

namespace {

bool wellFormed(std::string_view text) {
    const auto* s = reinterpret_cast<const uint8_t*>(text.data());
    const auto length = static_cast<int32_t>(text.size());
    for (int32_t i = 0; i < length;) {
        UChar32 c;
        U8_NEXT(s, i, length, c);
        if (c < 0) return false;
    }
    return true;
}

// Truncated lead, lone continuation, overlong, encoded surrogate, beyond
// U+10FFFF, bytes that never occur.
const std::vector<std::string> kIllFormed = {
    "\xC3",     "abc\xC3",  "a\x80z",          "\xC0\xAF",     "\xED\xA0\x80", "\xF4\x90\x80\x80",
    "\xFF\xFE", "\xE2\x80", "My\xFFWord&amp;", "\xF0\x9F\x8E",
};

const char* const kFffd = "\xEF\xBF\xBD";

}  // namespace

TEST(InvalidUtf8, TextResultsAreWellFormedForEveryTextFunction) {
    ovtest::LocaleGuard guard("en_US");
    const std::vector<
        std::pair<const char*, std::function<std::optional<std::string>(const std::string&)>>>
        functions = {
            {"unCamelCase", [](auto& s) { return ns::unCamelCase(s); }},
            {"stringByStrippingHTML",
             [](auto& s) { return ns::stringByStrippingHTML("<b>" + s + "</b>"); }},
            {"canonicalName", [](auto& s) { return str::canonicalName("The " + s); }},
            {"capitalizingFirstLetter", [](auto& s) { return str::capitalizingFirstLetter(s); }},
            {"lowercasingFirstLetter", [](auto& s) { return str::lowercasingFirstLetter(s); }},
            {"alphanumericCategoryKey", [](auto& s) { return str::alphanumericCategoryKey(s); }},
            {"alphanumeric", [](auto& s) { return str::alphanumeric(s); }},
            {"normalizedForSearch", [](auto& s) { return str::normalizedForSearch(s); }},
            {"replacingDirectedApostrophes",
             [](auto& s) { return str::replacingDirectedApostrophes(s + "\u2019"); }},
            {"getFirstCharacterIfIsLetter",
             [](auto& s) { return str::getFirstCharacterIfIsLetter(s); }},
            {"getCamelCasedString", [](auto& s) { return str::getCamelCasedString("x " + s); }},
            {"nonEmptyTrimmedString",
             [](auto& s) { return str::nonEmptyTrimmedString(" " + s + " "); }},
            {"substringAfterCharacter",
             [](auto& s) { return str::substringAfterCharacter("=" + s, "="); }},
            {"from", [](auto& s) { return str::from(s, 0); }},
            {"jsonEscaped", [](auto& s) { return str::jsonEscaped(s); }},
            {"decodeHtmlString", [](auto& s) { return str::decodeHtmlString(s + "&lt;"); }},
            {"trackTime", [](auto&) { return str::trackTime(1.0); }},
            {"pseudoLocalization",
             [](auto& s) { return ov::PseudoLocalizationFilter(100).apply(s); }},
        };
    for (const auto& input : kIllFormed) {
        for (const auto& [name, function] : functions) {
            std::optional<std::string> out = function(input);
            if (out) {
                EXPECT_TRUE(wellFormed(*out)) << name << " on " << testing::PrintToString(input);
            }
        }
        // Predicates answer without crashing.
        (void)ns::isInteger(input);
        (void)ns::beginsWithLetter(input);
        (void)ns::containsStringIgnoreCase(input, "a");
        (void)ns::hasContentExcludingWhitespace(input);
        (void)ns::isPrefixedBySupportedURLScheme(input);
        (void)str::containsSpecialCharacters(input);
        (void)str::isNumeric(input);
    }
}

TEST(InvalidUtf8, IllFormedSequencesReadAsReplacementCharacters) {
    const std::string r = kFffd;
    EXPECT_EQ(ns::unCamelCase("my\xFFWord"), "My" + r + "Word");
    EXPECT_EQ(str::decodeHtmlString("\xC3&amp;\xFF"), r + "&" + r);
    EXPECT_EQ(str::canonicalName("The \xC0\xAF"), r + r);  // overlong: two ill-formed bytes
    EXPECT_EQ(str::from("\xED\xA0\x80z", 3), "z");         // three U+FFFD, then "z"
    EXPECT_EQ(str::jsonEscaped("a\xFF/"), "a" + r + "\\/");
    // "\377" is the byte 0xFF (an octal escape cannot run on into the next letter).
    EXPECT_EQ(str::alphanumeric("a\377b"), "ab");
    EXPECT_EQ(str::getFirstCharacterIfIsLetter("\377abc"), std::nullopt);
    EXPECT_EQ(ns::stringByStrippingHTML("<\xFF>x"), "x");
    EXPECT_TRUE(ns::containsStringIgnoreCase("A\377B", "a" + r + "b"));
    EXPECT_FALSE(ns::isInteger("12\xFF"));
    EXPECT_FALSE(ns::beginsWithLetter("\xC3"));
    EXPECT_TRUE(ns::hasContentExcludingWhitespace(" \xFF "));
}

TEST(InvalidUtf8, ByteExactFunctionsPassBytesThrough) {
    const std::string bad = "ab\xFF";
    EXPECT_EQ(ns::stringWithSuffix(bad, "\xFF"), bad);
    EXPECT_EQ(ns::pluralizedWithCount(bad, 2), bad + "s");
    EXPECT_EQ(str::deletePrefix(bad, "ab"), "\xFF");
    EXPECT_TRUE(ns::containsString(bad, "\xFF"));
    EXPECT_EQ(ns::stringWithSHA1Hash("\xFF"), "85e53271e14006f0265921d02d4d736cdc580b0b");
    EXPECT_EQ(ns::hexadecimalStringFromData(
                  std::span(reinterpret_cast<const std::uint8_t*>(bad.data()), bad.size())),
              "6162ff");
}
