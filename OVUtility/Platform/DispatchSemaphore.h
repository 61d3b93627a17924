// ov::DispatchSemaphore: a counting semaphore with timed waits.
//
//   ov::DispatchSemaphore done(0);
//   queue->async([&] { work(); done.signal(); });
//   if (!done.wait(ov::DispatchTime::now() + 2.0)) { /* timed out */ }
//
// A thread that waits tells the worker pool it is blocked, so the pool can
// start another worker and blocks that signal later still get to run.
#pragma once

#include <condition_variable>
#include <mutex>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/DispatchTime.h"

namespace ov {

class OV_API DispatchSemaphore {
  public:
    explicit DispatchSemaphore(long value = 0) : value_(value) {}
    DispatchSemaphore(const DispatchSemaphore&) = delete;
    DispatchSemaphore& operator=(const DispatchSemaphore&) = delete;

    // Increments the count; wakes one waiter. Returns true when a waiter was woken.
    bool signal();
    // Waits until the count is positive, then decrements it.
    void wait() { (void)wait(DispatchTime::distantFuture()); }
    // Returns false when the deadline passed first (the count is unchanged).
    bool wait(DispatchTime deadline);

  private:
    std::mutex mutex_;
    std::condition_variable cv_;
    long value_;
    long waiters_ = 0;
};

}  // namespace ov
