#include "OVUtility/Tasks/UUIDString.h"

#include <openssl/rand.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>
#include <string_view>

namespace ov {

namespace {

constexpr std::size_t kUUIDLength = 36;

// Random bytes are drawn from the DRBG a batch at a time (each call has a
// fixed cost of several thousand instructions) and handed out 16 at a time
// from a per-thread buffer; every byte is used once.
struct RandomPool {
    static constexpr std::size_t kBatch = 256 * 16;
    std::array<std::uint8_t, kBatch> bytes{};
    std::size_t used = kBatch;

    void take(std::uint8_t* out, std::size_t n) {
        if (used + n > kBatch) {
            if (RAND_bytes(bytes.data(), static_cast<int>(kBatch)) != 1) {
                // The DRBG failed to seed (practically never on Linux); an
                // identifier must still be unique within the process, so fall
                // back to the standard library's non-deterministic source.
                std::random_device device;
                for (auto& b : bytes) b = static_cast<std::uint8_t>(device());
            }
            used = 0;
        }
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(used), n, out);
        std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(used), n, 0);
        used += n;
    }
};

void appendUUID(std::string& out) {
    thread_local RandomPool pool;
    std::array<std::uint8_t, 16> bytes{};
    pool.take(bytes.data(), bytes.size());
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
    static constexpr char kHex[] = "0123456789ABCDEF";
    char text[kUUIDLength];
    std::size_t pos = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text[pos++] = '-';
        text[pos++] = kHex[bytes[i] >> 4];
        text[pos++] = kHex[bytes[i] & 0x0F];
    }
    out.append(text, kUUIDLength);
}

}  // namespace

std::string makeUUIDString() {
    std::string uuid;
    uuid.reserve(kUUIDLength);
    appendUUID(uuid);
    return uuid;
}

std::string makeIdentifier(std::string_view prefix) {
    std::string id;
    id.reserve(prefix.size() + kUUIDLength);
    id.append(prefix);
    appendUUID(id);
    return id;
}

}  // namespace ov
