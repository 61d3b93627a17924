#include "OVUtility/Extensions/StringAdditions.h"

#include <cmath>
#include <memory>
#include <mutex>

#include <fmt/format.h>
#include <unicode/brkiter.h>
#include <unicode/normalizer2.h>
#include <unicode/regex.h>
#include <unicode/translit.h>
#include <unicode/utf8.h>
#include <nlohmann/json.hpp>

#include "OVLog/OVLog.h"
#include "OVUtility/Extensions/ListenerCountFormat.h"
#include "OVUtility/Extensions/UnicodeSupport.h"

namespace ov::strings {
namespace {

ovlog::Module& logModule() {
    static ovlog::Module& module = ovlog::Module::named("OVUtility");
    return module;
}

// The whole-text pattern of containsSpecialCharacters, compiled once per
// process (RegexPattern is immutable and shareable); each thread keeps its
// own matcher.
icu::RegexMatcher* specialCharacterMatcher() {
    static const std::unique_ptr<icu::RegexPattern> pattern = [] {
        UErrorCode status = U_ZERO_ERROR;
        UParseError parseError;
        std::unique_ptr<icu::RegexPattern> compiled(
            icu::RegexPattern::compile(u".*[^A-Za-z0-9].*", 0, parseError, status));
        if (U_FAILURE(status)) {
            OVLOG_ERROR(logModule(), "special-character pattern did not compile: {}",
                        u_errorName(status));
            compiled.reset();
        }
        return compiled;
    }();
    if (!pattern) return nullptr;
    thread_local std::unique_ptr<icu::RegexMatcher> matcher = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::RegexMatcher> m(pattern->matcher(status));
        if (U_FAILURE(status)) m.reset();
        return m;
    }();
    return matcher.get();
}

// The search transform, created once per process: creating it parses and
// links dozens of rule sets, far more work than running it. A transliterator
// is not documented as safe for concurrent use, so calls are serialised.
struct SearchTransform {
    std::mutex mutex;
    std::unique_ptr<icu::Transliterator> transliterator;

    SearchTransform() {
        UErrorCode status = U_ZERO_ERROR;
        transliterator.reset(icu::Transliterator::createInstance("Any-Latin; Latin-ASCII; Lower",
                                                                 UTRANS_FORWARD, status));
        if (U_FAILURE(status)) {
            OVLOG_ERROR(logModule(), "search transform could not be created: {}",
                        u_errorName(status));
            transliterator.reset();
        }
    }
};

SearchTransform& searchTransform() {
    static SearchTransform transform;
    return transform;
}

std::string titleCased(std::string_view character) {
    icu::UnicodeString text = detail::toUnicode(character);
    text.toTitle(nullptr, icu::Locale::getRoot());
    return detail::toUtf8(text);
}

std::string lowerCased(std::string_view text) {
    icu::UnicodeString unicode = detail::toUnicode(text);
    unicode.toLower(icu::Locale::getRoot());
    return detail::toUtf8(unicode);
}

bool allBytes(std::string_view text, bool (*test)(char)) {
    if (text.empty()) return false;
    for (char c : text) {
        if (!test(c)) return false;
    }
    return true;
}

bool isAsciiDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isAsciiLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}
bool isAsciiLetterOrDigit(char c) {
    return isAsciiDigit(c) || isAsciiLetter(c);
}

}  // namespace

std::string trackTime(std::optional<double> seconds) {
    if (!seconds || std::isnan(*seconds)) return "0:00";
    const double t = *seconds;
    const double hoursValue = std::trunc(t / 3600);
    // 2^63 as a double: the first value a 64-bit integer cannot hold.
    constexpr double kLimit = 9223372036854775808.0;
    if (!std::isfinite(t) || hoursValue >= kLimit || hoursValue < -kLimit) {
        OVLOG_WARNING(logModule(), "track time {} is out of range; showing 0:00", t);
        return "0:00";
    }
    const auto hours = static_cast<std::int64_t>(hoursValue);
    const auto minutes = static_cast<std::int64_t>(std::fmod(t, 3600) / 60);
    const auto secs = static_cast<std::int64_t>(std::fmod(t, 60));
    if (hours < 1) return fmt::format("{}:{:02}", minutes, secs);
    return fmt::format("{}:{:02}:{:02}", hours, minutes, secs);
}

std::string canonicalName(std::string_view text) {
    std::string lower = lowerCased(text);
    for (std::string_view article : {"the ", "an ", "a "}) {
        if (lower.starts_with(article)) return lower.substr(article.size());
    }
    return lower;
}

std::optional<std::string> abbreviateListenerCountNumber(std::optional<std::int64_t> count) {
    if (!count) return std::nullopt;
    auto [number, suffix] = abbreviateCount(*count);
    return number + suffix + " monthly listeners";
}

