// Internal helpers shared by the string and date additions: UTF-8 <-> ICU
// conversion, repair of ill-formed UTF-8, grapheme ("character") iteration and
// the platform's whitespace and letter classes. Not part of the public
// interface; include only from .cpp files of OVUtility/Extensions.
//
// How text is read: every addition takes UTF-8. Ill-formed sequences are read
// as U+FFFD REPLACEMENT CHARACTER, one per maximal ill-formed subsequence
// (ICU's conversion rule), so that text results are always valid UTF-8.
//
//   std::string storage;
//   std::string_view text = ov::detail::repairedUtf8(input, storage);
//   std::size_t first = ov::detail::firstGraphemeLength(text);
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include "OVUtility/OVUtilityExport.h"

namespace ov::detail {

// UTF-8 to UTF-16; ill-formed input becomes U+FFFD.
OV_API icu::UnicodeString toUnicode(std::string_view utf8);

// UTF-16 to UTF-8 (unpaired surrogates become U+FFFD).
OV_API std::string toUtf8(const icu::UnicodeString& text);

// True when `utf8` is well-formed UTF-8 (checked with ICU's decoder).
OV_API bool isValidUtf8(std::string_view utf8);

// `utf8` itself when it is well-formed; otherwise a repaired copy is written
// to `storage` and a view of it returned. The cheap path allocates nothing.
OV_API std::string_view repairedUtf8(std::string_view utf8, std::string& storage);

// Byte offsets of the extended grapheme cluster boundaries of well-formed
// UTF-8 text, starting with 0 and ending with text.size(). Uses a character
// break iterator created once per thread.
OV_API std::vector<std::size_t> graphemeBoundaries(std::string_view utf8);

// Length in bytes of the first extended grapheme cluster (0 for empty text).
OV_API std::size_t firstGraphemeLength(std::string_view utf8);

// The first code point of well-formed UTF-8 text (U_SENTINEL when empty).
OV_API UChar32 firstCodePoint(std::string_view utf8);

// The platform's whitespace-and-newline set: general categories Zs, Zl, Zp,
// U+0009..U+000D and U+0085.
OV_API bool isWhitespaceOrNewline(UChar32 c);

// The platform's letter set: general categories L* and M*.
OV_API bool isLetter(UChar32 c);

// The platform's alphanumeric set: general categories L*, M* and N*.
OV_API bool isAlphanumeric(UChar32 c);

// Trims whitespace and newlines (isWhitespaceOrNewline) from both ends.
OV_API std::string_view trimWhitespaceAndNewlines(std::string_view utf8);

}  // namespace ov::detail
