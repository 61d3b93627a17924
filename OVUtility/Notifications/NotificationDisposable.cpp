#include "OVUtility/Notifications/NotificationDisposable.h"

namespace ov {

std::shared_ptr<NotificationDisposable> makeNotificationDisposable(
    NotificationCenter::Token token, std::shared_ptr<NotificationCenter> center) {
    return std::shared_ptr<NotificationDisposable>(
        new NotificationDisposable(std::move(token), std::move(center)));
}

NotificationDisposable::~NotificationDisposable() {
    if (notificationCenter_) notificationCenter_->removeObserver(token_);
}

void NotificationDisposable::disposed(DisposableSlot& owner) {
    std::shared_ptr<NotificationDisposable> previous;
    {
        std::lock_guard lock(owner.mutex_);
        previous = std::exchange(owner.disposable_, shared_from_this());
    }
    // `previous` is released here, outside the slot's lock.
}

std::shared_ptr<NotificationDisposable> DisposableSlot::attachedDisposable() const {
    std::lock_guard lock(mutex_);
    return disposable_;
}

void DisposableSlot::clearDisposable() {
    std::shared_ptr<NotificationDisposable> previous;
    std::lock_guard lock(mutex_);
    previous = std::move(disposable_);
    disposable_.reset();
}

}  // namespace ov
