#include "OVUtility/Extensions/TextMeasurement.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>

#include <hb.h>
#include <unicode/ubidi.h>
#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/uscript.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include "OVLog/OVLog.h"
#include "OVUtility/Extensions/FontFace.h"

namespace ov {

namespace {

ovlog::Module& kModule = ovlog::Module::named("TextMeasurement");

using detail::FontFace;
using FacePtr = std::shared_ptr<const FontFace>;

constexpr char32_t kEllipsis = 0x2026;
// The platform's default tab stops: every 28 points.
constexpr double kTabInterval = 28;

// ICU iterators, the bidi object and the HarfBuzz buffer are costly to
// create and cheap to reuse; each thread keeps its own set.
struct ThreadTools {
    UBreakIterator* lineBreaks = nullptr;
    UBreakIterator* characters = nullptr;
    UBiDi* bidi = nullptr;
    hb_buffer_t* buffer = nullptr;

    ThreadTools() {
        UErrorCode status = U_ZERO_ERROR;
        lineBreaks = ubrk_open(UBRK_LINE, "", nullptr, 0, &status);
        if (U_FAILURE(status)) {
            OVLOG_ERROR(kModule, "ICU line-break iterator unavailable: {}", u_errorName(status));
            lineBreaks = nullptr;
        }
        status = U_ZERO_ERROR;
        characters = ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &status);
        if (U_FAILURE(status)) {
            OVLOG_ERROR(kModule, "ICU character iterator unavailable: {}", u_errorName(status));
            characters = nullptr;
        }
        bidi = ubidi_open();
        buffer = hb_buffer_create();
    }
    ~ThreadTools() {
        if (lineBreaks) ubrk_close(lineBreaks);
        if (characters) ubrk_close(characters);
        if (bidi) ubidi_close(bidi);
        hb_buffer_destroy(buffer);
    }
    ThreadTools(const ThreadTools&) = delete;
    ThreadTools& operator=(const ThreadTools&) = delete;
};

ThreadTools& threadTools() {
    thread_local ThreadTools tools;
    return tools;
}

bool isLimited(double extent) {
    return std::isfinite(extent) && extent > 0 && extent < Size::unlimited / 2;
}

bool fits(double width, double limit) {
    return width <= limit + 1e-9 * std::max(1.0, limit);
}

bool isParagraphSeparator(char16_t c) {
    return c == u'\n' || c == u'\r' || c == 0x0085 || c == 0x2028 || c == 0x2029;
}

// White space that hangs past the end of a line (not counted in its width).
// No-break spaces are excluded by u_isWhitespace.
bool isHangingSpace(char16_t c) {
    return !U16_IS_SURROGATE(c) && u_isWhitespace(c);
}

// One attributed font over a range of the UTF-16 text.
struct FontRun {
    int32_t start = 0;
    int32_t end = 0;
    double pointSize = Font::defaultPointSize;
    FacePtr face;  // the attributed font's face
    TextAttributes attributes;
};

// The whole text in UTF-16 (what ICU and HarfBuzz want), with the way back
// to UTF-8 byte offsets, and its font runs.
struct PreparedText {
    std::u16string text;
    std::vector<std::size_t> utf8Offset;  // per UTF-16 index, plus one for the end
    std::vector<FontRun> runs;

