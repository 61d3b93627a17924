// libFuzzer target: the pseudo-localisation filter on any bytes and any
// percentage. When on, the output is valid UTF-8: "[#", the repaired text,
// at most one look-alike capital per character of it, "#]".
#include "FuzzSupport.h"
#include "OVUtility/Localization/PseudoLocalizationFilter.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    const auto percent = in.ConsumeIntegralInRange<long long>(-10, 110);
    const std::string text = in.ConsumeRemainingBytesAsString();
    const std::string valid = ovfuzz::repaired(text);
    const std::string out = ov::PseudoLocalizationFilter(percent).apply(text);
    ovfuzz::check(ovfuzz::isValidUtf8(out), "output is valid UTF-8");
    ovfuzz::check(out.starts_with("[#" + valid) && out.ends_with("#]"), "wrapped repaired text");
    // Each look-alike capital is 2 or 3 bytes; there is at most one per
    // character, and a character is at least one byte.
    const size_t extra = out.size() - valid.size() - 4;
    ovfuzz::check(extra <= 3 * valid.size(), "at most one capital per character");
    ovfuzz::check(percent > 0 || extra == 0, "0 % and below only wrap");
    ovfuzz::check(ov::PseudoLocalizationFilter().apply(text) == text, "off passes text through");
    return 0;
}
