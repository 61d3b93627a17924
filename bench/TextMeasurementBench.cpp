// Measuring a typical 200-character paragraph (a podcast episode blurb) at a
// phone column width, against two peers measured in the same run:
//  - HarfBuzzShapeOnly: one hb_shape() of the whole paragraph with a font and
//    buffer made beforehand: the floor any measurement built on HarfBuzz pays,
//    with no line breaking, bidi or itemisation.
//  - UncachedPerCall: what measuring costs when nothing is kept between calls:
//    the font file is read into a HarfBuzz face and an ICU line-break iterator
//    is opened for every call, then the paragraph is shaped once.
// After the runs, the ratios of our measurement to each peer (CPU time) are
// printed.
#include <chrono>
#include <cstdio>
#include <map>
#include <string>

#include <benchmark/benchmark.h>
#include <harfbuzz/hb.h>
#include <unicode/ubrk.h>
#include <unicode/unistr.h>

#include "OVLog/OVLog.h"
#include "OVUtility/Extensions/TextMeasurement.h"

namespace {

const char* const kFontFile = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

// 200 characters.
const std::string kParagraph =
    "In this episode we talk with the producers about touring after the pandemic, "
    "why their second album took four years, and the old tape recorder behind "
    "every vocal on it. Plus: eight listener questions!";

constexpr double kColumnWidth = 320;

void BM_TextSizeWithFont(benchmark::State& state) {
    const ov::Font font = ov::Font::named("DejaVu Sans", 15);
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            ov::nsstring::textSizeWithFont(kParagraph, font, {kColumnWidth, ov::Size::unlimited}));
    }
}
BENCHMARK(BM_TextSizeWithFont);

void BM_HeightWithConstrainedWidth(benchmark::State& state) {
    const ov::Font font = ov::Font::named("DejaVu Sans", 15);
    for (auto _ : state)
        benchmark::DoNotOptimize(ov::strings::height(kParagraph, kColumnWidth, font));
}
BENCHMARK(BM_HeightWithConstrainedWidth);

void BM_Peer_HarfBuzzShapeOnly(benchmark::State& state) {
    hb_blob_t* blob = hb_blob_create_from_file(kFontFile);
    hb_face_t* face = hb_face_create(blob, 0);
    hb_font_t* font = hb_font_create(face);
    hb_buffer_t* buffer = hb_buffer_create();
    for (auto _ : state) {
        hb_buffer_clear_contents(buffer);
        hb_buffer_add_utf8(buffer, kParagraph.data(), static_cast<int>(kParagraph.size()), 0, -1);
        hb_buffer_guess_segment_properties(buffer);
        hb_shape(font, buffer, nullptr, 0);
        unsigned count = 0;
        const hb_glyph_position_t* pos = hb_buffer_get_glyph_positions(buffer, &count);
        long width = 0;
        for (unsigned i = 0; i < count; ++i) width += pos[i].x_advance;
        benchmark::DoNotOptimize(width);
    }
    hb_buffer_destroy(buffer);
    hb_font_destroy(font);
    hb_face_destroy(face);
    hb_blob_destroy(blob);
}
BENCHMARK(BM_Peer_HarfBuzzShapeOnly);

void BM_Peer_UncachedPerCall(benchmark::State& state) {
    for (auto _ : state) {
        hb_blob_t* blob = hb_blob_create_from_file(kFontFile);
        hb_face_t* face = hb_face_create(blob, 0);
        hb_font_t* font = hb_font_create(face);
        icu::UnicodeString text = icu::UnicodeString::fromUTF8(kParagraph);
        UErrorCode status = U_ZERO_ERROR;
        UBreakIterator* breaks =
            ubrk_open(UBRK_LINE, "", reinterpret_cast<const UChar*>(text.getBuffer()),
                      text.length(), &status);
        int opportunities = 0;
        for (int32_t b = ubrk_first(breaks); b != UBRK_DONE; b = ubrk_next(breaks)) ++opportunities;
        hb_buffer_t* buffer = hb_buffer_create();
        hb_buffer_add_utf16(buffer, reinterpret_cast<const uint16_t*>(text.getBuffer()),
                            text.length(), 0, -1);
        hb_buffer_guess_segment_properties(buffer);
        hb_shape(font, buffer, nullptr, 0);
        benchmark::DoNotOptimize(hb_buffer_get_length(buffer) + opportunities);
        hb_buffer_destroy(buffer);
        ubrk_close(breaks);
        hb_font_destroy(font);
        hb_face_destroy(face);
        hb_blob_destroy(blob);
    }
}
BENCHMARK(BM_Peer_UncachedPerCall);

// Console output plus the mean time per iteration of each benchmark.
class RecordingReporter : public benchmark::ConsoleReporter {
  public:
    std::map<std::string, double> nanoseconds;

    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const auto& run : runs) {
            if (run.iterations == 0) continue;
            // With --benchmark_repetitions, the median stands for the runs.
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median") continue;
            // All benchmarks here report in the default unit (ns). CPU time:
            // the machine that runs this is usually shared, and wall time
            // then mostly measures the neighbours.
            nanoseconds[run.run_name.str()] = run.GetAdjustedCPUTime();
        }
    }
};

}  // namespace

int main(int argc, char** argv) {
    ovlog::OLog::setConsoleOutput(false);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RecordingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    const auto& ns = reporter.nanoseconds;
    auto ratio = [&](const char* ours, const char* peer) {
        auto a = ns.find(ours), b = ns.find(peer);
        if (a == ns.end() || b == ns.end() || b->second <= 0) return;
        std::printf("%s / %s = %.2f\n", ours, peer, a->second / b->second);
    };
    for (const auto& [name, t] : ns)
        std::printf("%s: %.0f ns CPU per measurement\n", name.c_str(), t);
    std::printf("\nParagraph: %zu characters, width %.0f pt, DejaVu Sans 15 pt\n",
                kParagraph.size(), kColumnWidth);
    ratio("BM_TextSizeWithFont", "BM_Peer_HarfBuzzShapeOnly");
    ratio("BM_TextSizeWithFont", "BM_Peer_UncachedPerCall");
    return 0;
}
