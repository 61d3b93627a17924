#include "OVUtility/Platform/NotificationCenter.h"

#include <algorithm>

#include "OVUtility/Platform/DispatchQueue.h"
#include "OVUtility/Platform/OperationQueue.h"

namespace ov {

struct NotificationCenter::Registration {
    std::uint64_t id = 0;  // token id of a block registration, 0 for the selector form
    NotificationName name;
    // Sender filter: the address identifies the sender; the weak pointer tells
    // whether it is still alive (an address may be reused after it is freed).
    const void* senderAddress = nullptr;
    std::weak_ptr<void> sender;
    NotificationQueue queue;
    Block block;
    // Observer/selector form: the observer's address and its lifetime.
    const void* observer = nullptr;
    std::weak_ptr<void> observerLife;
    std::atomic<bool> removed{false};

    bool matches(const Notification& n) const {
        if (!name.empty() && name != n.name) return false;
        if (senderAddress == nullptr) return true;
        return senderAddress == n.object.address() && !sender.expired();
    }
};

std::shared_ptr<NotificationCenter> NotificationCenter::make() {
    return std::shared_ptr<NotificationCenter>(new NotificationCenter());
}

std::shared_ptr<NotificationCenter> NotificationCenter::defaultCenter() {
    static const std::shared_ptr<NotificationCenter> center = make();
    return center;
}

NotificationCenter::~NotificationCenter() = default;

NotificationCenter::Token NotificationCenter::addObserver(NotificationName name, AnyObject object,
                                                          NotificationQueue queue, Block block) {
    auto registration = std::make_shared<Registration>();
    registration->name = std::move(name);
    registration->senderAddress = object.address();
    registration->sender = object.pointer();
    registration->queue = std::move(queue);
    registration->block = std::move(block);
    std::lock_guard lock(mutex_);
    // Ids are unique across centres, so a token given to the wrong centre
    // matches nothing there.
    static std::atomic<std::uint64_t> nextID{1};
    registration->id = nextID.fetch_add(1, std::memory_order_relaxed);
    registrations_.push_back(registration);
    return Token(new NotificationToken(registration->id));
}

void NotificationCenter::addSelectorRegistration(const void* observer, std::weak_ptr<void> life,
                                                 NotificationName name, AnyObject object,
                                                 Block call) {
    auto registration = std::make_shared<Registration>();
    registration->name = std::move(name);
    registration->senderAddress = object.address();
    registration->sender = object.pointer();
    registration->observer = observer;
    registration->observerLife = std::move(life);
    registration->block = std::move(call);
    std::lock_guard lock(mutex_);
    registrations_.push_back(std::move(registration));
}

void NotificationCenter::removeWhere(const std::function<bool(const Registration&)>& predicate) {
    // The removed registrations are destroyed outside the lock: their blocks
    // may own objects whose destructors use this centre.
    std::vector<std::shared_ptr<Registration>> removed;
    {
        std::lock_guard lock(mutex_);
        auto keep = std::stable_partition(registrations_.begin(), registrations_.end(),
                                          [&](const auto& r) { return !predicate(*r); });
        for (auto it = keep; it != registrations_.end(); ++it) {
            (*it)->removed.store(true, std::memory_order_release);
            removed.push_back(std::move(*it));
        }
        registrations_.erase(keep, registrations_.end());
    }
}

void NotificationCenter::removeObserver(const Token& token) {
    if (!token) return;
    const auto id = token->id_;
    removeWhere([id](const Registration& r) { return r.id == id; });
}

void NotificationCenter::removeObserver(const void* observer) {
    if (observer == nullptr) return;
    removeWhere([observer](const Registration& r) { return r.observer == observer; });
}

void NotificationCenter::removeObserver(const void* observer, const NotificationName& name,
                                        AnyObject object) {
    if (observer == nullptr) return;
    const void* sender = object.address();
    removeWhere([&](const Registration& r) {
        return r.observer == observer && (name.empty() || r.name == name) &&
               (sender == nullptr || r.senderAddress == sender);
    });
}

void NotificationCenter::post(const NotificationName& name, AnyObject object,
                              nlohmann::json userInfo) {
    post(Notification{name, std::move(object), std::move(userInfo)});
}

void NotificationCenter::post(const Notification& notification) {
    std::vector<std::shared_ptr<Registration>> snapshot;
    {
        std::lock_guard lock(mutex_);
        snapshot.reserve(registrations_.size());
        for (const auto& r : registrations_) {
            if (r->matches(notification)) snapshot.push_back(r);
        }
    }
    bool observerGone = false;
    for (const auto& r : snapshot) {
        if (r->removed.load(std::memory_order_acquire)) continue;
        if (r->observer != nullptr) {
            if (r->observerLife.expired()) {
                observerGone = true;
                continue;
            }
            r->block(notification);
        } else if (r->queue) {
            auto deliver = [r, notification] {
                if (!r->removed.load(std::memory_order_acquire)) r->block(notification);
            };
            if (r->queue.dispatchQueue()) {
                r->queue.dispatchQueue()->async(std::move(deliver));
            } else {
                r->queue.operationQueue()->addOperation(std::function<void()>(std::move(deliver)));
            }
        } else {
            r->block(notification);
        }
    }
    if (observerGone) {
        // Forget selector registrations whose observer no longer exists.
        removeWhere([](const Registration& r) {
            return r.observer != nullptr && r.observerLife.expired();
        });
    }
}

size_t NotificationCenter::registrationCount() const {
    std::lock_guard lock(mutex_);
    return registrations_.size();
}

}  // namespace ov
