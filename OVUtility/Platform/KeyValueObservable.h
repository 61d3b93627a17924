// ov::KeyValueObservable: key-value observation for objects that announce
// their own changes (operations announce "isReady", "isExecuting",
// "isFinished", "isCancelled", and tasks' operations a few more keys).
//
//   auto token = op->addObserver("isFinished", [](std::string_view key,
//                                                  ov::KeyValueChange change) {
//       if (change == ov::KeyValueChange::didChange) { /* read op->isFinished() */ }
//   });
//   ...
//   op->removeObserver(token);
//
// Contract:
// - The observed object calls `willChangeValue(key)` before it changes the
//   value behind `key` and `didChangeValue(key)` after; every observer
//   registered for that key (and every observer of all keys) is called
//   synchronously on the announcing thread, in registration order.
// - A notification is delivered to the observers registered when it starts;
//   an observer added or removed meanwhile takes effect from the next one.
// - Observers run without any lock of this class held, so they may read the
//   object, add or remove observers, or announce further changes.
// - With no observers, announcing costs one atomic load.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/SpinLock.h"

namespace ov {

enum class KeyValueChange { willChange, didChange };

class OV_API KeyValueObservable {
  public:
    using Observer = std::function<void(std::string_view key, KeyValueChange change)>;
    using Token = std::uint64_t;

    KeyValueObservable() = default;
    virtual ~KeyValueObservable() = default;
    KeyValueObservable(const KeyValueObservable&) = delete;
    KeyValueObservable& operator=(const KeyValueObservable&) = delete;

    // Observes one key. Returns a token for `removeObserver`.
    Token addObserver(std::string key, Observer observer);
    // Observes every key this object announces.
    Token addObserver(Observer observer);
    // Removes a registration; unknown tokens are ignored. Returns whether one was removed.
    bool removeObserver(Token token);

    // Inline, so that an unobserved announcement is the one atomic load.
    void willChangeValue(std::string_view key) {
        if (hasObservers_.load(std::memory_order_acquire)) notify(key, KeyValueChange::willChange);
    }
    void didChangeValue(std::string_view key) {
        if (hasObservers_.load(std::memory_order_acquire)) notify(key, KeyValueChange::didChange);
        observedValueDidChange(key);
    }

  protected:
    // Called after the observers of a did-change notification have run.
    // Subclasses use it for their own bookkeeping (an operation tells its queue).
    virtual void observedValueDidChange(std::string_view key) {}

  private:
    struct Registration {
        Token token;
        bool allKeys;
        std::string key;
        Observer observer;
    };
    using Registrations = std::vector<Registration>;

    void notify(std::string_view key, KeyValueChange change);

    std::atomic<bool> hasObservers_{false};
    SpinLock mutex_;  // registrations change rarely; operations are many
    // Copy-on-write: a notification holds the list it started with.
    std::shared_ptr<const Registrations> registrations_;
    Token nextToken_ = 1;
};

}  // namespace ov
