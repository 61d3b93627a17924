#include "OVUtility/Notifications/NotificationReceiver.h"

namespace ov {

NotificationReceiver::NotificationReceiver(std::shared_ptr<NotificationCenter> notificationCenter)
    : notificationCenter_(notificationCenter ? std::move(notificationCenter)
                                             : NotificationCenter::defaultCenter()) {}

NotificationReceiver::~NotificationReceiver() {
    removeAll();
}

void NotificationReceiver::add(const NotificationObserver& observer, Block block) {
    removeObserver(observer.name);
    auto token = notificationCenter_->addObserver(observer.name, observer.object, observer.queue,
                                                  std::move(block));
    if (token) {
        observers_[observer.name] = std::move(token);
    } else {
        observers_.erase(observer.name);
    }
}

void NotificationReceiver::addObserver(const NotificationName& name, Block block) {
    add(NotificationObserver{name, nullptr, nullptr}, std::move(block));
}

void NotificationReceiver::removeObserver(const NotificationName& name) {
    auto it = observers_.find(name);
    if (it == observers_.end()) return;
    notificationCenter_->removeObserver(it->second);
    observers_.erase(it);
}

void NotificationReceiver::removeAll() {
    for (const auto& [name, token] : observers_) notificationCenter_->removeObserver(token);
    observers_.clear();
}

}  // namespace ov
