#include "OVUtility/Platform/DateFormatter.h"

#include <unicode/datefmt.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include "OVLog/OVLog.h"

namespace ov {
namespace {

ovlog::Module& logModule() {
    static ovlog::Module& module = ovlog::Module::named("OVUtility");
    return module;
}

icu::DateFormat::EStyle icuStyle(DateFormatter::Style style) {
    switch (style) {
        case DateFormatter::Style::none:
            return icu::DateFormat::kNone;
        case DateFormatter::Style::shortStyle:
            return icu::DateFormat::kShort;
        case DateFormatter::Style::mediumStyle:
            return icu::DateFormat::kMedium;
        case DateFormatter::Style::longStyle:
            return icu::DateFormat::kLong;
        case DateFormatter::Style::fullStyle:
            return icu::DateFormat::kFull;
    }
    return icu::DateFormat::kNone;
}

std::string utf8(const icu::UnicodeString& text) {
    std::string out;
    text.toUTF8String(out);
    return out;
}

}  // namespace

struct DateFormatter::State {
    std::string localeName;  // of the locale the format was made for
    std::string zoneId;      // of the zone the format is set to
    std::unique_ptr<icu::DateFormat> format;
};

DateFormatter::DateFormatter(std::string pattern, Style date, Style time,
                             std::optional<std::string> timeZone, std::optional<std::string> locale)
    : pattern_(std::move(pattern)),
      dateStyle_(date),
      timeStyle_(time),
      timeZone_(std::move(timeZone)),
      locale_(std::move(locale)) {}

DateFormatter::~DateFormatter() = default;

std::shared_ptr<DateFormatter> DateFormatter::make(std::string pattern,
                                                   std::optional<std::string> timeZone,
                                                   std::optional<std::string> locale) {
    return std::shared_ptr<DateFormatter>(new DateFormatter(
        std::move(pattern), Style::none, Style::none, std::move(timeZone), std::move(locale)));
}

std::shared_ptr<DateFormatter> DateFormatter::withStyles(Style date, Style time,
                                                         std::optional<std::string> timeZone,
                                                         std::optional<std::string> locale) {
    return std::shared_ptr<DateFormatter>(
        new DateFormatter({}, date, time, std::move(timeZone), std::move(locale)));
}

// Makes the ICU format on first use and again when a "current" locale or time
// zone has changed since; otherwise the one format is reused.
DateFormatter::State& DateFormatter::refreshedLocked() const {
    const icu::Locale locale =
        locale_ ? icu::Locale::createCanonical(locale_->c_str()) : icu::Locale::getDefault();
    std::unique_ptr<icu::TimeZone> zone(
        timeZone_ ? icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(*timeZone_))
                  : icu::TimeZone::createDefault());
    icu::UnicodeString zoneIdText;
    const std::string zoneId = utf8(zone->getID(zoneIdText));

    if (!state_) state_ = std::make_unique<State>();
    State& state = *state_;
    if (!state.format || state.localeName != locale.getName()) {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::DateFormat> format;
        if (dateStyle_ == Style::none && timeStyle_ == Style::none) {
            format = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString::fromUTF8(pattern_),
                                                             locale, status);
        } else {
            format.reset(icu::DateFormat::createDateTimeInstance(icuStyle(dateStyle_),
                                                                 icuStyle(timeStyle_), locale));
        }
        if (U_FAILURE(status) || !format) {
            OVLOG_WARNING(logModule(), "date format \"{}\" could not be made: {}", pattern_,
                          u_errorName(status));
            format.reset();
        } else {
            format->setLenient(false);
        }
        state.format = std::move(format);
        state.localeName = locale.getName();
        state.zoneId.clear();
    }
    if (state.format && state.zoneId != zoneId) {
        state.format->adoptTimeZone(zone.release());
        state.zoneId = zoneId;
    }
    return state;
}

std::string DateFormatter::string(Date date) const {
    std::lock_guard lock(mutex_);
    State& state = refreshedLocked();
    if (!state.format) return "";
    if (!date.isWithinCalendarRange()) {
        OVLOG_WARNING(logModule(), "date {} s since 1970 is outside the calendar; no text",
                      date.timeIntervalSince1970());
        return "";
    }
    icu::UnicodeString text;
    state.format->format(date.timeIntervalSince1970() * 1000.0, text);
    return utf8(text);
}

std::optional<Date> DateFormatter::date(std::string_view text) const {
    std::lock_guard lock(mutex_);
    State& state = refreshedLocked();
    if (!state.format) return std::nullopt;
    const icu::UnicodeString input = icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
    icu::ParsePosition position(0);
    const UDate parsed = state.format->parse(input, position);
    if (position.getErrorIndex() >= 0 || position.getIndex() == 0 ||
        position.getIndex() != input.length()) {
        return std::nullopt;
    }
    return Date(parsed / 1000.0);
}

std::string DateFormatter::pattern() const {
    std::lock_guard lock(mutex_);
    State& state = refreshedLocked();
    if (auto* simple = dynamic_cast<icu::SimpleDateFormat*>(state.format.get())) {
        icu::UnicodeString text;
        return utf8(simple->toPattern(text));
    }
    return pattern_;
}

}  // namespace ov
