#include "OVUtility/Tasks/UUIDString.h"

#include <openssl/rand.h>

#include <array>
#include <cstdint>
#include <random>
#include <string_view>

namespace ov {

namespace {

constexpr std::size_t kUUIDLength = 36;

void appendUUID(std::string& out) {
    std::array<std::uint8_t, 16> bytes{};
    if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) {
        // The DRBG failed to seed (practically never on Linux); an identifier
        // must still be unique within the process, so fall back to the
        // standard library's non-deterministic source.
        std::random_device device;
        for (auto& b : bytes) b = static_cast<std::uint8_t>(device());
    }
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
