#include "OVUtility/Extensions/TextMeasurement.h"

#include <cmath>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "OVLog/CaptureSink.h"

// fontconfig (2.14) leaks a few bytes while parsing its XML configuration
// inside FcInit; they are unreachable from then on and not ours to free, so
// LeakSanitizer ignores leaks allocated inside libfontconfig. (Only read by
// sanitizer builds; harmless elsewhere.)
extern "C" __attribute__((used)) const char* __lsan_default_suppressions() {
    return "leak:libfontconfig.so\n";
}

namespace {

using ov::Font;
using ov::LineBreakMode;
using ov::Size;

constexpr double kUnlimited = Size::unlimited;
const char* const kDejaVuSansFile = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

Font sans(double size = 12) {
    return Font::named("DejaVu Sans", size);
}

double widthOf(std::string_view text, const Font& font = sans()) {
    return ov::nsstring::textSizeWithFont(text, font, {kUnlimited, kUnlimited}).width;
}

double spaceWidth(const Font& font = sans()) {
    return widthOf("a a", font) - 2 * widthOf("a", font);
}

// The text of each laid-out line.
std::vector<std::string> lineTexts(const ov::AttributedString& s, const ov::TextLayout& layout) {
    std::vector<std::string> texts;
    for (const auto& line : layout.lines)
        texts.push_back(s.string().substr(line.range.location, line.range.length));
    return texts;
}

ov::AttributedString styled(std::string text, LineBreakMode mode, double lineSpacing = 0,
                            ov::TextAlignment alignment = ov::TextAlignment::natural) {
    return ov::strings::attributed(text, sans(), ov::Color::black(), lineSpacing, alignment, mode);
}

bool logged(const ovlog::CaptureSink& capture, std::string_view part) {
    for (const auto& m : capture.messages("TextMeasurement"))
        if (m.find(part) != std::string::npos) return true;
    return false;
}

}  // namespace

TEST(FontTest, ResolvesFamilyAndReadsMetrics) {
    const auto m = sans(12).metrics();
    EXPECT_EQ(m.familyName, "DejaVu Sans");
    EXPECT_EQ(m.file, kDejaVuSansFile);
    EXPECT_GT(m.ascender, 0);
    EXPECT_LT(m.descender, 0);
    EXPECT_NEAR(m.lineHeight, m.ascender - m.descender + m.leading, 1e-9);
    // Metrics scale linearly with the point size and are not rounded.
    EXPECT_NEAR(sans(24).lineHeight(), 2 * m.lineHeight, 1e-9);
    EXPECT_NE(m.lineHeight, std::round(m.lineHeight));
    // The same face named by file measures the same.
    EXPECT_DOUBLE_EQ(Font::fromFile(kDejaVuSansFile, 12).lineHeight(), m.lineHeight);
    EXPECT_DOUBLE_EQ(widthOf("Playlist", Font::fromFile(kDejaVuSansFile, 12)), widthOf("Playlist"));
}

TEST(FontTest, BadInputFallsBackWithoutFailing) {
    auto capture = ovlog::CaptureSink::attach();
    const Font missing = Font::fromFile("/nonexistent/NoSuchFont.ttf", 12);
    EXPECT_EQ(missing.metrics().familyName, Font::systemFont(12).metrics().familyName);
    EXPECT_GT(widthOf("abc", missing), 0);
    EXPECT_TRUE(logged(*capture, "could not load font file \"/nonexistent/NoSuchFont.ttf\""));

    EXPECT_EQ(sans(-3).pointSize(), Font::defaultPointSize);
    EXPECT_EQ(sans(NAN).pointSize(), Font::defaultPointSize);
    EXPECT_EQ(sans(12).withSize(0).pointSize(), Font::defaultPointSize);
    // An unknown family still resolves to an installed face.
    EXPECT_GT(Font::named("No Such Family 42", 12).lineHeight(), 0);
}

