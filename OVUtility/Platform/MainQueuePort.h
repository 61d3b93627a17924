// ov::MainQueuePort: lets an application's own event loop (GLib, Qt, libuv,
// Boost.Asio, a hand-written poll loop) drive the main queue instead of
// handing the main thread to MainRunLoop::run().
//
// Three pieces, as a run loop needs them:
//   - fileDescriptor(): an eventfd that is readable whenever main-queue work
//     is ready (blocks, main-queue timers that fired, notifications and
//     operation callbacks delivered on the main queue). Watch it for input.
//   - perform(): on the main thread, runs the main-queue timers that are due
//     and the blocks that are ready, and clears the descriptor.
//   - nextTimerDeadline(): when the earliest main-queue timer is due, so the
//     loop can bound its wait (timeoutMilliseconds() for poll-style loops).
//     A loop that ignores it still works: the descriptor turns readable once
//     the timer fires on the timer thread.
//
//   int fd = ov::MainQueuePort::fileDescriptor();
//   for (;;) {
//       pollfd p{fd, POLLIN, 0};
//       ::poll(&p, 1, ov::MainQueuePort::timeoutMilliseconds());
//       ov::MainQueuePort::perform();
//   }
//
// Ready-made adapters: OVUtility/Adapters/GLibMainQueueSource.h and
// OVUtility/Adapters/AsioMainQueue.h. perform() off the main thread is a
// programming error (fatal), like the MainRunLoop calls.
#pragma once

#include <cstddef>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/DispatchTime.h"

namespace ov {

class OV_API MainQueuePort {
  public:
    // The descriptor, created on first call and kept for the process. Never
    // read or close it yourself; perform() clears it.
    static int fileDescriptor();
    // Runs what is ready now (blocks that these submit wait for the next
    // turn, which re-arms the descriptor); returns how many blocks ran.
    static size_t perform();
    // The earliest pending main-queue timer, or the distant future.
    static DispatchTime nextTimerDeadline();
    // nextTimerDeadline() as a poll(2) timeout: -1 for none, 0 when due,
    // otherwise milliseconds rounded up.
    static int timeoutMilliseconds();
};

}  // namespace ov
