#include "OVUtility/Notifications/NotificationCenterAdditions.h"

namespace ov {

std::shared_ptr<NotificationDisposable> makeNotificationDisposable(
    NotificationCenter::Token token, std::shared_ptr<NotificationCenter> center);

NotificationCenter::Token observe(const std::shared_ptr<NotificationCenter>& center,
                                  const NotificationName& name, AnyObject from,
                                  NotificationQueue onto, EventMode mode,
                                  std::function<void()> block) {
    if (mode == EventMode::idempotent && block) block();
    return center->addObserver(name, std::move(from), std::move(onto),
                               [block = std::move(block)](const Notification&) {
                                   if (block) block();
                               });
}

std::shared_ptr<NotificationDisposable> runAndObserve(
    const std::shared_ptr<NotificationCenter>& center, const NotificationName& name,
    NotificationQueue queue, std::function<void()> block) {
    if (block) block();
    auto token = center->addObserver(name, nullptr, std::move(queue),
                                     [block = std::move(block)](const Notification&) {
                                         if (block) block();
                                     });
    return makeNotificationDisposable(std::move(token), center);
}

}  // namespace ov
