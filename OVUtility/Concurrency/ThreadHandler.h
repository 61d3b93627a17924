// ov::ThreadHandler: pauses a background thread for a while.
//
//   ov::ThreadHandler::pauseBackgroundThread(0.5);
//
// On the main thread, or for 0 seconds or less, it returns at once.
// Otherwise it waits for a block scheduled on the main queue `seconds` from
// now, so the pause lasts at least `seconds`, and longer while the main queue
// is busy or not pumped. A duration that is not finite or whose nanosecond
// count does not fit a signed 64-bit integer ends the process.
#pragma once

#include "OVUtility/OVUtilityExport.h"

namespace ov {

class OV_API ThreadHandler {
  public:
    ThreadHandler() = delete;
    static void pauseBackgroundThread(double seconds);
};

}  // namespace ov
