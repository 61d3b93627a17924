// ov::dates: the native date type's additions, as free functions over
// ov::Date. The bridged date category is in NSDateAdditions.h (namespace
// ov::nsdate), which shares afterDate, beforeDate and addDays with this one.
//
//   ov::dates::getDisplayableDuration(3725);          // "62:05" (no hours, on purpose)
//   ov::dates::fromTimestampString("2021-03-04 05:06:07");  // in GMT
//   ov::dates::toString(date, "yyyy-MM-dd", "Europe/Paris");
//   ov::dates::getCalendarComponent(date, ov::dates::CalendarComponent::month);
//
// Calendars are the current locale's in ICU's default time zone (see
// NSDateAdditions.h). Formatters are shared and made once, on first use;
// every function may be called from any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/Date.h"

namespace ov::dates {

// Strictly later / strictly earlier / equal.
OV_API bool afterDate(Date date, Date other);
OV_API bool beforeDate(Date date, Date other);
OV_API bool equalToDate(Date date, Date other);

// date ≥ other + interval (seconds).
OV_API bool isLaterThan(Date date, Date other, double interval);
// date ≤ other − interval: at least `interval` seconds before `other`; the
// boundary counts, as for isLaterThan.
OV_API bool isEarlierThan(Date date, Date other, double interval);

// Calendar days in the current calendar (a day across a clock change keeps
// the wall-clock time, so it may be 23 or 25 hours). When the date or the
// result lies outside the calendar's range (Date::isWithinCalendarRange: NaN,
// infinities, millions of years away), there is no calendar date: a warning
// is logged and the result is the date plus days of 86400 s (so NaN stays
// NaN). Either way the call returns at once.
OV_API Date addDays(Date date, std::int64_t days);
// Elapsed hours (3600 seconds each).
OV_API Date addHours(Date date, std::int64_t hours);
OV_API Date subtractMilliseconds(Date date, double milliseconds);

// "%d:%02d" of whole minutes and the remaining seconds (truncating; negative
// values keep their sign in both parts: -65 gives "-1:-5"); minutes are not
// split into hours: 3725 gives "62:05". Absent gives nullopt.
OV_API std::optional<std::string> getDisplayableDuration(std::optional<std::int64_t> seconds);

// The date of a "yyyy-MM-dd HH:mm:ss" text in GMT (the shared timestamp
// formatter); absent text, or text that is not exactly such a date, gives
// nullopt.
OV_API std::optional<Date> fromTimestampString(std::optional<std::string_view> text);

// The current locale's medium date style ("Mar 4, 2021" in en_US), current
// time zone.
OV_API std::string dateStringUsingMediumStyle(Date date);

// Year in the current calendar.
OV_API std::int32_t year(Date date);

enum class CalendarComponent {
    era,
    year,
    month,  // 1 to 12 (13 in calendars with a leap month)
    day,
    hour,
    minute,
    second,
    weekday,  // 1 Sunday to 7 Saturday
    weekdayOrdinal,
    quarter,  // 1 to 4
    weekOfMonth,
    weekOfYear,
    yearForWeekOfYear,
    nanosecond,
};

// One component of the date in the current calendar.
OV_API std::int64_t getCalendarComponent(Date date, CalendarComponent component);

// 4001-01-01 00:00:00 UTC, a fixed far-future date.
OV_API Date getConstantDistantFutureDate();

OV_API double getUnixTimestampInSeconds(Date date);
OV_API double getUnixTimestampInMilliSeconds(Date date);
OV_API Date fromUnixTimestampInSecs(double seconds);
OV_API Date fromUnixTimestampInMilliSecs(double milliseconds);

// The date in a Unicode date pattern, in the given time zone id (nullopt:
// the current one) and the current locale. Formatters are cached by pattern
// and zone (up to 64), not made per call.
OV_API std::string toString(Date date, std::string_view format,
                            std::optional<std::string_view> timeZone = std::nullopt);

// "2021-03-04T05:06:07Z": UTC, en_US_POSIX.
OV_API std::string iso8601DateTimeString(Date date);
// "2021-03-04T06:06:07+01:00": current time zone with its offset, en_US_POSIX.
OV_API std::string iso8601SiriDateTimeString(Date date);

}  // namespace ov::dates
