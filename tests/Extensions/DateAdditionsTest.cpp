#include "OVUtility/Extensions/DateAdditions.h"

#include <cmath>
#include <ctime>
#include <limits>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "Extensions/LocaleGuard.h"
#include "OVLog/CaptureSink.h"
#include "OVUtility/Extensions/NSDateAdditions.h"
#include "OVUtility/Extensions/TimeFormatHelper.h"

namespace nsd = ov::nsdate;
namespace dates = ov::dates;
using ov::Date;

namespace {

// A UTC wall-clock time as a date, computed without ICU. Local times in the
// tests are written as UTC plus the known offset of the day.
Date utc(int year, int month, int day, int hour = 0, int minute = 0, double second = 0) {
    std::tm tm{};
    tm.tm_year = year - 1900;
    tm.tm_mon = month - 1;
    tm.tm_mday = day;
    tm.tm_hour = hour;
    tm.tm_min = minute;
    return Date(static_cast<double>(timegm(&tm)) + second);
}

// New York wall-clock time on a day with standard (EST, -5) or daylight
// (EDT, -4) time.
Date est(int y, int mo, int d, int h = 0, int mi = 0, double s = 0) {
    return utc(y, mo, d, h, mi, s).addingTimeInterval(5 * 3600);
}
Date edt(int y, int mo, int d, int h = 0, int mi = 0, double s = 0) {
    return utc(y, mo, d, h, mi, s).addingTimeInterval(4 * 3600);
}

class DateAdditions : public testing::Test {
  protected:
    ovtest::LocaleGuard guard_{"en_US", "America/New_York"};
};

}  // namespace

TEST_F(DateAdditions, RelativeTextUsesTheFirstNonZeroUnitOfOneDecomposition) {
    const Date now = edt(2021, 6, 15, 12, 0);
    struct Case {
        Date date;
        const char* full;
        const char* shortText;
    };
    // clang-format off
    const Case cases[] = {
        {edt(2018, 6, 15, 12, 0), "3 years", "3y"}, {edt(2020, 6, 15, 11, 0), "1 year", "1y"},
        {edt(2021, 4, 10, 12, 0), "2 months", "2mo"}, {edt(2021, 5, 15, 12, 0), "1 month", "1mo"},
        {edt(2021, 6, 5, 12, 0), "1 week", "1w"} /* 10 days: weeks before days */,
        {edt(2021, 6, 1, 12, 0), "2 weeks", "2w"}, {edt(2021, 6, 12, 12, 0), "3 days", "3d"},
        {edt(2021, 6, 14, 12, 0), "1 day", "1d"}, {edt(2021, 6, 14, 12, 30), "23 hours", "23h"},
        {edt(2021, 6, 15, 7, 0), "5 hours", "5h"}, {edt(2021, 6, 15, 11, 58, 30), "1 minute", "1m"},
        {edt(2021, 6, 15, 11, 59, 30), "30 seconds", "30s"},
        {edt(2021, 6, 15, 11, 59, 59), "1 second", "1s"},
    };
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(nsd::relativeDateStringUsingFullUnitLabel(c.date, true, now), c.full) << c.full;
        EXPECT_EQ(nsd::relativeDateStringUsingFullUnitLabel(c.date, false, now), c.shortText)
            << c.full;
    }
    for (double offset : {-0.5, 0.0, 1.0}) {
        EXPECT_EQ(
            nsd::relativeDateStringUsingFullUnitLabel(now.addingTimeInterval(offset), true, now),
            std::nullopt);
    }
}