TEST(TextMeasurementTest, EmptyTextMeasuresZero) {
    EXPECT_EQ(ov::nsstring::textSizeWithFont("", sans(), {100, 100}), (Size{0, 0}));
    EXPECT_EQ(ov::nsstring::textSizeWithFont("", sans(), {kUnlimited, kUnlimited},
                                             LineBreakMode::byTruncatingTail),
              (Size{0, 0}));
    EXPECT_EQ(ov::strings::height("", 100, sans()), 0);
    EXPECT_TRUE(ov::layoutText(ov::AttributedString(), {100, 100}).lines.empty());
    // White space alone hangs: one line tall, zero wide.
    const Size spaces = ov::nsstring::textSizeWithFont("   ", sans(), {kUnlimited, kUnlimited});
    EXPECT_EQ(spaces.width, 0);
    EXPECT_DOUBLE_EQ(spaces.height, sans().lineHeight());
}

TEST(TextMeasurementTest, LongerTextIsNeverNarrowerOnOneLine) {
    // Kerning pairs (AV, Ty, To) pull glyphs closer, but never past zero.
    // (Not true of every script: see the lam-alef case below.)
    const std::string text =
        "AVAWAY To Ty. Valley of LAVA, WAVE -- fi ffi \u00e9\u0301 \u00e4 office";
    double previous = 0;
    for (std::size_t n = 1; n <= text.size(); ++n) {
        if (n < text.size() && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80) continue;
        const std::string prefix = text.substr(0, n);
        const Size size = ov::nsstring::textSizeWithFont(prefix, sans(), {kUnlimited, kUnlimited});
        EXPECT_GE(size.width, previous - 1e-9) << "prefix \"" << prefix << "\"";
        EXPECT_DOUBLE_EQ(size.height, sans().lineHeight()) << "prefix \"" << prefix << "\"";
        previous = size.width;
    }
}

TEST(TextMeasurementTest, WidthsAreShapedNotSummedPerCodePoint) {
    // Kerning and the ff ligature/kern make pairs narrower than their parts.
    EXPECT_LT(widthOf("AV"), widthOf("A") + widthOf("V") - 0.1);
    EXPECT_LT(widthOf("ffi"), 2 * widthOf("f") + widthOf("i") - 0.05);
    // Widths grow with the point size, exactly in proportion (no hinting).
    EXPECT_NEAR(widthOf("Shuffle play", sans(24)), 2 * widthOf("Shuffle play"), 1e-9);

    // Combining marks sit on their base: a decomposed cluster is as wide as
    // its base, and stacks of marks add nothing.
    EXPECT_DOUBLE_EQ(widthOf("a\u0308"), widthOf("a"));
    EXPECT_DOUBLE_EQ(widthOf("a\u0308\u0323"), widthOf("a"));
    EXPECT_DOUBLE_EQ(widthOf("\u0633\u064e\u0644\u0627\u0645"),
                     widthOf("\u0633\u0644\u0627\u0645"));

    // Arabic letters join: the word is much narrower than its letters in
    // their isolated forms, measured one by one.
    const std::string salam = "\u0633\u0644\u0627\u0645";
    const double isolated =
        widthOf("\u0633") + widthOf("\u0644") + widthOf("\u0627") + widthOf("\u0645");
    EXPECT_LT(widthOf(salam), isolated - 5);
    // Lam followed by alef becomes one ligature, narrower than the final lam
    // alone: adding a letter makes this word narrower.
    EXPECT_LT(widthOf("\u0633\u0644\u0627"), widthOf("\u0633\u0644"));
    // A right-to-left run inside left-to-right text keeps its joined width.
    EXPECT_NEAR(widthOf("abc " + salam), widthOf("abc") + spaceWidth() + widthOf(salam), 1e-9);
}

TEST(TextMeasurementTest, MissingGlyphsUseAFallbackFont) {
    // DejaVu Serif has no Arabic; fontconfig's fallback (DejaVu Sans) shapes it
    // rather than a row of missing-glyph boxes.
    const std::string salam = "\u0633\u0644\u0627\u0645";
    EXPECT_DOUBLE_EQ(widthOf(salam, Font::named("DejaVu Serif", 12)), widthOf(salam));
}

