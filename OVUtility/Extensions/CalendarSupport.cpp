#include "OVUtility/Extensions/CalendarSupport.h"

#include <string>

#include <unicode/gregocal.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>

namespace ov::detail {
namespace {

struct Prototype {
    std::string localeName;
    std::unique_ptr<icu::Calendar> calendar;
};

// One prototype per kind per thread; rebuilt when the default locale changes.
std::unique_ptr<icu::Calendar> fromPrototype(Prototype& prototype, bool gregorian, Date date) {
    const icu::Locale& locale = icu::Locale::getDefault();
    if (!prototype.calendar || prototype.localeName != locale.getName()) {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::Calendar> made(gregorian
                                                ? new icu::GregorianCalendar(locale, status)
                                                : icu::Calendar::createInstance(locale, status));
        if (U_FAILURE(status) || !made) {
            status = U_ZERO_ERROR;
            made = std::make_unique<icu::GregorianCalendar>(icu::Locale::getRoot(), status);
        }
        prototype.calendar = std::move(made);
        prototype.localeName = locale.getName();
    }
    std::unique_ptr<icu::Calendar> calendar(prototype.calendar->clone());
    calendar->adoptTimeZone(icu::TimeZone::createDefault());
    UErrorCode status = U_ZERO_ERROR;
    calendar->setTime(toUDate(date), status);
    return calendar;
}

}  // namespace

std::unique_ptr<icu::Calendar> currentCalendar(Date date) {
    thread_local Prototype prototype;
    return fromPrototype(prototype, false, date);
}

std::unique_ptr<icu::Calendar> gregorianCalendar(Date date) {
    thread_local Prototype prototype;
    return fromPrototype(prototype, true, date);
}

std::int64_t fieldDifference(icu::Calendar& calendar, Date from, Date to,
                             UCalendarDateFields field) {
    UErrorCode status = U_ZERO_ERROR;
    calendar.setTime(toUDate(from), status);
    const int32_t difference = calendar.fieldDifference(toUDate(to), field, status);
    return U_FAILURE(status) ? 0 : difference;
}

std::int32_t field(const icu::Calendar& calendar, UCalendarDateFields field) {
    UErrorCode status = U_ZERO_ERROR;
    const int32_t value = calendar.get(field, status);
    return U_FAILURE(status) ? 0 : value;
}

}  // namespace ov::detail
