#include "OVUtility/Concurrency/DispatchQueueExecution.h"

namespace ov {

bool isRunningOn(DispatchQueue& queue) {
    // A key that lives for this call only and a one-byte marker under it.
    DispatchSpecificKey<char> key;
    auto marker = std::make_shared<char>(0);
    queue.setSpecific(key, marker);
    const bool onQueue = DispatchQueue::getSpecificCurrent(key) == marker;
    queue.setSpecific<char>(key, nullptr);
    return onQueue;
}

bool isOnMainQueue() {
    return isRunningOn(*DispatchQueue::main());
}

void executeOnMainQueue(bool blocking, DispatchBlock block) {
    if (isOnMainQueue()) {
        block();
    } else if (blocking) {
        DispatchQueue::main()->sync(block);
    } else {
        DispatchQueue::main()->async(std::move(block));
    }
}

void executeOnNonMainQueue(bool blocking, DispatchBlock block) {
    if (!isOnMainQueue()) {
        block();
    } else if (blocking) {
        DispatchQueue::global()->sync(block);
    } else {
        DispatchQueue::global()->async(std::move(block));
    }
}

void execute(DispatchQueue& queue, bool blocking, DispatchBlock block) {
    if (isRunningOn(queue)) {
        block();
    } else if (blocking) {
        queue.sync(block);
    } else {
        queue.async(std::move(block));
    }
}

}  // namespace ov
