// ov::strings: the native string type's additions, as free functions over
// UTF-8 text. The bridged string category lives in NSStringAdditions.h
// (namespace ov::nsstring). Shared names that differ between the two:
//   - abbreviateListenerCountNumber: here it takes an optional count and says
//     "… monthly listeners"; ov::nsstring's takes a count and says
//     "… listeners". listenerCountAbbreviation (here) says "… listeners" and
//     refuses 0.
//   - beginsWithLetter: here the first code point must be a letter; ov::nsstring's
//     tests the first UTF-16 unit, so a letter outside the BMP passes only here.
//
//   ov::strings::trackTime(3725.0);                        // "1:02:05"
//   ov::strings::canonicalName("The Beatles");             // "beatles"
//   ov::strings::decodeHtmlString("Tom &amp; Jerry");      // "Tom & Jerry"
//   ov::strings::normalizedForSearch("Björk Guðmundsdóttir");  // "bjork gudmundsdottir"
//   ov::Error e = ov::strings::asError("no connection");   // throwable as an error
//
// A "character" is an extended grapheme cluster (ICU character break
// iterator), so "e" + U+0301 is one character and flags are one character.
// Text is UTF-8; ill-formed UTF-8 is read as U+FFFD per maximal ill-formed
// subsequence, and text results are valid UTF-8, except for the byte-exact
// functions (prefix tests, concatenation, pluralisation), which pass bytes
// through. Shared regular expressions, the transliterator and the entity
// table are built once per process and are safe to use from any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/Error.h"

namespace ov::strings {

// Seconds to a clock text: "m:ss" below an hour, else "h:mm:ss", each part
// truncated towards zero (59.9 gives "0:59", 3725 "1:02:05", -5 "0:-5":
// negative parts are not clamped). Absent or NaN gives "0:00". A value too
// large for 64-bit hours (or infinite) logs a warning and gives "0:00": a
// deliberate departure from the platform's conversion, which ends the process
// there; a player showing a broken duration should not crash.
OV_API std::string trackTime(std::optional<double> seconds);

// Lower-cased, then one leading article removed: "the ", else "an ", else "a ".
OV_API std::string canonicalName(std::string_view text);

// nullopt for an absent count, else "%@%@ monthly listeners" with the
// listener-count abbreviation (see ListenerCountFormat.h).
OV_API std::optional<std::string> abbreviateListenerCountNumber(std::optional<std::int64_t> count);

// nullopt for 0, else "%@%@ listeners" with the listener-count abbreviation.
OV_API std::optional<std::string> listenerCountAbbreviation(std::int64_t count);

// The first character title-cased ("ß" becomes "Ss", "ǆ" becomes "ǅ"), the
// rest unchanged.
OV_API std::string capitalizingFirstLetter(std::string_view text);

// The first character lower-cased, the rest unchanged.
OV_API std::string lowercasingFirstLetter(std::string_view text);

// text + "s" unless count is 1.
OV_API std::string pluralized(std::string_view text, std::int64_t count);

// Section key for an alphabetical index: leading special characters (not
// A-Z, a-z, 0-9) are skipped; a digit gives "#", an ASCII letter itself
// upper-cased; empty text or only special characters gives nullopt.
OV_API std::optional<std::string> alphanumericCategoryKey(std::string_view text);

// The whole text matches ".*[^A-Za-z0-9].*". Like the platform's whole-text
// match, "." does not cross line breaks, so text with two or more newlines
// and no other special character (e.g. "a\nb\nc") is false.
OV_API bool containsSpecialCharacters(std::string_view text);

// Non-empty and every byte an ASCII digit / letter / letter or digit.
OV_API bool isNumeric(std::string_view text);
OV_API bool isAlphabetical(std::string_view text);
OV_API bool isAlphanumeric(std::string_view text);

// Lower-cased with every character outside the Unicode alphanumerics
// (general categories L, M, N) removed: "Hello, World 2!" gives "helloworld2".
OV_API std::string alphanumeric(std::string_view text);

// ICU transform "Any-Latin; Latin-ASCII; Lower": transliterated to Latin,
// stripped to ASCII and lower-cased. The text unchanged if the transform
// cannot be created.
OV_API std::string normalizedForSearch(std::string_view text);

// U+2018 and U+2019 replaced by "'".
OV_API std::string replacingDirectedApostrophes(std::string_view text);

// Non-empty and the first code point is a letter (general category L or M).
OV_API bool beginsWithLetter(std::string_view text);

// The first character when its first code point is a letter, else nullopt.
OV_API std::optional<std::string> getFirstCharacterIfIsLetter(std::string_view text);

// Lower camel case of the words (ICU word boundaries; runs of letters and
// digits), each capitalised, then the first word lower-cased:
// "hello big world" gives "helloBigWorld", "My-Song 2" gives "mySong2".
OV_API std::string getCamelCasedString(std::string_view text);

// nullopt when empty, else the text.
OV_API std::optional<std::string> nonEmptyString(std::string_view text);

// Trimmed of whitespace and newlines; nullopt when nothing is left.
OV_API std::optional<std::string> nonEmptyTrimmedString(std::string_view text);

// Present and not empty.
OV_API bool isNonempty(std::optional<std::string_view> text);

// The text without `prefix` when it starts with it, else unchanged.
OV_API std::string deletePrefix(std::string_view text, std::string_view prefix);

// The text after the first occurrence of the character `character` (one
// character, compared by canonical equivalence, character by character:
// "e" is not found in "e" + U+0301); nullopt when it does not occur.
OV_API std::optional<std::string> substringAfterCharacter(std::string_view text,
                                                          std::string_view character);

// The suffix starting at character offset `index`: 0 gives the whole text,
// the character count gives ""; a negative index or one past the count
// gives nullopt.
OV_API std::optional<std::string> from(std::string_view text, std::int64_t index);
OV_API std::optional<std::string> substringFromIndex(std::string_view text, std::int64_t index);

// Concatenation.
OV_API std::string prepending(std::string_view text, std::string_view prefix);
OV_API std::string appending(std::string_view text, std::string_view suffix);

// The text escaped as the platform's JSON serialiser writes a string, without
// the quotes: '"' '\' and '/' escaped with a backslash, \b \f \n \r \t, other
// controls as \u00xx (lower-case hex), everything else as is (UTF-8).
// nullopt only if serialisation fails.
OV_API std::optional<std::string> jsonEscaped(std::string_view text);

// Decodes HTML character references: "&#x…;"/"&#X…;" (hex) and "&#…;"
// (decimal) when they name a Unicode scalar value (not a surrogate, at most
// U+10FFFF), and the 253 named references of HTML 4.01 plus "&apos;". Each
// "&" is paired with the next ";" after it; a pair that does not decode is
// kept as is ("&amp &lt;" stays unchanged); "&" without a later ";" ends the
// decoding.
OV_API std::string decodeHtmlString(std::string_view text);

// The string-as-error conformance: any text can be thrown as an error whose
// description is the text itself. The error's domain is kStringErrorDomain
// and its code 1, as the platform bridges a thrown string.
inline constexpr std::string_view kStringErrorDomain = "Swift.String";
OV_API ov::Error asError(std::string_view text);

// The error description of a string error: the text itself.
OV_API std::optional<std::string> errorDescription(const ov::Error& error);

}  // namespace ov::strings
