#include "OVUtility/Extensions/DateAdditions.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <mutex>

#include <fmt/format.h>

#include "OVLog/OVLog.h"
#include "OVUtility/Extensions/CalendarSupport.h"
#include "OVUtility/Extensions/NSDateAdditions.h"
#include "OVUtility/Platform/DateFormatter.h"

namespace ov::dates {
namespace {

ovlog::Module& logModule() {
    static ovlog::Module& module = ovlog::Module::named("OVUtility");
    return module;
}

// Shared formatters: each made once, on first use (thread-safe static
// initialisation), and locked per call inside DateFormatter.
const DateFormatter& mediumStyleFormatter() {
    static const auto formatter =
        DateFormatter::withStyles(DateFormatter::Style::mediumStyle, DateFormatter::Style::none);
    return *formatter;
}

const DateFormatter& iso8601Formatter() {
    static const auto formatter =
        DateFormatter::make("yyyy-MM-dd'T'HH:mm:ss'Z'", "UTC", "en_US_POSIX");
    return *formatter;
}

const DateFormatter& iso8601SiriFormatter() {
    static const auto formatter =
        DateFormatter::make("yyyy-MM-dd'T'HH:mm:ssXXX", std::nullopt, "en_US_POSIX");
    return *formatter;
}

// Formatters for arbitrary patterns, kept by pattern and zone so that a
// caller formatting many dates with one pattern makes one formatter. The
// cache is bounded; when full it starts again (patterns in use come back
// at once, and a caller with unbounded patterns cannot grow memory).
std::shared_ptr<DateFormatter> patternFormatter(std::string_view pattern,
                                                std::optional<std::string_view> zone) {
    constexpr std::size_t kCapacity = 64;
    static std::mutex mutex;
    static std::map<std::pair<std::string, std::string>, std::shared_ptr<DateFormatter>> cache;
    // "\x01" cannot be a zone id, so it marks "current zone".
    std::pair<std::string, std::string> key(pattern, zone ? std::string(*zone) : "\x01");
    std::lock_guard lock(mutex);
    if (auto it = cache.find(key); it != cache.end()) return it->second;
    if (cache.size() >= kCapacity) cache.clear();
    auto formatter = DateFormatter::make(std::string(pattern),
                                         zone ? std::optional<std::string>(*zone) : std::nullopt);
    cache.emplace(std::move(key), formatter);
    return formatter;
}

}  // namespace

bool afterDate(Date date, Date other) {
    return date > other;
}
bool beforeDate(Date date, Date other) {
    return date < other;
}
bool equalToDate(Date date, Date other) {
    return date == other;
}

bool isLaterThan(Date date, Date other, double interval) {
    return date >= other.addingTimeInterval(interval);
}

bool isEarlierThan(Date date, Date other, double interval) {
    return date <= other.addingTimeInterval(-interval);
}

Date addDays(Date date, std::int64_t days) {
    // Beyond 32 bits of days (about 5.9 million years) no calendar date can
    // result; ICU adds 32-bit amounts only, so such counts are elapsed days.
    const auto step = static_cast<int32_t>(days);
    const Date elapsedDays = date.addingTimeInterval(static_cast<double>(days) * 86400.0);
    if (step != days || !date.isWithinCalendarRange() || !elapsedDays.isWithinCalendarRange()) {
        OVLOG_WARNING(logModule(), "addDays: {} days from {} is outside the calendar; adding {} s",
                      days, date.timeIntervalSince1970(), static_cast<double>(days) * 86400.0);
        return elapsedDays;
    }
    auto calendar = detail::currentCalendar(date);
    UErrorCode status = U_ZERO_ERROR;
    calendar->add(UCAL_DATE, step, status);
    const UDate moved = calendar->getTime(status);
    if (U_FAILURE(status)) return elapsedDays;
    // Keep the sub-millisecond part that ICU's millisecond clock drops.
    const double millis = detail::toUDate(date);
    return detail::fromUDate(moved + (millis - std::floor(millis)));
}

Date addHours(Date date, std::int64_t hours) {
    return date.addingTimeInterval(static_cast<double>(hours) * 3600.0);
}

Date subtractMilliseconds(Date date, double milliseconds) {
    return date.addingTimeInterval(-milliseconds / 1000.0);
}

std::optional<std::string> getDisplayableDuration(std::optional<std::int64_t> seconds) {
    if (!seconds) return std::nullopt;
    return fmt::format("{}:{:02}", *seconds / 60, *seconds % 60);
}

std::optional<Date> fromTimestampString(std::optional<std::string_view> text) {
    if (!text) return std::nullopt;
    return nsdate::timeStampFormatter().date(*text);
}

std::string dateStringUsingMediumStyle(Date date) {
    return mediumStyleFormatter().string(date);
}

std::int32_t year(Date date) {
    return detail::field(*detail::currentCalendar(date), UCAL_YEAR);
}

std::int64_t getCalendarComponent(Date date, CalendarComponent component) {
    auto calendar = detail::currentCalendar(date);
    switch (component) {
        case CalendarComponent::era:
            return detail::field(*calendar, UCAL_ERA);
        case CalendarComponent::year:
            return detail::field(*calendar, UCAL_YEAR);
        case CalendarComponent::month:
            return detail::field(*calendar, UCAL_MONTH) + 1;
        case CalendarComponent::day:
            return detail::field(*calendar, UCAL_DATE);
        case CalendarComponent::hour:
            return detail::field(*calendar, UCAL_HOUR_OF_DAY);
        case CalendarComponent::minute:
            return detail::field(*calendar, UCAL_MINUTE);
        case CalendarComponent::second:
            return detail::field(*calendar, UCAL_SECOND);
        case CalendarComponent::weekday:
            return detail::field(*calendar, UCAL_DAY_OF_WEEK);
        case CalendarComponent::weekdayOrdinal:
            return detail::field(*calendar, UCAL_DAY_OF_WEEK_IN_MONTH);
        case CalendarComponent::quarter:
            return detail::field(*calendar, UCAL_MONTH) / 3 + 1;
        case CalendarComponent::weekOfMonth:
            return detail::field(*calendar, UCAL_WEEK_OF_MONTH);
        case CalendarComponent::weekOfYear:
            return detail::field(*calendar, UCAL_WEEK_OF_YEAR);
        case CalendarComponent::yearForWeekOfYear:
            return detail::field(*calendar, UCAL_YEAR_WOY);
        case CalendarComponent::nanosecond: {
            // ICU keeps milliseconds; the rest of the second comes from the date.
            const double seconds = date.timeIntervalSince1970();
            const double fraction = seconds - std::floor(seconds);
            return static_cast<std::int64_t>(fraction * 1e9);
        }
    }
    return 0;
}

Date getConstantDistantFutureDate() {
    return Date(64092211200.0);
}

double getUnixTimestampInSeconds(Date date) {
    return date.timeIntervalSince1970();
}
double getUnixTimestampInMilliSeconds(Date date) {
    return date.timeIntervalSince1970() * 1000.0;
}
Date fromUnixTimestampInSecs(double seconds) {
    return Date(seconds);
}
Date fromUnixTimestampInMilliSecs(double milliseconds) {
    return Date(milliseconds / 1000.0);
}

std::string toString(Date date, std::string_view format, std::optional<std::string_view> timeZone) {
    return patternFormatter(format, timeZone)->string(date);
}

std::string iso8601DateTimeString(Date date) {
    return iso8601Formatter().string(date);
}

std::string iso8601SiriDateTimeString(Date date) {
    return iso8601SiriFormatter().string(date);
}

}  // namespace ov::dates
