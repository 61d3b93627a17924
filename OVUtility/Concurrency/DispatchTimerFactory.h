// ov::DispatchTimerProvider and ov::DispatchTimerFactory: where repeating
// timers come from. Components that need a timer (the safe operation's
// expiration, the throttled updater's cooldown) take a provider, so tests
// can pass a fake one and step time by hand.
//
//   ov::DispatchTimerFactory factory;
//   auto timer = factory.scheduleTimer(0.25, queue, 100'000'000, [] { tick(); });   // running
//   auto onMain = factory.scheduleMainQueueTimer(1.0, 0, [] { refresh(); });
//
// Intervals are seconds; leeway is nanoseconds. The factory converts the
// interval to whole milliseconds (truncating) and uses it for both the first
// delay and the repeat. An interval whose millisecond count is not below 2^63
// (including +infinity and NaN, which compare false) gets a deadline in the
// distant future: the timer never fires. -infinity, or a count not above
// -2^63, ends the process.
// A zero or sub-millisecond timer interval fires once (so does a negative one), at once.
#pragma once

#include <functional>
#include <memory>

#include "OVUtility/Concurrency/BlockTimer.h"
#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/DispatchQueue.h"

namespace ov {

class OV_API DispatchTimerProvider {
  public:
    virtual ~DispatchTimerProvider() = default;

    // Returns a running timer, or null when none could be made.
    virtual std::shared_ptr<BlockTimer> makeTimer(double interval,
                                                  std::shared_ptr<DispatchQueue> queue,
                                                  long long leeway,
                                                  std::function<void()> event) = 0;

    std::shared_ptr<BlockTimer> scheduleTimer(double interval, std::shared_ptr<DispatchQueue> queue,
                                              long long leeway, std::function<void()> event) {
        return makeTimer(interval, std::move(queue), leeway, std::move(event));
    }
    std::shared_ptr<BlockTimer> scheduleMainQueueTimer(double interval, long long leeway,
                                                       std::function<void()> event) {
        return makeTimer(interval, DispatchQueue::main(), leeway, std::move(event));
    }
};

class OV_API DispatchTimerFactory final : public DispatchTimerProvider {
  public:
    DispatchTimerFactory() = default;
    std::shared_ptr<BlockTimer> makeTimer(double interval, std::shared_ptr<DispatchQueue> queue,
                                          long long leeway, std::function<void()> event) override;
};

}  // namespace ov