TEST_F(DateAdditions, LastListenedAndCreatedTextsKeepTheirFallThroughs) {
    const Date now = edt(2021, 6, 15, 12, 0);
    struct Case {
        Date date;
        std::optional<std::string> lastListened;
        std::optional<std::string> created;
    };
    // clang-format off
    const Case cases[] = {
        {edt(2021, 4, 15, 12, 0), "in April 2021", "in April 2021"},
        {edt(2021, 4, 15, 12, 1), "8 weeks ago", "8 weeks ago"},  // a minute short of 2 months
        {edt(2021, 6, 1, 12, 0), "2 weeks ago", "2 weeks ago"},
        {edt(2021, 6, 1, 12, 1), "13 days ago", "13 days ago"},
        {edt(2021, 6, 14, 0, 0), "1 day ago", "36 hours ago"},  // 36 hours: day 1 falls through
        {edt(2021, 6, 14, 23, 0), "1 day ago", "13 hours ago"},  // yesterday, 0 whole days
        {edt(2021, 6, 15, 0, 0), "today", "12 hours ago"},
        {edt(2021, 6, 15, 11, 0), "today", "1 hour ago"},
        {edt(2021, 6, 15, 11, 1), "today", "59 minutes ago"},
        {edt(2021, 6, 15, 11, 59, 30), "today", "1 minute ago"} /* under a minute */,
        {now, "today", "1 minute ago"}, {now.addingTimeInterval(1), std::nullopt, std::nullopt},
    };
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(nsd::lastListenedRelativeDateString(c.date, now), c.lastListened)
            << nsd::timeStampFromDate(c.date);
        EXPECT_EQ(nsd::dateCreatedRelativeDateString(c.date, now), c.created)
            << nsd::timeStampFromDate(c.date);
    }
}

TEST_F(DateAdditions, RelativeTextsAcrossMonthAndYearEndsAndClockChanges) {
    struct Case {
        Date date, now;
        const char* full;  // nullptr: not checked
        const char* lastListened;
        const char* created;
    };
    const Date march1 = est(2021, 3, 1, 9, 0), newYear = est(2021, 1, 1, 1, 0);
    // clang-format off
    const Case cases[] = {
        // Jan 31 plus one month is Feb 28, so one whole month has passed by Mar 1.
        {est(2021, 1, 31, 10, 0), march1, "1 month", "4 weeks ago", nullptr},
        {est(2020, 12, 31, 10, 0), march1, nullptr, "in December 2020", nullptr},
        // Across the year end: two hours, yesterday.
        {est(2020, 12, 31, 23, 0), newYear, "2 hours", "1 day ago", "2 hours ago"},
        {est(2019, 12, 31, 23, 0), newYear, "1 year", nullptr, nullptr},
        {est(2020, 11, 1, 1, 0), newYear, nullptr, nullptr, "in November 2020"},
        // Autumn: 24.5 elapsed hours are less than one calendar day (11:30 to 11:00).
        {edt(2021, 11, 6, 11, 30), est(2021, 11, 7, 11, 0), "24 hours", "1 day ago", "24 hours ago"},
        // Spring: 23 elapsed hours are a whole calendar day (noon to noon).
        {est(2021, 3, 13, 12, 0), edt(2021, 3, 14, 12, 0), "1 day", nullptr, "23 hours ago"},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(nsd::timeStampFromDate(c.date) + " to " + nsd::timeStampFromDate(c.now));
        if (c.full)
            EXPECT_EQ(nsd::relativeDateStringUsingFullUnitLabel(c.date, true, c.now), c.full);
        if (c.lastListened)
            EXPECT_EQ(nsd::lastListenedRelativeDateString(c.date, c.now), c.lastListened);
        if (c.created) EXPECT_EQ(nsd::dateCreatedRelativeDateString(c.date, c.now), c.created);
    }
    EXPECT_EQ(nsd::relativeDateStringUsingFullUnitLabel(cases[5].date, false, cases[5].now), "24h");
}

