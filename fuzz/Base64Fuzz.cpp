// libFuzzer target: Base64. Decoding any text gives at most (length + 3) / 4
// * 3 bytes; encoding any bytes (with and without line breaks) gives ASCII of
// the alphabet, "=", CR and LF in lines of at most 64 characters, and decodes
// back to the same bytes.
#include <span>
#include <vector>

#include "FuzzSupport.h"
#include "OVUtility/Extensions/Data.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    namespace b64 = ov::OVBase64;
    const auto input = ovfuzz::text(data, size);
    const std::vector<uint8_t> decoded = b64::dataFromBase64String(input);
    ovfuzz::check(decoded.size() <= (size + 3) / 4 * 3, "decoded size within the buffer bound");

    const std::span<const uint8_t> bytes(data, size);
    for (bool lines : {true, false}) {
        const std::string encoded = b64::base64Encode(bytes, lines);
        size_t column = 0;
        for (char c : encoded) {
            const bool alphabet = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                                  (c >= '0' && c <= '9') || c == '+' || c == '/' || c == '=';
            ovfuzz::check(alphabet || (lines && (c == '\r' || c == '\n')), "encoded alphabet");
            column = c == '\n' ? 0 : column + (c != '\r');
            ovfuzz::check(!lines || column <= 64, "lines of at most 64 characters");
        }
        ovfuzz::check(b64::dataFromBase64String(encoded) == std::vector<uint8_t>(data, data + size),
                      "encode then decode gives the bytes back");
    }
    return 0;
}
