// Names of store subscription period units.
//
//   ov::stringValue(ov::SKProductPeriodUnit::month);            // "MONTH"
//   ov::stringValue(static_cast<ov::SKProductPeriodUnit>(9));   // "UNKNOWN"
#pragma once

#include <string_view>

namespace ov {

// The store's period units with their raw values 0 to 3.
enum class SKProductPeriodUnit : unsigned { day = 0, week = 1, month = 2, year = 3 };

// "DAY", "WEEK", "MONTH", "YEAR"; any other raw value gives "UNKNOWN".
constexpr std::string_view stringValue(SKProductPeriodUnit unit) {
    switch (unit) {
        case SKProductPeriodUnit::day:
            return "DAY";
        case SKProductPeriodUnit::week:
            return "WEEK";
        case SKProductPeriodUnit::month:
            return "MONTH";
        case SKProductPeriodUnit::year:
            return "YEAR";
    }
    return "UNKNOWN";
}

}  // namespace ov
