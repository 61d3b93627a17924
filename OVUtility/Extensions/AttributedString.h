// ov::AttributedString: a UTF-8 text with runs of attributes — font,
// foreground colour and paragraph style — the value that text measurement
// lays out and that `ov::strings::attributed(...)` builds for a whole string.
//
//   ov::AttributedString s("Now playing: Song", {.font = ov::Font::named("DejaVu Sans", 13)});
//   s.addAttributes({.foregroundColor = ov::Color::fromRGB(0x1DB954)}, {13, 4});
//   for (const auto& run : s.runs()) { ... run.range, run.attributes ... }
//   ov::Size used = ov::boundingSize(s, {240, ov::Size::unlimited});
//
// Ranges are UTF-8 byte offsets into string(). A range that splits a code
// point is widened to whole code points; a range past the end is clamped to
// the text (with a warning) rather than raising, so bad ranges never crash.
// runs() always covers the whole text with no gaps, in order, and two
// neighbouring runs never carry equal attributes (they are merged), so run
// structure is canonical and equality is meaningful.
//
// Layout reads the paragraph style of a paragraph's first character, as the
// platform's text system did; fonts may change anywhere.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "OVUtility/Extensions/Color.h"
#include "OVUtility/Extensions/Font.h"
#include "OVUtility/Extensions/ParagraphStyle.h"
#include "OVUtility/OVUtilityExport.h"

namespace ov {

// A set of attributes; an absent member is "not set" (layout uses the
// default font and paragraph style, drawing the default colour).
struct OV_API TextAttributes {
    std::optional<Font> font = std::nullopt;
    std::optional<Color> foregroundColor = std::nullopt;
    std::optional<ParagraphStyle> paragraphStyle = std::nullopt;

    bool empty() const { return !font && !foregroundColor && !paragraphStyle; }
    // Members present in `other` replace this set's.
    void merge(const TextAttributes& other);

    friend bool operator==(const TextAttributes&, const TextAttributes&) = default;
};

struct TextRange {
    std::size_t location = 0;
    std::size_t length = 0;

    std::size_t end() const { return location + length; }
    friend bool operator==(const TextRange&, const TextRange&) = default;
};

class OV_API AttributedString {
  public:
    struct Run {
        TextRange range;
        TextAttributes attributes;
        friend bool operator==(const Run&, const Run&) = default;
    };

    AttributedString() = default;
    explicit AttributedString(std::string text, TextAttributes attributes = {});

    const std::string& string() const { return text_; }
    std::size_t length() const { return text_.size(); }
    bool empty() const { return text_.empty(); }
    const std::vector<Run>& runs() const { return runs_; }

    // Attributes of the character at byte `index` (empty attributes past the
    // end); `effectiveRange`, when given, receives the range of its run.
    TextAttributes attributes(std::size_t index, TextRange* effectiveRange = nullptr) const;

    // Replaces the attributes of `range` with `attributes`.
    void setAttributes(const TextAttributes& attributes, TextRange range);
    // Sets the members present in `attributes` on `range`, keeping the rest.
    void addAttributes(const TextAttributes& attributes, TextRange range);

    void append(const AttributedString& other);
    // Appended text takes the attributes of the last character (none when
    // this string is empty), as typing at the end of a text does.
    void append(std::string_view text);

    friend bool operator==(const AttributedString&, const AttributedString&) = default;

  private:
    TextRange validated(TextRange range, const char* function) const;
    // Ensures a run boundary at byte `position`; returns the index of the run
    // that starts there (runs_.size() at the end).
    std::size_t splitAt(std::size_t position);
    void coalesce();

    std::string text_;
    std::vector<Run> runs_;
};

}  // namespace ov
