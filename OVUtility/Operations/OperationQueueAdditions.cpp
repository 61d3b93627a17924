#include "OVUtility/Operations/OperationQueueAdditions.h"

#include "OVUtility/Operations/SafeOperation.h"
#include "OVUtility/Platform/OperationQueue.h"

namespace ov {

std::shared_ptr<OperationQueue> sharedCallBackQueue() {
    // Made once, thread-safely, and kept for the life of the process.
    static auto* const queue = [] {
        auto q = OperationQueue::make();
        q->setMaxConcurrentOperationCount(1);
        q->setQualityOfService(QualityOfService::background);
        return new std::shared_ptr<OperationQueue>(std::move(q));
    }();
    return *queue;
}

std::size_t incompleteOperationCount(const OperationQueue& queue) {
    std::size_t count = 0;
    for (const auto& op : queue.operations()) {
        if (!op->isFinished()) ++count;
    }
    return count;
}

void addSafeOperationTask(OperationQueue& queue, std::shared_ptr<OperationTask> task) {
    if (!task) return;
    // An ended task refuses a new operation and is not run again.
    if (auto operation = SafeOperation::make(std::move(task))) queue.addOperation(operation);
}

}  // namespace ov
