#include "OVUtility/Platform/StringsTable.h"

#include <gtest/gtest.h>

#include "support/DataDirectory.h"

namespace {

using ov::StringsTable;

TEST(StringsTableTest, ParsesTheFormat) {
    auto result = StringsTable::parse(
        "\xEF\xBB\xBF/* block\n comment */\n"
        "\"BadgeNew\" = \"New\";  // trailing comment\n"
        "Unquoted_Key.1 = bare-value;\n"
        "\"Lone\";\n"
        "\"Escapes\" = \"q\\\" b\\\\ n\\n t\\t u\\U00e9 pair\\UD83C\\UDFB5 oct\\101 other\\z\";\n"
        "\"Artists %d\" =\n  \"%d Artists\" ;\n"
        "\"Utf8\" = \"Künstler ♫\";\n"
        "\"BadgeNew\" = \"Newer\";\n",
        "test.strings");
    ASSERT_TRUE(result.table) << result.error->description();
    const auto& table = *result.table;
    EXPECT_EQ(table.value("BadgeNew"), "Newer");  // the last definition wins
    EXPECT_EQ(table.value("Unquoted_Key.1"), "bare-value");
    EXPECT_EQ(table.value("Lone"), "Lone");
    EXPECT_EQ(table.value("Escapes"), "q\" b\\ n\n t\t u\u00e9 pair\U0001F3B5 oct\x41 otherz");
    EXPECT_EQ(table.value("Artists %d"), "%d Artists");
    EXPECT_EQ(table.value("Utf8"), "Künstler ♫");
    EXPECT_FALSE(table.value("Missing"));
    EXPECT_EQ(table.size(), 6u);
    ASSERT_EQ(table.entries().size(), 7u);
    // Lines of the keys (a value on the next line keeps its key's line).
    for (auto [entry, line] : {std::pair{0, 3}, {4, 7}, {6, 10}})
        EXPECT_EQ(table.entries()[entry].line, line);

    auto empty = StringsTable::parse("  // nothing but a comment\n", "empty.strings");
    ASSERT_TRUE(empty.table);
    EXPECT_EQ(empty.table->size(), 0u);
}

TEST(StringsTableTest, MalformedInputGivesFileLineAndReason) {
    struct Case {
        const char* text;
        int line;
        const char* reason;
    };
    const Case cases[] = {
        {"\"a\" = \"b\";\n\"c\" = \"d\"\n\"e\" = \"f\";", 3,
         "expected \";\" after the value, found \"\"\""},
        {"\"a\" \"b\";", 1, "expected \"=\" after the key, found \"\"\""},
        {"\"a\" = ;", 1, "expected a value, found \";\""},
        {"\n\n\"a\" = \"unterminated;\n", 3, "unterminated quoted string"},
        {"\"a\" = \"b\";\n/* never closed\n\n", 2, "unterminated comment"},
        {"\"a\" = \"b\"", 1, "expected \";\" after the value, found the end of the file"},
        {"\"a\" = \"\\UD800x\";", 1, "unpaired surrogate in a \\U escape"},
        {"\"a\" = \"\\U12\";", 1, "\\u escape needs four hexadecimal digits"},
        {"= \"b\";", 1, "expected a key, found \"=\""},
        {"\"ok\" = \"1\";\n\"bad\" = \"\xC3\x28\";", 2, "invalid UTF-8 (byte 21)"},
    };
    for (const auto& c : cases) {
        auto result = StringsTable::parse(c.text, "t.strings");
        ASSERT_FALSE(result.table) << c.text;
        EXPECT_EQ(result.error->description(),
                  "t.strings:" + std::to_string(c.line) + ": " + c.reason);
    }
}

TEST(StringsTableTest, LoadsFilesAndReportsProblemFiles) {
    auto data = ovtest::dataDirectory();
    auto broken = StringsTable::load(data / "malformed/broken-line.strings");
    ASSERT_TRUE(broken.error);
    EXPECT_EQ(broken.error->description(), (data / "malformed/broken-line.strings").string() +
                                               ":3: expected \";\" after the value, found \"\"\"");

    auto missing = StringsTable::load(data / "no-such.strings");
    ASSERT_TRUE(missing.error);
    EXPECT_EQ(missing.error->description(),
              (data / "no-such.strings").string() + ": cannot be read");
}

}  // namespace