TEST_F(DateAdditions, DayArithmeticAndDateOnlyKeepTheWallClock) {
    const Date springDate = est(2021, 3, 13, 12, 0), springNow = edt(2021, 3, 14, 12, 0);
    // Adding a day keeps the wall-clock time; adding hours does not.
    EXPECT_EQ(dates::addDays(springDate, 1), springNow);
    EXPECT_EQ(nsd::addDays(edt(2021, 11, 6, 12, 0), 1), est(2021, 11, 7, 12, 0));
    EXPECT_EQ(dates::addHours(springDate, 24), springNow.addingTimeInterval(3600));
    EXPECT_EQ(dates::addDays(springDate, -365), edt(2020, 3, 13, 12, 0));  // DST began Mar 8

    EXPECT_EQ(nsd::dateOnly(edt(2021, 3, 14, 15, 0)), est(2021, 3, 14, 0, 0));
    EXPECT_EQ(nsd::dateOnly(est(2021, 11, 7, 23, 59)), edt(2021, 11, 7, 0, 0));
}

TEST(DateAdditionsZones, DateOnlyOnADayWithoutMidnight) {
    // Sao Paulo skipped from 00:00 to 01:00 on 2018-11-04.
    ovtest::LocaleGuard guard("pt_BR", "America/Sao_Paulo");
    EXPECT_EQ(nsd::dateOnly(utc(2018, 11, 4, 15, 0)), utc(2018, 11, 4, 3, 0));  // 01:00 -02
    EXPECT_EQ(nsd::dateOnly(utc(2018, 11, 5, 15, 0)), utc(2018, 11, 5, 2, 0));  // 00:00 -02
}

TEST_F(DateAdditions, FourAmBoundaryIsOneDayOfSecondsNotOneCalendarDay) {
    EXPECT_EQ(nsd::timeIntervalOfLast4AM(edt(2021, 6, 15, 3, 59, 59)),
              edt(2021, 6, 14, 4, 0).timeIntervalSince1970());
    EXPECT_EQ(nsd::timeIntervalOfLast4AM(edt(2021, 6, 15, 4, 0)),
              edt(2021, 6, 15, 4, 0).timeIntervalSince1970());
    EXPECT_EQ(nsd::timeIntervalOfLast4AM(edt(2021, 6, 15, 23, 59)),
              edt(2021, 6, 15, 4, 0).timeIntervalSince1970());
    // The morning after clocks spring forward: today's 4:00 EDT minus 86400
    // seconds is 3:00 EST the day before.
    EXPECT_EQ(nsd::timeIntervalOfLast4AM(edt(2021, 3, 14, 3, 30)),
              est(2021, 3, 13, 3, 0).timeIntervalSince1970());

    const Date now = edt(2021, 6, 15, 12, 0);
    EXPECT_TRUE(nsd::isToday(edt(2021, 6, 15, 0, 0), now));
    EXPECT_TRUE(nsd::isToday(edt(2021, 6, 15, 23, 59, 59), now));
    EXPECT_FALSE(nsd::isToday(edt(2021, 6, 14, 23, 59, 59), now));
    EXPECT_FALSE(nsd::isToday(edt(2020, 6, 15, 12, 0), now));
    EXPECT_FALSE(nsd::isTodayAfter4AM(edt(2021, 6, 15, 3, 59, 59), now));
    EXPECT_TRUE(nsd::isTodayAfter4AM(edt(2021, 6, 15, 4, 0), now));
    EXPECT_FALSE(nsd::isTodayAfter4AM(edt(2021, 6, 14, 5, 0), now));
}

TEST_F(DateAdditions, MinuteRangesNeverWrapPastMidnight) {
    const Date at0130 = edt(2021, 6, 15, 1, 30);  // minute 90
    // {from, to, inside}
    const std::tuple<int, int, bool> cases[] = {
        {0, 90, true}, {90, 90, true}, {90, 100, true}, {91, 100, false}, {0, 89, false}};
    for (const auto& [from, to, inside] : cases) {
        EXPECT_EQ(nsd::isBetweenMinutesFrom(at0130, from, to), inside) << from << "-" << to;
    }
    EXPECT_TRUE(nsd::isBetweenMinutesFrom(edt(2021, 6, 15, 23, 0), 0, 1439));
    for (Date date : {at0130, edt(2021, 6, 15, 23, 0), edt(2021, 6, 15, 0, 30)}) {
        EXPECT_FALSE(nsd::isBetweenMinutesFrom(date, 1320, 120));
    }
}

