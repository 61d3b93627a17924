#include "OVUtility/Platform/DispatchSemaphore.h"

#include "OVUtility/Platform/WorkerPool.h"

namespace ov {

bool DispatchSemaphore::signal() {
    std::lock_guard lock(mutex_);
    ++value_;
    if (waiters_ > 0) {
        cv_.notify_one();
        return true;
    }
    return false;
}

bool DispatchSemaphore::wait(DispatchTime deadline) {
    std::unique_lock lock(mutex_);
    if (value_ > 0) {
        --value_;
        return true;
    }
    // About to block: let the worker pool start another thread if work waits.
    WorkerPool::BlockingScope blocking;
    ++waiters_;
    bool acquired;
    if (deadline.isDistantFuture()) {
        cv_.wait(lock, [&] { return value_ > 0; });
        acquired = true;
    } else {
        acquired = cv_.wait_until(lock, deadline.timePoint(), [&] { return value_ > 0; });
    }
    --waiters_;
    if (acquired) --value_;
    return acquired;
}

}  // namespace ov
