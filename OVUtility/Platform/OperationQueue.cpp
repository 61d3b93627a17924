#include "OVUtility/Platform/OperationQueue.h"

#include <algorithm>

#include "OVLog/OVLog.h"
#include "OVUtility/Platform/MainRunLoop.h"

namespace ov {

namespace {

ovlog::Module& logModule() {
    static ovlog::Module& module = ovlog::Module::named("OVUtility");
    return module;
}

// The queue and operation that the calling thread is running, if any.
struct RunnerFrame {
    OperationQueue* queue = nullptr;
    Operation* operation = nullptr;
    bool finishedInline = false;  // `operation` announced "isFinished" inside start()
};
thread_local RunnerFrame tRunner;

int levelIndex(int queuePriority) {
    return (Operation::normalizedQueuePriority(queuePriority) + 8) / 4;
}

}  // namespace

OperationQueue::OperationQueue(Tag) {}

OperationQueue::~OperationQueue() {
    // Operations that finished while still waiting in a priority FIFO (started
    // by hand) keep a reference to themselves until they come up; release them.
    for (int level = 0; level < kLevels; ++level) {
        for (Operation* op = pendingHead_[level]; op;) {
            Operation* next = op->pendingNext_;
            op->pendingNext_ = nullptr;
            op->membership_ = Operation::Membership::none;
            auto release = std::move(op->queueRef_);
            op = next;
        }
    }
}

std::shared_ptr<OperationQueue> OperationQueue::make(std::optional<std::string> name) {
    auto queue = std::make_shared<OperationQueue>(Tag{});
    queue->name_ = std::move(name);
    return queue;
}

std::shared_ptr<OperationQueue> OperationQueue::main() {
    // Created once and never destroyed: operations may be finishing on it at exit.
    static auto* instance = [] {
        auto queue = std::make_shared<OperationQueue>(Tag{});
        queue->name_ = "main";
        queue->maxConcurrent_ = 1;
        queue->qos_ = QualityOfService::userInteractive;
        queue->underlying_ = DispatchQueue::main();
        queue->underlyingRaw_.store(queue->underlying_.get());
        queue->isMainQueue_ = true;
        return new std::shared_ptr<OperationQueue>(std::move(queue));
    }();
    return *instance;
}

std::shared_ptr<OperationQueue> OperationQueue::current() {
    if (tRunner.queue) return tRunner.queue->shared_from_this();
    if (MainRunLoop::isMainThread()) return main();
    return nullptr;
}

// ------------------------------------------------------------------ properties

std::vector<std::shared_ptr<Operation>> OperationQueue::operations() const {
    std::lock_guard lock(mutex_);
    std::vector<std::shared_ptr<Operation>> all;
    all.reserve(count_);
    for (Operation* op = head_; op; op = op->next_) all.push_back(op->queueRef_);
    return all;
}

std::size_t OperationQueue::operationCount() const {
    std::lock_guard lock(mutex_);
    return count_;
}

int OperationQueue::maxConcurrentOperationCount() const {
    std::lock_guard lock(mutex_);
    return maxConcurrent_;
}

void OperationQueue::setMaxConcurrentOperationCount(int count) {
    if (count < defaultMaxConcurrentOperationCount) {
        OVLOG_ERROR(logModule(), "OperationQueue: invalid maxConcurrentOperationCount {} ignored",
                    count);
        return;
    }
    {
        std::lock_guard lock(mutex_);
        if (isMainQueue_) {
            OVLOG_ERROR(logModule(), "OperationQueue: the main queue stays serial");
            return;
        }
        maxConcurrent_ = count;
    }
    pump();
}

bool OperationQueue::isSuspended() const {
    return suspended_.load(std::memory_order_acquire);
}

void OperationQueue::setSuspended(bool suspended) {
    {
        std::lock_guard lock(mutex_);
        suspended_.store(suspended, std::memory_order_release);
    }
    if (!suspended) pump();
}

std::optional<std::string> OperationQueue::name() const {
    std::lock_guard lock(mutex_);
    return name_;
}

void OperationQueue::setName(std::optional<std::string> name) {
    std::lock_guard lock(mutex_);
    name_ = std::move(name);
}

QualityOfService OperationQueue::qualityOfService() const {
    std::lock_guard lock(mutex_);
    return qos_;
}

void OperationQueue::setQualityOfService(QualityOfService qos) {
    std::lock_guard lock(mutex_);
    qos_ = qos;
}

std::shared_ptr<DispatchQueue> OperationQueue::underlyingQueue() const {
    std::lock_guard lock(mutex_);
    return underlying_;
}

void OperationQueue::setUnderlyingQueue(std::shared_ptr<DispatchQueue> queue) {
    std::lock_guard lock(mutex_);
    if (isMainQueue_) {
        OVLOG_ERROR(logModule(), "OperationQueue: the main queue's underlying queue is fixed");
        return;
    }
    underlying_ = std::move(queue);
    underlyingRaw_.store(underlying_.get(), std::memory_order_release);
}

bool OperationQueue::currentRunsOn(const DispatchQueue& queue) {
    static const OperationQueue* const mainQueue = main().get();
    const OperationQueue* current = tRunner.queue;
    if (!current && MainRunLoop::isMainThread()) current = mainQueue;
    return current && current->underlyingRaw_.load(std::memory_order_acquire) == &queue;
}

// ------------------------------------------------------------------ scheduling

int OperationQueue::effectiveMaxLocked() const {
    return maxConcurrent_ < 0 ? kDefaultConcurrency : maxConcurrent_;
}

bool OperationQueue::canStartLocked() const {
    return !suspended_.load(std::memory_order_relaxed) && pendingCount_ > 0 &&
           running_ < effectiveMaxLocked();
}

void OperationQueue::pushPendingLocked(Operation* op, bool front) {
    int level = levelIndex(op->queuePriority());
    op->membership_ = Operation::Membership::pending;
    if (front) {
        op->pendingNext_ = pendingHead_[level];
        pendingHead_[level] = op;
        if (!pendingTail_[level]) pendingTail_[level] = op;
    } else {
        op->pendingNext_ = nullptr;
        if (pendingTail_[level]) {
            pendingTail_[level]->pendingNext_ = op;
        } else {
            pendingHead_[level] = op;
        }
        pendingTail_[level] = op;
    }
    ++pendingCount_;
}

Operation* OperationQueue::popPendingLocked(std::vector<std::shared_ptr<Operation>>& drops) {
    for (int level = kLevels - 1; level >= 0; --level) {
        while (Operation* op = pendingHead_[level]) {
            pendingHead_[level] = op->pendingNext_;
            if (!pendingHead_[level]) pendingTail_[level] = nullptr;
            op->pendingNext_ = nullptr;
            --pendingCount_;
            if (op->membership_ == Operation::Membership::removedWhilePending) {
                // Finished before it was started (e.g. started by hand): drop it.
                op->membership_ = Operation::Membership::none;
                drops.push_back(std::move(op->queueRef_));
                continue;
            }
            return op;
        }
    }
    return nullptr;
}

std::shared_ptr<DispatchQueue> OperationQueue::targetQueueLocked() const {
    if (underlying_) return underlying_;
    return DispatchQueue::global(
        qos_ == QualityOfService::unspecified ? QualityOfService::defaultQoS : qos_);
}

void OperationQueue::collectStartableLocked(StartBatch& batch,
                                            std::vector<std::shared_ptr<Operation>>& drops) {
    while (!batch.full() && canStartLocked()) {
        Operation* op = popPendingLocked(drops);
        if (!op) break;
        op->membership_ = Operation::Membership::running;
        ++running_;
        batch.operations[batch.count++] = op->queueRef_;
    }
    if (batch.count > 0) batch.target = targetQueueLocked();
}

bool OperationQueue::dispatchBatch(StartBatch& batch) {
    for (int i = 0; i < batch.count; ++i)
        dispatchRunner(std::move(batch.operations[i]), batch.target);
    return batch.full();
}

void OperationQueue::addOperation(std::function<void()> block) {
    addOperation(BlockOperation::make(std::move(block)));
}

void OperationQueue::addOperation(std::shared_ptr<Operation> op) {
    if (!op) return;
    if (op->isFinished() || op->isExecuting()) {
        OVLOG_ERROR(logModule(), "OperationQueue: operation '{}' already ran; not added",
                    op->name());
        return;
    }
    if (op->everQueued_.exchange(true, std::memory_order_acq_rel)) {
        OVLOG_ERROR(logModule(), "OperationQueue: operation '{}' was already added to a queue",
                    op->name());
        return;
    }
    StartBatch batch;
    std::vector<std::shared_ptr<Operation>> drops;
    {
        std::lock_guard lock(mutex_);
        Operation* raw = op.get();
        raw->queueRef_ = std::move(op);
        raw->prev_ = tail_;
        raw->next_ = nullptr;
        if (tail_) {
            tail_->next_ = raw;
        } else {
            head_ = raw;
        }
        tail_ = raw;
        if (count_++ == 0 && !isMainQueue_) keepAlive_ = weak_from_this().lock();
        raw->queue_.store(this, std::memory_order_release);
        pushPendingLocked(raw, /*front=*/false);
        collectStartableLocked(batch, drops);
    }
    if (dispatchBatch(batch)) pump();
}

void OperationQueue::pump() {
    bool more = true;
    while (more) {
        StartBatch batch;
        std::vector<std::shared_ptr<Operation>> drops;
        {
            std::lock_guard lock(mutex_);
            collectStartableLocked(batch, drops);
        }
        more = dispatchBatch(batch);
    }
}

void OperationQueue::dispatchRunner(std::shared_ptr<Operation> op,
                                    std::shared_ptr<DispatchQueue> target) {
    // The references travel in the operation itself (see Operation::runnerRef_):
    // a block capturing only a pointer fits in the function's inline storage.
    Operation* raw = op.get();
    raw->runnerQueue_ = shared_from_this();
    raw->runnerRef_ = std::move(op);
    target->async([raw] {
        auto self = std::move(raw->runnerQueue_);
        self->runLoop(std::move(raw->runnerRef_));
    });
}

void OperationQueue::runLoop(std::shared_ptr<Operation> op) {
    const RunnerFrame saved = tRunner;
    int ran = 0;
    bool finishedInline = false;
    std::vector<std::shared_ptr<Operation>> drops;
    while (op) {
        if (!op->isReady()) {
            // Park it until it announces "isReady", then look again in case it
            // became ready before it was parked.
            Operation* raw = op.get();
            {
                std::lock_guard lock(mutex_);
                --running_;
                raw->membership_ = Operation::Membership::notReady;
                notReady_.push_back(raw);
            }
            operationDidBecomeReady(raw);
        } else {
            tRunner = RunnerFrame{this, op.get(), false};
            op->start();
            finishedInline = tRunner.finishedInline;
            tRunner = saved;
            ++ran;
        }

        // References are dropped after the lock is released: destructors of
        // operations may call back into the queue.
        std::shared_ptr<Operation> done = std::move(op);
        std::shared_ptr<Operation> finished;
        std::shared_ptr<OperationQueue> dropSelf;
        std::shared_ptr<DispatchQueue> target;
        {
            std::lock_guard lock(mutex_);
            // An operation that finished inside start() is let go here, in the
            // same critical section that takes the next one.
            if (finishedInline) finishLocked(done.get(), finished, dropSelf);
            finishedInline = false;
            if (canStartLocked()) {
                if (Operation* next = popPendingLocked(drops)) {
                    next->membership_ = Operation::Membership::running;
                    ++running_;
                    op = next->queueRef_;
                    // Hand the rest to a fresh block now and then, so that a
                    // shared underlying queue (the main queue) gets to run other work.
                    if (ran >= kDrainBatch) target = targetQueueLocked();
                }
            }
        }
        drops.clear();
        if (target) {
            dispatchRunner(std::move(op), std::move(target));
            return;
        }
    }
}

void OperationQueue::operationDidFinish(Operation* op) {
    if (tRunner.queue == this && tRunner.operation == op) {
        // The runner starting this operation lets it go when start() returns.
        tRunner.finishedInline = true;
        return;
    }
    std::shared_ptr<Operation> release;
    std::shared_ptr<OperationQueue> dropSelf;
    bool startMore;
    {
        std::lock_guard lock(mutex_);
        startMore = finishLocked(op, release, dropSelf);
    }
    if (startMore) pump();
}

bool OperationQueue::finishLocked(Operation* op, std::shared_ptr<Operation>& release,
                                  std::shared_ptr<OperationQueue>& dropSelf) {
    bool freedSlot = false;
    if (op->prev_) {
        op->prev_->next_ = op->next_;
    } else {
        head_ = op->next_;
    }
    if (op->next_) {
        op->next_->prev_ = op->prev_;
    } else {
        tail_ = op->prev_;
    }
    op->prev_ = op->next_ = nullptr;
    switch (op->membership_) {
        case Operation::Membership::running:
            --running_;
            freedSlot = true;
            op->membership_ = Operation::Membership::none;
            release = std::move(op->queueRef_);
            break;
        case Operation::Membership::pending:
            // Still linked in its priority FIFO; dropped when it comes up.
            op->membership_ = Operation::Membership::removedWhilePending;
            break;
        case Operation::Membership::notReady:
            notReady_.erase(std::find(notReady_.begin(), notReady_.end(), op));
            op->membership_ = Operation::Membership::none;
            release = std::move(op->queueRef_);
            break;
        default:
            break;
    }
    if (--count_ == 0) {
        if (waiters_ > 0) idle_.notify_all();
        dropSelf = std::move(keepAlive_);
    }
    return freedSlot;
}

void OperationQueue::operationDidBecomeReady(Operation* op) {
    if (!op->isReady()) return;
    {
        std::lock_guard lock(mutex_);
        if (op->membership_ != Operation::Membership::notReady) return;
        notReady_.erase(std::find(notReady_.begin(), notReady_.end(), op));
        pushPendingLocked(op, /*front=*/false);
    }
    pump();
}

// ------------------------------------------------------------------ bulk

void OperationQueue::cancelAllOperations() {
    for (auto& op : operations()) op->cancel();
}

void OperationQueue::waitUntilAllOperationsAreFinished() {
    if (tRunner.queue == this) {
        OVLOG_ERROR(logModule(),
                    "OperationQueue: waitUntilAllOperationsAreFinished called from one of its "
                    "own operations; returning instead of deadlocking");
        return;
    }
    std::unique_lock lock(mutex_);
    ++waiters_;
    idle_.wait(lock, [this] { return count_ == 0; });
    --waiters_;
}

}  // namespace ov
