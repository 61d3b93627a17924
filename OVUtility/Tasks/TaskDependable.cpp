#include "OVUtility/Tasks/TaskDependable.h"

#include <algorithm>

#include "OVUtility/Tasks/TaskExecutable.h"

namespace ov {

void TaskDependable::didCompleteBlockingTask(const std::shared_ptr<TaskCombinable>& task) {
    if (!task) return;
    if (auto operationTask = std::dynamic_pointer_cast<OperationTask>(task);
        operationTask && operationTask->markCancelled()) {
        return;  // the dependant keeps waiting
    }
    auto* executable = dynamic_cast<TaskExecutable*>(this);
    if (!executable) return;
    auto executor = executable->taskExecutor();
    if (!executor) return;
    std::weak_ptr<TaskObject> weakSelf = weak_from_this();
    executor->serialize(false, [weakSelf, blockingId = task->taskId()] {
        auto strong = weakSelf.lock();
        auto self = std::dynamic_pointer_cast<TaskDependable>(strong);
        if (!self) return;
        auto& deps = self->dependencies();
        if (auto it = std::find(deps.begin(), deps.end(), blockingId); it != deps.end()) {
            deps.erase(it);
        }
        if (deps.empty()) {
            if (auto exec = std::dynamic_pointer_cast<TaskExecutable>(strong)) exec->execute();
        }
    });
}

void TaskDependable::depend(const std::shared_ptr<TaskCombinable>& task) {
    if (!task) return;
    auto* executable = dynamic_cast<TaskExecutable*>(this);
    if (!executable) return;
    auto executor = executable->taskExecutor();
    if (!executor) return;
    std::weak_ptr<TaskObject> weakSelf = weak_from_this();
    executor->serialize(true, [weakSelf, task] {
        auto self = std::dynamic_pointer_cast<TaskDependable>(weakSelf.lock());
        if (!self) return;
        task->nextTasks().push_back(self);
        self->dependencies().push_back(task->taskId());
    });
}

void TaskDependable::executeAfter(const std::shared_ptr<TaskCombinable>& task) {
    depend(task);
    if (auto* executable = dynamic_cast<TaskExecutable*>(this)) executable->execute();
}

}  // namespace ov
