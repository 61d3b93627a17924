// ov::StringsTable: a parsed strings table in the platform's `.strings` text
// format, the file that maps localisation keys to translated texts.
//
//   /* A comment */                    // and line comments
//   "BadgeNew" = "New";
//   "Artists %d" = "%d Artists";
//   Unquoted_Key = "Unquoted keys and values are letters, digits and _$+/:.-";
//   "Same";                            // a lone key stands for "Same" = "Same";
//
//   auto result = ov::StringsTable::load("en.lproj/Localizable.strings");
//   if (!result.table) log(result.error->description());  // "file:12: reason"
//   std::optional<std::string> text = result.table->value("BadgeNew");
//
// The text is UTF-8 (a leading byte-order mark is skipped). Quoted strings
// understand the escapes \" \' \\ \n \t \r \a \b \f \v, \uXXXX and \UXXXX
// (UTF-16 units; surrogate pairs are joined) and octal \ooo; any other escaped
// character stands for itself. A key given twice keeps its last value, as the
// platform does; `entries()` still lists both, for linting.
//
// Malformed input never throws: parsing stops at the first problem and the
// result carries the file name, the 1-based line and the reason (invalid
// UTF-8, an unterminated string or comment, a missing "=" or ";", an
// unexpected character, an unpaired surrogate escape).
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

struct StringsTableEntry {
    std::string key;
    std::string value;
    int line = 0;
};

struct OV_API StringsTableError {
    std::string file;
    int line = 0;  // 0 when the file could not be read at all
    std::string reason;

    // "file:line: reason" (or "file: reason" when there is no line).
    std::string description() const;
};

struct StringsTableParseResult;

class OV_API StringsTable {
  public:
    using ParseResult = StringsTableParseResult;

    StringsTable() = default;

    // Parses `text`; `file` only names the source in errors.
    static ParseResult parse(std::string_view text, std::string file = "<memory>");
    // Reads and parses a file; an unreadable file is an error with line 0.
    static ParseResult load(const std::filesystem::path& path);

    std::optional<std::string> value(std::string_view key) const;
    bool contains(std::string_view key) const { return value(key).has_value(); }
    // Every entry in file order, duplicates included.
    const std::vector<StringsTableEntry>& entries() const { return entries_; }
    // Number of distinct keys.
    size_t size() const { return values_.size(); }

  private:
    std::vector<StringsTableEntry> entries_;
    std::unordered_map<std::string, std::string> values_;
};

struct OV_API StringsTableParseResult {
    std::optional<StringsTable> table;
    std::optional<StringsTableError> error;
};

}  // namespace ov
