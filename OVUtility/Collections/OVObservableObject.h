// OVObservableObject: a base class that keeps an ordered list of weakly held
// observers and broadcasts calls of an observer interface to them.
//
//   struct PlayerObserver { virtual ~PlayerObserver() = default; };
//   struct PlaybackListener { virtual void didStart(int track) = 0; ... };
//   class Player : public ov::OVObservableObject<PlayerObserver> { ... };
//
//   player->addObserver(ui);                             // held weakly
//   player->addPriorityObserver(logger);                 // notified first
//   player->notifyWithSelector(&PlaybackListener::didStart, 7);
//
// `Observer` is the polymorphic type every observer derives from. A broadcast
// names a member function of any interface; observers that do not implement
// that interface (`dynamic_cast` fails) are skipped silently, as are
// observers that have been destroyed. The broadcast walks a snapshot, so
// observers may add or remove observers while being notified. Dead
// references are not pruned: `hasObservers` stays true while they remain.
// No locking: use an instance from one thread.
#pragma once

#include <algorithm>
#include <memory>
#include <type_traits>
#include <vector>

#include "OVUtility/Collections/OVWeakReference.h"

namespace ov {

template <typename Observer>
class OVObservableObject {
    static_assert(std::is_polymorphic_v<Observer>,
                  "observers are found by dynamic_cast: Observer must be polymorphic");

  public:
    OVObservableObject() = default;
    virtual ~OVObservableObject() = default;

    // Appends the observer unless it is already registered.
    void addObserver(const std::shared_ptr<Observer>& observer) {
        if (!observer || find(observer) != observers_.end()) return;
        observers_.emplace_back(observer);
    }

    // Moves (or inserts) the observer to the front, so it is notified first.
    void addPriorityObserver(const std::shared_ptr<Observer>& observer) {
        if (!observer) return;
        if (auto it = find(observer); it != observers_.end()) observers_.erase(it);
        observers_.insert(observers_.begin(), OVWeakReference<Observer>(observer));
    }

    void removeObserver(const std::shared_ptr<Observer>& observer) {
        if (!observer) return;
        if (auto it = find(observer); it != observers_.end()) observers_.erase(it);
    }

    // True while any reference remains, live or dead.
    bool hasObservers() const { return !observers_.empty(); }

    // The live observers, in notification order.
    std::vector<std::shared_ptr<Observer>> allObservers() const {
        std::vector<std::shared_ptr<Observer>> live;
        for (const auto& ref : observers_)
            if (auto target = ref.nonRetainedObject()) live.push_back(std::move(target));
        return live;
    }

    const std::vector<OVWeakReference<Observer>>& observers() const { return observers_; }

    // Calls `(observer->*selector)(args...)` on every live observer that
    // implements `Interface`, in order. Arguments are passed to each observer
    // as the same values (never moved from).
    template <typename Interface, typename... Params, typename... Args>
    void notifyWithSelector(void (Interface::*selector)(Params...), const Args&... args) const {
        const std::vector<OVWeakReference<Observer>> snapshot = observers_;
        for (const auto& ref : snapshot) {
            std::shared_ptr<Observer> target = ref.nonRetainedObject();
            if (!target) continue;
            auto* receiver = dynamic_cast<Interface*>(target.get());
            if (!receiver) continue;
            (receiver->*selector)(args...);
        }
    }

    template <typename Interface, typename... Params, typename... Args>
    void notifyWithSelector(void (Interface::*selector)(Params...) const,
                            const Args&... args) const {
        const std::vector<OVWeakReference<Observer>> snapshot = observers_;
        for (const auto& ref : snapshot) {
            std::shared_ptr<Observer> target = ref.nonRetainedObject();
            if (!target) continue;
            if (const auto* receiver = dynamic_cast<const Interface*>(target.get()))
                (receiver->*selector)(args...);
        }
    }

  private:
    auto find(const std::shared_ptr<Observer>& observer) {
        return std::find_if(observers_.begin(), observers_.end(),
                            [&](const auto& ref) { return ref.isEqual(observer); });
    }

    std::vector<OVWeakReference<Observer>> observers_;
};

}  // namespace ov
