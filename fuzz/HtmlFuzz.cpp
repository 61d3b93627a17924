// libFuzzer target: HTML entity decoding and tag stripping. Both give valid
// UTF-8 no longer than the (repaired) input; stripping agrees with the
// definition (delete the first "<[^>]+>" match until none is left) on short
// inputs, and stripping its own output changes nothing more than once.
#include <regex>

#include "FuzzSupport.h"
#include "OVUtility/Extensions/NSStringAdditions.h"
#include "OVUtility/Extensions/StringAdditions.h"

namespace {

// The definition, as slow as it is plain.
std::string stripByDefinition(std::string text) {
    static const std::regex tag("<[^>]+>");
    std::smatch match;
    while (std::regex_search(text, match, tag)) text.erase(match.position(0), match.length(0));
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto input = ovfuzz::text(data, size);
    const std::string valid = ovfuzz::repaired(input);

    const std::string decoded = ov::strings::decodeHtmlString(input);
    ovfuzz::check(ovfuzz::isValidUtf8(decoded), "decodeHtmlString gives valid UTF-8");
    ovfuzz::check(decoded.size() <= valid.size(), "decoding never lengthens the text");

    const std::string stripped = ov::nsstring::stringByStrippingHTML(input);
    ovfuzz::check(ovfuzz::isValidUtf8(stripped), "stringByStrippingHTML gives valid UTF-8");
    ovfuzz::check(stripped.size() <= valid.size(), "stripping never lengthens the text");
    ovfuzz::check(ov::nsstring::stringByStrippingHTML(stripped) == stripped,
                  "stripped text has no tag left");
    if (valid.size() <= 256) {
        ovfuzz::check(stripped == stripByDefinition(valid), "stripping matches its definition");
    }
    return 0;
}
