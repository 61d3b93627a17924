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
using Lines = std::vector<std::string>;

constexpr double kUnlimited = Size::unlimited;
constexpr auto kWord = LineBreakMode::byWordWrapping;
constexpr auto kChar = LineBreakMode::byCharWrapping;
const char* const kDejaVuSansFile = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
const std::string kSalam = "\u0633\u0644\u0627\u0645";

Font sans(double size = 12) {
    return Font::named("DejaVu Sans", size);
}

Size measure(std::string_view text, Size box = {kUnlimited, kUnlimited}, LineBreakMode mode = kWord,
             const Font& font = sans()) {
    return ov::nsstring::textSizeWithFont(text, font, box, mode);
}

double widthOf(std::string_view text, const Font& font = sans()) {
    return measure(text, {kUnlimited, kUnlimited}, kWord, font).width;
}

ov::AttributedString styled(std::string text, LineBreakMode mode = kWord, double lineSpacing = 0,
                            ov::TextAlignment alignment = ov::TextAlignment::natural) {
    return ov::strings::attributed(text, sans(), ov::Color::black(), lineSpacing, alignment, mode);
}

// The text of each laid-out line.
Lines lineTexts(const ov::AttributedString& s, const ov::TextLayout& layout) {
    Lines texts;
    for (const auto& line : layout.lines)
        texts.push_back(s.string().substr(line.range.location, line.range.length));
    return texts;
}

Lines wrap(const std::string& text, LineBreakMode mode, double width) {
    const auto s = styled(text, mode);
    return lineTexts(s, ov::layoutText(s, {width, kUnlimited}));
}

bool logged(const ovlog::CaptureSink& capture, std::string_view part) {
    for (const auto& m : capture.messages("TextMeasurement"))
        if (m.find(part) != std::string::npos) return true;
    return false;
}

}  // namespace

TEST(FontTest, ResolvesFacesAndFallsBackOnBadInput) {
    const auto m = sans(12).metrics();
    EXPECT_EQ(m.familyName, "DejaVu Sans");
    EXPECT_EQ(m.file, kDejaVuSansFile);
    EXPECT_LT(m.descender, 0);
    EXPECT_NEAR(m.lineHeight, m.ascender - m.descender + m.leading, 1e-9);
    // Metrics scale linearly with the point size and are not rounded.
    EXPECT_NEAR(sans(24).lineHeight(), 2 * m.lineHeight, 1e-9);
    EXPECT_NE(m.lineHeight, std::round(m.lineHeight));
    EXPECT_DOUBLE_EQ(widthOf("Playlist", Font::fromFile(kDejaVuSansFile, 12)), widthOf("Playlist"));

    auto capture = ovlog::CaptureSink::attach();
    const Font missing = Font::fromFile("/nonexistent/NoSuchFont.ttf", 12);
    EXPECT_EQ(missing.metrics().familyName, Font::systemFont(12).metrics().familyName);
    EXPECT_TRUE(logged(*capture, "could not load font file \"/nonexistent/NoSuchFont.ttf\""));
    for (double bad : {-3.0, double(NAN), 0.0})
        EXPECT_EQ(sans(12).withSize(bad).pointSize(), Font::defaultPointSize) << bad;
    EXPECT_GT(Font::named("No Such Family 42", 12).lineHeight(), 0);
}

TEST(TextMeasurementTest, EmptyAndBlankText) {
    EXPECT_EQ(measure("", {100, 100}), (Size{0, 0}));
    EXPECT_EQ(measure("", {100, 100}, LineBreakMode::byTruncatingTail), (Size{0, 0}));
    EXPECT_EQ(ov::strings::height("", 100, sans()), 0);
    // White space alone hangs: one line tall, zero wide.
    EXPECT_EQ(measure("   "), (Size{0, sans().lineHeight()}));
}

