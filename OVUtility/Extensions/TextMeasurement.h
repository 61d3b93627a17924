// Text measurement: lays a text out in a box and reports the lines and the
// bounding size it needs (ov::layoutText, ov::boundingSize), plus the string
// additions built on it: the bridged string category's `textSizeWithFont`
// (namespace ov::nsstring, with the rest of that category in
// NSStringAdditions.h) and the native string type's `height` and
// `attributed` (namespace ov::strings, see StringAdditions.h).
//
//   auto font = ov::Font::named("DejaVu Sans", 14);
//   ov::Size s = ov::nsstring::textSizeWithFont(title, font, {280, ov::Size::unlimited});
//   double rowHeight = ov::strings::height(description, 280, font);   // rounded up
//   auto text = ov::strings::attributed("Liked Songs", font, ov::Color::white(), 2.0);
//   ov::TextLayout layout = ov::layoutText(text, {280, 120});
//   for (const auto& line : layout.lines) { line.origin, line.usedSize, line.range }
//
// How text is laid out (the platform's rules, with a C++ text stack):
// - The text is split into paragraphs at line breaks ("\n", "\r\n", "\r",
//   U+0085, U+2028, U+2029). A line break at the very end starts no new line.
// - Each paragraph is split into runs of one font, one script and one
//   bidirectional level (ICU ubidi), and each run is shaped with HarfBuzz, so
//   widths include kerning, ligatures, combining marks and right-to-left
//   joining as drawn, never a sum of per-character widths. Characters the
//   font lacks are shaped with a fallback font found through fontconfig.
// - Wrapping modes break lines where ICU's line-break iterator allows
//   (word wrap) or between grapheme clusters (char wrap); a word wider than
//   the line falls back to breaking between characters. White space at the
//   end of a line hangs: it does not count toward the line's width. A tab
//   advances to the next multiple of 28 points (the default tab stops),
//   counted from the start of its line.
// - The other modes keep each paragraph on one line; a wider line is clipped
//   to the width, or shortened with "…" at its head, middle or tail.
// - Each line is as tall as the tallest font on it (ascender - descender +
//   leading); the paragraph's line spacing is added between lines, never
//   after the last. Lines are stacked from the top ("line-fragment origins").
// - A height limit keeps only lines that fit completely, but always at least
//   the first line.
// - A width or height that is not a positive finite number, or is
//   `Size::unlimited`, means no limit in that dimension.
// The bounding size is the union of the lines' used rectangles, unrounded;
// an empty text measures {0, 0}. All functions are thread-safe; fonts,
// shaping plans and ICU iterators are cached, not rebuilt per call.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "OVUtility/Extensions/AttributedString.h"
#include "OVUtility/Extensions/Color.h"
#include "OVUtility/Extensions/Font.h"
#include "OVUtility/Extensions/Geometry.h"
#include "OVUtility/Extensions/ParagraphStyle.h"
#include "OVUtility/OVUtilityExport.h"

namespace ov {

struct LineFragment {
    // Top-left corner of the line's used rectangle in the box (x follows the
    // paragraph's alignment; when the width is unlimited the box is as wide
    // as the widest line).
    Point origin;
    // Width of the laid-out glyphs (hanging white space excluded) and the
    // line's height.
    Size usedSize;
    // The text on this line, as UTF-8 byte offsets: trailing white space
    // included, the paragraph's line break excluded.
    TextRange range;
    // The line was clipped or shortened with an ellipsis.
    bool truncated = false;
};

struct TextLayout {
    std::vector<LineFragment> lines;
    Size size;  // bounding size of all lines, unrounded
};

// Lays out `text` in a box of `constrainedToSize` (see above).
OV_API TextLayout layoutText(const AttributedString& text, Size constrainedToSize);
// Just the bounding size of layoutText().
OV_API Size boundingSize(const AttributedString& text, Size constrainedToSize);

}  // namespace ov

namespace ov::nsstring {

// Size of `text` drawn in `font` within `constrainedToSize`, wrapping by
// words. Not rounded.
OV_API Size textSizeWithFont(std::string_view text, const Font& font, Size constrainedToSize);
// Same, with the given line-break mode.
OV_API Size textSizeWithFont(std::string_view text, const Font& font, Size constrainedToSize,
                             LineBreakMode lineBreakMode);

}  // namespace ov::nsstring

namespace ov::strings {

// Height of `text` in `font` wrapped (by words) at `constrainedWidth`, with no
// height limit, rounded up to the next whole point so that a view of that
// height never clips the last line. (A height within 1e-6 of a whole point is
// taken as that point, so floating-point noise never adds a point.)
OV_API double height(std::string_view text, double constrainedWidth, const Font& font);

// The whole text with `font`, foreground `color` and a paragraph style; the
// parts left absent take ParagraphStyle's defaults: line spacing 0, natural
// alignment, word wrapping. The paragraph style is always present.
OV_API AttributedString attributed(std::string_view text, const Font& font, const Color& color,
                                   std::optional<double> lineSpacing = std::nullopt,
                                   std::optional<TextAlignment> alignment = std::nullopt,
                                   std::optional<LineBreakMode> lineBreakMode = std::nullopt);

}  // namespace ov::strings
