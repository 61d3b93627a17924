// ov::Bitrate and ov::BitrateType: audio stream bitrates and the three stream
// quality levels the client offers.
//
//   auto b = ov::Bitrate::fromKilobitsPerSecond(64);        // 64000 bits/s
//   double kbps = b.kilobitsPerSecond();                   // 64.0
//   auto high = ov::bitrateType(196.0);                    // BitrateType::high
//   nlohmann::json j = b;                                  // {"bitsPerSecond": 64000.0}
//   auto back = ov::Bitrate::decode(j);                    // optional, never throws
//
// - `Bitrate` is a value: equality is floating-point equality of
//   `bitsPerSecond` (NaN differs from itself, 0.0 equals -0.0); the hash
//   normalises -0.0 to 0.0 so that equal values hash equally.
// - `BitrateType::high` is 196 kbit/s, not the more common 192: intended.
// - `Bitrate::zero()` and `Bitrate::bitrates()` are process-wide values that
//   the application may replace at start-up (plain assignment, no lock);
//   `bitrates()` is initialised once, thread-safely, on first use.
// - JSON coding uses the one key "bitsPerSecond". `from_json` (used by
//   `json.get<Bitrate>()`) throws nlohmann's standard errors (a missing key is
//   `out_of_range` 403 "key 'bitsPerSecond' not found"); `decode` reports the
//   same failures as an `ov::Error` in the domain "ov.DecodingError" instead.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include <nlohmann/json.hpp>

#include "OVUtility/Extensions/CaseIterable.h"
#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/Error.h"

namespace ov {

// Stream quality levels; the raw value is in kilobits per second.
enum class BitrateType { low, standard, high };

template <>
struct CaseIterable<BitrateType> {
    static constexpr std::array allCases{BitrateType::low, BitrateType::standard,
                                         BitrateType::high};
};

// 32.0, 64.0 or 196.0.
OV_API double rawValue(BitrateType type);
// The case whose raw value equals `kilobitsPerSecond` exactly, else nullopt.
OV_API std::optional<BitrateType> bitrateType(double kilobitsPerSecond);

class OV_API Bitrate {
  public:
    // Error codes of `decode` (domain "ov.DecodingError").
    static constexpr const char* kDecodingErrorDomain = "ov.DecodingError";
    enum DecodingErrorCode : long { keyNotFound = 1, typeMismatch = 2 };
    static constexpr const char* kCodingKey = "bitsPerSecond";

    // A tag for construction from kilobits per second.
    struct kilobitsPerSecond_t {
        double value;
    };

    constexpr Bitrate() = default;
    // Stored unchanged: negative, zero, infinite and NaN values are kept.
    constexpr explicit Bitrate(double bitsPerSecond) : bitsPerSecond_(bitsPerSecond) {}
    constexpr explicit Bitrate(kilobitsPerSecond_t kbps) : bitsPerSecond_(kbps.value * 1000.0) {}
    static constexpr Bitrate fromKilobitsPerSecond(double kbps) {
        return Bitrate(kilobitsPerSecond_t{kbps});
    }

    constexpr double bitsPerSecond() const { return bitsPerSecond_; }
    constexpr double kilobitsPerSecond() const { return bitsPerSecond_ / 1000.0; }

    friend constexpr bool operator==(Bitrate a, Bitrate b) {
        return a.bitsPerSecond_ == b.bitsPerSecond_;
    }

    std::size_t hashValue() const;

    // Process-wide values, settable by the application.
    static Bitrate& zero();
    static std::vector<Bitrate>& bitrates();

    // {"bitsPerSecond": value}.
    nlohmann::json encode() const;
    // Decodes without throwing; on failure returns nullopt and, when `error`
    // is given, sets it (keyNotFound for a missing key or a non-object,
    // typeMismatch for a value that is not a number).
    static std::optional<Bitrate> decode(const nlohmann::json& json, Error* error = nullptr);

  private:
    double bitsPerSecond_ = 0.0;
};

OV_API void to_json(nlohmann::json& json, const Bitrate& bitrate);
OV_API void from_json(const nlohmann::json& json, Bitrate& bitrate);

}  // namespace ov

template <>
struct std::hash<ov::Bitrate> {
    std::size_t operator()(const ov::Bitrate& b) const noexcept { return b.hashValue(); }
};
