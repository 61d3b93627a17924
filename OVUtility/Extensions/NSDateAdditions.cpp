#include "OVUtility/Extensions/NSDateAdditions.h"

#include <cmath>
#include <limits>
#include <map>
#include <mutex>

#include <fmt/format.h>
#include <unicode/dtptngen.h>
#include <unicode/locid.h>

#include "OVLog/OVLog.h"
#include "OVUtility/Extensions/CalendarSupport.h"

namespace ov::nsdate {
namespace {

struct YearMonthDay {
    int32_t era, year, month, day;
    friend bool operator==(const YearMonthDay&, const YearMonthDay&) = default;
};

YearMonthDay yearMonthDay(const icu::Calendar& calendar) {
    return {detail::field(calendar, UCAL_ERA), detail::field(calendar, UCAL_YEAR),
            detail::field(calendar, UCAL_MONTH), detail::field(calendar, UCAL_DATE)};
}

// Whole `field` units elapsed from `from` to `to`, counted on their own.
std::int64_t elapsed(Date from, Date to, UCalendarDateFields field) {
    auto calendar = detail::currentCalendar(from);
    return detail::fieldDifference(*calendar, from, to, field);
}

ovlog::Module& logModule() {
    static ovlog::Module& module = ovlog::Module::named("OVUtility");
    return module;
}

// Relative texts need both dates on the calendar; NaN, infinities and dates
// millions of years away get no text (and a warning) instead of a wrong one.
bool onCalendar(Date date, Date now, const char* function) {
    if (date.isWithinCalendarRange() && now.isWithinCalendarRange()) return true;
    OVLOG_WARNING(logModule(), "{}: date {} or now {} is outside the calendar; no text", function,
                  date.timeIntervalSince1970(), now.timeIntervalSince1970());
    return false;
}

std::string plural(std::int64_t value) {
    return value > 1 ? "s" : "";
}

}  // namespace

std::int32_t currentYear(Date now) {
    return detail::field(*detail::currentCalendar(now), UCAL_YEAR);
}

double timeIntervalOfLast4AM(Date now) {
    auto calendar = detail::currentCalendar(now);
    const int32_t hour = detail::field(*calendar, UCAL_HOUR_OF_DAY);
    calendar->set(UCAL_HOUR_OF_DAY, 4);
    calendar->set(UCAL_MINUTE, 0);
    calendar->set(UCAL_SECOND, 0);
    calendar->set(UCAL_MILLISECOND, 0);
    UErrorCode status = U_ZERO_ERROR;
    const double today4AM = calendar->getTime(status) / 1000.0;
    return hour >= 4 ? today4AM : today4AM - 86400.0;
}

Date addSeconds(Date date, std::int64_t seconds) {
    return date.addingTimeInterval(static_cast<double>(seconds));
}

Date dateOnly(Date date) {
    auto calendar = detail::currentCalendar(date);
    const YearMonthDay day = yearMonthDay(*calendar);
    calendar->clear();
    calendar->set(UCAL_ERA, day.era);
    calendar->set(day.year, day.month, day.day);  // midnight; lenient for a skipped midnight
    UErrorCode status = U_ZERO_ERROR;
    const UDate midnight = calendar->getTime(status);
    return U_FAILURE(status) ? date : detail::fromUDate(midnight);
}

int dayOfWeek(Date date) {
    return detail::field(*detail::gregorianCalendar(date), UCAL_DAY_OF_WEEK) - 1;
}

bool isBetweenMinutesFrom(Date date, std::int64_t from, std::int64_t to) {
    if (from > to) return false;  // no wrapping past midnight, on purpose
    auto calendar = detail::gregorianCalendar(date);
    const std::int64_t minute =
        detail::field(*calendar, UCAL_HOUR_OF_DAY) * 60 + detail::field(*calendar, UCAL_MINUTE);
    return from <= minute && minute <= to;
}

std::optional<std::string> dayStringFrom(std::int64_t index) {
    static constexpr const char* kNames[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    if (index < 0 || index > 6) return std::nullopt;
    return kNames[index];
}

std::int64_t milliseconds(Date date) {
    const double value = std::trunc(date.timeIntervalSince1970() * 1000.0);
    if (std::isnan(value)) return 0;
    // 2^63 is exact as a double; anything at or beyond it saturates.
    constexpr double kLimit = 9223372036854775808.0;
    if (value >= kLimit) return std::numeric_limits<std::int64_t>::max();
    if (value < -kLimit) return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(value);
}

std::int64_t millisecondsSince1970(Date now) {
    return milliseconds(now);
}

bool shouldDisplay24HourFormat() {
    // Made once per locale: a pattern generator loads a great deal of locale
    // data, so answers are remembered by locale name.
    static std::mutex mutex;
    static std::map<std::string, bool> answers;
    const icu::Locale& locale = icu::Locale::getDefault();
    std::lock_guard lock(mutex);
    if (auto it = answers.find(locale.getName()); it != answers.end()) return it->second;
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::DateTimePatternGenerator> generator(
        icu::DateTimePatternGenerator::createInstance(locale, status));
    bool answer = false;
    if (U_SUCCESS(status) && generator) {
        icu::UnicodeString pattern = generator->getBestPattern(u"j", status);
        answer = U_SUCCESS(status) && pattern.indexOf(u'a') < 0;
    }
    answers.emplace(locale.getName(), answer);
    return answer;
}

Date oneMonthLater(Date date) {
    auto calendar = detail::gregorianCalendar(date);
    UErrorCode status = U_ZERO_ERROR;
    calendar->add(UCAL_MONTH, 1, status);
    if (U_FAILURE(status)) return date;
    const double millis = detail::toUDate(date);
    return detail::fromUDate(calendar->getTime(status) + (millis - std::floor(millis)));
}

std::optional<std::string> relativeDateStringUsingFullUnitLabel(Date date, bool full, Date now) {
    if (!onCalendar(date, now, "relativeDateStringUsingFullUnitLabel")) return std::nullopt;
    if (date > now) return std::nullopt;
    struct Unit {
        UCalendarDateFields field;
        const char* fullLabel;
        const char* shortLabel;
    };
    static constexpr Unit kUnits[] = {
        {UCAL_YEAR, " year", "y"},         {UCAL_MONTH, " month", "mo"},
        {UCAL_WEEK_OF_YEAR, " week", "w"}, {UCAL_DATE, " day", "d"},
        {UCAL_HOUR_OF_DAY, " hour", "h"},  {UCAL_MINUTE, " minute", "m"},
        {UCAL_SECOND, " second", "s"},
    };
    // One decomposition: each fieldDifference leaves the calendar advanced by
    // the units it counted, so the next unit counts only the remainder.
    auto calendar = detail::currentCalendar(date);
    const UDate target = detail::toUDate(now);
    for (const Unit& unit : kUnits) {
        UErrorCode status = U_ZERO_ERROR;
        const std::int64_t value = calendar->fieldDifference(target, unit.field, status);
        if (U_FAILURE(status)) return std::nullopt;
        if (value != 0) {
            return fmt::format("{}{}{}", value, full ? unit.fullLabel : unit.shortLabel,
                               full ? plural(value) : "");
        }
    }
    return std::nullopt;
}

std::optional<std::string> lastListenedRelativeDateString(Date date, Date now) {
    if (!onCalendar(date, now, "lastListenedRelativeDateString")) return std::nullopt;
    if (date > now) return std::nullopt;
    if (elapsed(date, now, UCAL_MONTH) >= 2) {
        return "in " + monthYearDateFormatter().string(date);
    }
    if (const auto weeks = elapsed(date, now, UCAL_WEEK_OF_YEAR); weeks >= 2) {
        return fmt::format("{} weeks ago", weeks);
    }
    if (isToday(date, now)) return "today";
    const std::int64_t days = std::max<std::int64_t>(elapsed(date, now, UCAL_DATE), 1);
    return fmt::format("{} day{} ago", days, plural(days));
}

std::optional<std::string> dateCreatedRelativeDateString(Date date, Date now) {
    if (!onCalendar(date, now, "dateCreatedRelativeDateString")) return std::nullopt;
    if (date > now) return std::nullopt;
    if (elapsed(date, now, UCAL_MONTH) >= 2) {
        return "in " + monthYearDateFormatter().string(date);
    }
    if (const auto weeks = elapsed(date, now, UCAL_WEEK_OF_YEAR); weeks >= 2) {
        return fmt::format("{} weeks ago", weeks);
    }
    if (const auto days = elapsed(date, now, UCAL_DATE); days > 1) {
        return fmt::format("{} days ago", days);
    }
    // A single day falls through to hours on purpose ("30 hours ago").
    if (const auto hours = elapsed(date, now, UCAL_HOUR_OF_DAY); hours >= 1) {
        return fmt::format("{} hour{} ago", hours, plural(hours));
    }
    const std::int64_t minutes = std::max<std::int64_t>(elapsed(date, now, UCAL_MINUTE), 1);
    return fmt::format("{} minute{} ago", minutes, plural(minutes));
}

bool isToday(Date date, Date now) {
    return yearMonthDay(*detail::currentCalendar(date)) ==
           yearMonthDay(*detail::currentCalendar(now));
}

bool isTodayAfter4AM(Date date, Date now) {
    return isToday(date, now) &&
           detail::field(*detail::currentCalendar(date), UCAL_HOUR_OF_DAY) >= 4;
}

const DateFormatter& monthYearDateFormatter() {
    // Made once, on first use (thread-safe static initialisation); follows
    // the current locale and time zone.
    static const auto formatter = DateFormatter::make("MMMM yyyy");
    return *formatter;
}

const DateFormatter& timeStampFormatter() {
    static const auto formatter = DateFormatter::make("yyyy-MM-dd HH:mm:ss", "GMT", "en_US_POSIX");
    return *formatter;
}

std::string timeStampFromDate(std::optional<Date> date) {
    if (!date) return "";
    return timeStampFormatter().string(*date);
}

std::string stringInMilliseconds(Date date) {
    return fmt::format("{:.0f}", date.timeIntervalSince1970() * 1000.0);
}

}  // namespace ov::nsdate
