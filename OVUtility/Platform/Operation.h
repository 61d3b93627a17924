// ov::Operation and ov::BlockOperation: units of work for an OperationQueue,
// with the platform operation's flags announced through key-value observation.
//
//   auto op = ov::BlockOperation::make([] { work(); });
//   op->setQueuePriority(ov::Operation::QueuePriority::high);
//   queue->addOperation(op);
//
// A synchronous operation overrides `main()`; the inherited `start()` marks it
// executing, runs `main()` and marks it finished. An asynchronous operation
// overrides `start()` (and the flag accessors) and announces "isExecuting" and
// "isFinished" itself with `willChangeValue`/`didChangeValue` when its work
// really ends; its queue keeps its slot until it announces "isFinished".
//
// Contract:
// - Key paths announced by the base class: "isExecuting", "isFinished",
//   "isCancelled" (see KeyValueObservable for delivery rules).
// - `cancel()` only sets the cancelled flag (once, announced); a cancelled
//   operation that is started finishes at once without running `main()`.
// - `queuePriority` takes the platform's five levels (-8, -4, 0, 4, 8); any
//   other integer is rounded to the nearest level, as on the platform.
// - Dependencies between operations are not modelled: `isReady()` is true
//   unless a subclass says otherwise (a subclass that becomes ready later
//   announces "isReady" so that its queue looks at it again).
// - An operation belongs to at most one queue and runs at most once.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/KeyValueObservable.h"
#include "OVUtility/Platform/QualityOfService.h"
#include "OVUtility/Platform/SpinLock.h"

namespace ov {

class OperationQueue;

class OV_API Operation : public KeyValueObservable, public std::enable_shared_from_this<Operation> {
  public:
    // The platform's queue priorities.
    enum class QueuePriority : int { veryLow = -8, low = -4, normal = 0, high = 4, veryHigh = 8 };

    Operation() = default;
    ~Operation() override = default;

    virtual void start();
    virtual void main() {}
    virtual void cancel();

    virtual bool isReady() const { return true; }
    virtual bool isExecuting() const { return executing_.load(std::memory_order_acquire); }
    virtual bool isFinished() const { return finished_.load(std::memory_order_acquire); }
    virtual bool isCancelled() const { return cancelled_.load(std::memory_order_acquire); }
    virtual bool isAsynchronous() const { return false; }

    int queuePriority() const { return queuePriority_.load(std::memory_order_relaxed); }
    void setQueuePriority(int priority);
    void setQueuePriority(QueuePriority priority) { setQueuePriority(static_cast<int>(priority)); }

    // Default: QualityOfService::defaultQoS.
    QualityOfService qualityOfService() const { return qos_.load(std::memory_order_relaxed); }
    void setQualityOfService(QualityOfService qos) { qos_.store(qos, std::memory_order_relaxed); }

    std::string name() const;
    void setName(std::string name);

    // Rounds an arbitrary integer to the nearest platform queue priority.
    static int normalizedQueuePriority(int priority);

  protected:
    // Sets the base class's cancelled flag without announcing it; for
    // subclasses that keep and announce their own state.
    void setCancelledFlag() { cancelled_.store(true, std::memory_order_release); }

    void observedValueDidChange(std::string_view key) override;

  private:
    friend class OperationQueue;

    std::atomic<bool> executing_{false};
    std::atomic<bool> finished_{false};
    std::atomic<bool> cancelled_{false};
    std::atomic<int> queuePriority_{0};
    std::atomic<QualityOfService> qos_{QualityOfService::defaultQoS};
    mutable SpinLock nameMutex_;
    std::string name_;

    // Queue membership; every field but `queue_` is guarded by the queue's mutex.
    enum class Membership : unsigned char { none, pending, notReady, running, removedWhilePending };
    std::atomic<OperationQueue*> queue_{nullptr};
    Membership membership_ = Membership::none;
    std::atomic<bool> everQueued_{false};
    Operation* prev_ = nullptr;  // all operations of the queue, in order of addition
    Operation* next_ = nullptr;
    Operation* pendingNext_ = nullptr;     // FIFO of its priority level
    std::shared_ptr<Operation> queueRef_;  // the queue's strong reference
    // Set by the queue just before it dispatches a runner for the operation
    // and taken by that runner, so that the dispatched block is two words
    // (stored inline, no allocation) yet keeps both alive.
    std::shared_ptr<Operation> runnerRef_;
    std::shared_ptr<OperationQueue> runnerQueue_;
};

// Runs one or more blocks, in the order added, on the thread that starts it.
class OV_API BlockOperation : public Operation {
  public:
    using Block = std::function<void()>;

    static std::shared_ptr<BlockOperation> make(Block block) {
        return std::make_shared<BlockOperation>(std::move(block));
    }
    BlockOperation() = default;
    explicit BlockOperation(Block block) : first_(std::move(block)) {}

    // Adds a block; only before the operation starts.
    void addExecutionBlock(Block block);
    std::vector<Block> executionBlocks() const;

    void main() override;

  private:
    mutable SpinLock blocksMutex_;
    Block first_;
    std::vector<Block> more_;
};

}  // namespace ov
