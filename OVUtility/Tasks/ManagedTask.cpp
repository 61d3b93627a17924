#include "OVUtility/Tasks/ManagedTask.h"

#include "OVUtility/Tasks/TaskManager.h"
#include "OVUtility/Tasks/UUIDString.h"

namespace ov {

ManagedTask::ManagedTask(std::string_view idPrefix)
    : taskId_(makeIdentifier(idPrefix)), taskExecutor_(TaskManager::sharedInstance()) {}

std::string ManagedTask::taskId() const {
    std::lock_guard lock(idMutex_);
    return taskId_;
}

void ManagedTask::setTaskId(std::string taskId) {
    std::lock_guard lock(idMutex_);
    taskId_.swap(taskId);  // the old id is freed after the lock
}

void ManagedTask::replaceTaskId(std::string_view prefix) {
    setTaskId(makeIdentifier(prefix));
}

bool ManagedTask::canBeIndexed() const {
    return canBeIndexed_.load(std::memory_order_acquire);
}

void ManagedTask::setCanBeIndexed(bool canBeIndexed) {
    canBeIndexed_.store(canBeIndexed, std::memory_order_release);
}

std::shared_ptr<TaskOperationExecutor> ManagedTask::taskExecutor() const {
    std::lock_guard lock(idMutex_);
    return taskExecutor_;
}

void ManagedTask::setTaskExecutor(std::shared_ptr<TaskOperationExecutor> executor) {
    std::lock_guard lock(idMutex_);
    taskExecutor_.swap(executor);  // a replaced executor is released after the lock
}

bool ManagedTask::shouldRemoveQueueOnComplete() const {
    return shouldRemoveQueueOnComplete_.load(std::memory_order_acquire);
}

void ManagedTask::setShouldRemoveQueueOnComplete(bool remove) {
    shouldRemoveQueueOnComplete_.store(remove, std::memory_order_release);
}

}  // namespace ov
