#include "OVUtility/Extensions/NSStringAdditions.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <array>
#include <cstring>
#include <fstream>
#include <memory>
#include <mutex>

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <unicode/locid.h>

#include "OVLog/OVLog.h"
#include "OVUtility/Extensions/ListenerCountFormat.h"
#include "OVUtility/Extensions/UnicodeSupport.h"
#include "OVUtility/Platform/Bundle.h"

namespace ov::nsstring {
namespace {

ovlog::Module& logModule() {
    static ovlog::Module& module = ovlog::Module::named("OVUtility");
    return module;
}

std::string hex(const unsigned char* bytes, std::size_t length) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string out(length * 2, '0');
    for (std::size_t i = 0; i < length; ++i) {
        out[2 * i] = kDigits[bytes[i] >> 4];
        out[2 * i + 1] = kDigits[bytes[i] & 0x0F];
    }
    return out;
}

std::string digestHex(std::string_view text, const EVP_MD* algorithm) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_Digest(text.data(), text.size(), digest, &length, algorithm, nullptr) != 1) {
        OVLOG_WARNING(logModule(), "digest {} failed", EVP_MD_get0_name(algorithm));
        return "";
    }
    return hex(digest, length);
}

bool isAsciiLower(char c) {
    return c >= 'a' && c <= 'z';
}
bool isAsciiUpper(char c) {
    return c >= 'A' && c <= 'Z';
}
bool isAsciiDigit(char c) {
    return c >= '0' && c <= '9';
}

// The first rewrite of unCamelCase, every match of
//   ([a-z](?=[A-Z]+[a-z])|(?<=[a-z]?)[A-Z]+(?![a-z]))([A-Z][a-z])  ->  "$1 $2",
// done in one pass. The look-behind is optional, so it always holds; the
// first branch matches exactly "aBc" (lower, upper, lower); the second matches
// a run of two or more capitals ending at a lower-case letter, and splits
// before the run's last capital ("HTMLParser" -> "HTML Parser"). A run that
// fails at its first capital fails at every later one, so the scan skips it
// whole: each byte is looked at a bounded number of times. (A backtracking
// regular-expression engine rescans the run from every capital, which is
// quadratic in its length.) Every pattern character is ASCII, so the scan
// works on UTF-8 bytes: no byte of a multi-byte sequence is an ASCII letter.
std::string splitCapitalRuns(std::string_view text) {
    std::string out;
    out.reserve(text.size() + text.size() / 4);
    const std::size_t n = text.size();
    auto at = [&](std::size_t i) { return i < n ? text[i] : '\0'; };
    std::size_t i = 0;
    while (i < n) {
        if (isAsciiLower(text[i]) && isAsciiUpper(at(i + 1)) && isAsciiLower(at(i + 2))) {
            out.append({text[i], ' ', text[i + 1], text[i + 2]});
            i += 3;
        } else if (isAsciiUpper(text[i])) {
            std::size_t end = i;
            while (end < n && isAsciiUpper(text[end])) ++end;
            if (end - i >= 2 && isAsciiLower(at(end))) {
                out.append(text.substr(i, end - 1 - i)).append(" ").append(text.substr(end - 1, 2));
                i = end + 1;
            } else {
                out.append(text.substr(i, end - i));
                i = end;
            }
        } else {
            out += text[i++];
        }
    }
    return out;
}

// The second rewrite, "([a-z])([A-Z]|[0-9])" -> "$1 $2", in one pass.
std::string splitLowerFromUpperOrDigit(std::string_view text) {
    std::string out;
    out.reserve(text.size() + text.size() / 4);
    for (std::size_t i = 0; i < text.size(); ++i) {
        out += text[i];
        if (isAsciiLower(text[i]) && i + 1 < text.size() &&
            (isAsciiUpper(text[i + 1]) || isAsciiDigit(text[i + 1]))) {
            out.append({' ', text[i + 1]});
            ++i;
        }
    }
    return out;
}

struct InfoDictionaryState {
    std::mutex mutex;
    std::shared_ptr<InfoDictionaryProvider> provider;
};

InfoDictionaryState& infoDictionaryState() {
    static InfoDictionaryState state;
    return state;
}

bool hasPrefix(std::string_view text, std::string_view prefix) {
    // The platform's prefix test never matches an empty prefix.
    return !prefix.empty() && text.substr(0, prefix.size()) == prefix;
}

}  // namespace

bool isInteger(std::string_view text) {
    std::string_view rest = detail::trimWhitespaceAndNewlines(text);
    if (!rest.empty() && (rest.front() == '+' || rest.front() == '-')) rest.remove_prefix(1);
    if (rest.empty()) return false;
    for (char c : rest) {
        if (c < '0' || c > '9') return false;
    }
    return true;
}

