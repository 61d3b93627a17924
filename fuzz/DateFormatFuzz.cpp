// libFuzzer target: date texts of arbitrary doubles (NaN, infinities, ±1e300
// and everything between) and day counts. Every text is valid UTF-8; a date
// off the calendar gives no text; a timestamp on it has the fixed layout;
// timestamp texts that parse come back the same after a round trip; adding
// days returns at once whatever the count.
#include "FuzzSupport.h"
#include "OVUtility/Extensions/DateAdditions.h"
#include "OVUtility/Extensions/NSDateAdditions.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    const ov::Date date(in.ConsumeFloatingPoint<double>());
    const ov::Date now(in.ConsumeFloatingPoint<double>());
    const auto days = in.ConsumeIntegral<std::int64_t>();
    const std::string pattern = in.ConsumeRandomLengthString(32);
    const std::string timestamp = in.ConsumeRemainingBytesAsString();

    const std::string stamp = ov::nsdate::timeStampFromDate(date);
    ovfuzz::check(stamp.empty() == !date.isWithinCalendarRange(), "text only on the calendar");
    const auto relative = {ov::nsdate::relativeDateStringUsingFullUnitLabel(date, true, now),
                           ov::nsdate::lastListenedRelativeDateString(date, now),
                           ov::nsdate::dateCreatedRelativeDateString(date, now)};
    for (const auto& text : relative) {
        ovfuzz::check(!text || (date.isWithinCalendarRange() && now.isWithinCalendarRange()),
                      "relative text only on the calendar");
        ovfuzz::check(!text || (!text->empty() && ovfuzz::isValidUtf8(*text)), "relative text");
    }
    for (const std::string& text :
         {ov::dates::toString(date, pattern), ov::dates::toString(date, pattern, "UTC"),
          ov::dates::iso8601DateTimeString(date), ov::dates::dateStringUsingMediumStyle(date)}) {
        ovfuzz::check(ovfuzz::isValidUtf8(text), "formatted text is valid UTF-8");
    }
    (void)ov::dates::addDays(date, days);

    if (const auto parsed = ov::dates::fromTimestampString(timestamp)) {
        const std::string again = ov::nsdate::timeStampFromDate(*parsed);
        ovfuzz::check(ov::dates::fromTimestampString(again) == parsed, "timestamp round trip");
    }
    return 0;
}