TEST_F(DateAdditions, WeekdaysFollowTheLocalDay) {
    for (int i = 0; i <= 6; ++i) {
        static const char* kNames[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
        EXPECT_EQ(nsd::dayStringFrom(i), kNames[i]);
        EXPECT_EQ(nsd::dayOfWeek(edt(2021, 6, 13 + i, 12, 0)), i);  // 13 June 2021 was a Sunday
    }
    EXPECT_EQ(nsd::dayStringFrom(7), std::nullopt);
    EXPECT_EQ(nsd::dayStringFrom(-1), std::nullopt);
    EXPECT_EQ(nsd::dayOfWeek(edt(2021, 6, 12, 23, 30)), 6);  // already Sunday in UTC
}

TEST_F(DateAdditions, MillisecondsTruncateAndSaturate) {
    EXPECT_EQ(nsd::milliseconds(Date(1.2349)), 1234);
    EXPECT_EQ(nsd::milliseconds(Date(-1.2349)), -1234);
    EXPECT_EQ(nsd::milliseconds(Date(1624000000.5)), 1624000000500);
    EXPECT_EQ(nsd::milliseconds(Date(std::nan(""))), 0);
    EXPECT_EQ(nsd::milliseconds(Date(1e300)), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(nsd::milliseconds(Date(-1e300)), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(nsd::stringInMilliseconds(Date(1624000000.25)), "1624000000250");
    EXPECT_EQ(nsd::stringInMilliseconds(Date(0.0005)), "0");  // 0.5 rounds to even
    EXPECT_EQ(nsd::stringInMilliseconds(Date(0.0015)), "2");
    EXPECT_EQ(dates::getUnixTimestampInMilliSeconds(Date(2.5)), 2500);
    EXPECT_EQ(dates::fromUnixTimestampInMilliSecs(2500), Date(2.5));
}

TEST_F(DateAdditions, TimestampsAreInGmtWhateverTheDeviceZone) {
    EXPECT_EQ(nsd::timeStampFromDate(Date(0)), "1970-01-01 00:00:00");
    EXPECT_EQ(nsd::timeStampFromDate(utc(2021, 3, 4, 5, 6, 7.9)), "2021-03-04 05:06:07");
    EXPECT_EQ(nsd::timeStampFromDate(std::nullopt), "");
    {
        ovtest::LocaleGuard other("th_TH", "Asia/Tokyo");  // Buddhist calendar by default
        EXPECT_EQ(nsd::timeStampFromDate(Date(0)), "1970-01-01 00:00:00");
    }
    EXPECT_EQ(dates::fromTimestampString("2021-03-04 05:06:07"), utc(2021, 3, 4, 5, 6, 7));
    EXPECT_EQ(dates::fromTimestampString(nsd::timeStampFromDate(Date(1e9))), Date(1e9));
    for (const char* bad : {"", "2021-03-04", "2021-13-04 05:06:07", "2021-02-30 05:06:07",
                            "2021-03-04 05:06:07x", "2021-03-04T05:06:07", "garbage"}) {
        EXPECT_EQ(dates::fromTimestampString(bad), std::nullopt) << bad;
    }
    EXPECT_EQ(dates::fromTimestampString(std::nullopt), std::nullopt);

    EXPECT_EQ(dates::iso8601DateTimeString(Date(0)), "1970-01-01T00:00:00Z");
    EXPECT_EQ(dates::iso8601SiriDateTimeString(Date(0)), "1969-12-31T19:00:00-05:00");
    EXPECT_EQ(dates::iso8601SiriDateTimeString(utc(2021, 6, 15, 16, 0)),
              "2021-06-15T12:00:00-04:00");
}

TEST_F(DateAdditions, SharedFormattersFollowTheCurrentLocaleAndZone) {
    const Date date = utc(2021, 4, 1, 2, 0);  // still March 31 in New York
    EXPECT_EQ(nsd::monthYearDateFormatter().string(date), "March 2021");
    EXPECT_EQ(dates::dateStringUsingMediumStyle(date), "Mar 31, 2021");
    EXPECT_EQ(ov::TimeFormatHelper::dateStringForEpisode(date), "Mar 31, 2021");
    EXPECT_EQ(ov::TimeFormatHelper::dateStringForNowPlayingCoverView(date), "March 31, 2021");
    EXPECT_EQ(dates::toString(date, "yyyy-MM-dd HH:mm"), "2021-03-31 22:00");
    EXPECT_EQ(dates::toString(date, "yyyy-MM-dd HH:mm", "Europe/Paris"), "2021-04-01 04:00");
    {
        ovtest::LocaleGuard french("fr_FR", "Europe/Paris");
        EXPECT_EQ(nsd::monthYearDateFormatter().string(date), "avril 2021");
        EXPECT_EQ(dates::toString(date, "yyyy-MM-dd HH:mm"), "2021-04-01 04:00");
    }
    EXPECT_EQ(nsd::monthYearDateFormatter().string(date), "March 2021");
}

TEST(DateAdditionsLocales, TwentyFourHourClockFollowsTheJSkeleton) {
    const std::pair<const char*, bool> cases[] = {
        {"en_US", false}, {"ko_KR", false}, {"de_DE", true},
        {"en_GB", true},  {"fr_FR", true},  {"ja_JP", true},
    };
    for (const auto& [locale, expected] : cases) {
        ovtest::LocaleGuard guard(locale);
        EXPECT_EQ(nsd::shouldDisplay24HourFormat(), expected) << locale;
    }
}

TEST_F(DateAdditions, CalendarComponentsAndYears) {
    const Date date = est(2021, 3, 4, 5, 6, 7.25);  // a Thursday
    using C = dates::CalendarComponent;
    // clang-format off
    const std::pair<C, std::int64_t> cases[] = {
        {C::era, 1}, {C::year, 2021}, {C::month, 3}, {C::day, 4}, {C::hour, 5}, {C::minute, 6},
        {C::second, 7}, {C::weekday, 5}, {C::quarter, 1}, {C::weekdayOrdinal, 1},
        {C::weekOfYear, 10}, {C::yearForWeekOfYear, 2021}, {C::nanosecond, 250000000},
    };
    // clang-format on
    for (const auto& [component, expected] : cases) {
        EXPECT_EQ(dates::getCalendarComponent(date, component), expected)
            << static_cast<int>(component);
    }
    EXPECT_EQ(dates::year(date), 2021);
    EXPECT_EQ(nsd::currentYear(date), 2021);
    EXPECT_EQ(dates::year(est(2021, 1, 1, 0, 30)), 2021);
    EXPECT_EQ(dates::year(utc(2021, 1, 1, 3, 0)), 2020);  // New Year's Eve in New York
    {
        ovtest::LocaleGuard thai("th_TH", "Asia/Bangkok");
        EXPECT_EQ(nsd::currentYear(date), 2564);  // the locale's calendar
    }
}

TEST_F(DateAdditions, ComparisonsArithmeticAndMonths) {
    const Date a(1000), b(2000);
    EXPECT_TRUE(dates::afterDate(b, a));
    EXPECT_FALSE(dates::afterDate(a, a));
    EXPECT_FALSE(dates::beforeDate(a, a));
    EXPECT_TRUE(dates::isLaterThan(b, a, 1000));
    EXPECT_FALSE(dates::isLaterThan(b, a, 1000.001));
    EXPECT_TRUE(dates::isEarlierThan(a, b, 1000));
    EXPECT_FALSE(dates::isEarlierThan(a, b, 1000.001));
    EXPECT_EQ(dates::subtractMilliseconds(a, 1500), Date(998.5));
    EXPECT_GT(dates::getConstantDistantFutureDate(), utc(3000, 1, 1));

    EXPECT_EQ(nsd::oneMonthLater(est(2021, 1, 31, 10, 0)), est(2021, 2, 28, 10, 0));
    EXPECT_EQ(nsd::oneMonthLater(est(2020, 1, 31, 10, 0)), est(2020, 2, 29, 10, 0));
    EXPECT_EQ(nsd::oneMonthLater(est(2021, 12, 15, 10, 0)), est(2022, 1, 15, 10, 0));
    EXPECT_EQ(nsd::oneMonthLater(est(2021, 3, 1, 12, 0)), edt(2021, 4, 1, 12, 0));
}

TEST_F(DateAdditions, DatesOffTheCalendarGetNoTextAndAWarning) {
    auto capture = ovlog::CaptureSink::attach();
    const Date sane(1e9);
    const double inf = std::numeric_limits<double>::infinity();
    for (double bad : {std::nan(""), inf, -inf, 1e300, -1e300, 2e14}) {
        for (auto [date, now] : {std::pair{Date(bad), sane}, std::pair{sane, Date(bad)}}) {
            EXPECT_EQ(nsd::relativeDateStringUsingFullUnitLabel(date, true, now), std::nullopt);
            EXPECT_EQ(nsd::lastListenedRelativeDateString(date, now), std::nullopt);
            EXPECT_EQ(nsd::dateCreatedRelativeDateString(date, now), std::nullopt);
        }
        EXPECT_EQ(nsd::timeStampFromDate(Date(bad)), "") << bad;
    }
    std::size_t warnings = 0;
    for (const auto& m : capture->messages()) warnings += m.find("outside the calendar") != m.npos;
    EXPECT_EQ(warnings, 6u * 7u);
    // Huge day counts end at once, as elapsed days.
    const auto most = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(dates::addDays(sane, most), sane.addingTimeInterval(most * 86400.0));
    EXPECT_EQ(dates::addDays(sane, -3'000'000'000), sane.addingTimeInterval(-3e9 * 86400.0));
    EXPECT_GT(dates::addDays(sane, 2'000'000'000), utc(5000000, 1, 1));  // one calendar step
    EXPECT_TRUE(std::isnan(dates::addDays(Date(std::nan("")), 1).timeIntervalSince1970()));
}

TEST(DurationTexts, MinutesAreNeverSplitIntoHours) {
    const std::pair<std::int64_t, const char*> cases[] = {
        {0, "0:00"},     {5, "0:05"},        {59, "0:59"},    {60, "1:00"},
        {61, "1:01"},    {599, "9:59"},      {3599, "59:59"}, {3600, "60:00"},
        {3725, "62:05"}, {86399, "1439:59"}, {-5, "0:-5"},    {-65, "-1:-5"},
    };
    for (const auto& [seconds, expected] : cases) {
        EXPECT_EQ(dates::getDisplayableDuration(seconds), expected) << seconds;
    }
    EXPECT_EQ(dates::getDisplayableDuration(std::nullopt), std::nullopt);

    EXPECT_EQ(ov::TimeFormatHelper::timeString(3725), "1:02:05");
    EXPECT_EQ(ov::TimeFormatHelper::timeString(59.9), "0:59");
    EXPECT_EQ(ov::TimeFormatHelper::timeString(std::nan("")), "0:00");
    EXPECT_EQ(ov::TimeFormatHelper::timeString(std::numeric_limits<double>::infinity()),
              std::nullopt);
    EXPECT_EQ(ov::TimeFormatHelper::timeString(1e30), std::nullopt);
}

TEST_F(DateAdditions, SharedFormattersAreSafeAcrossThreads) {
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 200; ++i) {
                const Date date(1e9 + 86400.0 * (t * 200 + i));
                const std::string stamp = nsd::timeStampFromDate(date);
                if (dates::fromTimestampString(stamp) != date) ++failures;
                if (nsd::monthYearDateFormatter().string(date).empty()) ++failures;
                if (dates::toString(date, "yyyy", "GMT") != stamp.substr(0, 4)) ++failures;
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(failures.load(), 0);
}
