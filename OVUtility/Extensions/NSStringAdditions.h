// ov::nsstring: the `OrvantaAddOns` additions to the bridged platform string
// class, as free functions over UTF-8 text. The native string type's
// additions live in StringAdditions.h (namespace ov::strings); where the two
// families share a name they may differ, and each header says how
// (`abbreviateListenerCountNumber` here gives "… listeners", the native one
// "… monthly listeners" and takes an optional).
//
//   ov::nsstring::abbreviateListenerCountNumber(1999);   // "1.9K listeners"
//   ov::nsstring::ordinalStringForInteger(112);          // "112nd" (kept teen rule)
//   ov::nsstring::unCamelCase("myCollectionLargerText"); // "My Collection Larger Text"
//   ov::nsstring::stringWithSHA1Hash("abc");             // "a9993e36…"
//
// Text is UTF-8. Ill-formed UTF-8 is read as U+FFFD per maximal ill-formed
// subsequence, and text results are valid UTF-8. Functions documented as
// byte-exact (hashes, HMAC, hexadecimal, literal search, prefix and suffix
// tests, concatenation) work on the bytes as given. Nothing here throws or
// keeps state, except the process-wide tables and compiled patterns, which
// are built once on first use and are safe to use from any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "OVUtility/OVUtilityExport.h"

namespace ov::nsstring {

// A platform scanner reads a 32-bit integer and is then at the end. Leading
// whitespace and newlines are skipped, as are trailing ones (the scanner's
// end test skips them too); an optional "+" or "-" sign is allowed; an
// overflowing number still scans (the scanner clamps it). "12a" and "" are
// false.
OV_API bool isInteger(std::string_view text);

// Non-empty and the first UTF-16 unit is a letter (general category L or M):
// a text starting outside the BMP ("𝐀bc") starts with a surrogate, so false.
OV_API bool beginsWithLetter(std::string_view text);

// "%@%@ listeners": the count abbreviated with a decimal formatter of the
// current locale rounding towards negative infinity on a 32-bit float:
//   n < 1000: n; 1000..9999: n/1000 with one digit + "K"; up to 999999:
//   n/1000 + "K"; up to 9999999: n/1000000 with one digit + "M"; else
//   n/1000000 + "M". So 1999 gives "1.9K listeners", 1300 gives
//   "1.2K listeners" (1.3f is 1.2999999…), 19999 "19K listeners".
OV_API std::string abbreviateListenerCountNumber(std::int64_t count);

// "".
OV_API std::string emptyString();

// 1..4 as words ("first" … "fourth"), 11..13 "…th", else by the last decimal
// digit with a truncating remainder: 21 "21st", 111 "111st" (the teen
// exception covers only 11..13, on purpose), -1 "-1th".
OV_API std::string ordinalStringForInteger(std::int32_t n);

// Literal (byte-exact) search. An empty needle is never found, as on the
// platform.
OV_API bool containsString(std::string_view text, std::string_view needle);

// Search after full Unicode case folding of both sides. An empty needle is
// never found.
OV_API bool containsStringIgnoreCase(std::string_view text, std::string_view needle);

// Something other than whitespace and newlines is present.
OV_API bool hasContentExcludingWhitespace(std::string_view text);

// `text` when it already ends with `suffix`, else text + " " + suffix. As on
// the platform, an empty suffix never counts as already present.
OV_API std::string stringWithSuffix(std::string_view text, std::string_view suffix);

// SHA-1 / SHA-256 of the bytes as lower-case hex; "" if hashing fails.
OV_API std::string stringWithSHA1Hash(std::string_view text);
OV_API std::string stringWithSHA256Hash(std::string_view text);

// HMAC-SHA1 in standard Base64 without line breaks. The message is the text
// up to its first NUL byte. The key length is fixed at 64 bytes on purpose
// (callers pass 64-byte keys): a longer key is cut to 64 bytes, a shorter one
// is padded with zero bytes (which HMAC itself would do, so a short key gives
// the ordinary HMAC of that key).
OV_API std::string hmacWithKey(std::string_view text, std::string_view key);

// Splits camel case into words: "myCollectionLargerText" gives
// "My Collection Larger Text", "abc1" gives "Abc 1".
OV_API std::string unCamelCase(std::string_view text);

// Deletes every match of "<[^>]+>", repeatedly taking the first match.
OV_API std::string stringByStrippingHTML(std::string_view text);

// text + "s" unless count is 1.
OV_API std::string pluralizedWithCount(std::string_view text, std::int64_t count);

// True when `text` begins with one of the URL schemes of the main bundle's
// information dictionary ("CFBundleURLTypes"[0]["CFBundleURLSchemes"]). A
// plain prefix test on the scheme name ("myapp" matches "myappfoo:", no ":"
// is required). No dictionary, a malformed one or an empty list gives false.
OV_API bool isPrefixedBySupportedURLScheme(std::string_view text);

// The information dictionary as JSON (the platform's property list as a JSON
// object), or nullopt when there is none.
using InfoDictionaryProvider = std::function<std::optional<nlohmann::json>()>;

// Replaces the source of the information dictionary used by
// isPrefixedBySupportedURLScheme; nullptr restores the default, which is
// ov::Bundle::main()->infoDictionary() (the main bundle's "Info.json").
// Thread-safe; the provider is called on each test and must be thread-safe.
OV_API void setInfoDictionaryProvider(InfoDictionaryProvider provider);

// A provider that reads a JSON file once, on its first call, and serves that
// result afterwards. A missing or malformed file logs a warning and gives no
// dictionary.
OV_API InfoDictionaryProvider infoDictionaryFromJsonFile(std::string path);

// Begins with "http://itunes.apple.com", "https://itunes.apple.com",
// "http://geo.itunes.apple.com" or "https://geo.itunes.apple.com".
OV_API bool isSupportedAppleURLScheme(std::string_view text);

// `custom` when it has content other than whitespace, else `fallback`.
OV_API std::string stringWithCustomString(std::optional<std::string_view> custom,
                                          std::string_view fallback);

// Socket address bytes in the platform's layout (byte 0 the length, byte 1
// the family) to presentation text: family 2 (IPv4) reads 4 address bytes at
// offset 4, family 30 (IPv6) 16 bytes at offset 8. Absent data, another
// family, or data too short for its family gives nullopt.
OV_API std::optional<std::string> stringFromIpAddress(
    std::optional<std::span<const std::uint8_t>> address);

// The text between two U+201C marks (the opening mark on both sides, on
// purpose).
OV_API std::string inQuotes(std::string_view text);

// Lower-case hex, two digits per byte; absent or empty data gives nullopt.
OV_API std::optional<std::string> hexadecimalStringFromData(
    std::optional<std::span<const std::uint8_t>> data);

}  // namespace ov::nsstring
