// ov::DeferredLock<Context>: a gate that holds back work until it is opened,
// and hands the opener's context to the first block delivered afterwards.
//
//   auto gate = ov::DeferredLock<Session>::make("session-gate");
//   gate->lock();
//   gate->deferUntilUnlocked([](std::optional<Session> s) { /* main thread */ });
//   gate->deferUntilUnlocked([](std::optional<Session> s) { /* s is empty */ });
//   gate->unlock(session);          // both run, in order, on the main queue
//
// Deferred blocks go through a serial operation queue (suspended while
// locked) and are then delivered on the main queue, in the order deferred.
// Each delivered block reads the stored context and clears it afterwards, so
// only the first block after an `unlock(context)` sees the context; later
// ones see none until the next unlock stores a new one. This hand-over is
// intended. Blocks hold the lock weakly: once it is gone they get no context.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "OVUtility/Platform/DispatchQueue.h"
#include "OVUtility/Platform/OperationQueue.h"

namespace ov {

template <typename Context>
class DeferredLock : public std::enable_shared_from_this<DeferredLock<Context>> {
    struct Tag {};

  public:
    using Block = std::function<void(std::optional<Context>)>;

    static std::shared_ptr<DeferredLock> make(std::string name) {
        return std::make_shared<DeferredLock>(Tag{}, std::move(name));
    }
    DeferredLock(Tag, std::string name) : operationQueue_(OperationQueue::make(std::move(name))) {
        operationQueue_->setMaxConcurrentOperationCount(1);
    }

    const std::shared_ptr<OperationQueue>& operationQueue() const { return operationQueue_; }

    void lock() { operationQueue_->setSuspended(true); }

    void unlock(std::optional<Context> context = std::nullopt) {
        {
            std::lock_guard guard(mutex_);
            context_ = std::move(context);
        }
        operationQueue_->setSuspended(false);
    }

    void deferUntilUnlocked(Block block) {
        std::weak_ptr<DeferredLock> weak = this->weak_from_this();
        operationQueue_->addOperation([weak, block = std::move(block)] {
            DispatchQueue::main()->async([weak, block] {
                std::optional<Context> context;
                if (auto self = weak.lock()) {
                    std::lock_guard guard(self->mutex_);
                    context = self->context_;
                }
                block(std::move(context));
                if (auto self = weak.lock()) {
                    std::lock_guard guard(self->mutex_);
                    self->context_.reset();
                }
            });
        });
    }

  private:
    std::shared_ptr<OperationQueue> operationQueue_;
    std::mutex mutex_;
    std::optional<Context> context_;
};

}  // namespace ov