TEST(TextMeasurementTest, WordWrapGivesExpectedLinesAndHeight) {
    const double word = widthOf("word");
    const double space = widthOf("word word") - 2 * word;
    ASSERT_GT(space, 0);
    std::string text;
    for (int i = 0; i < 10; ++i) text += i ? " word" : "word";
    const double lineHeight = sans().lineHeight();

    // Three words fit; a hair less and only two do.
    const double three = 3 * word + 2 * space;
    for (double spacing : {0.0, 4.5}) {
        const auto s = styled(text, LineBreakMode::byWordWrapping, spacing);
        const auto layout = ov::layoutText(s, {three + 0.01, kUnlimited});
        ASSERT_EQ(layout.lines.size(), 4u) << "spacing " << spacing;
        EXPECT_NEAR(layout.size.height, 4 * lineHeight + 3 * spacing, 1e-9);
        EXPECT_NEAR(layout.size.width, three, 1e-9);
        EXPECT_EQ(lineTexts(s, layout),
                  (std::vector<std::string>{"word word word ", "word word word ", "word word word ",
                                            "word"}));
        for (std::size_t i = 0; i < layout.lines.size(); ++i)
            EXPECT_NEAR(layout.lines[i].origin.y, i * (lineHeight + spacing), 1e-9);

        const auto narrower = ov::layoutText(s, {three - 0.01, kUnlimited});
        EXPECT_EQ(narrower.lines.size(), 5u);
        EXPECT_NEAR(narrower.size.height, 5 * lineHeight + 4 * spacing, 1e-9);
    }
    EXPECT_NEAR(ov::nsstring::textSizeWithFont(text, sans(), {three + 0.01, kUnlimited}).height,
                4 * lineHeight, 1e-9);
    // No width limit (zero, negative, NaN, infinite): one line as wide as the text.
    for (double none : {0.0, -10.0, double(NAN), double(INFINITY)}) {
        const Size size = ov::nsstring::textSizeWithFont(text, sans(), {none, none});
        EXPECT_NEAR(size.width, widthOf(text), 1e-9) << none;
        EXPECT_DOUBLE_EQ(size.height, lineHeight) << none;
    }
}

TEST(TextMeasurementTest, WrappedLinesMeasureAsTheirOwnText) {
    // Each line's width is its text shaped alone: kerning across a break is
    // not carried onto the line before it.
    const std::string text = "AVAVAVAVAV To To To WAVE WAVE fi ffi office";
    for (auto mode : {LineBreakMode::byWordWrapping, LineBreakMode::byCharWrapping}) {
        for (double width : {20.0, 37.0, 55.0, 80.0}) {
            const auto s = styled(text, mode);
            const auto layout = ov::layoutText(s, {width, kUnlimited});
            const auto texts = lineTexts(s, layout);
            std::string joined;
            for (std::size_t i = 0; i < texts.size(); ++i) {
                joined += texts[i];
                EXPECT_NEAR(layout.lines[i].usedSize.width, widthOf(texts[i]), 1e-9)
                    << "line \"" << texts[i] << "\" mode " << mode << " width " << width;
                EXPECT_LE(layout.lines[i].usedSize.width, width + 1e-9) << texts[i];
            }
            EXPECT_EQ(joined, text);
        }
    }
}

TEST(TextMeasurementTest, KerningAcrossABreakNeverOverflowsTheLine) {
    // "AVAV…": every pair kerns, so a line that ends between A and V is wider
    // on its own than inside the paragraph. The fit test must use the width
    // the line really gets.
    const std::string text = "AVAVAVAVAVAVAVAVAVAV";
    const auto s = styled(text, LineBreakMode::byCharWrapping);
    for (double width = 9; width <= 90; width += 0.25) {
        const auto layout = ov::layoutText(s, {width, kUnlimited});
        for (const auto& line : layout.lines)
            EXPECT_LE(line.usedSize.width, width + 1e-9) << "width " << width;
    }
}

