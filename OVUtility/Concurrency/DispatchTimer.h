// ov::DispatchTimer: a repeating timer that owns one timer source, is created
// stopped, can be started and suspended any number of times, and tears its
// source down safely whatever state it is in.
//
//   auto timer = std::make_unique<ov::DispatchTimer>(1.0, queue, 100'000'000, [] { poll(); });
//   timer->start();      // first event one interval after creation
//   timer->suspend();    // no events until the next start()
//   timer.reset();       // handler cleared, source cancelled
//
// The timer keeps a running/suspended flag so that it never suspends or
// resumes its (counting) source twice in a row: a second start() or a
// second suspend() does nothing. It has no lock: start(), suspend() and
// destruction belong to one thread or one serial queue at a time. The
// handler runs on the given queue (the default global queue when none).
#pragma once

#include <functional>
#include <memory>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/DispatchQueue.h"
#include "OVUtility/Platform/DispatchSource.h"

namespace ov {

class OV_API DispatchTimer {
  public:
    DispatchTimer(double timeInterval, std::shared_ptr<DispatchQueue> queue, long long leeway,
                  std::function<void()> onEventHandler);
    ~DispatchTimer();
    DispatchTimer(const DispatchTimer&) = delete;
    DispatchTimer& operator=(const DispatchTimer&) = delete;

    double timeInterval() const { return timeInterval_; }
    bool isRunning() const { return state_ == TimerState::running; }

    void start();
    void suspend();

  private:
    enum class TimerState { suspended, running };

    double timeInterval_;
    TimerState state_ = TimerState::suspended;
    std::shared_ptr<DispatchSource> timer_;
};

}  // namespace ov
