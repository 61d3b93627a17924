#include "OVUtility/Platform/StringsTable.h"

#include <fstream>
#include <sstream>

#include <unicode/utf16.h>
#include <unicode/utf8.h>

namespace ov {

std::string StringsTableError::description() const {
    if (line <= 0) return file + ": " + reason;
    return file + ":" + std::to_string(line) + ": " + reason;
}

namespace {

// Appends one code point as UTF-8 (ICU's macro does the encoding).
void appendCodePoint(std::string& out, UChar32 c) {
    uint8_t buffer[U8_MAX_LENGTH];
    int32_t length = 0;
    UBool error = false;
    U8_APPEND(buffer, length, U8_MAX_LENGTH, c, error);
    if (!error) out.append(reinterpret_cast<const char*>(buffer), static_cast<size_t>(length));
}

bool isUnquotedCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '$' || c == '+' || c == '/' || c == ':' || c == '.' || c == '-';
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

class Parser {
  public:
    Parser(std::string_view text, std::string file) : text_(text), file_(std::move(file)) {}

    std::optional<StringsTableError> run(std::vector<StringsTableEntry>& entries) {
        if (auto bad = firstInvalidUTF8()) {
            return StringsTableError{file_, lineAt(*bad),
                                     "invalid UTF-8 (byte " + std::to_string(*bad) + ")"};
        }
        if (text_.substr(0, 3) == "\xEF\xBB\xBF") pos_ = 3;
        for (;;) {
            if (!skipSpaceAndComments()) return error_;
            if (pos_ >= text_.size()) return std::nullopt;
            StringsTableEntry entry;
            entry.line = line_;
            if (!readString(entry.key, "a key")) return error_;
            if (!skipSpaceAndComments()) return error_;
            if (peek() == ';') {  // a lone key stands for itself
                ++pos_;
                entry.value = entry.key;
                entries.push_back(std::move(entry));
                continue;
            }
            if (peek() != '=') return fail(expected("\"=\" after the key"));
            ++pos_;
            if (!skipSpaceAndComments()) return error_;
            if (!readString(entry.value, "a value")) return error_;
            if (!skipSpaceAndComments()) return error_;
            if (peek() != ';') return fail(expected("\";\" after the value"));
            ++pos_;
            entries.push_back(std::move(entry));
        }
    }

  private:
    char peek() const { return pos_ < text_.size() ? text_[pos_] : '\0'; }

    std::optional<size_t> firstInvalidUTF8() const {
        int32_t i = 0;
        const auto* s = reinterpret_cast<const uint8_t*>(text_.data());
        const auto length = static_cast<int32_t>(text_.size());
        while (i < length) {
            int32_t start = i;
            UChar32 c;
            U8_NEXT(s, i, length, c);
            if (c < 0) return static_cast<size_t>(start);
        }
        return std::nullopt;
    }

    int lineAt(size_t offset) const {
        int line = 1;
        for (size_t i = 0; i < offset && i < text_.size(); ++i) {
            if (text_[i] == '\n') ++line;
        }
        return line;
    }

    std::string expected(const std::string& what) const {
        if (pos_ >= text_.size()) return "expected " + what + ", found the end of the file";
        char c = text_[pos_];
        std::string found = (c >= 0x20 && c < 0x7F) ? std::string("\"") + c + "\""
                                                    : "byte " + std::to_string(uint8_t(c));
        return "expected " + what + ", found " + found;
    }

    std::optional<StringsTableError> fail(std::string reason, int line = 0) {
        error_ = StringsTableError{file_, line > 0 ? line : line_, std::move(reason)};
        return error_;
    }

    void advance() {
        if (text_[pos_] == '\n') ++line_;
        ++pos_;
    }

    // False (with error_ set) on an unterminated block comment.
    bool skipSpaceAndComments() {
        while (pos_ < text_.size()) {
            char c = text_[pos_];
            if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v') {
                advance();
            } else if (c == '/' && pos_ + 1 < text_.size() && text_[pos_ + 1] == '/') {
                while (pos_ < text_.size() && text_[pos_] != '\n') ++pos_;
            } else if (c == '/' && pos_ + 1 < text_.size() && text_[pos_ + 1] == '*') {
                int start = line_;
                pos_ += 2;
                for (;;) {
                    if (pos_ + 1 >= text_.size()) {
                        fail("unterminated comment", start);
                        return false;
                    }
                    if (text_[pos_] == '*' && text_[pos_ + 1] == '/') {
                        pos_ += 2;
                        break;
                    }
                    advance();
                }
            } else {
                break;
            }
        }
        return true;
    }