    const FontRun& runAt(int32_t index) const {
        auto it = std::upper_bound(runs.begin(), runs.end(), index,
                                   [](int32_t i, const FontRun& r) { return i < r.end; });
        if (it == runs.end()) return runs.back();
        return *it;
    }
};

PreparedText prepare(const AttributedString& source) {
    PreparedText p;
    const std::string& bytes = source.string();
    const auto* s = reinterpret_cast<const uint8_t*>(bytes.data());
    const int32_t length = static_cast<int32_t>(bytes.size());
    p.text.reserve(bytes.size());
    p.utf8Offset.reserve(bytes.size() + 1);
    std::vector<int32_t> utf16At(bytes.size() + 1, 0);
    for (int32_t i = 0; i < length;) {
        const int32_t start = i;
        UChar32 c;
        U8_NEXT(s, i, length, c);
        if (c < 0) c = 0xFFFD;  // malformed UTF-8 measures as the replacement character
        for (int32_t k = start; k < i; ++k) utf16At[k] = static_cast<int32_t>(p.text.size());
        if (U_IS_BMP(c)) {
            p.text.push_back(static_cast<char16_t>(c));
            p.utf8Offset.push_back(start);
        } else {
            p.text.push_back(U16_LEAD(c));
            p.text.push_back(U16_TRAIL(c));
            p.utf8Offset.push_back(start);
            p.utf8Offset.push_back(start);
        }
    }
    utf16At[bytes.size()] = static_cast<int32_t>(p.text.size());
    p.utf8Offset.push_back(bytes.size());

    for (const auto& run : source.runs()) {
        FontRun fr;
        fr.start = utf16At[run.range.location];
        fr.end = utf16At[run.range.end()];
        if (fr.end <= fr.start) continue;
        const Font font = run.attributes.font.value_or(Font());
        fr.pointSize = font.pointSize();
        fr.face = FontFace::forFont(font);
        fr.attributes = run.attributes;
        // Neighbouring runs that differ only in colour share shaping.
        if (!p.runs.empty() && p.runs.back().face == fr.face &&
            p.runs.back().pointSize == fr.pointSize &&
            p.runs.back().attributes.paragraphStyle == fr.attributes.paragraphStyle) {
            p.runs.back().end = fr.end;
        } else {
            p.runs.push_back(std::move(fr));
        }
    }
    return p;
}

// A run of one face, size, script and direction inside a paragraph
// (paragraph-relative UTF-16 offsets).
struct Item {
    int32_t start = 0;
    int32_t end = 0;
    const FontFace* face = nullptr;
    double pointSize = 0;
    double lineHeight = 0;  // of the attributed font, not of a fallback
    bool rightToLeft = false;
    hb_script_t script = HB_SCRIPT_COMMON;
};

hb_script_t toHarfBuzz(UScriptCode code) {
    const char* name = uscript_getShortName(code);
    return name ? hb_script_from_string(name, -1) : HB_SCRIPT_UNKNOWN;
}

// Shapes text[itemStart, itemStart + itemLength) with `context` as the text
// around it, calling `glyph(cluster, advanceInPoints, unsafeToBreak)` per glyph.
// Clusters are offsets into `context`.
template <typename GlyphFn>
void shape(hb_buffer_t* buffer, const char16_t* context, int32_t contextLength, int32_t itemStart,
           int32_t itemLength, const FontFace& face, double pointSize, bool rightToLeft,
           hb_script_t script, GlyphFn&& glyph) {
    hb_buffer_clear_contents(buffer);
    hb_buffer_add_utf16(buffer, reinterpret_cast<const uint16_t*>(context), contextLength,
                        static_cast<unsigned>(itemStart), itemLength);
    hb_buffer_set_direction(buffer, rightToLeft ? HB_DIRECTION_RTL : HB_DIRECTION_LTR);
    hb_buffer_set_script(buffer, script);
    hb_buffer_set_language(buffer, hb_language_get_default());
    hb_buffer_set_cluster_level(buffer, HB_BUFFER_CLUSTER_LEVEL_MONOTONE_GRAPHEMES);
    hb_segment_properties_t properties;
    hb_buffer_get_segment_properties(buffer, &properties);
    // Plans are cached on the face (which lives for the process).
    hb_shape_plan_t* plan =
        hb_shape_plan_create_cached(face.hbFace(), &properties, nullptr, 0, nullptr);
    hb_shape_plan_execute(plan, face.hbFont(), buffer, nullptr, 0);
    hb_shape_plan_destroy(plan);

    unsigned count = 0;
    const hb_glyph_info_t* infos = hb_buffer_get_glyph_infos(buffer, &count);
    const hb_glyph_position_t* positions = hb_buffer_get_glyph_positions(buffer, nullptr);
    const double scale = face.scale(pointSize);
    for (unsigned i = 0; i < count; ++i) {
        const bool unsafe =
            (hb_glyph_info_get_glyph_flags(&infos[i]) & HB_GLYPH_FLAG_UNSAFE_TO_BREAK) != 0;
        glyph(static_cast<int32_t>(infos[i].cluster), positions[i].x_advance * scale, unsafe);
    }
}

double ellipsisWidth(hb_buffer_t* buffer, const FontFace& primary, double pointSize) {
    const FontFace* face = &primary;
    FacePtr fallback;
    if (!primary.hasGlyph(kEllipsis) && (fallback = primary.fallbackFor(kEllipsis)))
        face = fallback.get();
    const char16_t text[] = {static_cast<char16_t>(kEllipsis)};
    double width = 0;
    shape(buffer, text, 1, 0, 1, *face, pointSize, false, HB_SCRIPT_COMMON,
          [&](int32_t, double advance, bool) { width += advance; });
    return width;
}

// One laid-out line before placement (paragraph-relative offsets).
struct Line {
    int32_t start = 0;
    int32_t end = 0;         // includes hanging white space
    int32_t contentEnd = 0;  // hanging white space excluded
    double width = 0;
    double height = 0;
    bool truncated = false;
    bool endsParagraph = false;
};

// Lays out one paragraph: itemises, shapes once, then breaks lines.
class ParagraphLayout {
  public:
    ParagraphLayout(const PreparedText& prepared, int32_t start, int32_t end,
                    const ParagraphStyle& style, ThreadTools& tools)
        : prepared_(prepared),
          text_(prepared.text.data() + start),
          offset_(start),
          length_(end - start),
          style_(style),
          tools_(tools) {}

