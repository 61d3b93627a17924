#include "OVUtility/Extensions/UnicodeSupport.h"

#include <memory>

#include <unicode/brkiter.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

namespace ov::detail {

icu::UnicodeString toUnicode(std::string_view utf8) {
    return icu::UnicodeString::fromUTF8(
        icu::StringPiece(utf8.data(), static_cast<int32_t>(utf8.size())));
}

std::string toUtf8(const icu::UnicodeString& text) {
    std::string out;
    text.toUTF8String(out);
    return out;
}

bool isValidUtf8(std::string_view utf8) {
    const auto* s = reinterpret_cast<const uint8_t*>(utf8.data());
    const auto length = static_cast<int32_t>(utf8.size());
    int32_t i = 0;
    while (i < length) {
        if (s[i] < 0x80) {  // ASCII fast path
            ++i;
            continue;
        }
        UChar32 c;
        U8_NEXT(s, i, length, c);
        if (c < 0) return false;
    }
    return true;
}

std::string_view repairedUtf8(std::string_view utf8, std::string& storage) {
    if (isValidUtf8(utf8)) return utf8;
    storage = toUtf8(toUnicode(utf8));
    return storage;
}

namespace {

// One character break iterator per thread: break iterators carry iteration
// state and are not safe to share, and creating one loads rule data, so it
// is made once per thread rather than once per call.
icu::BreakIterator* characterBreakIterator() {
    thread_local std::unique_ptr<icu::BreakIterator> iterator = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::BreakIterator> it(
            icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
        if (U_FAILURE(status)) it.reset();
        return it;
    }();
    return iterator.get();
}

}  // namespace

std::vector<std::size_t> graphemeBoundaries(std::string_view utf8) {
    std::vector<std::size_t> boundaries{0};
    if (utf8.empty()) return boundaries;
    icu::BreakIterator* it = characterBreakIterator();
    UErrorCode status = U_ZERO_ERROR;
    UText* text = utext_openUTF8(nullptr, utf8.data(), static_cast<int64_t>(utf8.size()), &status);
    if (it == nullptr || U_FAILURE(status)) {
        // Without ICU data every code point counts as one character.
        utext_close(text);
        const auto* s = reinterpret_cast<const uint8_t*>(utf8.data());
        int32_t i = 0;
        const auto length = static_cast<int32_t>(utf8.size());
        while (i < length) {
            U8_FWD_1(s, i, length);
            boundaries.push_back(static_cast<std::size_t>(i));
        }
        return boundaries;
    }
    it->setText(text, status);
    for (int32_t b = it->next(); b != icu::BreakIterator::DONE; b = it->next()) {
        boundaries.push_back(static_cast<std::size_t>(b));
    }
    // Detach the iterator from the UText before closing it.
    icu::UnicodeString empty;
    it->setText(empty);
    utext_close(text);
    if (boundaries.back() != utf8.size()) boundaries.push_back(utf8.size());
    return boundaries;
}

std::size_t firstGraphemeLength(std::string_view utf8) {
    if (utf8.empty()) return 0;
    icu::BreakIterator* it = characterBreakIterator();
    UErrorCode status = U_ZERO_ERROR;
    UText* text = utext_openUTF8(nullptr, utf8.data(), static_cast<int64_t>(utf8.size()), &status);
    std::size_t length = 0;
    if (it != nullptr && U_SUCCESS(status)) {
        it->setText(text, status);
        int32_t b = it->following(0);
        length = b == icu::BreakIterator::DONE ? utf8.size() : static_cast<std::size_t>(b);
        icu::UnicodeString empty;
        it->setText(empty);
    } else {
        int32_t i = 0;
        U8_FWD_1(reinterpret_cast<const uint8_t*>(utf8.data()), i,
                 static_cast<int32_t>(utf8.size()));
        length = static_cast<std::size_t>(i);
    }
    utext_close(text);
    return length;
}

UChar32 firstCodePoint(std::string_view utf8) {
    if (utf8.empty()) return U_SENTINEL;
    UChar32 c;
    int32_t i = 0;
    U8_NEXT(reinterpret_cast<const uint8_t*>(utf8.data()), i, static_cast<int32_t>(utf8.size()), c);
    return c < 0 ? 0xFFFD : c;
}

bool isWhitespaceOrNewline(UChar32 c) {
    if ((c >= 0x09 && c <= 0x0D) || c == 0x85) return true;
    return (U_GET_GC_MASK(c) & (U_GC_ZS_MASK | U_GC_ZL_MASK | U_GC_ZP_MASK)) != 0;
}

bool isLetter(UChar32 c) {
    return (U_GET_GC_MASK(c) & (U_GC_L_MASK | U_GC_M_MASK)) != 0;
}

bool isAlphanumeric(UChar32 c) {
    return (U_GET_GC_MASK(c) & (U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK)) != 0;
}

std::string_view trimWhitespaceAndNewlines(std::string_view utf8) {
    const auto* s = reinterpret_cast<const uint8_t*>(utf8.data());
    const auto length = static_cast<int32_t>(utf8.size());
    int32_t start = 0;
    while (start < length) {
        int32_t next = start;
        UChar32 c;
        U8_NEXT(s, next, length, c);
        if (c < 0 || !isWhitespaceOrNewline(c)) break;
        start = next;
    }
    int32_t end = length;
    while (end > start) {
        int32_t previous = end;
        UChar32 c;
        U8_PREV(s, start, previous, c);
        if (c < 0 || !isWhitespaceOrNewline(c)) break;
        end = previous;
    }
    return utf8.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(end - start));
}

}  // namespace ov::detail
