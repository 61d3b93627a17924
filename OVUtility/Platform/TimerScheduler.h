// ov::TimerScheduler: the one thread that waits for deadlines on the
// monotonic clock and fires callbacks when they arrive. `asyncAfter` and
// timer sources use it; callbacks must be short (they submit work to a queue).
//
//   TimerScheduler::shared().schedule(DispatchTime::now() + 0.5, [] { queue->async(work); });
//
// Timers whose work goes to the main queue are kept apart (`scheduleForMain`):
// a host event loop that drives the main queue (MainQueuePort) asks for the
// earliest of them to set its timeout and fires the due ones itself on the
// main thread, so they cost no thread hop. The scheduler thread still fires
// any that the main thread has not taken by their deadline, so a host loop
// that ignores the deadline is merely woken through the main queue's fd.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <queue>
#include <vector>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/DispatchTime.h"

namespace ov {

class OV_API TimerScheduler {
  public:
    static TimerScheduler& shared();

    // Calls `callback` on the scheduler's thread at (or just after) `deadline`.
    // A deadline in the distant future is dropped at once.
    void schedule(DispatchTime deadline, std::function<void()> callback);
    // The same for a timer whose callback submits to the main queue: it runs
    // once, either on the scheduler's thread or inside `fireDueMain`.
    void scheduleForMain(DispatchTime deadline, std::function<void()> callback);

    // The earliest deadline among the main-queue timers not yet fired
    // (distant future when there are none).
    DispatchTime nextMainDeadline();
    // Runs, on the calling thread and in deadline order, the callbacks of the
    // main-queue timers whose deadline has passed; returns how many ran.
    size_t fireDueMain();

    TimerScheduler(const TimerScheduler&) = delete;
    TimerScheduler& operator=(const TimerScheduler&) = delete;

  private:
    struct Entry {
        DispatchTime deadline;
        unsigned long long sequence;
        std::function<void()> callback;
    };
    struct Later {
        bool operator()(const Entry& a, const Entry& b) const {
            return a.deadline != b.deadline ? a.deadline > b.deadline : a.sequence > b.sequence;
        }
    };
    using Heap = std::priority_queue<Entry, std::vector<Entry>, Later>;

    TimerScheduler();
    void run();
    void push(Heap& heap, DispatchTime deadline, std::function<void()> callback);
    // The heap whose top is due first (lock held; null when both are empty).
    Heap* earliestLocked();
    static std::function<void()> popLocked(Heap& heap);

    std::mutex mutex_;
    std::condition_variable changed_;
    Heap entries_;
    Heap mainEntries_;
    unsigned long long nextSequence_ = 0;
};

}  // namespace ov
