// ov::Atomic<Value>: a box whose value is read and written under one
// non-recursive lock. Internal to the library (clients use ThreadSafe or
// their own primitives).
//
//   ov::Atomic<std::string> name("a");
//   name.set("b");
//   std::string old = name.getAndSet("c");   // "b"; nothing can slip in between
//
// No operation calls out while holding the lock, so a get/set can never
// re-enter it. Any copyable type works; the old value is destroyed inside
// the lock when replaced.
#pragma once

#include <mutex>
#include <utility>

namespace ov {

template <typename Value>
class Atomic {
  public:
    explicit Atomic(Value value) : value_(std::move(value)) {}
    Atomic(const Atomic&) = delete;
    Atomic& operator=(const Atomic&) = delete;

    Value get() const {
        std::lock_guard guard(lock_);
        return value_;
    }

    void set(Value value) {
        std::lock_guard guard(lock_);
        value_ = std::move(value);
    }

    // One acquisition covers the read of the old value and the store.
    Value getAndSet(Value value) {
        std::lock_guard guard(lock_);
        Value old = std::move(value_);
        value_ = std::move(value);
        return old;
    }

  private:
    mutable std::mutex lock_;
    Value value_;
};

}  // namespace ov