    bool rightToLeft() const { return rightToLeft_; }

    std::vector<Line> layout(double width) {
        std::vector<Line> lines;
        if (length_ == 0) {
            Line line;
            line.height = emptyLineHeight();
            line.endsParagraph = true;
            lines.push_back(line);
            return lines;
        }
        itemize();
        shapeParagraph();
        const bool limited = isLimited(width);
        const LineBreakMode mode = style_.lineBreakMode;
        const bool wraps =
            mode == LineBreakMode::byWordWrapping || mode == LineBreakMode::byCharWrapping;
        if (!wraps || !limited) {
            Line line = makeLine(0, length_);
            if (limited && !fits(line.width, width)) truncate(line, width, mode);
            line.endsParagraph = true;
            lines.push_back(line);
            return lines;
        }
        wrap(width, mode, lines);
        return lines;
    }

  private:
    double emptyLineHeight() const {
        const int32_t at =
            std::min<int32_t>(offset_, static_cast<int32_t>(prepared_.text.size()) - 1);
        const FontRun& run = prepared_.runAt(std::max(at, 0));
        return run.face->lineHeight(run.pointSize);
    }

    // Splits the paragraph into items of one face, size, script and bidi level.
    void itemize() {
        UErrorCode status = U_ZERO_ERROR;
        std::vector<uint8_t> levels(length_, 0);
        if (tools_.bidi) {
            ubidi_setPara(tools_.bidi, text_, length_, UBIDI_DEFAULT_LTR, nullptr, &status);
            if (U_SUCCESS(status)) {
                rightToLeft_ = (ubidi_getParaLevel(tools_.bidi) & 1) != 0;
                for (int32_t pos = 0; pos < length_;) {
                    int32_t limit = length_;
                    UBiDiLevel level = 0;
                    ubidi_getLogicalRun(tools_.bidi, pos, &limit, &level);
                    if (limit <= pos) limit = length_;
                    std::fill(levels.begin() + pos, levels.begin() + limit, level);
                    pos = limit;
                }
            } else {
                OVLOG_WARNING(kModule, "bidi analysis failed: {}", u_errorName(status));
            }
        }

        // Script per code point; common and inherited characters (spaces,
        // punctuation, combining marks) join the script around them.
        std::vector<UScriptCode> scripts(length_, USCRIPT_COMMON);
        UScriptCode current = USCRIPT_COMMON;
        for (int32_t i = 0; i < length_;) {
            const int32_t start = i;
            UChar32 c;
            U16_NEXT(text_, i, length_, c);
            UErrorCode err = U_ZERO_ERROR;
            UScriptCode script = uscript_getScript(c, &err);
            if (U_FAILURE(err) || script == USCRIPT_COMMON || script == USCRIPT_INHERITED) {
                script = current;
            } else if (current == USCRIPT_COMMON) {
                std::fill(scripts.begin(), scripts.begin() + start, script);
            }
            current = script;
            std::fill(scripts.begin() + start, scripts.begin() + i, script);
        }

        // Face per code point: the attributed font when it has the glyph,
        // a fallback font otherwise; marks and invisible characters stay with
        // the character before them so that clusters are shaped together.
        const FontFace* previousFace = nullptr;
        int32_t previousRunStart = -1;
        UScriptCode lastScript = USCRIPT_INVALID_CODE;
        hb_script_t lastHbScript = HB_SCRIPT_INVALID;
        for (int32_t i = 0; i < length_;) {
            const int32_t start = i;
            UChar32 c;
            U16_NEXT(text_, i, length_, c);
            const FontRun& run = prepared_.runAt(offset_ + start);
            const FontFace* face = run.face.get();
            if (!face->hasGlyph(static_cast<char32_t>(c))) {
                const bool attachesToPrevious =
                    (U_GET_GC_MASK(c) & (U_GC_M_MASK | U_GC_CC_MASK | U_GC_CF_MASK)) != 0 ||
                    u_hasBinaryProperty(c, UCHAR_DEFAULT_IGNORABLE_CODE_POINT) ||
                    u_isUWhiteSpace(c);
                if (attachesToPrevious) {
                    if (previousFace && previousRunStart == run.start) face = previousFace;
                } else if (FacePtr fallback = face->fallbackFor(static_cast<char32_t>(c))) {
                    face = fallback.get();
                    keepAlive_.push_back(std::move(fallback));
                }
            }
            previousFace = face;
            previousRunStart = run.start;

            const bool rtl = (levels[start] & 1) != 0;
            if (scripts[start] != lastScript) {  // the name lookup is not free
                lastScript = scripts[start];
                lastHbScript = toHarfBuzz(lastScript);
            }
            const hb_script_t script = lastHbScript;
            if (!items_.empty()) {
                Item& last = items_.back();
                if (last.face == face && last.pointSize == run.pointSize &&
                    last.rightToLeft == rtl && last.script == script && last.end == start &&
                    &prepared_.runAt(offset_ + last.start) == &run) {
                    last.end = i;
                    continue;
                }
            }
            Item item;
            item.start = start;
            item.end = i;
            item.face = face;
            item.pointSize = run.pointSize;
            item.lineHeight = run.face->lineHeight(run.pointSize);
            item.rightToLeft = rtl;
            item.script = script;
            items_.push_back(item);
        }
    }