TEST(TextMeasurementTest, WidthsAreShapedNotSummedPerCodePoint) {
    EXPECT_LT(widthOf("AV"), widthOf("A") + widthOf("V") - 0.1);  // kerning
    EXPECT_LT(widthOf("ffi"), 2 * widthOf("f") + widthOf("i") - 0.05);
    EXPECT_NEAR(widthOf("Shuffle play", sans(24)), 2 * widthOf("Shuffle play"), 1e-9);
    // Combining marks sit on their base and add nothing.
    EXPECT_DOUBLE_EQ(widthOf("a\u0308\u0323"), widthOf("a"));
    EXPECT_DOUBLE_EQ(widthOf("\u0633\u064e\u0644\u0627\u0645"), widthOf(kSalam));
    // Arabic letters join: far narrower than the isolated forms; lam-alef is
    // one ligature, narrower than the lam before it.
    EXPECT_LT(widthOf(kSalam),
              widthOf("\u0633") + widthOf("\u0644") + widthOf("\u0627") + widthOf("\u0645") - 5);
    EXPECT_LT(widthOf("\u0633\u0644\u0627"), widthOf("\u0633\u0644"));
    // A right-to-left run inside left-to-right text keeps its joined width.
    const double space = widthOf("a a") - 2 * widthOf("a");
    EXPECT_NEAR(widthOf("abc " + kSalam), widthOf("abc") + space + widthOf(kSalam), 1e-9);
    // DejaVu Serif has no Arabic: a fallback font shapes it.
    EXPECT_DOUBLE_EQ(widthOf(kSalam, Font::named("DejaVu Serif", 12)), widthOf(kSalam));
}

TEST(TextMeasurementTest, WordWrapLinesHeightsAndOrigins) {
    const double word = widthOf("word");
    const double three = 3 * word + 2 * (widthOf("word word") - 2 * word);
    std::string text = "word";
    for (int i = 1; i < 10; ++i) text += " word";
    const double lh = sans().lineHeight();
    for (double spacing : {0.0, 4.5}) {
        const auto s = styled(text, kWord, spacing);
        const auto layout = ov::layoutText(s, {three + 0.01, kUnlimited});
        EXPECT_EQ(lineTexts(s, layout),
                  (Lines{"word word word ", "word word word ", "word word word ", "word"}));
        EXPECT_NEAR(layout.size.width, three, 1e-9);
        EXPECT_NEAR(layout.size.height, 4 * lh + 3 * spacing, 1e-9);
        for (std::size_t i = 0; i < layout.lines.size(); ++i)
            EXPECT_NEAR(layout.lines[i].origin.y, i * (lh + spacing), 1e-9);
        EXPECT_EQ(ov::layoutText(s, {three - 0.01, kUnlimited}).lines.size(), 5u);
    }
    // No width limit (zero, negative, NaN, infinite): one line as wide as the text.
    for (double none : {0.0, -10.0, double(NAN), double(INFINITY)})
        EXPECT_EQ(measure(text, {none, none}), (Size{widthOf(text), lh})) << none;
}

TEST(TextMeasurementTest, EachLineMeasuresAsItsOwnTextAndFits) {
    // Every pair of "AVAV…" kerns, so a line ending between A and V is wider
    // alone than inside the paragraph: fitting must use the line's own width.
    // (From 12 points on, every cluster fits a line.)
    const std::string text = "AVAVAVAVAVAVAV To To WAVE fi ffi office";
    for (auto mode : {kWord, kChar}) {
        for (double width = 12; width <= 90; width += 0.5) {
            const auto s = styled(text, mode);
            const auto layout = ov::layoutText(s, {width, kUnlimited});
            const auto texts = lineTexts(s, layout);
            std::string joined;
            for (std::size_t i = 0; i < texts.size(); ++i) {
                joined += texts[i];
                EXPECT_NEAR(layout.lines[i].usedSize.width, widthOf(texts[i]), 1e-9) << texts[i];
                EXPECT_LE(layout.lines[i].usedSize.width, width + 1e-9) << texts[i];
            }
            ASSERT_EQ(joined, text) << mode << " " << width;
        }
    }
}

TEST(TextMeasurementTest, LongWordsBreakByCharacters) {
    const std::string text = "aa abcdefghijklmnopqrstuvwxyz";
    const double limit = widthOf("abcde") + 0.01;
    // Character wrapping fills each line, across the space.
    const auto chars = wrap(text, kChar, limit);
    ASSERT_GE(chars.size(), 2u);
    EXPECT_EQ(chars[0], "aa ab");
    for (std::size_t i = 0; i + 1 < chars.size(); ++i)
        EXPECT_GT(widthOf(chars[i] + chars[i + 1].substr(0, 1)), limit) << i;
    // Word wrapping moves the word to its own line first, then breaks it too.
    const auto words = wrap(text, kWord, limit);
    ASSERT_GE(words.size(), 3u);
    EXPECT_EQ(Lines(words.begin(), words.begin() + 2), (Lines{"aa ", "abcde"}));
    // Too narrow for one character: one cluster (base plus mark) per line.
    const std::string marked = "e\u0301e\u0301e\u0301";
    EXPECT_EQ(wrap(marked, kChar, 1), (Lines{"e\u0301", "e\u0301", "e\u0301"}));
    EXPECT_EQ(wrap(marked, kChar, widthOf("ee") + 0.01), (Lines{"e\u0301e\u0301", "e\u0301"}));
}