bool beginsWithLetter(std::string_view text) {
    // Outside the BMP the first UTF-16 unit is a high surrogate, never a letter.
    const UChar32 first = detail::firstCodePoint(text);
    return first != U_SENTINEL && first <= 0xFFFF && detail::isLetter(first);
}

std::string abbreviateListenerCountNumber(std::int64_t count) {
    auto [number, suffix] = abbreviateCount(count);
    return number + suffix + " listeners";
}

std::string emptyString() {
    return "";
}

std::string ordinalStringForInteger(std::int32_t n) {
    switch (n) {
        case 1:
            return "first";
        case 2:
            return "second";
        case 3:
            return "third";
        case 4:
            return "fourth";
        case 11:
        case 12:
        case 13:
            return std::to_string(n) + "th";
        default:
            break;
    }
    switch (n % 10) {  // truncating: negative numbers give negative remainders
        case 1:
            return std::to_string(n) + "st";
        case 2:
            return std::to_string(n) + "nd";
        case 3:
            return std::to_string(n) + "rd";
        default:
            return std::to_string(n) + "th";
    }
}

bool containsString(std::string_view text, std::string_view needle) {
    return !needle.empty() && text.find(needle) != std::string_view::npos;
}

bool containsStringIgnoreCase(std::string_view text, std::string_view needle) {
    if (needle.empty()) return false;
    icu::UnicodeString folded = detail::toUnicode(text).foldCase(U_FOLD_CASE_DEFAULT);
    icu::UnicodeString foldedNeedle = detail::toUnicode(needle).foldCase(U_FOLD_CASE_DEFAULT);
    return folded.indexOf(foldedNeedle) >= 0;
}

bool hasContentExcludingWhitespace(std::string_view text) {
    return !detail::trimWhitespaceAndNewlines(text).empty();
}

std::string stringWithSuffix(std::string_view text, std::string_view suffix) {
    if (!suffix.empty() && text.size() >= suffix.size() &&
        text.substr(text.size() - suffix.size()) == suffix) {
        return std::string(text);
    }
    std::string out;
    out.reserve(text.size() + 1 + suffix.size());
    out.append(text).append(" ").append(suffix);
    return out;
}

std::string stringWithSHA1Hash(std::string_view text) {
    return digestHex(text, EVP_sha1());
}

std::string stringWithSHA256Hash(std::string_view text) {
    return digestHex(text, EVP_sha256());
}

std::string hmacWithKey(std::string_view text, std::string_view key) {
    // The message is a C string: it ends at the first NUL.
    const std::string_view message = text.substr(0, text.find('\0'));
    std::array<unsigned char, 64> keyBytes{};  // fixed 64-byte key, zero-padded
    std::memcpy(keyBytes.data(), key.data(), std::min(key.size(), keyBytes.size()));
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (HMAC(EVP_sha1(), keyBytes.data(), static_cast<int>(keyBytes.size()),
             reinterpret_cast<const unsigned char*>(message.data()), message.size(), digest,
             &length) == nullptr) {
        OVLOG_WARNING(logModule(), "HMAC-SHA1 failed");
        return "";
    }
    std::string encoded(4 * ((length + 2) / 3), '\0');
    const int written = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(encoded.data()), digest,
                                        static_cast<int>(length));
    encoded.resize(static_cast<std::size_t>(std::max(written, 0)));
    return encoded;
}

std::string unCamelCase(std::string_view text) {
    std::string storage;
    std::string out =
        splitLowerFromUpperOrDigit(splitCapitalRuns(detail::repairedUtf8(text, storage)));
    const std::size_t first = detail::firstGraphemeLength(out);
    if (first == 0) return out;
    icu::UnicodeString head = detail::toUnicode(std::string_view(out).substr(0, first));
    head.toTitle(nullptr, icu::Locale::getRoot());  // locale-independent, as the platform
    return detail::toUtf8(head) + out.substr(first);
}

std::string stringByStrippingHTML(std::string_view text) {
    // Deleting the first match of "<[^>]+>" again and again, in one pass. A
    // match starts at a "<" not directly followed by ">" and ends at the next
    // ">". Once a "<" is followed by ">" it can never start a match (later
    // deletions happen after it), and after a deletion no match can start
    // before the deleted span (any earlier "<" is followed by ">"), so the
    // scan moves only forward. With no ">" left, nothing more matches.
    std::string storage;
    const std::string_view valid = detail::repairedUtf8(text, storage);
    std::string out;
    out.reserve(valid.size());
    std::size_t i = 0;
    while (i < valid.size()) {
        const std::size_t open = valid.find('<', i);
        if (open == std::string_view::npos || open + 1 >= valid.size()) break;
        if (valid[open + 1] == '>') {
            out.append(valid.substr(i, open + 2 - i));
            i = open + 2;
            continue;
        }
        const std::size_t close = valid.find('>', open + 2);
        if (close == std::string_view::npos) break;
        out.append(valid.substr(i, open - i));
        i = close + 1;
    }
    out.append(valid.substr(std::min(i, valid.size())));
    return out;
}

