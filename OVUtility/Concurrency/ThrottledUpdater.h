// ov::ThrottledUpdater: runs an idempotent update block at most once per
// cooldown period. The first request runs at once; requests that arrive
// while cooling down collapse into one run when the cooldown ends, which
// starts the next period. With no requests the updater goes idle after one
// period.
//
//   auto updater = ov::ThrottledUpdater::make(0.5, workQueue,
//   std::make_shared<ov::DispatchTimerFactory>(),
//                                             [view] { view->reload(); });
//   workQueue->async([updater] { updater->setNeedsUpdate(); });   // many times; reloads at most
//                                                                  // twice per 0.5 s
//
// Threading contract: the updater takes no lock. Call it from `workQueue`
// (or one serial context that `workQueue` is, or targets) so that its
// pending flag and cooldown timer are never touched concurrently. The block
// runs on the thread that calls `setNeedsUpdate()`/`updateImmediately()`, or
// on `workQueue` for a request served at the end of a cooldown.
//
// The cooldown timer comes from the given DispatchTimerProvider (a
// DispatchTimerFactory when null; interval `cooldownTime`, leeway 0.1 s); its
// event holds the updater weakly, and releasing the updater invalidates the
// timer, so a released updater never runs its block again. A provider that
// returns no timer leaves the updater without cooldowns: every request runs
// at once.
//
// The block must not request an update of its own updater synchronously:
// there is no cooldown yet while it runs, so the request would run the block
// again, recursively. Post such a request to `workQueue` instead.
//
// ThrottledUpdaterFactory makes updaters as ThrottledUpdating, so that
// callers can substitute their own implementation.
#pragma once

#include <functional>
#include <memory>

#include "OVUtility/Concurrency/BlockTimer.h"
#include "OVUtility/Concurrency/DispatchTimerFactory.h"
#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/DispatchQueue.h"

namespace ov {

class OV_API ThrottledUpdating {
  public:
    virtual ~ThrottledUpdating() = default;
    // Requests an update: runs it now when not cooling down, else once when
    // the cooldown ends.
    virtual void setNeedsUpdate() = 0;
    // Runs the update now and starts a cooldown (restarting a running one).
    virtual void updateImmediately() = 0;
    // Ends any cooldown and drops a pending request.
    virtual void cancelUpdate() = 0;
};

class OV_API ThrottledUpdater final : public ThrottledUpdating,
                                      public std::enable_shared_from_this<ThrottledUpdater> {
  public:
    // The cooldown timer's leeway: 0.1 s.
    static constexpr long long kLeewayNanoseconds = 100'000'000;

    static std::shared_ptr<ThrottledUpdater> make(
        double cooldownTime, std::shared_ptr<DispatchQueue> workQueue,
        std::shared_ptr<DispatchTimerProvider> timerProvider,
        std::function<void()> idempotentUpdateBlock);
    ~ThrottledUpdater() override;
    ThrottledUpdater(const ThrottledUpdater&) = delete;
    ThrottledUpdater& operator=(const ThrottledUpdater&) = delete;

    void setNeedsUpdate() override;
    void updateImmediately() override;
    void cancelUpdate() override;

    double cooldownTime() const { return cooldownTime_; }
    const std::shared_ptr<DispatchQueue>& workQueue() const { return workQueue_; }

  private:
    ThrottledUpdater(double cooldownTime, std::shared_ptr<DispatchQueue> workQueue,
                     std::shared_ptr<DispatchTimerProvider> timerProvider,
                     std::function<void()> idempotentUpdateBlock);
    void triggerCooldown();
    void endCooldown();
    static void cooldownEvent(const std::weak_ptr<ThrottledUpdater>& weakSelf);

    const std::function<void()> idempotentUpdateBlock_;
    const double cooldownTime_;
    const std::shared_ptr<DispatchQueue> workQueue_;
    std::shared_ptr<BlockTimer> cooldownTimer_;  // present exactly while cooling down
    bool needsUpdate_ = false;
    const std::shared_ptr<DispatchTimerProvider> timerProvider_;
};

class OV_API ThrottledUpdaterFactory {
  public:
    ThrottledUpdaterFactory() = default;
    virtual ~ThrottledUpdaterFactory() = default;

    virtual std::shared_ptr<ThrottledUpdating> make(
        double cooldownTime, std::shared_ptr<DispatchQueue> workQueue,
        std::shared_ptr<DispatchTimerProvider> timerProvider,
        std::function<void()> idempotentUpdateBlock);
};

}  // namespace ov
