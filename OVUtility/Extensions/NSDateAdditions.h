// ov::nsdate: the `OrvantaAddOns` additions to the bridged platform date
// class, as free functions over ov::Date. The native date type's additions
// are in DateAdditions.h (namespace ov::dates); `afterDate`, `beforeDate` and
// `addDays` exist on both and behave the same, so they are shared.
//
//   ov::nsdate::relativeDateStringUsingFullUnitLabel(threeYearsAgo, true);  // "3 years"
//   ov::nsdate::lastListenedRelativeDateString(yesterday);                   // "1 day ago"
//   ov::nsdate::timeStampFromDate(ov::Date(0));          // "1970-01-01 00:00:00" (GMT)
//   ov::nsdate::isBetweenMinutesFrom(date, 22 * 60, 120);  // false: ranges never wrap
//
// "The current calendar" is the ICU calendar of the process's default locale
// in ICU's default time zone; "Gregorian" ones use the default time zone too.
// Functions that depend on the present take `now` (defaulting to the clock)
// so that callers and tests can pin it. Dates off the calendar (NaN,
// infinities, ±1e300 s; see Date::isWithinCalendarRange) log a warning and
// give no text: the relative texts give nullopt, timeStampFromDate "". Shared formatters are made
// once, on first use, and may be used from any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "OVUtility/Extensions/DateAdditions.h"
#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/Date.h"
#include "OVUtility/Platform/DateFormatter.h"

namespace ov::nsdate {

using ov::dates::addDays;
using ov::dates::afterDate;
using ov::dates::beforeDate;

// Year of `now` in the current calendar.
OV_API std::int32_t currentYear(Date now = Date::now());

// Seconds since 1970 of the most recent 4:00:00 local time: today's when the
// hour of `now` is 4 or later, else today's minus 86400 seconds (one day of
// seconds, not one calendar day).
OV_API double timeIntervalOfLast4AM(Date now = Date::now());

// The date plus whole seconds. Seconds are elapsed time in every calendar,
// so this is exact arithmetic on the date.
OV_API Date addSeconds(Date date, std::int64_t seconds);

// Midnight at the start of the date's day in the current calendar (on a day
// whose midnight is skipped by a clock change, the first moment of the day).
OV_API Date dateOnly(Date date);

// 0 for Sunday to 6 for Saturday (Gregorian, current time zone).
OV_API int dayOfWeek(Date date);

// Minute of day (hour × 60 + minute, Gregorian) within [from, to]. Ranges do
// not wrap past midnight: from > to is always false, on purpose.
OV_API bool isBetweenMinutesFrom(Date date, std::int64_t from, std::int64_t to);

// "Sun" … "Sat" for 0 … 6; any other index gives nullopt.
OV_API std::optional<std::string> dayStringFrom(std::int64_t index);

// Seconds since 1970 × 1000, truncated towards zero. Values beyond 64 bits
// saturate and NaN gives 0 (as the platform's conversion does on its
// processors).
OV_API std::int64_t milliseconds(Date date);
OV_API std::int64_t millisecondsSince1970(Date now = Date::now());

// True when the current locale's best pattern for the skeleton "j" has no
// "a" (no AM/PM marker). Answered once per locale.
OV_API bool shouldDisplay24HourFormat();

// The date plus one month in the Gregorian calendar (Jan 31 gives the last
// day of February).
OV_API Date oneMonthLater(Date date);

// "%ld%@%@" of the first non-zero unit of the calendar difference from the
// date to now (years, months, weeks, days, hours, minutes, seconds in one
// decomposition). Labels " year"/"y", " month"/"mo", " week"/"w", " day"/"d",
// " hour"/"h", " minute"/"m", " second"/"s" (full/short); "s" is appended
// only to full labels of values above 1. A future date, or one less than a
// second ago, gives nullopt.
OV_API std::optional<std::string> relativeDateStringUsingFullUnitLabel(Date date, bool full,
                                                                       Date now = Date::now());

// "in March 2021" from 2 whole months on, else "%ld weeks ago" from 2 whole
// weeks on, else "today" on the same calendar day, else "%ld day(s) ago"
// with at least 1 day. Each unit counts the whole elapsed time on its own.
// A future date gives nullopt.
OV_API std::optional<std::string> lastListenedRelativeDateString(Date date, Date now = Date::now());

// "in March 2021" from 2 months, "%ld weeks ago" from 2 weeks, "%ld days ago"
// above 1 day, else "%ld hour(s) ago" from 1 hour (so a day and some hours
// reads in hours, on purpose), else "%ld minute(s) ago" with at least 1
// minute. A future date gives nullopt.
OV_API std::optional<std::string> dateCreatedRelativeDateString(Date date, Date now = Date::now());

// Same year, month and day as now in the current calendar.
OV_API bool isToday(Date date, Date now = Date::now());

// isToday and the date's hour is 4 or later.
OV_API bool isTodayAfter4AM(Date date, Date now = Date::now());

// The shared "MMMM yyyy" formatter (current locale and time zone).
OV_API const DateFormatter& monthYearDateFormatter();

// The shared "yyyy-MM-dd HH:mm:ss" formatter in GMT. Its locale is
// en_US_POSIX, so that digits and calendar stay fixed whatever the device's
// region.
OV_API const DateFormatter& timeStampFormatter();

// The timestamp formatter's text; an absent date gives "".
OV_API std::string timeStampFromDate(std::optional<Date> date);

// Seconds since 1970 × 1000 written with "%.0f".
OV_API std::string stringInMilliseconds(Date date);

}  // namespace ov::nsdate