TEST(TextMeasurementTest, LongWordsBreakByCharacters) {
    const std::string word = "abcdefghijklmnopqrstuvwxyz";
    const double limit = widthOf("abcde") + 0.01;
    const auto s = styled("aa " + word, LineBreakMode::byCharWrapping);
    const auto layout = ov::layoutText(s, {limit, kUnlimited});
    const auto texts = lineTexts(s, layout);
    // Character wrapping fills each line, across the space.
    ASSERT_GE(texts.size(), 2u);
    EXPECT_EQ(texts[0], "aa ab");
    for (std::size_t i = 0; i + 1 < layout.lines.size(); ++i) {
        const double next = widthOf(texts[i] + texts[i + 1].substr(0, 1));
        EXPECT_GT(next, limit) << "line " << i << " could have taken another character";
    }
    // Word wrapping moves the word to its own line first, then breaks it too.
    const auto w = styled("aa " + word, LineBreakMode::byWordWrapping);
    const auto wordTexts = lineTexts(w, ov::layoutText(w, {limit, kUnlimited}));
    ASSERT_GE(wordTexts.size(), 3u);
    EXPECT_EQ(wordTexts[0], "aa ");
    EXPECT_EQ(wordTexts[1], "abcde");

    // A box narrower than one character still makes progress, one cluster
    // (base plus marks) per line.
    const std::string marked = "e\u0301e\u0301e\u0301";
    const auto m = styled(marked, LineBreakMode::byCharWrapping);
    EXPECT_EQ(lineTexts(m, ov::layoutText(m, {1, kUnlimited})),
              (std::vector<std::string>{"e\u0301", "e\u0301", "e\u0301"}));
    const auto two = ov::layoutText(m, {widthOf("ee") + 0.01, kUnlimited});
    EXPECT_EQ(lineTexts(m, two), (std::vector<std::string>{"e\u0301e\u0301", "e\u0301"}));
}

TEST(TextMeasurementTest, ParagraphsAndLineBreaks) {
    const double lh = sans().lineHeight();
    auto lines = [](std::string text) {
        return ov::layoutText(styled(text, LineBreakMode::byWordWrapping), {kUnlimited, kUnlimited})
            .lines.size();
    };
    EXPECT_EQ(lines("a\nb"), 2u);
    EXPECT_EQ(lines("a\r\nb"), 2u);
    EXPECT_EQ(lines("a\rb\u2029c\u2028d"), 4u);
    EXPECT_EQ(lines("a\n\nb"), 3u);
    EXPECT_EQ(lines("a\n"), 1u);  // a final line break starts no line
    EXPECT_EQ(lines("\n"), 1u);
    EXPECT_NEAR(
        ov::nsstring::textSizeWithFont("Artist\nAlbum title", sans(), {kUnlimited, kUnlimited})
            .width,
        widthOf("Album title"), 1e-9);
    EXPECT_NEAR(ov::nsstring::textSizeWithFont("a\n\nb", sans(), {kUnlimited, kUnlimited}).height,
                3 * lh, 1e-9);
}

TEST(TextMeasurementTest, TabsAdvanceToTabStops) {
    EXPECT_NEAR(widthOf("a\tb"), 28 + widthOf("b"), 1e-9);
    EXPECT_NEAR(widthOf("\t\tb"), 56 + widthOf("b"), 1e-9);
    // Past a stop already: on to the next one.
    const std::string wide = "Long track title";
    const double w = widthOf(wide);
    ASSERT_GT(w, 84);
    ASSERT_LT(w, 112);
    EXPECT_NEAR(widthOf(wide + "\t3:45"), 112 + widthOf("3:45"), 1e-9);
    // Each paragraph starts its own stops.
    EXPECT_NEAR(widthOf(wide + "\n\tx"), widthOf(wide), 1e-9);
    // So does each wrapped line: the tab on the second line goes to the
    // first stop of that line, whatever the first line held.
    const std::string second = "ab\tcd";
    const double secondWidth = widthOf(second);
    ASSERT_NEAR(secondWidth, 28 + widthOf("cd"), 1e-9);
    const auto text = styled(wide + " " + second, LineBreakMode::byWordWrapping);
    const auto layout = ov::layoutText(text, {w + 1, kUnlimited});
    ASSERT_EQ(lineTexts(text, layout), (std::vector<std::string>{wide + " ", second}));
    EXPECT_NEAR(layout.lines[1].usedSize.width, secondWidth, 1e-9);
    EXPECT_NEAR(layout.lines[0].usedSize.width, w, 1e-9);
}