    bool readString(std::string& out, const char* what) {
        if (peek() == '"') return readQuoted(out);
        size_t start = pos_;
        while (pos_ < text_.size() && isUnquotedCharacter(text_[pos_])) ++pos_;
        if (pos_ == start) {
            fail(expected(what));
            return false;
        }
        out.assign(text_.substr(start, pos_ - start));
        return true;
    }

    bool readHexUnit(int digits, uint32_t& unit) {
        unit = 0;
        for (int i = 0; i < digits; ++i) {
            int v = pos_ < text_.size() ? hexValue(text_[pos_]) : -1;
            if (v < 0) {
                fail("\\u escape needs four hexadecimal digits");
                return false;
            }
            unit = unit * 16 + static_cast<uint32_t>(v);
            ++pos_;
        }
        return true;
    }

    bool readQuoted(std::string& out) {
        int start = line_;
        ++pos_;  // opening quote
        for (;;) {
            if (pos_ >= text_.size()) {
                fail("unterminated quoted string", start);
                return false;
            }
            char c = text_[pos_];
            if (c == '"') {
                ++pos_;
                return true;
            }
            if (c != '\\') {
                out.push_back(c);
                advance();
                continue;
            }
            ++pos_;
            if (pos_ >= text_.size()) {
                fail("unterminated quoted string", start);
                return false;
            }
            char e = text_[pos_];
            switch (e) {
                case 'n':
                    out.push_back('\n');
                    ++pos_;
                    break;
                case 't':
                    out.push_back('\t');
                    ++pos_;
                    break;
                case 'r':
                    out.push_back('\r');
                    ++pos_;
                    break;
                case 'a':
                    out.push_back('\a');
                    ++pos_;
                    break;
                case 'b':
                    out.push_back('\b');
                    ++pos_;
                    break;
                case 'f':
                    out.push_back('\f');
                    ++pos_;
                    break;
                case 'v':
                    out.push_back('\v');
                    ++pos_;
                    break;
                case 'u':
                case 'U': {
                    ++pos_;
                    uint32_t unit;
                    if (!readHexUnit(4, unit)) return false;
                    if (U16_IS_LEAD(unit)) {
                        uint32_t trail = 0;
                        if (text_.substr(pos_, 2) != "\\U" && text_.substr(pos_, 2) != "\\u") {
                            fail("unpaired surrogate in a \\U escape");
                            return false;
                        }
                        pos_ += 2;
                        if (!readHexUnit(4, trail)) return false;
                        if (!U16_IS_TRAIL(trail)) {
                            fail("unpaired surrogate in a \\U escape");
                            return false;
                        }
                        appendCodePoint(out, U16_GET_SUPPLEMENTARY(unit, trail));
                    } else if (U16_IS_TRAIL(unit)) {
                        fail("unpaired surrogate in a \\U escape");
                        return false;
                    } else {
                        appendCodePoint(out, static_cast<UChar32>(unit));
                    }
                    break;
                }
                default:
                    if (e >= '0' && e <= '7') {
                        uint32_t value = 0;
                        for (int i = 0; i < 3 && pos_ < text_.size() && text_[pos_] >= '0' &&
                                        text_[pos_] <= '7';
                             ++i) {
                            value = value * 8 + static_cast<uint32_t>(text_[pos_] - '0');
                            ++pos_;
                        }
                        appendCodePoint(out, static_cast<UChar32>(value));
                    } else {
                        // \" \' \\ and any other character stand for themselves.
                        out.push_back(e);
                        advance();
                    }
            }
        }
    }

    std::string_view text_;
    std::string file_;
    size_t pos_ = 0;
    int line_ = 1;
    std::optional<StringsTableError> error_;
};

}  // namespace

StringsTable::ParseResult StringsTable::parse(std::string_view text, std::string file) {
    StringsTable table;
    Parser parser(text, std::move(file));
    if (auto error = parser.run(table.entries_)) return ParseResult{std::nullopt, error};
    for (const auto& entry : table.entries_) table.values_[entry.key] = entry.value;
    return ParseResult{std::move(table), std::nullopt};
}

StringsTable::ParseResult StringsTable::load(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream buffer;
    if (!in || !(buffer << in.rdbuf()) || in.bad()) {
        // An empty file also fails `<< rdbuf()`; it is a valid, empty table.
        std::error_code ec;
        if (in && std::filesystem::file_size(path, ec) == 0 && !ec) return parse("", path.string());
        return ParseResult{std::nullopt, StringsTableError{path.string(), 0, "cannot be read"}};
    }
    return parse(buffer.str(), path.string());
}

std::optional<std::string> StringsTable::value(std::string_view key) const {
    auto it = values_.find(std::string(key));
    if (it == values_.end()) return std::nullopt;
    return it->second;
}

}  // namespace ov
