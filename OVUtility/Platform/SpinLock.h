// ov::SpinLock: a one-byte lock for rarely contended, very short critical
// sections in objects that exist by the hundred thousand (operations: their
// observer list, name and blocks). Satisfies BasicLockable, so it works with
// std::lock_guard. Waiters spin briefly, then yield the processor.
//
//   ov::SpinLock lock;
//   { std::lock_guard guard(lock); name_ = std::move(name); }
#pragma once

#include <atomic>
#include <thread>

namespace ov {

class SpinLock {
  public:
    void lock() noexcept {
        for (int spins = 0; locked_.exchange(true, std::memory_order_acquire); ++spins) {
            while (locked_.load(std::memory_order_relaxed)) {
                if (++spins > 64) std::this_thread::yield();
            }
        }
    }
    bool try_lock() noexcept { return !locked_.exchange(true, std::memory_order_acquire); }
    void unlock() noexcept { locked_.store(false, std::memory_order_release); }

  private:
    std::atomic<bool> locked_{false};
};

}  // namespace ov
