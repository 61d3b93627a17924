// Internal to the dispatch runtime: the main thread's access to the main
// queue's items, shared by MainRunLoop and MainQueuePort. Not part of the
// public interface.
#pragma once

#include <cstddef>

#include "OVUtility/Platform/DispatchTime.h"

namespace ov {

struct MainRunLoopAccess {
    // Runs one ready block; false when none is ready.
    static bool runOne();
    // Sleeps until a block is ready, stop() is called (when honoured) or `until` passes.
    static void waitForWork(DispatchTime until, bool honourStop = false);
    // Blocks that could run now (none while the main queue is suspended).
    static size_t readyCount();
    static void wake();
};

namespace detail {
// Called by the main queue (under its lock) whenever it has a block that may
// run: arms MainQueuePort's descriptor if one was asked for.
void signalMainQueuePort();
}  // namespace detail

}  // namespace ov
