// ov::NotificationCenter: broadcasts named notifications to registered
// observers, within one process.
//
//   auto center = ov::NotificationCenter::defaultCenter();
//   auto token = center->addObserver("didLogIn", nullptr, nullptr,
//                                    [](const ov::Notification& n) { ... });
//   center->post("didLogIn", sender, {{"user", "ada"}});
//   center->removeObserver(token);
//
//   // Observer/selector form: the observer is held weakly.
//   center->addObserver(controller, &Controller::didLogIn, "didLogIn");
//   center->removeObserver(controller);     // every registration of it
//
// Contract:
// - Block registrations return an opaque token; the registration lives until
//   `removeObserver(token)` (dropping the token does not remove it).
// - An empty name listens to every name. A sender filter (`object`) limits
//   delivery to posts whose object is that same object (identity); the filter
//   does not keep the sender alive, and once the sender is gone the
//   registration no longer matches anything.
// - Without a delivery queue the block runs synchronously on the posting
//   thread, before `post` returns. With a queue (a DispatchQueue or, as on the
//   platform, an OperationQueue), `post` submits the block to that queue
//   (`async` / `addOperation`) and returns without waiting.
// - Observer/selector registrations hold the observer weakly; a post skips
//   (and forgets) registrations whose observer has gone. Observers may also
//   be removed by address, e.g. from their own destructor.
// - Thread-safe: registrations, removals and posts may come from any thread.
//   A post delivers to a snapshot of the registrations taken when it starts,
//   in registration order; no lock is held while observers run, so observers
//   may register, remove and post from inside a delivery. A registration
//   removed before its turn in a running post (synchronous delivery) or before
//   its queued block starts is not called any more.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/Notification.h"

namespace ov {

class DispatchQueue;
class OperationQueue;

// Where a registration's block runs: on the posting thread (empty), on a
// dispatch queue, or on an operation queue.
class OV_API NotificationQueue {
  public:
    NotificationQueue() = default;
    NotificationQueue(std::nullptr_t) {}
    NotificationQueue(std::shared_ptr<DispatchQueue> queue) : dispatchQueue_(std::move(queue)) {}
    NotificationQueue(std::shared_ptr<OperationQueue> queue) : operationQueue_(std::move(queue)) {}

    explicit operator bool() const { return dispatchQueue_ || operationQueue_; }
    const std::shared_ptr<DispatchQueue>& dispatchQueue() const { return dispatchQueue_; }
    const std::shared_ptr<OperationQueue>& operationQueue() const { return operationQueue_; }

  private:
    std::shared_ptr<DispatchQueue> dispatchQueue_;
    std::shared_ptr<OperationQueue> operationQueue_;
};

// The opaque token of a block registration.
class NotificationToken {
  public:
    NotificationToken(const NotificationToken&) = delete;
    NotificationToken& operator=(const NotificationToken&) = delete;

  private:
    friend class NotificationCenter;
    explicit NotificationToken(std::uint64_t id) : id_(id) {}
    std::uint64_t id_;
};

class OV_API NotificationCenter : public std::enable_shared_from_this<NotificationCenter> {
  public:
    using Block = std::function<void(const Notification&)>;
    using Token = std::shared_ptr<NotificationToken>;

    static std::shared_ptr<NotificationCenter> make();
    // The process-wide centre, created on first use.
    static std::shared_ptr<NotificationCenter> defaultCenter();

    NotificationCenter(const NotificationCenter&) = delete;
    NotificationCenter& operator=(const NotificationCenter&) = delete;
    ~NotificationCenter();

    // Block registration. `object` null: any sender; `queue` null: run on the
    // posting thread.
    Token addObserver(NotificationName name, AnyObject object, NotificationQueue queue,
                      Block block);
    // Removes one block registration. Unknown or null tokens are ignored.
    void removeObserver(const Token& token);

    // Observer/selector registration: calls `(observer->*selector)(notification)`
    // on the posting thread while the observer lives.
    template <typename Observer>
    void addObserver(const std::shared_ptr<Observer>& observer,
                     void (Observer::*selector)(const Notification&), NotificationName name,
                     AnyObject object = nullptr) {
        std::weak_ptr<Observer> weak = observer;
        addSelectorRegistration(observer.get(), std::weak_ptr<void>(observer), std::move(name),
                                std::move(object), [weak, selector](const Notification& n) {
                                    if (auto strong = weak.lock()) ((*strong).*selector)(n);
                                });
    }
    // Removes every observer/selector registration of `observer` (by address).
    void removeObserver(const void* observer);
    template <typename Observer>
    void removeObserver(const std::shared_ptr<Observer>& observer) {
        removeObserver(static_cast<const void*>(observer.get()));
    }
    // Removes the registrations of `observer` for one name (and, when given,
    // one sender); its registrations for other names stay. An empty name means
    // every name, as in registration: `removeObserver(observer, "", sender)`
    // removes the observer for that sender whatever the names.
    void removeObserver(const void* observer, const NotificationName& name,
                        AnyObject object = nullptr);

    void post(const NotificationName& name, AnyObject object = nullptr,
              nlohmann::json userInfo = nullptr);
    void post(const Notification& notification);

    // Number of live registrations (both forms); for diagnostics and tests.
    size_t registrationCount() const;

  private:
    NotificationCenter() = default;
    struct Registration;
    void addSelectorRegistration(const void* observer, std::weak_ptr<void> life,
                                 NotificationName name, AnyObject object, Block call);
    void removeWhere(const std::function<bool(const Registration&)>& predicate);

    mutable std::mutex mutex_;
    std::vector<std::shared_ptr<Registration>> registrations_;
};

}  // namespace ov
