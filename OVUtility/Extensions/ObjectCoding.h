// Object coding: turning a codable value into bytes and back, for storage
// and for passing objects through byte-oriented APIs.
//
//   std::vector<std::uint8_t> bytes = ov::ovEncodedData(bitrate);
//   std::optional<ov::Bitrate> back = ov::ovDecodeDataOfCustom<ov::Bitrate>(bytes);
//
// The archive format is the value's nlohmann JSON form (its to_json /
// from_json) written as UTF-8 JSON text. Nothing throws: a value that cannot
// be encoded (for example a string that is not valid UTF-8) gives empty
// bytes, and bytes that are not JSON, or JSON that is not a T, give nullopt;
// both cases are logged at warning level on the "OVUtility" module.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "OVLog/OVLog.h"

namespace ov {

namespace coding_detail {
inline ovlog::Module& logModule() {
    static ovlog::Module& module = ovlog::Module::named("OVUtility");
    return module;
}
}  // namespace coding_detail

template <typename T>
std::vector<std::uint8_t> ovEncodedData(const T& object) {
    try {
        std::string text = nlohmann::json(object).dump();
        return {text.begin(), text.end()};
    } catch (const nlohmann::json::exception& e) {
        OVLOG_WARNING(coding_detail::logModule(), "ovEncodedData: cannot encode: {}", e.what());
        return {};
    }
}

template <typename T>
std::optional<T> ovDecodeDataOfCustom(std::span<const std::uint8_t> data) {
    auto json = nlohmann::json::parse(data.begin(), data.end(), nullptr,
                                      /*allow_exceptions=*/false);
    if (json.is_discarded()) {
        OVLOG_WARNING(coding_detail::logModule(), "ovDecodeDataOfCustom: data is not an archive");
        return std::nullopt;
    }
    try {
        return json.template get<T>();
    } catch (const nlohmann::json::exception& e) {
        OVLOG_WARNING(coding_detail::logModule(), "ovDecodeDataOfCustom: cannot decode: {}",
                      e.what());
        return std::nullopt;
    }
}

}  // namespace ov