TEST(TextMeasurementTest, ParagraphsAndLineBreaks) {
    const std::pair<const char*, std::size_t> cases[] = {
        {"a\nb", 2}, {"a\r\nb", 2}, {"a\rb\u2029c\u2028d", 4}, {"a\u0085b", 2}, {"a\n\nb", 3},
        {"a\n", 1},  {"\n", 1}};
    for (auto [text, lines] : cases) EXPECT_EQ(wrap(text, kWord, kUnlimited).size(), lines) << text;
    EXPECT_EQ(measure("Artist\nAlbum title").width, widthOf("Album title"));
    EXPECT_NEAR(measure("a\n\nb").height, 3 * sans().lineHeight(), 1e-9);
}

TEST(TextMeasurementTest, TabsAdvanceToStopsCountedFromTheLineStart) {
    const std::string wide = "Long track title";  // between the third and fourth stop
    const double w = widthOf(wide);
    ASSERT_TRUE(w > 84 && w < 112);
    const double b = widthOf("b");
    const std::pair<std::string, double> cases[] = {
        {"a\tb", 28 + b}, {"\t\tb", 56 + b}, {wide + "\tb", 112 + b}, {wide + "\n\tb", w}};
    for (const auto& [text, width] : cases) EXPECT_NEAR(widthOf(text), width, 1e-9) << text;
    // A wrapped line starts its own stops too.
    const auto s = styled(wide + " ab\tcd");
    const auto layout = ov::layoutText(s, {w + 1, kUnlimited});
    ASSERT_EQ(lineTexts(s, layout), (Lines{wide + " ", "ab\tcd"}));
    EXPECT_NEAR(layout.lines[1].usedSize.width, 28 + widthOf("cd"), 1e-9);
}

TEST(TextMeasurementTest, HeightLimitKeepsWholeLinesButAlwaysTheFirst) {
    const double lh = sans().lineHeight();
    const double narrow = widthOf("three") + 1;  // one word per line: six lines
    const std::pair<double, int> cases[] = {{kUnlimited, 6}, {2.5 * lh, 2}, {3 * lh, 3}, {1, 1}};
    for (auto [limit, lines] : cases)
        EXPECT_NEAR(measure("one two three four five six", {narrow, limit}).height, lines * lh,
                    1e-9)
            << limit;
}

TEST(TextMeasurementTest, OneLineModesClipOrTruncate) {
    const std::string text = "The quick brown fox jumps over the lazy dog";
    const double full = widthOf(text);
    const double lh = sans().lineHeight();
    EXPECT_EQ(measure(text, {full / 2, kUnlimited}, LineBreakMode::byClipping),
              (Size{full / 2, lh}));
    for (auto mode : {LineBreakMode::byTruncatingHead, LineBreakMode::byTruncatingMiddle,
                      LineBreakMode::byTruncatingTail}) {
        const auto s = styled(text, mode);
        const auto layout = ov::layoutText(s, {full / 2, kUnlimited});
        ASSERT_EQ(layout.lines.size(), 1u) << mode;
        EXPECT_TRUE(layout.lines[0].truncated);
        EXPECT_EQ(layout.lines[0].range.length, text.size());
        // The ellipsis and most of the room is used: within one glyph of it.
        EXPECT_LE(layout.size.width, full / 2 + 1e-9) << mode;
        EXPECT_GT(layout.size.width, full / 2 - widthOf("W") - 1e-9) << mode;
        const auto fitting = ov::layoutText(s, {full + 1, kUnlimited});
        EXPECT_FALSE(fitting.lines[0].truncated);
        EXPECT_NEAR(fitting.size.width, full, 1e-9);
        // Each paragraph is its own line.
        EXPECT_NEAR(measure(text + "\n" + text, {full / 2, kUnlimited}, mode).height, 2 * lh, 1e-9);
    }
    // Tail keeps the longest prefix that fits beside "…", head the longest suffix.
    const double room = widthOf("The quick\u2026") + 0.01;
    EXPECT_NEAR(measure(text, {room, kUnlimited}, LineBreakMode::byTruncatingTail).width,
                widthOf("The quick\u2026"), 1e-9);
    EXPECT_NEAR(measure(text, {room, kUnlimited}, LineBreakMode::byTruncatingHead).width,
                widthOf("\u2026 lazy dog"), 1e-9);
}

