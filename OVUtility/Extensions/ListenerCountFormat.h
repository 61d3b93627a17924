// The listener-count abbreviation shared by ov::nsstring and ov::strings:
// a count becomes a short number and a unit suffix ("1.9" and "K"), which the
// callers put into their own sentence ("1.9K listeners").
//
//   ov::ListenerCountAbbreviation a = ov::abbreviateCount(1999);  // {"1.9", "K"}
//
// The number is formatted by an ICU decimal formatter of the current locale
// (grouping on) rounding towards negative infinity, applied to a 32-bit float
// quotient, so the float's own rounding shows: 1300 is 1.2999999f and reads
// "1.2". Formatters are made once per locale and shared across threads.
#pragma once

#include <cstdint>
#include <string>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

struct ListenerCountAbbreviation {
    std::string number;
    std::string suffix;  // "", "K" or "M"
};

OV_API ListenerCountAbbreviation abbreviateCount(std::int64_t count);

}  // namespace ov