TEST(TextMeasurementTest, HeightLimitKeepsWholeLines) {
    const double lh = sans().lineHeight();
    const std::string text = "one two three four five six";
    const double narrow = widthOf("three") + 1;
    EXPECT_NEAR(ov::nsstring::textSizeWithFont(text, sans(), {narrow, kUnlimited}).height, 6 * lh,
                1e-9);
    EXPECT_NEAR(ov::nsstring::textSizeWithFont(text, sans(), {narrow, 2.5 * lh}).height, 2 * lh,
                1e-9);
    EXPECT_NEAR(ov::nsstring::textSizeWithFont(text, sans(), {narrow, 3 * lh}).height, 3 * lh,
                1e-9);
    // Too short for even one line: the first line is still laid out.
    EXPECT_NEAR(ov::nsstring::textSizeWithFont(text, sans(), {narrow, 1}).height, lh, 1e-9);
}

TEST(TextMeasurementTest, OneLineModesClipOrTruncate) {
    const std::string text = "The quick brown fox jumps over the lazy dog";
    const double full = widthOf(text);
    const double limit = full / 2;
    const double lh = sans().lineHeight();

    const Size clipped = ov::nsstring::textSizeWithFont(text, sans(), {limit, kUnlimited},
                                                        LineBreakMode::byClipping);
    EXPECT_EQ(clipped, (Size{limit, lh}));

    for (auto mode : {LineBreakMode::byTruncatingHead, LineBreakMode::byTruncatingMiddle,
                      LineBreakMode::byTruncatingTail}) {
        const auto s = styled(text, mode);
        const auto layout = ov::layoutText(s, {limit, kUnlimited});
        ASSERT_EQ(layout.lines.size(), 1u) << mode;
        EXPECT_TRUE(layout.lines[0].truncated);
        EXPECT_LE(layout.size.width, limit + 1e-9) << mode;
        // The ellipsis and most of the room is used: within one glyph of it.
        EXPECT_GT(layout.size.width, limit - widthOf("W") - 1e-9) << mode;
        EXPECT_DOUBLE_EQ(layout.size.height, lh);
        EXPECT_EQ(layout.lines[0].range.length, text.size());
        // Text that fits is not touched.
        const auto fitting = ov::layoutText(s, {full + 1, kUnlimited});
        EXPECT_FALSE(fitting.lines[0].truncated);
        EXPECT_NEAR(fitting.size.width, full, 1e-9);
    }
    // Tail truncation keeps the longest prefix that fits beside "…", head
    // truncation the longest suffix.
    const double room = widthOf("The quick\u2026") + 0.01;
    EXPECT_NEAR(ov::nsstring::textSizeWithFont(text, sans(), {room, kUnlimited},
                                               LineBreakMode::byTruncatingTail)
                    .width,
                widthOf("The quick\u2026"), 1e-9);
    std::string suffix;
    for (std::size_t n = 1;
         n < text.size() && widthOf("\u2026" + text.substr(text.size() - n)) <= room; ++n)
        suffix = text.substr(text.size() - n);
    EXPECT_EQ(suffix, " lazy dog");
    EXPECT_NEAR(ov::nsstring::textSizeWithFont(text, sans(), {room, kUnlimited},
                                               LineBreakMode::byTruncatingHead)
                    .width,
                widthOf("\u2026" + suffix), 1e-9);
    // Each paragraph is its own line.
    EXPECT_NEAR(ov::nsstring::textSizeWithFont(text + "\n" + text, sans(), {limit, kUnlimited},
                                               LineBreakMode::byTruncatingTail)
                    .height,
                2 * lh, 1e-9);
}

