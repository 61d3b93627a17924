#include "OVUtility/Concurrency/ThrottledUpdater.h"

#include <utility>

namespace ov {

std::shared_ptr<ThrottledUpdater> ThrottledUpdater::make(
    double cooldownTime, std::shared_ptr<DispatchQueue> workQueue,
    std::shared_ptr<DispatchTimerProvider> timerProvider,
    std::function<void()> idempotentUpdateBlock) {
    if (!timerProvider) timerProvider = std::make_shared<DispatchTimerFactory>();
    return std::shared_ptr<ThrottledUpdater>(
        new ThrottledUpdater(cooldownTime, std::move(workQueue), std::move(timerProvider),
                             std::move(idempotentUpdateBlock)));
}

ThrottledUpdater::ThrottledUpdater(double cooldownTime, std::shared_ptr<DispatchQueue> workQueue,
                                   std::shared_ptr<DispatchTimerProvider> timerProvider,
                                   std::function<void()> idempotentUpdateBlock)
    : idempotentUpdateBlock_(std::move(idempotentUpdateBlock)),
      cooldownTime_(cooldownTime),
      workQueue_(std::move(workQueue)),
      timerProvider_(std::move(timerProvider)) {}

ThrottledUpdater::~ThrottledUpdater() {
    endCooldown();
}

void ThrottledUpdater::setNeedsUpdate() {
    needsUpdate_ = true;
    if (!cooldownTimer_) updateImmediately();
    // Otherwise the pending request is served when the cooldown ends.
}

void ThrottledUpdater::updateImmediately() {
    if (idempotentUpdateBlock_) idempotentUpdateBlock_();
    needsUpdate_ = false;
    triggerCooldown();
}

void ThrottledUpdater::cancelUpdate() {
    endCooldown();
    needsUpdate_ = false;
}

void ThrottledUpdater::triggerCooldown() {
    endCooldown();
    std::weak_ptr<ThrottledUpdater> weakSelf = weak_from_this();
    cooldownTimer_ = timerProvider_->scheduleTimer(cooldownTime_, workQueue_, kLeewayNanoseconds,
                                                   [weakSelf] { cooldownEvent(weakSelf); });
}

void ThrottledUpdater::cooldownEvent(const std::weak_ptr<ThrottledUpdater>& weakSelf) {
    // Runs on workQueue. A released updater does nothing.
    auto self = weakSelf.lock();
    if (!self) return;
    self->endCooldown();
    if (!self->cooldownTimer_ && self->needsUpdate_) self->updateImmediately();
}

void ThrottledUpdater::endCooldown() {
    if (cooldownTimer_) cooldownTimer_->invalidate();
    cooldownTimer_.reset();
}

std::shared_ptr<ThrottledUpdating> ThrottledUpdaterFactory::make(
    double cooldownTime, std::shared_ptr<DispatchQueue> workQueue,
    std::shared_ptr<DispatchTimerProvider> timerProvider,
    std::function<void()> idempotentUpdateBlock) {
    return ThrottledUpdater::make(cooldownTime, std::move(workQueue), std::move(timerProvider),
                                  std::move(idempotentUpdateBlock));
}

}  // namespace ov