std::optional<std::string> listenerCountAbbreviation(std::int64_t count) {
    if (count == 0) return std::nullopt;
    auto [number, suffix] = abbreviateCount(count);
    return number + suffix + " listeners";
}

std::string capitalizingFirstLetter(std::string_view text) {
    std::string storage;
    std::string_view valid = detail::repairedUtf8(text, storage);
    const std::size_t first = detail::firstGraphemeLength(valid);
    return titleCased(valid.substr(0, first)) + std::string(valid.substr(first));
}

std::string lowercasingFirstLetter(std::string_view text) {
    std::string storage;
    std::string_view valid = detail::repairedUtf8(text, storage);
    const std::size_t first = detail::firstGraphemeLength(valid);
    return lowerCased(valid.substr(0, first)) + std::string(valid.substr(first));
}

std::string pluralized(std::string_view text, std::int64_t count) {
    std::string out(text);
    if (count != 1) out += 's';
    return out;
}

std::optional<std::string> alphanumericCategoryKey(std::string_view text) {
    std::string storage;
    std::string_view valid = detail::repairedUtf8(text, storage);
    const std::vector<std::size_t> bounds = detail::graphemeBoundaries(valid);
    for (std::size_t i = 0; i + 1 < bounds.size(); ++i) {
        std::string_view character = valid.substr(bounds[i], bounds[i + 1] - bounds[i]);
        if (containsSpecialCharacters(character)) continue;  // skip leading punctuation
        if (isNumeric(character)) return "#";
        if (isAlphabetical(character)) {
            std::string key(character);
            for (char& c : key) c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
            return key;
        }
        // Neither special by the pattern nor a letter or digit: a line-break
        // character such as "\r\n", which "." cannot match.
        return std::nullopt;
    }
    return std::nullopt;
}

bool containsSpecialCharacters(std::string_view text) {
    icu::RegexMatcher* matcher = specialCharacterMatcher();
    if (matcher == nullptr) return !allBytes(text, isAsciiLetterOrDigit) && !text.empty();
    icu::UnicodeString input = detail::toUnicode(text);
    matcher->reset(input);
    UErrorCode status = U_ZERO_ERROR;
    const bool matched = matcher->matches(status);
    matcher->reset(icu::UnicodeString());
    return U_SUCCESS(status) && matched;
}

bool isNumeric(std::string_view text) {
    return allBytes(text, isAsciiDigit);
}

bool isAlphabetical(std::string_view text) {
    return allBytes(text, isAsciiLetter);
}

bool isAlphanumeric(std::string_view text) {
    return allBytes(text, isAsciiLetterOrDigit);
}

std::string alphanumeric(std::string_view text) {
    const std::string lower = lowerCased(text);
    std::string out;
    out.reserve(lower.size());
    const auto* s = reinterpret_cast<const uint8_t*>(lower.data());
    const auto length = static_cast<int32_t>(lower.size());
    for (int32_t i = 0; i < length;) {
        const int32_t start = i;
        UChar32 c;
        U8_NEXT(s, i, length, c);
        if (c >= 0 && detail::isAlphanumeric(c)) out.append(lower, start, i - start);
    }
    return out;
}

std::string normalizedForSearch(std::string_view text) {
    SearchTransform& transform = searchTransform();
    if (!transform.transliterator) {
        std::string storage;
        return std::string(detail::repairedUtf8(text, storage));
    }
    icu::UnicodeString unicode = detail::toUnicode(text);
    {
        std::lock_guard lock(transform.mutex);
        transform.transliterator->transliterate(unicode);
    }
    return detail::toUtf8(unicode);
}

std::string replacingDirectedApostrophes(std::string_view text) {
    std::string storage;
    std::string_view valid = detail::repairedUtf8(text, storage);
    std::string out;
    out.reserve(valid.size());
    for (std::size_t i = 0; i < valid.size(); ++i) {
        // U+2018 is E2 80 98, U+2019 is E2 80 99 in UTF-8.
        if (static_cast<unsigned char>(valid[i]) == 0xE2 && i + 2 < valid.size() &&
            static_cast<unsigned char>(valid[i + 1]) == 0x80 &&
            (static_cast<unsigned char>(valid[i + 2]) == 0x98 ||
             static_cast<unsigned char>(valid[i + 2]) == 0x99)) {
            out += '\'';
            i += 2;
        } else {
            out += valid[i];
        }
    }
    return out;
}

bool beginsWithLetter(std::string_view text) {
    return !text.empty() && detail::isLetter(detail::firstCodePoint(text));
}

std::optional<std::string> getFirstCharacterIfIsLetter(std::string_view text) {
    std::string storage;
    std::string_view valid = detail::repairedUtf8(text, storage);
    if (!beginsWithLetter(valid)) return std::nullopt;
    return std::string(valid.substr(0, detail::firstGraphemeLength(valid)));
}

