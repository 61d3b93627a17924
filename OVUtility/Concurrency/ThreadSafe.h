// ov::ThreadSafe<Value>: a value that lives on a caller-supplied dispatch
// queue; reads run as `sync` blocks, writes as asynchronous barrier blocks.
//
//   auto queue = ov::DispatchQueue::make("counts", ov::DispatchQueue::Attributes::concurrent);
//   auto counter = ov::ThreadSafe<int>::make(0, queue);
//   counter->atomically([](int& v) { ++v; });   // returns at once; runs later, exclusively
//   int now = counter->value();                   // sees every earlier atomically()
//
// - On a concurrent queue reads run alongside each other and writes are
//   exclusive (barriers); on a serial queue everything simply runs in order.
// - `value()` issued after `atomically(...)` sees the mutation, because the
//   queue orders the barrier before the later `sync`.
// - Never call `value()` from inside a mutation on the same queue: that is a
//   `sync` onto the queue being run (the dispatch runtime stops the process
//   for a serial queue; on a concurrent queue it waits forever for itself).
// - A submitted mutation keeps the object and its closure alive until it has
//   run, so the object is shared (created by `make`).
#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "OVUtility/Platform/DispatchQueue.h"

namespace ov {

template <typename Value>
class ThreadSafe : public std::enable_shared_from_this<ThreadSafe<Value>> {
  public:
    static std::shared_ptr<ThreadSafe> make(Value value, std::shared_ptr<DispatchQueue> queue) {
        return std::shared_ptr<ThreadSafe>(new ThreadSafe(std::move(value), std::move(queue)));
    }

    ThreadSafe(const ThreadSafe&) = delete;
    ThreadSafe& operator=(const ThreadSafe&) = delete;

    // A copy of the value, read inside a `sync` block on the queue.
    Value value() const {
        return queue_->sync([this] { return value_; });
    }

    // Submits `mutation` as a barrier block and returns at once.
    void atomically(std::function<void(Value&)> mutation) {
        auto self = this->shared_from_this();
        queue_->asyncBarrier(
            [self = std::move(self), mutation = std::move(mutation)] { mutation(self->value_); });
    }

    const std::shared_ptr<DispatchQueue>& queue() const { return queue_; }

  private:
    ThreadSafe(Value value, std::shared_ptr<DispatchQueue> queue)
        : value_(std::move(value)), queue_(std::move(queue)) {}

    Value value_;
    std::shared_ptr<DispatchQueue> queue_;
};

}  // namespace ov
