// Shared checks for the libFuzzer targets in this folder: each target feeds
// outside input to one parser or decoder and checks properties of the result
// (valid UTF-8 out, length bounds, round trips), not only that nothing
// crashed. A failed check prints what failed and aborts, which libFuzzer
// reports as a crash with the input saved.
//
//   extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
//       auto text = ovfuzz::text(data, size);
//       ovfuzz::check(ovfuzz::isValidUtf8(decode(text)), "decoded text is valid UTF-8");
//       return 0;
//   }
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include <fuzzer/FuzzedDataProvider.h>  // ships with clang's libFuzzer
#include <unicode/unistr.h>
#include <unicode/utf8.h>

#include "OVLog/OVLog.h"

namespace ovfuzz {

// Warnings about bad input are expected by the thousand; keep them off stderr.
inline const bool kQuietLogs = (ovlog::OLog::setConsoleOutput(false), true);

inline std::string_view text(const uint8_t* data, size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

inline void check(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "fuzz check failed: %s\n", what);
    std::abort();
}

inline bool isValidUtf8(std::string_view s) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(s.data());
    const auto length = static_cast<int32_t>(s.size());
    for (int32_t i = 0; i < length;) {
        UChar32 c;
        U8_NEXT(bytes, i, length, c);
        if (c < 0) return false;
    }
    return true;
}

// The text as the library reads it: ill-formed sequences become U+FFFD.
inline std::string repaired(std::string_view s) {
    std::string out;
    icu::UnicodeString::fromUTF8(icu::StringPiece(s.data(), static_cast<int32_t>(s.size())))
        .toUTF8String(out);
    return out;
}

}  // namespace ovfuzz
