// Dependency protocols of tasks:
// - TaskCombinable: a task others can wait for; `nextTasks` lists the tasks
//   waiting for it.
// - TaskDependable: a task that waits; `dependencies` lists the ids of the
//   tasks it still waits for, `previousResults` collects their results.
//
// The defaults of `depend`, `didCompleteBlockingTask` and `executeAfter` work
// for tasks that are also TaskExecutable (they run in the executor's serial
// context); for other tasks they do nothing.
//
//   download->depend(login);      // login->nextTasks += download; download->dependencies += id
//   download->execute();          // queued once login has completed
//   // or, in one call:
//   download->executeAfter(login);
//
// Rules kept on purpose: depending twice on the same task records it twice;
// a dependant of a task that was cancelled keeps waiting.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Tasks/TaskIndexable.h"
#include "OVUtility/Tasks/TaskResult.h"

namespace ov {

class TaskCombinable;

class OV_API TaskDependable : public virtual TaskObject {
  public:
    // Accessed from the executor's serial context.
    virtual std::vector<std::string>& dependencies() = 0;
    virtual std::vector<std::shared_ptr<TaskResult>>& previousResults() = 0;

    // Default: unless `task` is an OperationTask marked cancelled, removes the
    // first occurrence of its id from dependencies() (asynchronously, in the
    // executor's serial context, holding this task weakly) and executes this
    // task once none is left.
    virtual void didCompleteBlockingTask(const std::shared_ptr<TaskCombinable>& task);
    // Default: synchronously in the executor's serial context, appends this
    // task to task->nextTasks(), then task->taskId() to dependencies().
    virtual void depend(const std::shared_ptr<TaskCombinable>& task);
    // Default: depend(task), then execute().
    virtual void executeAfter(const std::shared_ptr<TaskCombinable>& task);
};

class OV_API TaskCombinable : public virtual TaskIndexable {
  public:
    // Accessed from the executor's serial context.
    virtual std::vector<std::shared_ptr<TaskDependable>>& nextTasks() = 0;
};

}  // namespace ov
