// libFuzzer target: unCamelCase. The output is valid UTF-8 of bounded length
// and, on short inputs, equals the two regular-expression rewrites it is
// defined by (run here with ICU's engine) followed by title-casing the first
// character.
#include <memory>

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/regex.h>

#include "FuzzSupport.h"
#include "OVUtility/Extensions/NSStringAdditions.h"

namespace {

icu::UnicodeString replaceAll(const char* pattern, const icu::UnicodeString& text) {
    UErrorCode status = U_ZERO_ERROR;
    UParseError parseError;
    std::unique_ptr<icu::RegexPattern> compiled(
        icu::RegexPattern::compile(icu::UnicodeString::fromUTF8(pattern), 0, parseError, status));
    std::unique_ptr<icu::RegexMatcher> matcher(compiled->matcher(text, status));
    icu::UnicodeString out = matcher->replaceAll(u"$1 $2", status);
    ovfuzz::check(U_SUCCESS(status), "reference regular expression runs");
    return out;
}

std::string byDefinition(std::string_view input) {
    icu::UnicodeString text = icu::UnicodeString::fromUTF8(
        icu::StringPiece(input.data(), static_cast<int32_t>(input.size())));
    text = replaceAll("([a-z](?=[A-Z]+[a-z])|(?<=[a-z]?)[A-Z]+(?![a-z]))([A-Z][a-z])", text);
    text = replaceAll("([a-z])([A-Z]|[0-9])", text);
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::BreakIterator> characters(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    characters->setText(text);
    const int32_t first = text.isEmpty() ? 0 : characters->next();
    icu::UnicodeString head(text, 0, first);
    head.toTitle(nullptr, icu::Locale::getRoot());
    std::string out;
    head.append(text, first, text.length() - first).toUTF8String(out);
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto input = ovfuzz::text(data, size);
    const std::string out = ov::nsstring::unCamelCase(input);
    const std::string valid = ovfuzz::repaired(input);
    ovfuzz::check(ovfuzz::isValidUtf8(out), "unCamelCase gives valid UTF-8");
    // At most one space per two letters, plus the title-cased first character.
    ovfuzz::check(out.size() <= valid.size() * 3 / 2 + 16, "output length bound");
    if (size <= 512) ovfuzz::check(out == byDefinition(valid), "matches the regular expressions");
    return 0;
}