    // Shapes every item once (in the context of the whole paragraph) and
    // records each cluster's advance and whether a break before it is safe.
    void shapeParagraph() {
        advance_.assign(length_ + 1, 0.0);
        clusterStart_.assign(length_ + 1, false);
        unsafe_.assign(length_ + 1, false);
        clusterStart_[length_] = true;
        for (const Item& item : items_) {
            shape(tools_.buffer, text_, length_, item.start, item.end - item.start, *item.face,
                  item.pointSize, item.rightToLeft, item.script,
                  [&](int32_t cluster, double advance, bool unsafe) {
                      if (cluster < 0 || cluster >= length_) return;
                      advance_[cluster] += advance;
                      clusterStart_[cluster] = true;
                      if (unsafe) unsafe_[cluster] = true;
                  });
        }
        // Tabs advance to the next default tab stop. prefix_ counts the stops
        // from the paragraph's start, which is right for its first line and
        // for one-line layouts; lineWidth() recounts them for wrapped lines.
        prefix_.assign(length_ + 1, 0.0);
        shapedPrefix_.assign(length_ + 1, 0.0);
        tabsBefore_.assign(length_ + 1, 0);
        for (int32_t i = 0; i < length_; ++i) {
            shapedPrefix_[i + 1] = shapedPrefix_[i] + advance_[i];
            tabsBefore_[i + 1] = tabsBefore_[i] + (text_[i] == u'\t' ? 1 : 0);
            if (text_[i] == u'\t') {
                const double x = prefix_[i];
                advance_[i] = (std::floor(x / kTabInterval + 1e-9) + 1) * kTabInterval - x;
            }
            prefix_[i + 1] = prefix_[i] + advance_[i];
        }
    }

