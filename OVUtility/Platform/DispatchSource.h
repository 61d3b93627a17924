// ov::DispatchSource: a timer source with the platform's contract.
//
//   auto timer = ov::DispatchSource::makeTimer(queue);
//   timer->schedule(ov::DispatchTime::now() + 1.0, /*interval s*/ 1.0, /*leeway ns*/ 100'000'000);
//   timer->setEventHandler([] { tick(); });
//   timer->resume();                    // sources are created suspended
//   ...
//   timer->cancel();                    // no event starts after cancel returns
//
// - Created suspended; suspend/resume are counted (events fire while the
//   resume count exceeds the suspend count).
// - The handler runs on the source's queue, never twice at once, also on a
//   concurrent queue: ticks that fire while it runs merge into one delivery
//   after it returns. A timer that fell behind fires once, not once per
//   missed interval.
// - Suspending holds events back without losing them: an event observed
//   before or during the suspension (already waiting on the queue, or due
//   while suspended) is delivered once on resume.
// - An interval of 0 or less means one shot.
// - `cancel()` stops all further events; the handler is released after the
//   cancellation takes effect. Releasing the last reference cancels the timer.
// - Releasing a source that is still suspended is allowed (no crash), unlike
//   on the platform.
#pragma once

#include <memory>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/DispatchQueue.h"

namespace ov {

class OV_API DispatchSource : public std::enable_shared_from_this<DispatchSource> {
  public:
    static std::shared_ptr<DispatchSource> makeTimer(
        std::shared_ptr<DispatchQueue> queue = nullptr);
    ~DispatchSource();
    DispatchSource(const DispatchSource&) = delete;
    DispatchSource& operator=(const DispatchSource&) = delete;

    // First event at `deadline`, then every `intervalSeconds` (none when <= 0).
    void schedule(DispatchTime deadline, double intervalSeconds = 0,
                  long long leewayNanoseconds = 0);
    void setEventHandler(DispatchBlock handler);  // an empty block removes the handler
    void resume();
    void suspend();
    void cancel();
    bool isCancelled() const;

    struct State;

  private:
    DispatchSource();
    std::shared_ptr<State> state_;
};

}  // namespace ov
