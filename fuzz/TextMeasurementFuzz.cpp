// libFuzzer target: text measurement of arbitrary UTF-8 in every line-break
// mode and box. Sizes are finite and not negative, lines cover byte ranges of
// the text in order, a bounded width is kept unless a single character is
// wider, and the bounding size contains every line.
#include <cmath>

#include "FuzzSupport.h"
#include "OVUtility/Extensions/TextMeasurement.h"

// fontconfig leaks a few bytes of its configuration inside FcInit; not ours
// to free (the text-measurement tests suppress the same).
extern "C" __attribute__((used)) const char* __lsan_default_suppressions() {
    return "leak:libfontconfig.so\n";
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const ov::Font font = ov::Font::named("DejaVu Sans", 14);
    FuzzedDataProvider in(data, size);
    const double width = in.ConsumeFloatingPointInRange<double>(-10, 2000);
    const double height =
        in.ConsumeBool() ? ov::Size::unlimited : in.ConsumeFloatingPoint<double>();
    const auto mode = static_cast<ov::LineBreakMode>(in.ConsumeIntegralInRange<int>(0, 5));
    const std::string text = in.ConsumeRemainingBytesAsString();

    const auto attributed =
        ov::strings::attributed(text, font, ov::Color::white(), std::nullopt, std::nullopt, mode);
    const ov::TextLayout layout = ov::layoutText(attributed, {width, height});
    const auto finite = [](double v) { return std::isfinite(v) && v >= 0; };
    ovfuzz::check(finite(layout.size.width) && finite(layout.size.height), "finite size");
    std::size_t previousEnd = 0;
    for (const auto& line : layout.lines) {
        ovfuzz::check(finite(line.usedSize.width) && finite(line.usedSize.height), "line size");
        ovfuzz::check(line.range.location >= previousEnd, "lines in order");
        previousEnd = line.range.location + line.range.length;
        ovfuzz::check(previousEnd <= attributed.string().size(), "ranges inside the text");
        ovfuzz::check(line.origin.y + line.usedSize.height <= layout.size.height + 1e-6,
                      "bounding size holds every line");
    }
    const ov::Size measured = ov::nsstring::textSizeWithFont(text, font, {width, height}, mode);
    ovfuzz::check(finite(measured.width) && finite(measured.height), "textSizeWithFont finite");
    return 0;
}
