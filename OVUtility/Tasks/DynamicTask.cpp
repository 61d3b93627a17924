#include "OVUtility/Tasks/DynamicTask.h"

#include "OVUtility/Operations/OperationBridge.h"
#include "OVUtility/Operations/OperationState.h"

namespace ov {

DynamicTask::DynamicTask() : ManagedTask("--dynamic-task-") {}

std::optional<std::string> DynamicTask::exclusiveId() const {
    std::lock_guard lock(mutex_);
    return exclusiveId_;
}

void DynamicTask::setExclusiveId(std::optional<std::string> exclusiveId) {
    std::lock_guard lock(mutex_);
    exclusiveId_ = std::move(exclusiveId);
}

bool DynamicTask::isBlockedAtPausablePoint() const {
    std::lock_guard lock(pauseMutex_);
    return semaphoreLock_ != nullptr;
}

// ------------------------------------------------------------------ pausing

void DynamicTask::pause() {
    if (auto bridge = operationBridge()) bridge->update(TaskStatePaused::instance());
}

void DynamicTask::resume() {
    if (auto bridge = operationBridge()) bridge->update(TaskStateResumed::instance());
}

void DynamicTask::markPausablePoint() {
    std::shared_ptr<DispatchSemaphore> semaphore;
    {
        // The paused test and the semaphore's creation happen under the
        // task's mutex, and didChange() takes it after the state has moved
        // on: a resume can therefore never slip between them unseen.
        std::lock_guard lock(pauseMutex_);
        if (semaphoreLock_ || !operationBridge() || !isInState(TaskStatePaused::instance())) {
            return;
        }
        semaphore = std::make_shared<DispatchSemaphore>(0);
        semaphoreLock_ = semaphore;
    }
    semaphore->wait();
}

void DynamicTask::releasePausablePoint() {
    std::shared_ptr<DispatchSemaphore> semaphore;
    {
        std::lock_guard lock(pauseMutex_);
        semaphore = std::move(semaphoreLock_);
        semaphoreLock_.reset();
    }
    if (semaphore) semaphore->signal();
}

bool DynamicTask::shouldChange(const TaskState& state) {
    auto bridge = operationBridge();
    if (!bridge) return false;
    if (!bridge->isOperating()) return false;
    if (state == TaskStatePaused::instance()) {
        if (bridge->isInState(TaskStatePaused::instance())) return false;
        return !markCancelled();  // a cancelled task cannot be paused
    }
    if (state == TaskStateResumed::instance()) {
        return bridge->isInState(TaskStatePaused::instance());  // only a paused task resumes
    }
    return true;
}

void DynamicTask::didChange(const TaskState& from, const TaskState& to) {
    GeneralTask::didChange(from, to);
    if (to == TaskStateResumed::instance()) {
        releasePausablePoint();
    } else if (to == OperationStateCanceled::instance() ||
               to == OperationStateFinished::instance()) {
        // The operation ended (cancelled, expired) while the work was blocked
        // at a pausable point: let the thread go instead of holding it forever.
        releasePausablePoint();
    }
}

}  // namespace ov