    int32_t trimmedEnd(int32_t start, int32_t end) const {
        while (end > start && isHangingSpace(text_[end - 1])) --end;
        return end;
    }

    double span(int32_t start, int32_t end) const { return prefix_[end] - prefix_[start]; }

    // What the tab stops add to the shaped width of [start, end) on a line
    // that starts at `start`: its tabs advance to stops counted from there.
    double tabAdjustment(int32_t start, int32_t end) const {
        if (tabsBefore_[end] == tabsBefore_[start]) return 0;
        if (start == 0) return span(start, end) - (shapedPrefix_[end] - shapedPrefix_[start]);
        double x = 0;
        for (int32_t i = start; i < end; ++i) {
            if (text_[i] == u'\t') {
                x = (std::floor(x / kTabInterval + 1e-9) + 1) * kTabInterval;
            } else {
                x += shapedPrefix_[i + 1] - shapedPrefix_[i];
            }
        }
        return x - (shapedPrefix_[end] - shapedPrefix_[start]);
    }

    // Width of [start, end) as drawn on a line of its own: the shaped
    // advances, re-shaped when a line edge falls where HarfBuzz says the
    // glyphs would change (a ligature or kerning across the break).
    double lineWidth(int32_t start, int32_t end, bool startsLine, bool endsLine) const {
        if (end <= start) return 0;
        const bool exact = (startsLine && start > 0 && unsafe_[start]) ||
                           (endsLine && end < length_ && unsafe_[end]);
        const double tabs = tabAdjustment(start, end);
        if (!exact) return shapedPrefix_[end] - shapedPrefix_[start] + tabs;
        // Re-shaped width, with the same tab stops.
        double width = tabs;
        for (const Item& item : items_) {
            const int32_t a = std::max(item.start, start);
            const int32_t b = std::min(item.end, end);
            if (a >= b) continue;
            shape(tools_.buffer, text_ + start, end - start, a - start, b - a, *item.face,
                  item.pointSize, item.rightToLeft, item.script,
                  [&](int32_t, double advance, bool) { width += advance; });
        }
        return width;
    }

    double heightOf(int32_t start, int32_t end) const {
        double height = 0;
        for (const Item& item : items_) {
            if (item.end <= start || item.start >= std::max(end, start + 1)) continue;
            height = std::max(height, item.lineHeight);
        }
        return height > 0 ? height : emptyLineHeight();
    }

    Line makeLine(int32_t start, int32_t end) const {
        Line line;
        line.start = start;
        line.end = end;
        line.contentEnd = trimmedEnd(start, end);
        line.width = lineWidth(start, line.contentEnd, true, true);
        line.height = heightOf(start, end);
        return line;
    }

