// String additions against what a C++ programmer would otherwise write, on
// realistic inputs (an episode description with markup and entities, catalogue
// identifiers, artist names in several scripts):
//   - decodeHtmlString vs a std::regex scan with the same entity table;
//   - unCamelCase vs the same ICU patterns compiled on every call;
//   - normalizedForSearch vs an ICU transliterator created on every call;
//   - SHA-1 vs Boost's SHA-1; SHA-256 vs OpenSSL's one-shot SHA256() with
//     snprintf hex; HMAC-SHA1 on its own.
#include <cstdio>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <openssl/sha.h>
#include <unicode/regex.h>
#include <unicode/translit.h>
#include <boost/uuid/detail/sha1.hpp>

#include "BenchRatios.h"
#include "OVUtility/Extensions/HtmlEntities.h"
#include "OVUtility/Extensions/NSStringAdditions.h"
#include "OVUtility/Extensions/StringAdditions.h"

namespace {

std::string episodeDescription() {
    std::string text;
    for (int i = 0; i < 8; ++i) {
        text +=
            "<p>In this episode we talk with Bj&ouml;rk &amp; Sigur R&oacute;s about &quot;the "
            "sound of Iceland&quot; &mdash; from Reykjav&iacute;k&rsquo;s clubs to the "
            "&euro;5 vinyl bins. It&apos;s a long one &hellip; grab a caf&eacute;!</p>"
            "<p>Chapters: 00:00 Intro &#8212; 12:30 &ldquo;J&oacute;ga&rdquo; &#x2014; 45:00 "
            "Q&amp;A &lt;live&gt; &copy; 2021 &trade; &#127925;</p>\n";
    }
    return text;  // about 2.6 KB
}

const std::vector<std::string>& identifiers() {
    static const std::vector<std::string> names = {
        "myCollectionLargerText",
        "getHTTPResponseCode",
        "playlistTrackCount",
        "isOfflineAvailable",
        "downloadQueueV2State",
        "userProfileImageURL",
        "abc1",
        "recentlyPlayedItems",
    };
    return names;
}

const std::vector<std::string>& artistNames() {
    static const std::vector<std::string> names = {
        "Björk Guðmundsdóttir", "Mötley Crüe", "Beyoncé",   "Sigur Rós",
        "Москва Оркестр",       "東京事変",    "Ελευθερία", "The Beatles",
    };
    return names;
}

// ---------------------------------------------------------------- HTML entities

void BM_DecodeHtml_OV(benchmark::State& state) {
    const std::string text = episodeDescription();
    for (auto _ : state) benchmark::DoNotOptimize(ov::strings::decodeHtmlString(text));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void BM_DecodeHtml_Peer_StdRegex(benchmark::State& state) {
    const std::string text = episodeDescription();
    static const std::regex reference("&(#[xX][0-9A-Fa-f]+|#[0-9]+|[A-Za-z0-9]+);");
    const auto& table = ov::htmlNamedEntities();
    for (auto _ : state) {
        std::string out;
        out.reserve(text.size());
        auto last = text.cbegin();
        for (std::sregex_iterator it(text.begin(), text.end(), reference), end; it != end; ++it) {
            out.append(last, (*it)[0].first);
            const std::string match = it->str();
            if (auto found = table.find(match); found != table.end()) {
                out += found->second;
            } else if (match[1] == '#') {
                const bool hex = match[2] == 'x' || match[2] == 'X';
                const unsigned long code =
                    std::stoul(match.substr(hex ? 3 : 2), nullptr, hex ? 16 : 10);
                icu::UnicodeString(static_cast<UChar32>(code)).toUTF8String(out);
            } else {
                out += match;
            }
            last = (*it)[0].second;
        }
        out.append(last, text.cend());
        benchmark::DoNotOptimize(out);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

// ---------------------------------------------------------------- unCamelCase

void BM_UnCamelCase_OV(benchmark::State& state) {
    for (auto _ : state) {
        for (const auto& name : identifiers())
            benchmark::DoNotOptimize(ov::nsstring::unCamelCase(name));
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * identifiers().size()));
}

void BM_UnCamelCase_Peer_CompilePerCall(benchmark::State& state) {
    for (auto _ : state) {
        for (const auto& name : identifiers()) {
            UErrorCode status = U_ZERO_ERROR;
            icu::UnicodeString text = icu::UnicodeString::fromUTF8(name);
            icu::RegexMatcher first(
                u"([a-z](?=[A-Z]+[a-z])|(?<=[a-z]?)[A-Z]+(?![a-z]))([A-Z][a-z])", text, 0, status);
            icu::UnicodeString step = first.replaceAll(u"$1 $2", status);
            icu::RegexMatcher second(u"([a-z])([A-Z]|[0-9])", step, 0, status);
            icu::UnicodeString result = second.replaceAll(u"$1 $2", status);
            if (!result.isEmpty()) {
                icu::UnicodeString head(result, 0, 1);
                head.toTitle(nullptr);
                result.replace(0, 1, head);
            }
            std::string out;
            benchmark::DoNotOptimize(result.toUTF8String(out));
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * identifiers().size()));
}

// ---------------------------------------------------------------- search normalisation

void BM_NormalizedForSearch_OV(benchmark::State& state) {
    for (auto _ : state) {
        for (const auto& name : artistNames()) {
            benchmark::DoNotOptimize(ov::strings::normalizedForSearch(name));
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * artistNames().size()));
}

void BM_NormalizedForSearch_Peer_CreatePerCall(benchmark::State& state) {
    for (auto _ : state) {
        for (const auto& name : artistNames()) {
            UErrorCode status = U_ZERO_ERROR;
            std::unique_ptr<icu::Transliterator> transform(icu::Transliterator::createInstance(
                "Any-Latin; Latin-ASCII; Lower", UTRANS_FORWARD, status));
            icu::UnicodeString text = icu::UnicodeString::fromUTF8(name);
            transform->transliterate(text);
            std::string out;
            benchmark::DoNotOptimize(text.toUTF8String(out));
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * artistNames().size()));
}

// ---------------------------------------------------------------- hashes

std::string payload(std::size_t size) {
    std::string text;
    while (text.size() < size) text += "https://cdn.example.com/tracks/4711/segment-0001.m4a?q=hi&";
    text.resize(size);
    return text;
}

void BM_SHA1_OV(benchmark::State& state) {
    const std::string text = payload(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(ov::nsstring::stringWithSHA1Hash(text));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void BM_SHA1_Peer_Boost(benchmark::State& state) {
    const std::string text = payload(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        boost::uuids::detail::sha1 sha;
        sha.process_bytes(text.data(), text.size());
        boost::uuids::detail::sha1::digest_type digest;
        sha.get_digest(digest);
        char hex[41];
        for (int i = 0; i < 5; ++i) std::snprintf(hex + 8 * i, 9, "%08x", digest[i]);
        benchmark::DoNotOptimize(std::string(hex, 40));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void BM_SHA256_OV(benchmark::State& state) {
    const std::string text = payload(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(ov::nsstring::stringWithSHA256Hash(text));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void BM_SHA256_Peer_OneShotSnprintf(benchmark::State& state) {
    const std::string text = payload(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        unsigned char digest[SHA256_DIGEST_LENGTH];
        SHA256(reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest);
        char hex[2 * SHA256_DIGEST_LENGTH + 1];
        for (int i = 0; i < SHA256_DIGEST_LENGTH; ++i)
            std::snprintf(hex + 2 * i, 3, "%02x", digest[i]);
        benchmark::DoNotOptimize(std::string(hex, 2 * SHA256_DIGEST_LENGTH));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void BM_HMACSHA1_OV(benchmark::State& state) {
    const std::string text = payload(static_cast<std::size_t>(state.range(0)));
    const std::string key(64, 'k');
    for (auto _ : state) benchmark::DoNotOptimize(ov::nsstring::hmacWithKey(text, key));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

}  // namespace

BENCHMARK(BM_DecodeHtml_OV);
BENCHMARK(BM_DecodeHtml_Peer_StdRegex);
BENCHMARK(BM_UnCamelCase_OV);
BENCHMARK(BM_UnCamelCase_Peer_CompilePerCall);
BENCHMARK(BM_NormalizedForSearch_OV);
BENCHMARK(BM_NormalizedForSearch_Peer_CreatePerCall);
BENCHMARK(BM_SHA1_OV)->Arg(64)->Arg(4096);
BENCHMARK(BM_SHA1_Peer_Boost)->Arg(64)->Arg(4096);
BENCHMARK(BM_SHA256_OV)->Arg(64)->Arg(4096);
BENCHMARK(BM_SHA256_Peer_OneShotSnprintf)->Arg(64)->Arg(4096);
BENCHMARK(BM_HMACSHA1_OV)->Arg(64)->Arg(4096);

int main(int argc, char** argv) {
    return ovbench::runWithRatios(
        argc, argv,
        {{"BM_DecodeHtml_OV", "BM_DecodeHtml_Peer_StdRegex"},
         {"BM_UnCamelCase_OV", "BM_UnCamelCase_Peer_CompilePerCall"},
         {"BM_NormalizedForSearch_OV", "BM_NormalizedForSearch_Peer_CreatePerCall"},
         {"BM_SHA1_OV/64", "BM_SHA1_Peer_Boost/64"},
         {"BM_SHA1_OV/4096", "BM_SHA1_Peer_Boost/4096"},
         {"BM_SHA256_OV/64", "BM_SHA256_Peer_OneShotSnprintf/64"},
         {"BM_SHA256_OV/4096", "BM_SHA256_Peer_OneShotSnprintf/4096"}});
}
