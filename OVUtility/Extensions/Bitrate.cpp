#include "OVUtility/Extensions/Bitrate.h"

#include <bit>
#include <cstdint>

namespace ov {

double rawValue(BitrateType type) {
    switch (type) {
        case BitrateType::low:
            return 32.0;
        case BitrateType::standard:
            return 64.0;
        case BitrateType::high:
            return 196.0;  // deliberately 196, not 192
    }
    return 0.0;
}

std::optional<BitrateType> bitrateType(double kilobitsPerSecond) {
    for (BitrateType type : allCases<BitrateType>()) {
        if (rawValue(type) == kilobitsPerSecond) return type;
    }
    return std::nullopt;
}

std::size_t Bitrate::hashValue() const {
    // -0.0 == 0.0, so both must feed the same bits.
    double v = bitsPerSecond_ == 0.0 ? 0.0 : bitsPerSecond_;
    return std::hash<std::uint64_t>{}(std::bit_cast<std::uint64_t>(v));
}

Bitrate& Bitrate::zero() {
    static Bitrate value(0.0);
    return value;
}

std::vector<Bitrate>& Bitrate::bitrates() {
    // Function-local static: initialised exactly once, thread-safely.
    static std::vector<Bitrate> value = [] {
        std::vector<Bitrate> list;
        for (BitrateType type : allCases<BitrateType>()) {
            list.push_back(Bitrate::fromKilobitsPerSecond(rawValue(type)));
        }
        return list;
    }();
    return value;
}

nlohmann::json Bitrate::encode() const {
    nlohmann::json json = nlohmann::json::object();
    json[kCodingKey] = bitsPerSecond_;
    return json;
}

std::optional<Bitrate> Bitrate::decode(const nlohmann::json& json, Error* error) {
    auto fail = [&](DecodingErrorCode code, std::string message) -> std::optional<Bitrate> {
        if (error) *error = Error(kDecodingErrorDomain, code, std::move(message));
        return std::nullopt;
    };
    if (!json.is_object()) {
        return fail(keyNotFound, "key 'bitsPerSecond' not found: not a keyed container");
    }
    auto it = json.find(kCodingKey);
    if (it == json.end()) return fail(keyNotFound, "key 'bitsPerSecond' not found");
    if (!it->is_number()) {
        return fail(typeMismatch, "key 'bitsPerSecond': expected a number, found " +
                                      std::string(it->type_name()));
    }
    return Bitrate(it->get<double>());
}

void to_json(nlohmann::json& json, const Bitrate& bitrate) {
    json = bitrate.encode();
}

void from_json(const nlohmann::json& json, Bitrate& bitrate) {
    // `at` throws nlohmann's out_of_range (403) for a missing key and its
    // type_error for a non-object or non-number, the standard decoding errors.
    bitrate = Bitrate(json.at(Bitrate::kCodingKey).get<double>());
}

}  // namespace ov