    const std::vector<int32_t>& graphemes() {
        if (!graphemes_.empty()) return graphemes_;
        UErrorCode status = U_ZERO_ERROR;
        if (tools_.characters) ubrk_setText(tools_.characters, text_, length_, &status);
        if (tools_.characters && U_SUCCESS(status)) {
            for (int32_t b = ubrk_first(tools_.characters); b != UBRK_DONE;
                 b = ubrk_next(tools_.characters)) {
                if (b > 0 && clusterStart_[b]) graphemes_.push_back(b);
            }
        } else {
            for (int32_t b = 1; b <= length_; ++b)
                if (clusterStart_[b] && !U16_IS_TRAIL(text_[b < length_ ? b : 0]))
                    graphemes_.push_back(b);
        }
        if (graphemes_.empty() || graphemes_.back() != length_) graphemes_.push_back(length_);
        return graphemes_;
    }

    struct Break {
        int32_t position;
        bool hard;
    };

    std::vector<Break> breakOpportunities(LineBreakMode mode) {
        std::vector<Break> breaks;
        if (mode == LineBreakMode::byCharWrapping) {
            for (int32_t g : graphemes()) breaks.push_back({g, false});
            return breaks;
        }
        UErrorCode status = U_ZERO_ERROR;
        if (tools_.lineBreaks) ubrk_setText(tools_.lineBreaks, text_, length_, &status);
        if (!tools_.lineBreaks || U_FAILURE(status)) {
            breaks.push_back({length_, false});
            return breaks;
        }
        for (int32_t b = ubrk_following(tools_.lineBreaks, 0); b != UBRK_DONE;
             b = ubrk_next(tools_.lineBreaks)) {
            if (!clusterStart_[b]) continue;  // inside a ligature: not measurable apart
            const bool hard = ubrk_getRuleStatus(tools_.lineBreaks) >= UBRK_LINE_HARD;
            breaks.push_back({b, hard && b < length_});
        }
        if (breaks.empty() || breaks.back().position != length_) breaks.push_back({length_, false});
        return breaks;
    }

    // Width of a candidate line [start, end): exact (re-shaped) where a line
    // edge would change the glyphs, so that a line never ends up wider than
    // the test that admitted it.
    double candidateWidth(int32_t start, int32_t end) const {
        return lineWidth(start, trimmedEnd(start, end), true, end < length_);
    }

    // Greedy line filling: each line takes as many break opportunities as fit.
    void wrap(double width, LineBreakMode mode, std::vector<Line>& lines) {
        const std::vector<Break> breaks = breakOpportunities(mode);
        std::size_t next = 0;  // first break after the current line start
        int32_t start = 0;
        while (start < length_) {
            while (next < breaks.size() && breaks[next].position <= start) ++next;
            int32_t end = -1;
            std::size_t k = next;
            for (; k < breaks.size(); ++k) {
                const int32_t b = breaks[k].position;
                if (!fits(candidateWidth(start, b), width)) break;
                end = b;
                if (breaks[k].hard) break;
            }
            if (end < 0) {
                // The first word is wider than the line: break it between
                // characters, at least one character per line.
                const int32_t limit = next < breaks.size() ? breaks[next].position : length_;
                for (int32_t g : graphemes()) {
                    if (g <= start) continue;
                    if (g > limit) break;
                    if (end >= 0 && !fits(candidateWidth(start, g), width)) break;
                    end = g;
                }
                if (end < 0) end = limit;
            }
            Line line = makeLine(start, end);
            line.endsParagraph = end >= length_;
            lines.push_back(line);
            start = end;
        }
    }

