#include "OVUtility/Platform/Operation.h"

#include "OVUtility/Platform/OperationQueue.h"

namespace ov {

namespace {
constexpr std::string_view kIsExecuting = "isExecuting";
constexpr std::string_view kIsFinished = "isFinished";
constexpr std::string_view kIsCancelled = "isCancelled";
constexpr std::string_view kIsReady = "isReady";
}  // namespace

void Operation::start() {
    if (isFinished() || isExecuting()) return;  // runs at most once
    if (isCancelled()) {
        willChangeValue(kIsFinished);
        finished_.store(true, std::memory_order_release);
        didChangeValue(kIsFinished);
        return;
    }
    willChangeValue(kIsExecuting);
    executing_.store(true, std::memory_order_release);
    didChangeValue(kIsExecuting);

    main();

    willChangeValue(kIsExecuting);
    willChangeValue(kIsFinished);
    executing_.store(false, std::memory_order_release);
    finished_.store(true, std::memory_order_release);
    didChangeValue(kIsExecuting);
    didChangeValue(kIsFinished);
}

void Operation::cancel() {
    if (cancelled_.load(std::memory_order_acquire)) return;
    willChangeValue(kIsCancelled);
    bool already = cancelled_.exchange(true, std::memory_order_acq_rel);
    didChangeValue(kIsCancelled);
    (void)already;
}

int Operation::normalizedQueuePriority(int priority) {
    if (priority <= -6) return -8;
    if (priority <= -2) return -4;
    if (priority < 2) return 0;
    if (priority < 6) return 4;
    return 8;
}

void Operation::setQueuePriority(int priority) {
    queuePriority_.store(normalizedQueuePriority(priority), std::memory_order_relaxed);
}

std::string Operation::name() const {
    std::lock_guard lock(nameMutex_);
    return name_;
}

void Operation::setName(std::string name) {
    std::lock_guard lock(nameMutex_);
    name_ = std::move(name);
}

void Operation::observedValueDidChange(std::string_view key) {
    if (key == kIsFinished) {
        OperationQueue* queue = queue_.load(std::memory_order_acquire);
        // Only the first announcement of the finished state releases the slot.
        if (queue && isFinished() &&
            queue_.compare_exchange_strong(queue, nullptr, std::memory_order_acq_rel)) {
            queue->operationDidFinish(this);
        }
    } else if (key == kIsReady) {
        if (OperationQueue* queue = queue_.load(std::memory_order_acquire)) {
            queue->operationDidBecomeReady(this);
        }
    }
}

void BlockOperation::addExecutionBlock(Block block) {
    if (!block) return;
    std::lock_guard lock(blocksMutex_);
    if (!first_) {
        first_ = std::move(block);
    } else {
        more_.push_back(std::move(block));
    }
}

std::vector<BlockOperation::Block> BlockOperation::executionBlocks() const {
    std::lock_guard lock(blocksMutex_);
    std::vector<Block> all;
    if (first_) all.push_back(first_);
    all.insert(all.end(), more_.begin(), more_.end());
    return all;
}

void BlockOperation::main() {
    // The blocks are not modified once the operation runs; no copy needed.
    if (first_) first_();
    for (auto& block : more_) block();
}

}  // namespace ov