TEST(TextMeasurementTest, AlignmentPlacesLineOrigins) {
    using A = ov::TextAlignment;
    const std::string hebrew = "\u05e9\u05dc\u05d5\u05dd \u05e2\u05d5\u05dc\u05dd";
    const double free = 200 - widthOf("Daily Mix");
    const std::tuple<A, std::string, double> cases[] = {
        {A::left, "Daily Mix", 0},
        {A::right, "Daily Mix", free},
        {A::center, "Daily Mix", free / 2},
        {A::natural, "Daily Mix", 0},
        {A::natural, hebrew, 200 - widthOf(hebrew)}};  // right-to-left: natural is right
    for (const auto& [alignment, text, x] : cases) {
        const auto layout = ov::layoutText(styled(text, kWord, 0, alignment), {200, kUnlimited});
        EXPECT_NEAR(layout.lines.at(0).origin.x, x, 1e-9) << text;
        EXPECT_NEAR(layout.size.width, widthOf(text), 1e-9);  // the lines' union
    }
    // Justified lines that wrap fill the box; the paragraph's last line does not.
    const auto justified = ov::layoutText(
        styled("one two three four five six seven eight nine ten", kWord, 0, A::justified),
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
        widthOf("small a small", sans(10)) - widthOf("a", sans(10)) + widthOf("BIG", sans(20)),
        1e-9);
    // Text without a font attribute uses the default font.
    EXPECT_DOUBLE_EQ(ov::boundingSize(ov::AttributedString("x"), {kUnlimited, kUnlimited}).height,
                     Font().lineHeight());
}

TEST(TextMeasurementTest, HeightRoundsUpToWholePoints) {
    const double lh = sans().lineHeight();
    EXPECT_EQ(ov::strings::height("Podcasts", 300, sans()), std::ceil(lh));
    EXPECT_EQ(
        ov::strings::height("one two three one two three", widthOf("one two three") + 0.5, sans()),
        std::ceil(2 * lh));
    // A whole-point height stays that point.
    EXPECT_EQ(ov::strings::height("x", 300, Font::fromFile(kDejaVuSansFile, 2048.0 / 2384.0 * 16)),
              16);
}

TEST(TextMeasurementTest, MalformedUtf8IsMeasuredNotRejected) {
    const std::string bad =
        "ab\xff\xfe"
        "cd\xe2\x82";
    EXPECT_GT(widthOf(bad), widthOf("abcd"));
    std::string covered;
    for (const auto& line : wrap(bad, kChar, 1)) covered += line;
    EXPECT_EQ(covered, bad);
}

TEST(TextMeasurementTest, ConcurrentMeasurementMatchesSerial) {
    const std::vector<Font> fonts = {sans(11), Font::named("DejaVu Serif", 13),
                                     Font::named("DejaVu Sans Mono", 9), sans(17)};
    const std::string text = "Recently played " + kSalam + " \u05e9\u05dc\u05d5\u05dd AV To";
    auto run = [&](std::vector<Size>& out) {
        for (int i = 0; i < 20; ++i)
            for (const auto& f : fonts) out.push_back(measure(text, {90, kUnlimited}, kWord, f));
    };
    std::vector<std::vector<Size>> results(4);
    std::vector<std::thread> threads;
    for (auto& r : results) threads.emplace_back([&] { run(r); });
    for (auto& th : threads) th.join();
    std::vector<Size> serial;
    run(serial);
    for (const auto& r : results) EXPECT_EQ(r, serial);
}

TEST(AttributedStringTest, AttributedAlwaysCarriesAParagraphStyle) {
    // (The optional arguments reach layout: see the wrapping, alignment and
    // truncation tests, which build their texts with them.)
    EXPECT_EQ(ov::strings::attributed("Liked Songs", sans(), ov::Color::white()).runs(),
              (std::vector<ov::AttributedString::Run>{
                  {{0, 11}, {sans(), ov::Color::white(), ov::ParagraphStyle{}}}}));
    EXPECT_TRUE(ov::strings::attributed("", sans(), ov::Color::black()).runs().empty());
}

TEST(AttributedStringTest, RunsSplitMergeAndStayCanonical) {
    ov::AttributedString s("Hello world", {.font = sans()});
    const auto red = ov::Color::rgba(1, 0, 0);
    s.addAttributes({.foregroundColor = red}, {6, 5});
    ASSERT_EQ(s.runs().size(), 2u);
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
    EXPECT_EQ(s.runs()[1].range, (ov::TextRange{3, 3}));  // widened to the whole "é"
    s.setAttributes({}, {50, 2});                         // past the end: nothing changes
    EXPECT_EQ(s.runs().size(), 2u);
}
