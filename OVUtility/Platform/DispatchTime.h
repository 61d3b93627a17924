// ov::DispatchTime: a point on the monotonic clock (std::chrono::steady_clock),
// as used by `asyncAfter`, timer deadlines and semaphore waits.
//
//   queue->asyncAfter(ov::DispatchTime::now() + 0.25, block);   // seconds
//   queue->asyncAfter(ov::DispatchTime::now() + std::chrono::milliseconds(250), block);
//
// `distantFuture()` never arrives: waits until it never time out, timers with
// it never fire.
#pragma once

#include <chrono>
#include <compare>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

class DispatchTime {
  public:
    using Clock = std::chrono::steady_clock;

    constexpr DispatchTime() = default;
    constexpr explicit DispatchTime(Clock::time_point tp) : tp_(tp) {}

    static DispatchTime now() { return DispatchTime(Clock::now()); }
    static constexpr DispatchTime distantFuture() { return DispatchTime(Clock::time_point::max()); }

    constexpr Clock::time_point timePoint() const { return tp_; }
    constexpr bool isDistantFuture() const { return tp_ == Clock::time_point::max(); }

    // Adding saturates at the distant future instead of overflowing.
    template <typename Rep, typename Period>
    friend DispatchTime operator+(DispatchTime t, std::chrono::duration<Rep, Period> d) {
        auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(d);
        if (t.isDistantFuture()) return t;
        if (ns.count() > 0 && t.tp_ > Clock::time_point::max() - ns) return distantFuture();
        return DispatchTime(t.tp_ + ns);
    }
    // Seconds as a double; a value too large, or not finite, saturates.
    friend OV_API DispatchTime operator+(DispatchTime t, double seconds);

    friend constexpr auto operator<=>(DispatchTime, DispatchTime) = default;

  private:
    Clock::time_point tp_{};
};

}  // namespace ov
