// ov::MainThreadExecutor: runs a block on the main thread — at once when the
// caller is on it, otherwise asynchronously on the main queue (which the
// application pumps, see MainRunLoop.h).
//
//   ov::MainThreadExecutor::performOnMainThread([] { refreshViews(); });
#pragma once

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/DispatchQueue.h"

namespace ov {

class OV_API MainThreadExecutor {
  public:
    MainThreadExecutor() = delete;
    static void performOnMainThread(DispatchBlock block);
};

}  // namespace ov
