#include "OVUtility/Platform/StringFormat.h"

#include <gtest/gtest.h>

namespace {

using ov::formatString;

TEST(StringFormatTest, FillsConversionsAndNeverThrowsOnMismatches) {
    const struct {
        std::string format, expected;
        std::vector<ov::FormatArgument> args;
    } cases[] = {
        {"%d Artists", "12 Artists", {12}},
        {"%ld/%lld/%i/%u/%s", "1/-2/3/4/five", {1, -2, 3, 4, "five"}},
        {"%05d|%-4d|%+d|%x|%X|%o", "00042|7   |+3|ff|FF|10", {42, 7, 3, 255, 255, 8}},
        {"[%6@][%-6@][%.2@]", "[    ab][cd    ][ef]", {"ab", "cd", "efgh"}},
        {"100%% of %@", "100% of it", {"it"}},
        {"%.1f", "2.0", {2}},
        {"%2$@ sings %1$@", "Band sings Song", {"Song", "Band"}},
        {"%1$@ %1$@ %2$d", "x x 3", {"x", 3}},
        {"%@ items", "5 items", {5}},          // integer for a text
        {"%d items", "many items", {"many"}},  // text for an integer
        {"%@ and %@", "one and ", {"one"}},    // missing argument
        {"50% y %q", "50% y %q", {}},          // not conversions
        {"trailing %", "trailing %", {}},
        {"%0$@ %100$@", "%0$@ %100$@", {"a"}},  // positions out of range
        {"%9$@|", "|", {"a"}},
    };
    for (const auto& c : cases) EXPECT_EQ(formatString(c.format, c.args), c.expected) << c.format;
}

TEST(StringFormatTest, PlaceholdersForLinting) {
    using ov::formatPlaceholders;
    using V = std::vector<std::string>;
    EXPECT_EQ(formatPlaceholders("CheckOutSongBy %@ %@"), (V{"@", "@"}));
    EXPECT_EQ(formatPlaceholders("%d Artists and 100%%"), (V{"d"}));
    EXPECT_EQ(formatPlaceholders("%2$d by %1$@"), (V{"@", "d"}));
    EXPECT_TRUE(formatPlaceholders("No placeholders").empty());
}

}  // namespace
