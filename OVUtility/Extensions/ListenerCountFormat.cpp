#include "OVUtility/Extensions/ListenerCountFormat.h"

#include <memory>
#include <mutex>

#include <fmt/format.h>

#include <unicode/locid.h>
#include <unicode/numberformatter.h>

#include "OVLog/OVLog.h"
#include "OVUtility/Extensions/UnicodeSupport.h"

namespace ov {
namespace {

namespace number = icu::number;

// The two formatters of one locale. LocalizedNumberFormatter is immutable and
// documented thread-safe, so one pair is shared by every thread.
struct CountFormatters {
    std::string localeName;
    number::LocalizedNumberFormatter whole;
    number::LocalizedNumberFormatter oneDigit;
};

std::shared_ptr<const CountFormatters> makeFormatters(const icu::Locale& locale) {
    auto base = number::NumberFormatter::withLocale(locale)
                    .roundingMode(UNUM_ROUND_FLOOR)
                    .grouping(UNUM_GROUPING_ON_ALIGNED);
    return std::make_shared<const CountFormatters>(
        CountFormatters{locale.getName(), base.precision(number::Precision::integer()),
                        base.precision(number::Precision::fixedFraction(1))});
}

// Built once per current locale, not per call: rebuilt only when the
// process's default locale has changed since the last call.
std::shared_ptr<const CountFormatters> formattersForCurrentLocale() {
    static std::mutex mutex;
    static std::shared_ptr<const CountFormatters> cached;
    const icu::Locale& locale = icu::Locale::getDefault();
    std::lock_guard lock(mutex);
    if (!cached || cached->localeName != locale.getName()) cached = makeFormatters(locale);
    return cached;
}

std::string format(const number::LocalizedNumberFormatter& formatter, float value) {
    UErrorCode status = U_ZERO_ERROR;
    // The float is widened exactly; ICU then rounds its shortest decimal form.
    icu::UnicodeString text =
        formatter.formatDouble(static_cast<double>(value), status).toString(status);
    if (U_FAILURE(status)) {
        static ovlog::Module& kModule = ovlog::Module::named("OVUtility");
        OVLOG_WARNING(kModule, "number formatting failed: {}", u_errorName(status));
        return fmt::format("{}", value);
    }
    return detail::toUtf8(text);
}

}  // namespace

ListenerCountAbbreviation abbreviateCount(std::int64_t n) {
    auto formatters = formattersForCurrentLocale();
    const auto value = static_cast<float>(n);
    if (n < 1000) return {format(formatters->whole, value), ""};
    if (n < 10000) return {format(formatters->oneDigit, value / 1000.0f), "K"};
    if (n < 1000000) return {format(formatters->whole, value / 1000.0f), "K"};
    if (n < 10000000) return {format(formatters->oneDigit, value / 1000000.0f), "M"};
    return {format(formatters->whole, value / 1000000.0f), "M"};
}

}  // namespace ov
