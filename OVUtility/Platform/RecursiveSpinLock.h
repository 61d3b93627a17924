// ov::RecursiveSpinLock: a re-entrant lock for short, rarely contended
// critical sections on hot paths (the priority queue's add and poll). The
// thread that holds it may take it again; it is released when every lock()
// has been matched by an unlock(). Uncontended, taking it costs one atomic
// exchange and giving it back a plain store, a fraction of a recursive
// mutex. Waiters spin briefly, then yield the processor (see SpinLock).
// Satisfies Lockable, so it works with std::lock_guard.
//
//   ov::RecursiveSpinLock lock;
//   std::lock_guard outer(lock);
//   { std::lock_guard inner(lock); }   // same thread: no deadlock
#pragma once

#include <atomic>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/SpinLock.h"

namespace ov {

class OV_API RecursiveSpinLock {
  public:
    void lock() noexcept {
        const void* self = threadTag();
        // Only this thread ever stores its own tag, so seeing it means it holds the lock.
        if (owner_.load(std::memory_order_relaxed) == self) {
            ++depth_;
            return;
        }
        lock_.lock();
        owner_.store(self, std::memory_order_relaxed);
        depth_ = 1;
    }
    bool try_lock() noexcept {
        const void* self = threadTag();
        if (owner_.load(std::memory_order_relaxed) == self) {
            ++depth_;
            return true;
        }
        if (!lock_.try_lock()) return false;
        owner_.store(self, std::memory_order_relaxed);
        depth_ = 1;
        return true;
    }
    void unlock() noexcept {
        if (--depth_ > 0) return;
        owner_.store(nullptr, std::memory_order_relaxed);
        lock_.unlock();
    }

  private:
    // A per-thread address that tells threads apart.
    static const void* threadTag() noexcept {
        static thread_local char tag;
        return &tag;
    }

    SpinLock lock_;
    std::atomic<const void*> owner_{nullptr};
    unsigned depth_ = 0;  // touched only by the holder
};

}  // namespace ov
