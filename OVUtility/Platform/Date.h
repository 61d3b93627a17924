// ov::Date: a point in time as seconds since 1970-01-01 00:00:00 UTC, held as
// a double like the platform's date. Calendar arithmetic, time zones and
// formatting live in the date additions (OVUtility/Extensions/Date*.h), on ICU.
//
//   ov::Date start = ov::Date::now();
//   ov::Date later = start.addingTimeInterval(90);
//   double elapsed = later.timeIntervalSince(start);   // 90
#pragma once

#include <chrono>
#include <compare>

namespace ov {

class Date {
  public:
    constexpr Date() = default;
    constexpr explicit Date(double secondsSince1970) : seconds_(secondsSince1970) {}

    static Date now() {
        using namespace std::chrono;
        return Date(duration<double>(system_clock::now().time_since_epoch()).count());
    }
    static constexpr Date fromTimeIntervalSince1970(double seconds) { return Date(seconds); }
    static constexpr Date distantPast() { return Date(-62135769600.0); }
    static constexpr Date distantFuture() { return Date(64092211200.0); }

    constexpr double timeIntervalSince1970() const { return seconds_; }
    // False for NaN, infinities and dates further than about 5.7 million
    // years from 1970, which calendars and formatters cannot represent; the
    // date additions give such dates a documented "no answer" instead.
    constexpr bool isWithinCalendarRange() const {
        return seconds_ >= -kCalendarLimit && seconds_ <= kCalendarLimit;
    }
    constexpr double timeIntervalSince(Date other) const { return seconds_ - other.seconds_; }
    double timeIntervalSinceNow() const { return seconds_ - now().seconds_; }
    constexpr Date addingTimeInterval(double seconds) const { return Date(seconds_ + seconds); }

    friend constexpr bool operator==(Date a, Date b) { return a.seconds_ == b.seconds_; }
    friend constexpr auto operator<=>(Date a, Date b) { return a.seconds_ <=> b.seconds_; }

  private:
    static constexpr double kCalendarLimit = 1.8e14;  // seconds; ICU's calendar reaches ±1.83e14
    double seconds_ = 0;
};

}  // namespace ov
