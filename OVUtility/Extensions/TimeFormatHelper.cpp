#include "OVUtility/Extensions/TimeFormatHelper.h"

#include <cmath>

#include "OVUtility/Extensions/StringAdditions.h"
#include "OVUtility/Platform/DateFormatter.h"

namespace ov {

std::optional<std::string> TimeFormatHelper::timeString(double seconds) {
    // Checked here so that the refusal is an absent text rather than the
    // logged "0:00" of trackTime.
    constexpr double kLimit = 9223372036854775808.0;  // 2^63 hours
    if (std::isinf(seconds) || std::fabs(std::trunc(seconds / 3600)) >= kLimit) {
        return std::nullopt;
    }
    return strings::trackTime(seconds);
}

std::string TimeFormatHelper::dateStringForEpisode(Date date) {
    // Made once, on first use; thread-safe.
    static const auto formatter = DateFormatter::make("MMM d, yyyy");
    return formatter->string(date);
}

std::string TimeFormatHelper::dateStringForNowPlayingCoverView(Date date) {
    static const auto formatter = DateFormatter::make("MMMM d, yyyy");
    return formatter->string(date);
}

}  // namespace ov
