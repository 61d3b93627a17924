// Execution protocols of tasks:
// - TaskOperationExecutor: what runs tasks (the task manager). All of its
//   bookkeeping is serial; `serialize` is the way into that serial context.
// - TaskExecutable: a task that knows its executor. A task is never run
//   directly: `execute()` hands it to the executor (`addTask`), and
//   `abort(error)` cancels it through the executor when the executor knows
//   it, or cancels it directly otherwise.
//
//   task->execute();                                   // executor->addTask(task)
//   task->abort(ov::Error{"com.orvanta.task", 1});
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/Error.h"
#include "OVUtility/Tasks/OperationTask.h"
#include "OVUtility/Tasks/TaskIndexable.h"

namespace ov {

class OV_API TaskOperationExecutor {
  public:
    using Query = std::function<bool(const std::shared_ptr<TaskIndexable>&)>;

    virtual ~TaskOperationExecutor() = default;
    virtual void addTask(std::shared_ptr<OperationTask> task) = 0;
    virtual bool taskExists(const std::string& indexId) = 0;
    virtual void cancelTask(const std::string& indexId, std::optional<Error> error) = 0;
    virtual void cancelAllTasks(Query query) = 0;
    // shouldWait true: runs `closure` in the executor's serial context and
    // returns after it ran; false: schedules it and returns at once.
    virtual void serialize(bool shouldWait, std::function<void()> closure) = 0;
};

class OV_API TaskExecutable : public virtual OperationTask, public virtual TaskIndexable {
  public:
    virtual std::shared_ptr<TaskOperationExecutor> taskExecutor() const = 0;

    // Default: taskExecutor()->addTask(this task).
    virtual void execute();
    // Default: cancelTask through the executor when it knows taskId(),
    // otherwise cancel(error) on this task.
    virtual void abort(std::optional<Error> error);
};

}  // namespace ov
