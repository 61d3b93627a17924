// Base64 throughput of OVBase64 against OpenSSL's EVP_EncodeBlock /
// EVP_DecodeBlock, measured in the same run. Times are per input byte
// (encode) or per encoded character (decode).
//
// OpenSSL's block functions write one unbroken line, so the like-for-like
// pairs are "encode without line breaks" and "decode of unbroken text". The
// library's default form (64-character lines with CR LF) is also measured
// against the same peer, to show what the line breaks cost.
#include <openssl/evp.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "BenchRatios.h"
#include "OVUtility/Extensions/Data.h"

namespace {

std::vector<std::uint8_t> randomBytes(std::size_t n) {
    std::mt19937 rng(12345);
    std::vector<std::uint8_t> data(n);
    for (auto& b : data) b = static_cast<std::uint8_t>(rng());
    return data;
}

void ovEncode(benchmark::State& state, std::size_t size, bool lines) {
    auto data = randomBytes(size);
    for (auto _ : state) {
        auto text = ov::OVBase64::base64Encode(data, lines);
        benchmark::DoNotOptimize(text.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(size));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}

void openSSLEncode(benchmark::State& state, std::size_t size) {
    auto data = randomBytes(size);
    std::string out;
    for (auto _ : state) {
        // Allocate per call, as the library's encoder does.
        out.assign(4 * ((size + 2) / 3) + 1, '\0');
        int n = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()), data.data(),
                                static_cast<int>(size));
        out.resize(static_cast<std::size_t>(n));
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(size));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}

void ovDecode(benchmark::State& state, std::size_t size, bool lines) {
    auto text = ov::OVBase64::base64Encode(randomBytes(size), lines);
    for (auto _ : state) {
        auto bytes = ov::OVBase64::dataFromBase64String(text);
        benchmark::DoNotOptimize(bytes.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

void openSSLDecode(benchmark::State& state, std::size_t size) {
    auto text = ov::OVBase64::base64Encode(randomBytes(size), false);
    std::vector<std::uint8_t> out;
    for (auto _ : state) {
        out.resize((text.size() + 3) / 4 * 3);
        int n = EVP_DecodeBlock(out.data(), reinterpret_cast<const unsigned char*>(text.data()),
                                static_cast<int>(text.size()));
        // EVP_DecodeBlock counts padding as zero bytes; trim them as a caller must.
        std::size_t pad = (text.size() >= 1 && text.back() == '=') +
                          (text.size() >= 2 && text[text.size() - 2] == '=');
        out.resize(static_cast<std::size_t>(n) - pad);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::pair<std::string, std::string>> pairs;
    for (auto [label, size] :
         {std::pair{"1KiB", std::size_t{1} << 10}, std::pair{"1MiB", std::size_t{1} << 20}}) {
        std::string s = label;
        benchmark::RegisterBenchmark(("BM_OVEncode_" + s).c_str(), ovEncode, size, false);
        benchmark::RegisterBenchmark(("BM_OVEncodeLines_" + s).c_str(), ovEncode, size, true);
        benchmark::RegisterBenchmark(("BM_OpenSSLEncodeBlock_" + s).c_str(), openSSLEncode, size);
        benchmark::RegisterBenchmark(("BM_OVDecode_" + s).c_str(), ovDecode, size, false);
        benchmark::RegisterBenchmark(("BM_OVDecodeLines_" + s).c_str(), ovDecode, size, true);
        benchmark::RegisterBenchmark(("BM_OpenSSLDecodeBlock_" + s).c_str(), openSSLDecode, size);
        pairs.push_back({"BM_OVEncode_" + s, "BM_OpenSSLEncodeBlock_" + s});
        pairs.push_back({"BM_OVEncodeLines_" + s, "BM_OpenSSLEncodeBlock_" + s});
        pairs.push_back({"BM_OVDecode_" + s, "BM_OpenSSLDecodeBlock_" + s});
        pairs.push_back({"BM_OVDecodeLines_" + s, "BM_OpenSSLDecodeBlock_" + s});
    }
    return ovbench::runWithRatios(argc, argv, pairs);
}
