// TimeFormatHelper: static helpers that turn playback times and dates into
// the short texts the player screens show.
//
//   ov::TimeFormatHelper::timeString(3725);                      // "1:02:05"
//   ov::TimeFormatHelper::dateStringForEpisode(date);            // "Mar 4, 2021"
//   ov::TimeFormatHelper::dateStringForNowPlayingCoverView(date); // "March 4, 2021"
//
// The date texts use shared formatters made once, on first use, in the
// current locale and time zone; every member may be called from any thread.
#pragma once

#include <optional>
#include <string>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/Date.h"

namespace ov {

class OV_API TimeFormatHelper {
  public:
    TimeFormatHelper() = delete;

    // The track-time text of ov::strings::trackTime (NaN gives "0:00"); an
    // infinite value or one too large for 64-bit hours gives nullopt.
    static std::optional<std::string> timeString(double seconds);

    // The pattern "MMM d, yyyy" ("Mar 4, 2021" in English).
    static std::string dateStringForEpisode(Date date);

    // The pattern "MMMM d, yyyy" ("March 4, 2021" in English).
    static std::string dateStringForNowPlayingCoverView(Date date);
};

}  // namespace ov
