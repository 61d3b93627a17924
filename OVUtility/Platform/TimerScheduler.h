// ov::TimerScheduler: the one thread that waits for deadlines on the
// monotonic clock and fires callbacks when they arrive. `asyncAfter` and
// timer sources use it; callbacks must be short (they submit work to a queue).
//
//   TimerScheduler::shared().schedule(DispatchTime::now() + 0.5, [] { queue->async(work); });
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <queue>
#include <vector>

#include "OVUtility/Platform/DispatchTime.h"

namespace ov {

class TimerScheduler {
  public:
    static TimerScheduler& shared();

    // Calls `callback` on the scheduler's thread at (or just after) `deadline`.
    // A deadline in the distant future is dropped at once.
    void schedule(DispatchTime deadline, std::function<void()> callback);

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

    TimerScheduler();
    void run();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::priority_queue<Entry, std::vector<Entry>, Later> entries_;
    unsigned long long nextSequence_ = 0;
};

}  // namespace ov