std::string getCamelCasedString(std::string_view text) {
    icu::UnicodeString unicode = detail::toUnicode(text);
    UErrorCode status = U_ZERO_ERROR;
    // Word iterators carry state; one per thread, created once.
    thread_local std::unique_ptr<icu::BreakIterator> words(
        icu::BreakIterator::createWordInstance(icu::Locale::getRoot(), status));
    if (!words) return detail::toUtf8(unicode);
    words->setText(unicode);
    icu::UnicodeString out;
    bool firstWord = true;
    int32_t start = words->first();
    for (int32_t end = words->next(); end != icu::BreakIterator::DONE;
         start = end, end = words->next()) {
        if (words->getRuleStatus() == UBRK_WORD_NONE) continue;  // spaces, punctuation
        icu::UnicodeString word(unicode, start, end - start);
        if (firstWord) {
            word.toLower(icu::Locale::getRoot());
            firstWord = false;
        } else {
            word.toTitle(nullptr, icu::Locale::getRoot());
        }
        out.append(word);
    }
    words->setText(icu::UnicodeString());
    return detail::toUtf8(out);
}

std::optional<std::string> nonEmptyString(std::string_view text) {
    if (text.empty()) return std::nullopt;
    return std::string(text);
}

std::optional<std::string> nonEmptyTrimmedString(std::string_view text) {
    std::string storage;
    std::string_view trimmed =
        detail::trimWhitespaceAndNewlines(detail::repairedUtf8(text, storage));
    if (trimmed.empty()) return std::nullopt;
    return std::string(trimmed);
}

bool isNonempty(std::optional<std::string_view> text) {
    return text && !text->empty();
}

std::string deletePrefix(std::string_view text, std::string_view prefix) {
    if (text.starts_with(prefix)) text.remove_prefix(prefix.size());
    return std::string(text);
}

std::optional<std::string> substringAfterCharacter(std::string_view text,
                                                   std::string_view character) {
    if (character.empty()) return std::nullopt;
    std::string storage;
    std::string_view valid = detail::repairedUtf8(text, storage);
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* nfc = icu::Normalizer2::getNFCInstance(status);
    if (U_FAILURE(status)) return std::nullopt;
    const icu::UnicodeString needle = nfc->normalize(detail::toUnicode(character), status);
    const std::vector<std::size_t> bounds = detail::graphemeBoundaries(valid);
    for (std::size_t i = 0; i + 1 < bounds.size(); ++i) {
        std::string_view candidate = valid.substr(bounds[i], bounds[i + 1] - bounds[i]);
        if (nfc->normalize(detail::toUnicode(candidate), status) == needle && U_SUCCESS(status)) {
            return std::string(valid.substr(bounds[i + 1]));
        }
    }
    return std::nullopt;
}

std::optional<std::string> from(std::string_view text, std::int64_t index) {
    if (index < 0) return std::nullopt;
    std::string storage;
    std::string_view valid = detail::repairedUtf8(text, storage);
    const std::vector<std::size_t> bounds = detail::graphemeBoundaries(valid);
    if (static_cast<std::uint64_t>(index) >= bounds.size()) return std::nullopt;
    return std::string(valid.substr(bounds[static_cast<std::size_t>(index)]));
}

std::optional<std::string> substringFromIndex(std::string_view text, std::int64_t index) {
    return from(text, index);
}

std::string prepending(std::string_view text, std::string_view prefix) {
    std::string out;
    out.reserve(prefix.size() + text.size());
    return out.append(prefix).append(text);
}

std::string appending(std::string_view text, std::string_view suffix) {
    std::string out;
    out.reserve(text.size() + suffix.size());
    return out.append(text).append(suffix);
}

std::optional<std::string> jsonEscaped(std::string_view text) {
    std::string storage;
    std::string_view valid = detail::repairedUtf8(text, storage);
    std::string serialised;
    try {
        serialised = nlohmann::json::array({std::string(valid)})
                         .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    } catch (const nlohmann::json::exception& e) {
        OVLOG_WARNING(logModule(), "jsonEscaped: serialisation failed: {}", e.what());
        return std::nullopt;
    }
    if (serialised.size() < 4) return std::nullopt;
    // Strip the `["` and `"]` around the escaped content. The platform's
    // serialiser also escapes "/", which nlohmann does not; no escape sequence
    // contains "/", so every "/" left is a literal one.
    std::string_view content = std::string_view(serialised).substr(2, serialised.size() - 4);
    std::string out;
    out.reserve(content.size());
    for (char c : content) {
        if (c == '/') out += '\\';
        out += c;
    }
    return out;
}

// decodeHtmlString lives in HtmlEntities.cpp, beside its entity table.

ov::Error asError(std::string_view text) {
    return ov::Error(std::string(kStringErrorDomain), 1, std::string(text));
}

std::optional<std::string> errorDescription(const ov::Error& error) {
    if (error.domain != kStringErrorDomain) return std::nullopt;
    return error.message;
}

}  // namespace ov::strings
