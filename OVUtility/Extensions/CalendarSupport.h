// Internal calendar helpers shared by the date additions: ICU calendars in the
// process's current time zone, made by cloning a per-thread prototype (making
// a calendar from scratch loads locale data each time), and whole-unit
// differences between two dates. Not part of the public interface; include
// only from .cpp files of OVUtility/Extensions.
//
//   auto calendar = ov::detail::currentCalendar(date);
//   int32_t year = calendar->get(UCAL_YEAR, status);
#pragma once

#include <cstdint>
#include <memory>

#include <unicode/calendar.h>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/Date.h"

namespace ov::detail {

// The current locale's calendar in the current ICU default time zone, set to
// `date`.
OV_API std::unique_ptr<icu::Calendar> currentCalendar(Date date);

// The Gregorian calendar (current locale's week rules) in the current time
// zone, set to `date`.
OV_API std::unique_ptr<icu::Calendar> gregorianCalendar(Date date);

// ICU milliseconds of a date and back.
inline UDate toUDate(Date date) {
    return date.timeIntervalSince1970() * 1000.0;
}
inline Date fromUDate(UDate millis) {
    return Date(millis / 1000.0);
}

// Whole `field` units from `from` to `to` in `calendar` (the calendar is moved
// to `from` first and left advanced by the result).
OV_API std::int64_t fieldDifference(icu::Calendar& calendar, Date from, Date to,
                                    UCalendarDateFields field);

// A calendar field read without error reporting (0 on failure).
OV_API std::int32_t field(const icu::Calendar& calendar, UCalendarDateFields field);

}  // namespace ov::detail