    // Shortens a one-line paragraph to `width` by the mode's rule.
    void truncate(Line& line, double width, LineBreakMode mode) {
        line.truncated = true;
        if (mode == LineBreakMode::byClipping || mode == LineBreakMode::byWordWrapping ||
            mode == LineBreakMode::byCharWrapping) {
            line.width = width;
            return;
        }
        const int32_t at = mode == LineBreakMode::byTruncatingHead ? line.contentEnd - 1 : 0;
        const FontRun& run = prepared_.runAt(offset_ + std::max(at, 0));
        const double ellipsis = ellipsisWidth(tools_.buffer, *run.face, run.pointSize);
        if (!fits(ellipsis, width)) {
            line.width = width;
            return;
        }
        const double room = width - ellipsis;
        const int32_t end = line.contentEnd;
        std::vector<int32_t> bounds{0};
        for (int32_t g : graphemes()) {
            if (g > end) break;
            bounds.push_back(g);
        }
        if (bounds.back() != end) bounds.push_back(end);
        const std::size_t n = bounds.size() - 1;  // grapheme count
        double kept = 0;
        if (mode == LineBreakMode::byTruncatingTail) {
            for (std::size_t k = 1; k <= n; ++k) {
                const double w = span(0, trimmedEnd(0, bounds[k]));
                if (!fits(w, room)) break;
                kept = w;
            }
        } else if (mode == LineBreakMode::byTruncatingHead) {
            for (std::size_t k = n; k-- > 0;) {
                const double w = span(bounds[k], end);
                if (!fits(w, room)) break;
                kept = w;
            }
        } else {
            // Middle: take graphemes alternately from the front and the back.
            std::size_t front = 0, back = n;
            double frontWidth = 0, backWidth = 0;
            bool takeFront = true, frontDone = false, backDone = false;
            while (front < back && !(frontDone && backDone)) {
                if (takeFront && !frontDone) {
                    const double w = span(0, bounds[front + 1]);
                    if (fits(w + backWidth, room)) {
                        frontWidth = w;
                        ++front;
                    } else {
                        frontDone = true;
                    }
                } else if (!takeFront && !backDone) {
                    const double w = span(bounds[back - 1], end);
                    if (fits(frontWidth + w, room)) {
                        backWidth = w;
                        --back;
                    } else {
                        backDone = true;
                    }
                }
                takeFront = !takeFront;
            }
            kept = frontWidth + backWidth;
        }
        line.width = kept + ellipsis;
    }

    const PreparedText& prepared_;
    const char16_t* text_;
    int32_t offset_;
    int32_t length_;
    ParagraphStyle style_;
    ThreadTools& tools_;
    bool rightToLeft_ = false;
    std::vector<Item> items_;
    std::vector<FacePtr> keepAlive_;
    std::vector<double> advance_;
    std::vector<double> prefix_;        // with tab stops
    std::vector<double> shapedPrefix_;  // as shaped
    std::vector<int32_t> tabsBefore_;   // tabs in [0, i)
    std::vector<bool> clusterStart_;
    std::vector<bool> unsafe_;
    std::vector<int32_t> graphemes_;
};

struct PlacedLine {
    Line line;
    int32_t paragraphOffset = 0;
    ParagraphStyle style;
    bool rightToLeft = false;
};

}  // namespace

