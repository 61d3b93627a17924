#include "OVUtility/Platform/DispatchTime.h"

#include <cmath>

namespace ov {

DispatchTime operator+(DispatchTime t, double seconds) {
    if (std::isnan(seconds)) return t;
    if (!std::isfinite(seconds) || seconds > 9.2e9) {
        return seconds > 0 ? DispatchTime::distantFuture() : t;
    }
    if (seconds < -9.2e9) return DispatchTime(DispatchTime::Clock::time_point::min());
    return t + std::chrono::nanoseconds(static_cast<long long>(seconds * 1e9));
}

}  // namespace ov
