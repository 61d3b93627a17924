// The named HTML character references used by ov::strings::decodeHtmlString:
// the 252 of HTML 4.01 (Latin-1, symbols and Greek, special characters) plus
// "&apos;", 253 in all, keyed by the full reference text ("&amp;") and mapped
// to the character as UTF-8 ("&").
//
//   const auto& table = ov::htmlNamedEntities();
//   table.at("&euro;");   // "\u20AC"
//
// The table is built once, on first use, by thread-safe static
// initialisation, and never changes afterwards.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

// Hashes std::string and std::string_view alike, so that lookups by a view
// into the text need no temporary string.
struct TransparentStringHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept {
        return std::hash<std::string_view>{}(text);
    }
};

using HtmlEntityTable =
    std::unordered_map<std::string, std::string, TransparentStringHash, std::equal_to<>>;

OV_API const HtmlEntityTable& htmlNamedEntities();

}  // namespace ov
