#include "OVUtility/Extensions/Data.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace ov::OVBase64 {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kBytesPerLine = 48;  // 64 characters of output

// Two output characters for every 12-bit value: one lookup encodes half of a
// 3-byte group.
struct PairTable {
    std::array<char, 4096 * 2> chars{};
    constexpr PairTable() {
        for (int v = 0; v < 4096; ++v) {
            chars[2 * v] = kAlphabet[v >> 6];
            chars[2 * v + 1] = kAlphabet[v & 63];
        }
    }
};
constexpr PairTable kPairs;

// Decoding table: the 6-bit value of an alphabet character, -1 for every
// other byte.
struct DecodeTable {
    std::array<std::int8_t, 256> values{};
    constexpr DecodeTable() {
        for (auto& v : values) v = -1;
        for (int i = 0; i < 64; ++i) values[static_cast<unsigned char>(kAlphabet[i])] = i;
    }
};
constexpr DecodeTable kDecode;

// Encodes `n` bytes (one line) into `out`, returns the number of characters.
std::size_t encodeRun(const std::uint8_t* in, std::size_t n, char* out) {
    char* o = out;
    std::size_t i = 0;
    for (; i + 3 <= n; i += 3) {
        std::uint32_t v =
            (std::uint32_t{in[i]} << 16) | (std::uint32_t{in[i + 1]} << 8) | in[i + 2];
        std::memcpy(o, &kPairs.chars[2 * (v >> 12)], 2);
        std::memcpy(o + 2, &kPairs.chars[2 * (v & 0xFFF)], 2);
        o += 4;
    }
    std::size_t rest = n - i;
    if (rest == 1) {
        std::uint32_t v = std::uint32_t{in[i]} << 16;
        o[0] = kAlphabet[(v >> 18) & 63];
        o[1] = kAlphabet[(v >> 12) & 63];
        o[2] = '=';
        o[3] = '=';
        o += 4;
    } else if (rest == 2) {
        std::uint32_t v = (std::uint32_t{in[i]} << 16) | (std::uint32_t{in[i + 1]} << 8);
        o[0] = kAlphabet[(v >> 18) & 63];
        o[1] = kAlphabet[(v >> 12) & 63];
        o[2] = kAlphabet[(v >> 6) & 63];
        o[3] = '=';
        o += 4;
    }
    return static_cast<std::size_t>(o - out);
}

}  // namespace

std::string base64Encode(std::span<const std::uint8_t> data, bool separateLines) {
    const std::size_t n = data.size();
    const std::size_t chars = (n + 2) / 3 * 4;
    if (!separateLines || n <= kBytesPerLine) {
        std::string out(chars, '\0');
        out.resize(encodeRun(data.data(), n, out.data()));
        return out;
    }
    const std::size_t lines = (n + kBytesPerLine - 1) / kBytesPerLine;
    std::string out(chars + 2 * (lines - 1), '\0');
    char* o = out.data();
    for (std::size_t start = 0; start < n; start += kBytesPerLine) {
        if (start != 0) {
            *o++ = '\r';
            *o++ = '\n';
        }
        std::size_t run = std::min(kBytesPerLine, n - start);
        o += encodeRun(data.data() + start, run, o);
    }
    out.resize(static_cast<std::size_t>(o - out.data()));
    return out;
}

std::string base64EncodedString(std::span<const std::uint8_t> data) {
    return base64Encode(data, /*separateLines=*/true);
}

std::string base64EncodedString(std::string_view bytes) {
    return base64Encode(std::span<const std::uint8_t>(
                            reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()),
                        /*separateLines=*/true);
}

std::vector<std::uint8_t> dataFromBase64String(std::string_view text) {
    const auto* s = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t len = text.size();
    // Every valid character carries six bits, so this bound always suffices.
    std::vector<std::uint8_t> out((len + 3) / 4 * 3);
    std::uint8_t* o = out.data();

    std::uint32_t acc = 0;  // bits of the group being collected
    int count = 0;          // valid characters in that group
    std::size_t i = 0;
    while (i < len) {
        if (count == 0) {
            // Fast path: whole groups of four valid characters in a row.
            while (i + 4 <= len) {
                int a = kDecode.values[s[i]];
                int b = kDecode.values[s[i + 1]];
                int c = kDecode.values[s[i + 2]];
                int d = kDecode.values[s[i + 3]];
                if ((a | b | c | d) < 0) break;
                std::uint32_t v = (std::uint32_t(a) << 18) | (std::uint32_t(b) << 12) |
                                  (std::uint32_t(c) << 6) | std::uint32_t(d);
                o[0] = static_cast<std::uint8_t>(v >> 16);
                o[1] = static_cast<std::uint8_t>(v >> 8);
                o[2] = static_cast<std::uint8_t>(v);
                o += 3;
                i += 4;
            }
            if (i >= len) break;
        }
        int v = kDecode.values[s[i++]];
        if (v < 0) continue;  // outside the alphabet: ignored
        acc = (acc << 6) | std::uint32_t(v);
        if (++count == 4) {
            o[0] = static_cast<std::uint8_t>(acc >> 16);
            o[1] = static_cast<std::uint8_t>(acc >> 8);
            o[2] = static_cast<std::uint8_t>(acc);
            o += 3;
            acc = 0;
            count = 0;
        }
    }
    if (count == 2) {
        *o++ = static_cast<std::uint8_t>(acc >> 4);
    } else if (count == 3) {
        *o++ = static_cast<std::uint8_t>(acc >> 10);
        *o++ = static_cast<std::uint8_t>(acc >> 2);
    }
    // A lone final character (count == 1) carries too few bits: dropped.
    out.resize(static_cast<std::size_t>(o - out.data()));
    return out;
}

}  // namespace ov::OVBase64
