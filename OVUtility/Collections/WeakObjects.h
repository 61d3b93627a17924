// WeakObjects<T>: a set of weakly held objects, compared by identity, guarded
// by its own serial dispatch queue.
//
//   ov::WeakObjects<Listener> listeners;
//   listeners.add(listener);                       // not kept alive
//   listeners.forEach([](const std::shared_ptr<Listener>& l) { l->ping(); });
//
// Contract:
// - `add`, `remove` and the snapshot taken by `forEach` run synchronously on
//   the instance's serial queue "com.orvanta.weakObjects.serialQueue" (which
//   targets the default global queue). Calling them from a block already
//   running on that queue is a programming error (the queue's `sync` ends the
//   process rather than deadlock).
// - `forEach` calls `body` after leaving the queue, on the snapshot of the
//   live members, so the body may add or remove members. An exception thrown
//   by the body stops the walk and reaches the caller.
// - A member disappears on its own when its object is destroyed. `count` is
//   read without the queue and may still include members that died since the
//   last `add`/`remove`/`forEach` purged them.
// - Empty pointers are ignored by `add` and `remove`.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <unordered_map>
#include <vector>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/DispatchQueue.h"

namespace ov {

namespace detail {
// The per-instance queue of WeakObjects (label, serial, default global target).
OV_API std::shared_ptr<DispatchQueue> makeWeakObjectsQueue();
}  // namespace detail

template <typename T>
class WeakObjects {
  public:
    WeakObjects() : serialQueue_(detail::makeWeakObjectsQueue()) {}
    WeakObjects(const WeakObjects&) = delete;
    WeakObjects& operator=(const WeakObjects&) = delete;

    std::size_t count() const { return count_.load(std::memory_order_acquire); }

    void add(const std::shared_ptr<T>& object) {
        if (!object) return;
        serialQueue_->sync([&] {
            purge();
            // A dead entry at a reused address is simply replaced.
            weakObjects_.insert_or_assign(key(object), std::weak_ptr<T>(object));
            publishCount();
        });
    }

    void remove(const std::shared_ptr<T>& object) {
        if (!object) return;
        serialQueue_->sync([&] {
            weakObjects_.erase(key(object));
            purge();
            publishCount();
        });
    }

    template <typename Body>
    void forEach(Body&& body) {
        std::vector<std::shared_ptr<T>> snapshot = serialQueue_->sync([&] {
            purge();
            publishCount();
            std::vector<std::shared_ptr<T>> live;
            live.reserve(weakObjects_.size());
            for (const auto& [address, weak] : weakObjects_)
                if (auto object = weak.lock()) live.push_back(std::move(object));
            return live;
        });
        for (const auto& object : snapshot) body(object);
    }

  private:
    static const void* key(const std::shared_ptr<T>& object) {
        return static_cast<const void*>(object.get());
    }
    void purge() {
        std::erase_if(weakObjects_, [](const auto& entry) { return entry.second.expired(); });
    }
    void publishCount() { count_.store(weakObjects_.size(), std::memory_order_release); }

    std::shared_ptr<DispatchQueue> serialQueue_;
    std::unordered_map<const void*, std::weak_ptr<T>> weakObjects_;  // confined to serialQueue_
    std::atomic<std::size_t> count_{0};
};

}  // namespace ov
