// ov::DateFormatter: the platform's date formatter on ICU. A formatter has a
// fixed pattern (or a date style), a locale and a time zone, turns dates into
// text and parses text back into dates. It is safe to share between threads:
// each call takes the formatter's own lock, because ICU's date formats keep a
// working calendar and may not be used by two threads at once.
//
//   auto stamp = ov::DateFormatter::make("yyyy-MM-dd HH:mm:ss", "GMT", "en_US_POSIX");
//   stamp->string(ov::Date(0));                 // "1970-01-01 00:00:00"
//   stamp->date("1970-01-01 00:00:10");         // ov::Date(10)
//
// A formatter made without a time zone (or locale) follows the process's
// current ICU default time zone (or locale), checked on every call, as the
// platform's formatters follow the device settings. Make formatters once and
// keep them: creating one loads locale data and costs far more than using it.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/Date.h"

namespace ov {

class OV_API DateFormatter {
  public:
    enum class Style { none, shortStyle, mediumStyle, longStyle, fullStyle };

    // A formatter with a fixed pattern (ICU/Unicode date pattern syntax). An
    // empty `timeZone` or `locale` means "current". An unknown time zone id
    // reads as GMT (ICU's rule).
    static std::shared_ptr<DateFormatter> make(std::string pattern,
                                               std::optional<std::string> timeZone = std::nullopt,
                                               std::optional<std::string> locale = std::nullopt);

    // A formatter with the locale's date and time styles.
    static std::shared_ptr<DateFormatter> withStyles(
        Style date, Style time, std::optional<std::string> timeZone = std::nullopt,
        std::optional<std::string> locale = std::nullopt);

    // The text of `date`; "" if ICU cannot format it, and "" with a warning
    // for a date outside the calendar's range (NaN, infinite, ±1e300 s).
    std::string string(Date date) const;

    // The date written by `text`, which must be consumed completely and be a
    // valid date in the pattern (parsing is not lenient); nullopt otherwise.
    std::optional<Date> date(std::string_view text) const;

    // The pattern in use (for styles: the locale's pattern at the last call).
    std::string pattern() const;

    ~DateFormatter();
    DateFormatter(const DateFormatter&) = delete;
    DateFormatter& operator=(const DateFormatter&) = delete;

  private:
    struct State;
    DateFormatter(std::string pattern, Style date, Style time, std::optional<std::string> timeZone,
                  std::optional<std::string> locale);
    State& refreshedLocked() const;

    const std::string pattern_;
    const Style dateStyle_;
    const Style timeStyle_;
    const std::optional<std::string> timeZone_;
    const std::optional<std::string> locale_;
    mutable std::mutex mutex_;
    mutable std::unique_ptr<State> state_;
};

}  // namespace ov
