#include "OVUtility/Platform/StringFormat.h"

#include <gtest/gtest.h>

namespace {

using ov::formatPlaceholders;
using ov::formatString;

TEST(StringFormatTest, FillsTextAndIntegerConversions) {
    EXPECT_EQ(formatString("%d Artists", {12}), "12 Artists");
    EXPECT_EQ(formatString("Check out %@ by %@", {"Song", "Band"}), "Check out Song by Band");
    EXPECT_EQ(formatString("%ld/%lld/%i/%u/%s", {1, -2, 3, 4, "five"}), "1/-2/3/4/five");
    EXPECT_EQ(formatString("%05d|%-4d|%+d|%x|%X|%o", {42, 7, 3, 255, 255, 8}),
              "00042|7   |+3|ff|FF|10");
    EXPECT_EQ(formatString("[%6@][%-6@][%.2@]", {"ab", "cd", "efgh"}), "[    ab][cd    ][ef]");
    EXPECT_EQ(formatString("100%% of %@", {"it"}), "100% of it");
    EXPECT_EQ(formatString("%.1f", {2}), "2.0");
}

TEST(StringFormatTest, PositionalArguments) {
    EXPECT_EQ(formatString("%2$@ sings %1$@", {"Song", "Band"}), "Band sings Song");
    EXPECT_EQ(formatString("%1$@ %1$@ %2$d", {"x", 3}), "x x 3");
}

TEST(StringFormatTest, MismatchesNeverThrow) {
    EXPECT_EQ(formatString("%@ items", {5}), "5 items");          // integer for a text
    EXPECT_EQ(formatString("%d items", {"many"}), "many items");  // text for an integer
    EXPECT_EQ(formatString("%@ and %@", {"one"}), "one and ");    // missing argument
    EXPECT_EQ(formatString("50% y %q", {}), "50% y %q");          // not conversions
    EXPECT_EQ(formatString("trailing %", {}), "trailing %");
    EXPECT_EQ(formatString("%0$@ %100$@", {"a"}), "%0$@ %100$@");  // positions out of range
    EXPECT_EQ(formatString("%9$@|", {"a"}), "|");
}

TEST(StringFormatTest, PlaceholdersForLinting) {
    EXPECT_EQ(formatPlaceholders("CheckOutSongBy %@ %@"), (std::vector<std::string>{"@", "@"}));
    EXPECT_EQ(formatPlaceholders("%d Artists and 100%%"), (std::vector<std::string>{"d"}));
    EXPECT_EQ(formatPlaceholders("%2$d by %1$@"), (std::vector<std::string>{"@", "d"}));
    EXPECT_TRUE(formatPlaceholders("No placeholders").empty());
}

}  // namespace