TEST(TextMeasurementTest, AlignmentPlacesLineOrigins) {
    const double box = 200;
    const std::string text = "Daily Mix";
    const double w = widthOf(text);
    auto originX = [&](ov::TextAlignment a, const std::string& t = "Daily Mix") {
        return ov::layoutText(styled(t, LineBreakMode::byWordWrapping, 0, a), {box, kUnlimited})
            .lines.at(0)
            .origin.x;
    };
    EXPECT_DOUBLE_EQ(originX(ov::TextAlignment::left), 0);
    EXPECT_NEAR(originX(ov::TextAlignment::right), box - w, 1e-9);
    EXPECT_NEAR(originX(ov::TextAlignment::center), (box - w) / 2, 1e-9);
    EXPECT_DOUBLE_EQ(originX(ov::TextAlignment::natural), 0);
    // A right-to-left paragraph's natural alignment is the right edge.
    const std::string hebrew = "\u05e9\u05dc\u05d5\u05dd \u05e2\u05d5\u05dc\u05dd";
    EXPECT_NEAR(originX(ov::TextAlignment::natural, hebrew), box - widthOf(hebrew), 1e-9);
    // The bounding size is the union of the lines, whatever the alignment.
    const auto centred =
        ov::layoutText(styled(text, LineBreakMode::byWordWrapping, 0, ov::TextAlignment::center),
                       {box, kUnlimited});
    EXPECT_NEAR(centred.size.width, w, 1e-9);

    // Justified lines that wrap fill the box; the paragraph's last line does not.
    const std::string words = "one two three four five six seven eight nine ten";
    const auto justified = ov::layoutText(
        styled(words, LineBreakMode::byWordWrapping, 0, ov::TextAlignment::justified),
        {100, kUnlimited});
    ASSERT_GT(justified.lines.size(), 1u);
    EXPECT_DOUBLE_EQ(justified.lines.front().usedSize.width, 100);
    EXPECT_LT(justified.lines.back().usedSize.width, 100);
}

TEST(TextMeasurementTest, MixedFontsShareALine) {
    ov::AttributedString s("small BIG small", {.font = sans(10)});
    s.addAttributes({.font = sans(20)}, {6, 3});
    const auto layout = ov::layoutText(s, {kUnlimited, kUnlimited});
    ASSERT_EQ(layout.lines.size(), 1u);
    EXPECT_DOUBLE_EQ(layout.size.height, sans(20).lineHeight());
    EXPECT_NEAR(
        layout.size.width,
        2 * widthOf("small", sans(10)) + 2 * spaceWidth(sans(10)) + widthOf("BIG", sans(20)), 1e-9);
    // Text without a font attribute uses the default font.
    EXPECT_DOUBLE_EQ(ov::boundingSize(ov::AttributedString("x"), {kUnlimited, kUnlimited}).height,
                     Font().lineHeight());
}

TEST(TextMeasurementTest, HeightRoundsUpToWholePoints) {
    const double lh = sans().lineHeight();  // not a whole number for DejaVu Sans
    ASSERT_NE(lh, std::ceil(lh));
    EXPECT_EQ(ov::strings::height("Podcasts", 300, sans()), std::ceil(lh));
    const double threeWords = widthOf("one two three") + 0.5;
    EXPECT_EQ(ov::strings::height("one two three one two three", threeWords, sans()),
              std::ceil(2 * lh));
    // A whole-point height is not pushed up by floating-point noise.
    const Font exact = Font::fromFile(kDejaVuSansFile, 2048.0 / 2384.0 * 16);
    EXPECT_EQ(ov::strings::height("x", 300, exact), 16);
}

TEST(TextMeasurementTest, MalformedUtf8IsMeasuredNotRejected) {
    const std::string bad =
        "ab\xff\xfe"
        "cd\xe2\x82";
    const Size size = ov::nsstring::textSizeWithFont(bad, sans(), {kUnlimited, kUnlimited});
    EXPECT_GT(size.width, widthOf("abcd"));
    const auto layout = ov::layoutText(styled(bad, LineBreakMode::byCharWrapping), {1, kUnlimited});
    std::size_t covered = 0;
    for (const auto& line : layout.lines) covered += line.range.length;
    EXPECT_EQ(covered, bad.size());
}