TextLayout layoutText(const AttributedString& source, Size constraint) {
    TextLayout result;
    if (source.empty()) return result;
    const PreparedText prepared = prepare(source);
    if (prepared.runs.empty()) return result;
    ThreadTools& tools = threadTools();
    const double width = constraint.width;
    const bool widthLimited = isLimited(width);
    const bool heightLimited = isLimited(constraint.height);

    // Paragraphs and their lines, stacked from the top.
    std::vector<PlacedLine> placed;
    const int32_t total = static_cast<int32_t>(prepared.text.size());
    double y = 0;
    bool full = false;
    for (int32_t start = 0; start < total && !full;) {
        int32_t end = start;
        while (end < total && !isParagraphSeparator(prepared.text[end])) ++end;
        const FontRun& first = prepared.runAt(start < total ? start : total - 1);
        const ParagraphStyle style = first.attributes.paragraphStyle.value_or(ParagraphStyle{});
        ParagraphLayout paragraph(prepared, start, end, style, tools);
        for (Line& line : paragraph.layout(width)) {
            double spacing =
                std::isfinite(style.lineSpacing) ? std::max(0.0, style.lineSpacing) : 0;
            const double top = placed.empty() ? 0 : y;
            if (heightLimited && !placed.empty() && !fits(top + line.height, constraint.height)) {
                full = true;
                break;
            }
            PlacedLine p;
            p.line = line;
            p.paragraphOffset = start;
            p.style = style;
            p.rightToLeft = paragraph.rightToLeft();
            placed.push_back(p);
            y = top + line.height + spacing;
        }
        // Skip the separator ("\r\n" is one).
        if (end < total && prepared.text[end] == u'\r' && end + 1 < total &&
            prepared.text[end + 1] == u'\n')
            ++end;
        start = end + 1;
    }

    double widest = 0;
    for (const auto& p : placed) widest = std::max(widest, p.line.width);
    const double boxWidth = widthLimited ? width : widest;
    double minX = 0, maxX = 0, bottom = 0, top = 0;
    for (std::size_t i = 0; i < placed.size(); ++i) {
        const PlacedLine& p = placed[i];
        LineFragment fragment;
        double used = p.line.width;
        TextAlignment alignment = p.style.alignment;
        if (alignment == TextAlignment::justified) {
            if (widthLimited && !p.line.endsParagraph && !p.line.truncated) used = boxWidth;
            alignment = TextAlignment::natural;
        }
        if (alignment == TextAlignment::natural)
            alignment = p.rightToLeft ? TextAlignment::right : TextAlignment::left;
        double x = 0;
        if (alignment == TextAlignment::right)
            x = boxWidth - used;
        else if (alignment == TextAlignment::center)
            x = (boxWidth - used) / 2;
        fragment.origin = {x, top};
        fragment.usedSize = {used, p.line.height};
        const auto from = static_cast<std::size_t>(p.paragraphOffset + p.line.start);
        const auto to = static_cast<std::size_t>(p.paragraphOffset + p.line.end);
        fragment.range = {prepared.utf8Offset[from],
                          prepared.utf8Offset[to] - prepared.utf8Offset[from]};
        fragment.truncated = p.line.truncated;
        minX = i == 0 ? x : std::min(minX, x);
        maxX = i == 0 ? x + used : std::max(maxX, x + used);
        bottom = top + p.line.height;
        const double spacing =
            std::isfinite(p.style.lineSpacing) ? std::max(0.0, p.style.lineSpacing) : 0;
        top = bottom + spacing;
        result.lines.push_back(fragment);
    }
    if (!placed.empty()) result.size = {maxX - minX, bottom};
    return result;
}

Size boundingSize(const AttributedString& text, Size constrainedToSize) {
    return layoutText(text, constrainedToSize).size;
}

}  // namespace ov

namespace ov::nsstring {

Size textSizeWithFont(std::string_view text, const Font& font, Size constrainedToSize) {
    return textSizeWithFont(text, font, constrainedToSize, LineBreakMode::byWordWrapping);
}

Size textSizeWithFont(std::string_view text, const Font& font, Size constrainedToSize,
                      LineBreakMode lineBreakMode) {
    ParagraphStyle style;
    style.lineBreakMode = lineBreakMode;
    AttributedString s{std::string(text), TextAttributes{font, std::nullopt, style}};
    return boundingSize(s, constrainedToSize);
}

}  // namespace ov::nsstring

namespace ov::strings {

double height(std::string_view text, double constrainedWidth, const Font& font) {
    const double exact =
        nsstring::textSizeWithFont(text, font, {constrainedWidth, Size::unlimited}).height;
    return std::ceil(exact - 1e-6);
}

AttributedString attributed(std::string_view text, const Font& font, const Color& color,
                            std::optional<double> lineSpacing,
                            std::optional<TextAlignment> alignment,
                            std::optional<LineBreakMode> lineBreakMode) {
    ParagraphStyle style;
    if (lineSpacing) style.lineSpacing = *lineSpacing;
    if (alignment) style.alignment = *alignment;
    if (lineBreakMode) style.lineBreakMode = *lineBreakMode;
    return AttributedString(std::string(text), TextAttributes{font, color, style});
}

}  // namespace ov::strings
