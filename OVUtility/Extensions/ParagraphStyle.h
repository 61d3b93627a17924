// ov::ParagraphStyle: how the lines of a paragraph are laid out — extra
// spacing between lines, horizontal alignment and what happens to a line
// that is wider than the space it is given (ov::LineBreakMode).
//
//   ov::ParagraphStyle style;                       // word wrap, natural, no spacing
//   style.lineBreakMode = ov::LineBreakMode::byTruncatingTail;
//   ov::Size s = ov::nsstring::textSizeWithFont(title, font, {200, 40}, style.lineBreakMode);
//
// Wrapping modes (`byWordWrapping`, `byCharWrapping`) break a paragraph into
// as many lines as it needs. The other modes keep every paragraph on one line:
// `byClipping` cuts it at the edge, the truncating modes replace the text that
// does not fit with an ellipsis "…" at the start, the middle or the end.
#pragma once

#include <ostream>
#include <string_view>

namespace ov {

enum class LineBreakMode {
    byWordWrapping,      // break at word boundaries; a word wider than a line breaks by characters
    byCharWrapping,      // break between any two characters (grapheme clusters)
    byClipping,          // one line per paragraph, cut at the edge
    byTruncatingHead,    // one line per paragraph, "…text"
    byTruncatingTail,    // one line per paragraph, "text…"
    byTruncatingMiddle,  // one line per paragraph, "te…xt"
};

enum class TextAlignment {
    left,
    center,
    right,
    justified,  // wrapped lines fill the width; the last line of a paragraph is natural
    natural,    // left for left-to-right paragraphs, right for right-to-left ones
};

struct ParagraphStyle {
    // Extra space between two lines of text, in points (never after the last
    // line). Negative values are treated as 0.
    double lineSpacing = 0;
    TextAlignment alignment = TextAlignment::natural;
    LineBreakMode lineBreakMode = LineBreakMode::byWordWrapping;

    friend bool operator==(const ParagraphStyle&, const ParagraphStyle&) = default;
};

constexpr std::string_view toString(LineBreakMode mode) {
    switch (mode) {
        case LineBreakMode::byWordWrapping:
            return "byWordWrapping";
        case LineBreakMode::byCharWrapping:
            return "byCharWrapping";
        case LineBreakMode::byClipping:
            return "byClipping";
        case LineBreakMode::byTruncatingHead:
            return "byTruncatingHead";
        case LineBreakMode::byTruncatingTail:
            return "byTruncatingTail";
        case LineBreakMode::byTruncatingMiddle:
            return "byTruncatingMiddle";
    }
    return "unknown";
}

constexpr std::string_view toString(TextAlignment alignment) {
    switch (alignment) {
        case TextAlignment::left:
            return "left";
        case TextAlignment::center:
            return "center";
        case TextAlignment::right:
            return "right";
        case TextAlignment::justified:
            return "justified";
        case TextAlignment::natural:
            return "natural";
    }
    return "unknown";
}

inline std::ostream& operator<<(std::ostream& os, LineBreakMode m) {
    return os << toString(m);
}
inline std::ostream& operator<<(std::ostream& os, TextAlignment a) {
    return os << toString(a);
}

}  // namespace ov
