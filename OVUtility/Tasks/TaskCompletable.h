// Completion protocols of tasks:
// - TaskCompletable: the task's `result` and the closure that receives it
//   when the task completes.
// - TaskDuplicable: a task that absorbs duplicates of itself. When a task
//   with the same id is refused by the index, it is handed to the registered
//   one through `processDuplicateTask` (default: appended to
//   `duplicatedTasks`), so that it can be completed with the same result.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Tasks/TaskIndexable.h"
#include "OVUtility/Tasks/TaskResult.h"

namespace ov {

class OV_API TaskCompletable : public virtual TaskIndexable {
  public:
    using CompletionClosure = std::function<void(std::shared_ptr<TaskResult>)>;

    virtual std::shared_ptr<TaskResult> result() const = 0;
    virtual void setResult(std::shared_ptr<TaskResult> result) = 0;
    virtual CompletionClosure completionClosure() const = 0;
    virtual void setCompletionClosure(CompletionClosure closure) = 0;
};

class OV_API TaskDuplicable : public virtual TaskCompletable {
  public:
    virtual std::vector<std::shared_ptr<TaskDuplicable>>& duplicatedTasks() = 0;
    // Default: appends `task` to duplicatedTasks() (nothing else).
    virtual void processDuplicateTask(const std::shared_ptr<TaskDuplicable>& task) {
        duplicatedTasks().push_back(task);
    }
};

}  // namespace ov