TEST(TextMeasurementTest, ConcurrentMeasurementMatchesSerial) {
    // Several threads load fonts and shape at once; results match a serial run.
    const std::vector<Font> fonts = {sans(11), Font::named("DejaVu Serif", 13),
                                     Font::named("DejaVu Sans Mono", 9), sans(17)};
    const std::string text =
        "Recently played \u0633\u0644\u0627\u0645 \u05e9\u05dc\u05d5\u05dd AV To";
    std::vector<Size> serial;
    std::vector<std::vector<Size>> results(4);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 20; ++i)
                for (const auto& f : fonts)
                    results[t].push_back(ov::nsstring::textSizeWithFont(text, f, {90, kUnlimited}));
        });
    }
    for (auto& th : threads) th.join();
    for (int i = 0; i < 20; ++i)
        for (const auto& f : fonts)
            serial.push_back(ov::nsstring::textSizeWithFont(text, f, {90, kUnlimited}));
    for (const auto& r : results) EXPECT_EQ(r, serial);
}

TEST(AttributedStringTest, AttributedCoversTheWholeTextWithDefaults) {
    const auto s = ov::strings::attributed("Liked Songs", sans(), ov::Color::white());
    ASSERT_EQ(s.runs().size(), 1u);
    EXPECT_EQ(s.runs()[0].range, (ov::TextRange{0, 11}));
    const auto& a = s.runs()[0].attributes;
    EXPECT_EQ(a.font, sans());
    EXPECT_EQ(a.foregroundColor, ov::Color::white());
    ASSERT_TRUE(a.paragraphStyle.has_value());
    EXPECT_EQ(*a.paragraphStyle, ov::ParagraphStyle{});
    EXPECT_EQ(a.paragraphStyle->lineBreakMode, LineBreakMode::byWordWrapping);
    EXPECT_EQ(a.paragraphStyle->alignment, ov::TextAlignment::natural);

    const auto given =
        ov::strings::attributed("x", sans(), ov::Color::black(), 3.0, ov::TextAlignment::center,
                                LineBreakMode::byTruncatingMiddle);
    EXPECT_EQ(
        given.attributes(0).paragraphStyle,
        (ov::ParagraphStyle{3.0, ov::TextAlignment::center, LineBreakMode::byTruncatingMiddle}));
    EXPECT_TRUE(ov::strings::attributed("", sans(), ov::Color::black()).runs().empty());
}

TEST(AttributedStringTest, RunsSplitMergeAndStayCanonical) {
    ov::AttributedString s("Hello world", {.font = sans()});
    const auto red = ov::Color::rgba(1, 0, 0);
    s.addAttributes({.foregroundColor = red}, {6, 5});
    ASSERT_EQ(s.runs().size(), 2u);
    EXPECT_EQ(s.runs()[1].range, (ov::TextRange{6, 5}));
    EXPECT_EQ(s.runs()[1].attributes.font, sans());  // added, not replaced
    ov::TextRange effective;
    EXPECT_EQ(s.attributes(7, &effective).foregroundColor, red);
    EXPECT_EQ(effective, (ov::TextRange{6, 5}));
    EXPECT_FALSE(s.attributes(5).foregroundColor.has_value());

    // Setting the same attributes everywhere merges back to one run.
    s.setAttributes({.font = sans()}, {6, 5});
    EXPECT_EQ(s, ov::AttributedString("Hello world", {.font = sans()}));

    s.append(ov::AttributedString("!", {.foregroundColor = red}));
    s.append("?");  // takes the last character's attributes
    ASSERT_EQ(s.runs().size(), 2u);
    EXPECT_EQ(s.runs()[1].range, (ov::TextRange{11, 2}));
}

TEST(AttributedStringTest, BadRangesAreClampedAndWidened) {
    auto capture = ovlog::CaptureSink::attach();
    ov::AttributedString s("caf\u00e9s", {});  // é is two bytes: 3..5
    s.addAttributes({.foregroundColor = ov::Color::black()}, {4, 100});
    EXPECT_TRUE(logged(*capture, "range {4, 100} is out of bounds for length 6"));
    ASSERT_EQ(s.runs().size(), 2u);
    // The range started inside "é": it is widened to the whole character.
    EXPECT_EQ(s.runs()[1].range, (ov::TextRange{3, 3}));
    s.setAttributes({}, {50, 2});  // entirely past the end: nothing changes
    EXPECT_EQ(s.runs().size(), 2u);
    EXPECT_FALSE(s.attributes(99).foregroundColor.has_value());
}
