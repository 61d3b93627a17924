// Test helper: fixes ICU's default locale and time zone for one test and
// restores the previous ones afterwards.
//
//   ovtest::LocaleGuard guard("en_US", "America/New_York");
#pragma once

#include <iomanip>
#include <memory>
#include <ostream>
#include <string>

#include <unicode/locid.h>
#include <unicode/timezone.h>

#include "OVUtility/Platform/Date.h"

namespace ov {
// Shows dates as seconds since 1970 in test failure messages.
inline void PrintTo(Date date, std::ostream* os) {
    *os << "Date(" << std::setprecision(17) << date.timeIntervalSince1970() << ")";
}
}  // namespace ov

namespace ovtest {

class LocaleGuard {
  public:
    explicit LocaleGuard(const char* locale, const char* timeZone = nullptr)
        : previousLocale_(icu::Locale::getDefault()),
          previousZone_(icu::TimeZone::createDefault()) {
        UErrorCode status = U_ZERO_ERROR;
        icu::Locale::setDefault(icu::Locale(locale), status);
        if (timeZone != nullptr) {
            icu::TimeZone::adoptDefault(
                icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(timeZone)));
        }
    }
    ~LocaleGuard() {
        UErrorCode status = U_ZERO_ERROR;
        icu::Locale::setDefault(previousLocale_, status);
        icu::TimeZone::adoptDefault(previousZone_.release());
    }
    LocaleGuard(const LocaleGuard&) = delete;
    LocaleGuard& operator=(const LocaleGuard&) = delete;

  private:
    icu::Locale previousLocale_;
    std::unique_ptr<icu::TimeZone> previousZone_;
};

}  // namespace ovtest
