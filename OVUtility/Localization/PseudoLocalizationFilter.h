// ov::PseudoLocalizationFilter: makes texts longer and visibly "foreign" so
// that layouts can be tested for truncation and hard-coded strings.
//
//   // user default "OVLocalizedStringsPercent" = 30 (an integer) switches it on
//   ov::PseudoLocalizationFilter::shared().apply("Play")  // e.g. "[#PlayĶ#]"
//
// When on, a text becomes "[#" + text + extra + "#]": for each character
// (extended grapheme cluster) of the text, a uniform draw in 0..99 from the
// system's secure random source (getrandom) that falls below the percentage
// appends one look-alike capital from "ȦƁƇḒḖƑƓĦĪĴĶĿḾȠǾƤɊŘŞŦŬṼẆẊẎẐ". So 0 % only
// wraps the text, 100 % about doubles it, and the growth sits at the end,
// where truncation shows first. Format placeholders survive untouched.
// Text that is not valid UTF-8 comes out repaired (U+FFFD for each bad
// sequence), so the result is always valid UTF-8; when off, text passes
// through unchanged.
//
// The process-wide filter is read once, on first use, from the standard user
// defaults: on only when the key holds an integer (a string "30" leaves it
// off). Tools (ovutil's --pseudo) and tests replace it with `setShared`.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

class UserDefaults;

class OV_API PseudoLocalizationFilter {
  public:
    static constexpr const char* kUserDefaultsKey = "OVLocalizedStringsPercent";
    static constexpr std::string_view kLookAlikeCapitals = "ȦƁƇḒḖƑƓĦĪĴĶĿḾȠǾƤɊŘŞŦŬṼẆẊẎẐ";

    // Off.
    PseudoLocalizationFilter() = default;
    // On with the percentage when given, else off.
    explicit PseudoLocalizationFilter(std::optional<long long> percent) : percent_(percent) {}

    static PseudoLocalizationFilter fromUserDefaults(const UserDefaults& defaults);

    // The process-wide filter (settings read once from the standard defaults).
    static PseudoLocalizationFilter shared();
    static void setShared(PseudoLocalizationFilter filter);

    bool isOn() const { return percent_.has_value(); }
    std::optional<long long> percent() const { return percent_; }

    std::string apply(std::string_view text) const;

  private:
    std::optional<long long> percent_;
};

}  // namespace ov
