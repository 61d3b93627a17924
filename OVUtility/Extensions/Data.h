// Base64 for byte buffers (the `OVBase64` additions to data).
//
//   std::string text = ov::OVBase64::base64EncodedString(bytes);   // 64-char lines, CR LF
//   std::vector<std::uint8_t> back = ov::OVBase64::dataFromBase64String(text);
//
// Encoding uses the standard alphabet ("A-Z a-z 0-9 + /") with "=" padding.
// With line breaks (the default of `base64EncodedString`), every 48 input
// bytes become one line of 64 characters; lines are separated by CR LF and
// there is no separator after the last line. Without line breaks the whole
// input forms one line.
//
// Decoding is lenient on purpose: every character outside the alphabet is
// ignored (line breaks, spaces, "=" and any byte >= 0x80 included), each
// group of four valid characters gives three bytes, a final group of two or
// three valid characters gives one or two bytes, and a final lone character
// is dropped. Decoding never fails; garbage in gives fewer bytes out.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "OVUtility/OVUtilityExport.h"

namespace ov::OVBase64 {

// Encodes `data`; with `separateLines` the output is broken into 64-character
// lines separated by CR LF.
OV_API std::string base64Encode(std::span<const std::uint8_t> data, bool separateLines);

// Encodes with line breaks.
OV_API std::string base64EncodedString(std::span<const std::uint8_t> data);
// Encodes the bytes of a string (any content, not only text) with line breaks.
OV_API std::string base64EncodedString(std::string_view bytes);

// Decodes leniently (see above).
OV_API std::vector<std::uint8_t> dataFromBase64String(std::string_view text);

}  // namespace ov::OVBase64
