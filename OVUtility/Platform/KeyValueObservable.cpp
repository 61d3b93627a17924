#include "OVUtility/Platform/KeyValueObservable.h"

namespace ov {

KeyValueObservable::Token KeyValueObservable::addObserver(std::string key, Observer observer) {
    std::lock_guard lock(mutex_);
    auto next = registrations_ ? std::make_shared<Registrations>(*registrations_)
                               : std::make_shared<Registrations>();
    Token token = nextToken_++;
    next->push_back(Registration{token, false, std::move(key), std::move(observer)});
    registrations_ = std::move(next);
    hasObservers_.store(true, std::memory_order_release);
    return token;
}

KeyValueObservable::Token KeyValueObservable::addObserver(Observer observer) {
    std::lock_guard lock(mutex_);
    auto next = registrations_ ? std::make_shared<Registrations>(*registrations_)
                               : std::make_shared<Registrations>();
    Token token = nextToken_++;
    next->push_back(Registration{token, true, {}, std::move(observer)});
    registrations_ = std::move(next);
    hasObservers_.store(true, std::memory_order_release);
    return token;
}

bool KeyValueObservable::removeObserver(Token token) {
    std::shared_ptr<const Registrations> old;  // released outside the lock
    std::lock_guard lock(mutex_);
    if (!registrations_) return false;
    auto next = std::make_shared<Registrations>();
    next->reserve(registrations_->size());
    bool removed = false;
    for (const auto& r : *registrations_) {
        if (r.token == token) {
            removed = true;
        } else {
            next->push_back(r);
        }
    }
    if (!removed) return false;
    old = std::move(registrations_);
    if (next->empty()) {
        hasObservers_.store(false, std::memory_order_release);
    } else {
        registrations_ = std::move(next);
    }
    return true;
}

void KeyValueObservable::notify(std::string_view key, KeyValueChange change) {
    std::shared_ptr<const Registrations> snapshot;
    {
        std::lock_guard lock(mutex_);
        snapshot = registrations_;
    }
    if (!snapshot) return;
    for (const auto& r : *snapshot) {
        if (r.allKeys || r.key == key) r.observer(key, change);
    }
}

}  // namespace ov
