#include <openssl/evp.h>

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "OVUtility/Extensions/Data.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using namespace ov::OVBase64;

std::string openSSLEncode(const Bytes& data) {
    std::string out(4 * ((data.size() + 2) / 3) + 1, '\0');
    int n = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()), data.data(),
                            static_cast<int>(data.size()));
    out.resize(static_cast<std::size_t>(n));
    return out;
}

std::string withoutLineBreaks(std::string text) {
    std::erase_if(text, [](char c) { return c == '\r' || c == '\n'; });
    return text;
}

std::vector<std::string> splitOnCRLF(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (;;) {
        auto pos = text.find("\r\n", start);
        lines.push_back(text.substr(start, pos - start));
        if (pos == std::string::npos) break;
        start = pos + 2;
    }
    return lines;
}

Bytes toBytes(std::string_view s) {
    return Bytes(s.begin(), s.end());
}

TEST(Base64, RandomDataOfEveryLengthMatchesOpenSSLAndRoundTrips) {
    std::mt19937 rng(20261121);
    std::uniform_int_distribution<int> byte(0, 255);
    for (std::size_t length = 0; length <= 200; ++length) {
        SCOPED_TRACE("length " + std::to_string(length));
        Bytes data(length);
        for (auto& b : data) b = static_cast<std::uint8_t>(byte(rng));

        const std::string ours = base64EncodedString(data);
        const std::string reference = openSSLEncode(data);
        EXPECT_EQ(withoutLineBreaks(ours), reference);
        EXPECT_EQ(base64Encode(data, /*separateLines=*/false), reference);

        // Lines of exactly 64 characters, CR LF between them, none after the last.
        auto lines = splitOnCRLF(ours);
        ASSERT_EQ(lines.size(), length == 0 ? 1u : (length + 47) / 48);
        for (std::size_t i = 0; i + 1 < lines.size(); ++i) EXPECT_EQ(lines[i].size(), 64u);
        EXPECT_EQ(ours.find('\n') == std::string::npos, length <= 48);
        EXPECT_FALSE(ours.ends_with("\r\n"));

        EXPECT_EQ(dataFromBase64String(ours), data);
        EXPECT_EQ(dataFromBase64String(reference), data);
    }
}

TEST(Base64, KnownTextAndTheFirstLineBreak) {
    EXPECT_EQ(base64EncodedString(std::string_view("Ma")), "TWE=");
    const std::string s49 = base64EncodedString(Bytes(49, 0xAB));
    EXPECT_EQ(s49.substr(60), "q6ur\r\nqw==");
}

TEST(Base64, DecoderIgnoresEverythingOutsideTheAlphabet) {
    const Bytes expected = toBytes("Hello, world!");
    // Spaces, tabs, line breaks, "=", '-', '_', NUL and UTF-8 bytes are skipped.
    EXPECT_EQ(dataFromBase64String("SGVs bG8s\r\nIHdv\tcmxk-IQ_=="), expected);
    EXPECT_EQ(dataFromBase64String(std::string("SGVs\0bG8sIHdvcmxkIQ", 19)), expected);
    EXPECT_EQ(dataFromBase64String("S\xC3\xA9GVsbG8sIHdvcmxkIQ"), expected);
    // Padding in the middle is ignored too, so the groups run on across it:
    // "QQ==QUI=" reads as "QQQUI", one group of four and a lone character.
    EXPECT_EQ(dataFromBase64String("QQ==QUI="), (Bytes{0x41, 0x04, 0x14}));

    EXPECT_TRUE(dataFromBase64String("").empty());
    EXPECT_TRUE(dataFromBase64String("==== \r\n !!").empty());
}

TEST(Base64, DecoderFinalGroups) {
    EXPECT_EQ(dataFromBase64String("QQ"), toBytes("A"));    // two valid characters: one byte
    EXPECT_EQ(dataFromBase64String("QUI"), toBytes("AB"));  // three: two bytes
    EXPECT_EQ(dataFromBase64String("QUJD"), toBytes("ABC"));
    EXPECT_EQ(dataFromBase64String("QUJDR"), toBytes("ABC"));  // a lone final character is dropped
    EXPECT_TRUE(dataFromBase64String("Q").empty());
    EXPECT_TRUE(dataFromBase64String("Q===").empty());
}

TEST(Base64, RandomNoiseBetweenCharactersDoesNotChangeTheResult) {
    std::mt19937 rng(7);
    const std::string noise = " \t\r\n=-_.*~\x80\xff";
    for (int round = 0; round < 50; ++round) {
        Bytes data(static_cast<std::size_t>(rng() % 150));
        for (auto& b : data) b = static_cast<std::uint8_t>(rng());
        std::string clean = base64EncodedString(data);
        std::string noisy;
        for (char c : clean) {
            while (rng() % 3 == 0) noisy += noise[rng() % noise.size()];
            noisy += c;
        }
        EXPECT_EQ(dataFromBase64String(noisy), data);
    }
}

}  // namespace