std::string pluralizedWithCount(std::string_view text, std::int64_t count) {
    std::string out(text);
    if (count != 1) out += 's';
    return out;
}

void setInfoDictionaryProvider(InfoDictionaryProvider provider) {
    auto& state = infoDictionaryState();
    auto shared =
        provider ? std::make_shared<InfoDictionaryProvider>(std::move(provider)) : nullptr;
    std::lock_guard lock(state.mutex);
    state.provider = std::move(shared);
}

InfoDictionaryProvider infoDictionaryFromJsonFile(std::string path) {
    struct Loaded {
        std::once_flag once;
        std::optional<nlohmann::json> dictionary;
    };
    auto loaded = std::make_shared<Loaded>();
    return [loaded, path = std::move(path)]() -> std::optional<nlohmann::json> {
        std::call_once(loaded->once, [&] {
            std::ifstream file(path);
            if (!file) {
                OVLOG_WARNING(logModule(), "information dictionary {} could not be opened", path);
                return;
            }
            auto json = nlohmann::json::parse(file, nullptr, /*allow_exceptions=*/false);
            if (json.is_discarded() || !json.is_object()) {
                OVLOG_WARNING(logModule(), "information dictionary {} is not a JSON object", path);
                return;
            }
            loaded->dictionary = std::move(json);
        });
        return loaded->dictionary;
    };
}

namespace {

bool beginsWithListedScheme(std::string_view text, const nlohmann::json& info) {
    if (!info.is_object()) return false;
    auto types = info.find("CFBundleURLTypes");
    if (types == info.end() || !types->is_array() || types->empty()) return false;
    const nlohmann::json& first = types->front();
    if (!first.is_object()) return false;
    auto schemes = first.find("CFBundleURLSchemes");
    if (schemes == first.end() || !schemes->is_array()) return false;
    for (const auto& scheme : *schemes) {
        if (scheme.is_string() && hasPrefix(text, scheme.get_ref<const std::string&>()))
            return true;
    }
    return false;
}

}  // namespace

bool isPrefixedBySupportedURLScheme(std::string_view text) {
    std::shared_ptr<InfoDictionaryProvider> provider;
    {
        auto& state = infoDictionaryState();
        std::lock_guard lock(state.mutex);
        provider = state.provider;
    }
    if (provider) {
        std::optional<nlohmann::json> info = (*provider)();
        return info && beginsWithListedScheme(text, *info);
    }
    // The main bundle's dictionary is read in place (bundles are immutable).
    std::shared_ptr<Bundle> bundle = Bundle::main();
    return bundle && beginsWithListedScheme(text, bundle->infoDictionary());
}

bool isSupportedAppleURLScheme(std::string_view text) {
    static constexpr std::string_view kPrefixes[] = {
        "http://itunes.apple.com", "https://itunes.apple.com", "http://geo.itunes.apple.com",
        "https://geo.itunes.apple.com"};
    for (std::string_view prefix : kPrefixes) {
        if (hasPrefix(text, prefix)) return true;
    }
    return false;
}

std::string stringWithCustomString(std::optional<std::string_view> custom,
                                   std::string_view fallback) {
    if (custom && hasContentExcludingWhitespace(*custom)) return std::string(*custom);
    return std::string(fallback);
}

std::optional<std::string> stringFromIpAddress(
    std::optional<std::span<const std::uint8_t>> address) {
    constexpr std::uint8_t kFamilyIPv4 = 2;
    constexpr std::uint8_t kFamilyIPv6 = 30;
    if (!address || address->size() < 2) return std::nullopt;
    const std::uint8_t family = (*address)[1];
    if (family == kFamilyIPv4 && address->size() >= 8) {
        char buffer[INET_ADDRSTRLEN];  // 16 bytes
        if (inet_ntop(AF_INET, address->data() + 4, buffer, sizeof buffer) == nullptr) {
            return std::nullopt;
        }
        return std::string(buffer);
    }
    if (family == kFamilyIPv6 && address->size() >= 24) {
        char buffer[INET6_ADDRSTRLEN];  // 46 bytes
        if (inet_ntop(AF_INET6, address->data() + 8, buffer, sizeof buffer) == nullptr) {
            return std::nullopt;
        }
        return std::string(buffer);
    }
    return std::nullopt;
}

std::string inQuotes(std::string_view text) {
    std::string out = "\u201C";
    out.append(text).append("\u201C");
    return out;
}

std::optional<std::string> hexadecimalStringFromData(
    std::optional<std::span<const std::uint8_t>> data) {
    if (!data || data->empty()) return std::nullopt;
    return hex(data->data(), data->size());
}

}  // namespace ov::nsstring
