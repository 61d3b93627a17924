#include "OVUtility/Concurrency/DispatchQueueReaderWriter.h"

#include "OVUtility/Platform/OperationQueue.h"

namespace ov {

bool isCurrentOperationQueueOn(const DispatchQueue& queue) {
    return OperationQueue::currentRunsOn(queue);
}

void exclusiveWrite(DispatchQueue& queue, DispatchBlock block) {
    if (isCurrentOperationQueueOn(queue)) {
        block();
    } else {
        queue.asyncBarrier(std::move(block));
    }
}

std::shared_ptr<DispatchQueue> memoryCacheAccess() {
    static auto* const queue = new std::shared_ptr<DispatchQueue>(DispatchQueue::make(
        "com.orvanta.memory-cache.rwLock", DispatchQueue::Attributes::concurrent));
    return *queue;
}

}  // namespace ov
