// ov::OperationQueue: runs Operations on the dispatch worker pool, highest
// queue priority first, at most `maxConcurrentOperationCount` at a time.
//
//   auto queue = ov::OperationQueue::make("downloads");
//   queue->setMaxConcurrentOperationCount(2);
//   queue->addOperation([] { fetch(); });            // a BlockOperation
//   queue->addOperation(myOperation);
//   queue->waitUntilAllOperationsAreFinished();      // never from one of its operations
//
// Contract:
// - Ready operations start in `queuePriority` order, FIFO within a priority.
//   An operation whose `isReady()` is false waits until it announces "isReady".
// - An operation occupies one slot from `start()` until it announces
//   "isFinished" (key-value observation); asynchronous operations therefore
//   keep their slot after `start()` returns. It then leaves `operations()`.
// - `maxConcurrentOperationCount`: 1 makes the queue serial, -1
//   (`defaultMaxConcurrentOperationCount`) means the library's fixed default of
//   `kDefaultConcurrency` (64) operations at once; 0 runs nothing.
// - `setSuspended(true)` holds back starts only; running operations go on.
// - Operations run on `underlyingQueue()` when one is set, else on the global
//   dispatch queue of the queue's quality of service. A worker drains several
//   operations in a row, so a trivial operation costs no thread wake-up.
// - `current()` is the queue whose operation the calling thread is running;
//   on the main thread outside any operation it is `main()`.
// - `main()` runs its operations one at a time on the main queue (so only
//   while the main run loop is pumped).
// - A queue stays alive while it holds operations, even if its owner lets go.
// - Misuse (adding an operation twice, to two queues, or after it ran) is
//   logged and ignored.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/DispatchQueue.h"
#include "OVUtility/Platform/Operation.h"
#include "OVUtility/Platform/QualityOfService.h"

namespace ov {

class OV_API OperationQueue : public std::enable_shared_from_this<OperationQueue> {
  public:
    static constexpr int defaultMaxConcurrentOperationCount = -1;
    static constexpr int kDefaultConcurrency = 64;

    static std::shared_ptr<OperationQueue> make(std::optional<std::string> name = std::nullopt);
    static std::shared_ptr<OperationQueue> main();
    static std::shared_ptr<OperationQueue> current();

  private:
    struct Tag {};

  public:
    // Use `make`; queues always live in a shared_ptr.
    explicit OperationQueue(Tag);
    ~OperationQueue();
    OperationQueue(const OperationQueue&) = delete;
    OperationQueue& operator=(const OperationQueue&) = delete;

    void addOperation(std::shared_ptr<Operation> operation);
    void addOperation(std::function<void()> block);

    // Operations not yet finished, in the order they were added.
    std::vector<std::shared_ptr<Operation>> operations() const;
    std::size_t operationCount() const;

    int maxConcurrentOperationCount() const;
    void setMaxConcurrentOperationCount(int count);

    bool isSuspended() const;
    void setSuspended(bool suspended);

    std::optional<std::string> name() const;
    void setName(std::optional<std::string> name);

    QualityOfService qualityOfService() const;
    void setQualityOfService(QualityOfService qos);

    std::shared_ptr<DispatchQueue> underlyingQueue() const;
    // True when the operation queue the calling thread runs (see `current()`)
    // has `queue` as its underlying queue. Lock-free and allocation-free, for
    // hot paths such as reader/writer helpers.
    static bool currentRunsOn(const DispatchQueue& queue);
    void setUnderlyingQueue(std::shared_ptr<DispatchQueue> queue);

    // Cancels every operation in the queue (they still start, and finish at once).
    void cancelAllOperations();
    // Blocks until the queue holds no operation.
    void waitUntilAllOperationsAreFinished();

  private:
    friend class Operation;
    static constexpr int kLevels = 5;
    static constexpr int kDrainBatch = 128;

    int effectiveMaxLocked() const;
    bool canStartLocked() const;
    Operation* popPendingLocked(std::vector<std::shared_ptr<Operation>>& drops);
    void pushPendingLocked(Operation* op, bool front);
    std::shared_ptr<DispatchQueue> targetQueueLocked() const;
    // Operations taken to be started, collected under the lock and handed to
    // runners after it: a small fixed batch, so that adding an operation
    // allocates nothing for it.
    struct StartBatch {
        static constexpr int kCapacity = 8;
        std::shared_ptr<Operation> operations[kCapacity];
        int count = 0;
        std::shared_ptr<DispatchQueue> target;
        bool full() const { return count == kCapacity; }
    };
    void collectStartableLocked(StartBatch& batch, std::vector<std::shared_ptr<Operation>>& drops);
    // Dispatches a collected batch; returns whether it was full (more may wait).
    bool dispatchBatch(StartBatch& batch);
    void pump();
    void dispatchRunner(std::shared_ptr<Operation> op, std::shared_ptr<DispatchQueue> target);
    void runLoop(std::shared_ptr<Operation> op);
    void operationDidFinish(Operation* op);
    // Unlinks a finished operation; true when it held a slot.
    bool finishLocked(Operation* op, std::shared_ptr<Operation>& release,
                      std::shared_ptr<OperationQueue>& dropSelf);
    void operationDidBecomeReady(Operation* op);

    mutable std::mutex mutex_;
    std::condition_variable idle_;
    Operation* head_ = nullptr;
    Operation* tail_ = nullptr;
    Operation* pendingHead_[kLevels] = {};
    Operation* pendingTail_[kLevels] = {};
    std::size_t pendingCount_ = 0;
    std::vector<Operation*> notReady_;
    std::size_t count_ = 0;
    int running_ = 0;
    int waiters_ = 0;
    int maxConcurrent_ = defaultMaxConcurrentOperationCount;
    std::atomic<bool> suspended_{false};  // written under mutex_, read anywhere
    bool isMainQueue_ = false;
    std::optional<std::string> name_;
    QualityOfService qos_ = QualityOfService::defaultQoS;
    std::shared_ptr<DispatchQueue> underlying_;
    std::atomic<const DispatchQueue*> underlyingRaw_{nullptr};  // mirrors underlying_
    std::shared_ptr<OperationQueue> keepAlive_;
};

}  // namespace ov
