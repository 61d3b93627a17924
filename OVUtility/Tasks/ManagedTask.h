// ov::ManagedTask: the common base of StandardTask and DynamicTask, a
// GeneralTask that a task manager can index, run, chain and dispose of. It
// holds what the two share: the id (a fixed prefix plus a fresh UUID, made
// once at construction), whether the index may see the task, the executor
// (the shared TaskManager unless replaced), the dependency lists and the
// disposable-queue flag.
//
//   class Upload : public ov::ManagedTask {
//     public:
//       Upload() : ManagedTask("--upload-task-") {}
//       void didExecute() override { ...; finish(); }
//   };
//
// Use StandardTask or DynamicTask unless a task needs a prefix of its own.
// The dependency lists are touched only in the executor's serial context.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/SpinLock.h"
#include "OVUtility/Tasks/GeneralTask.h"
#include "OVUtility/Tasks/TaskDependable.h"
#include "OVUtility/Tasks/TaskExecutable.h"
#include "OVUtility/Tasks/TaskIndexable.h"
#include "OVUtility/Tasks/TaskInterruptable.h"

namespace ov {

class OV_API ManagedTask : public GeneralTask,
                           public virtual TaskExecutable,
                           public virtual TaskIndexable,
                           public virtual TaskDependable,
                           public virtual TaskCombinable,
                           public virtual TaskDisposable {
  public:
    // (prefix + UUID)
    std::string taskId() const override;
    void setTaskId(std::string taskId);
    // (true)
    bool canBeIndexed() const override;
    void setCanBeIndexed(bool canBeIndexed) override;
    // (TaskManager::sharedInstance())
    std::shared_ptr<TaskOperationExecutor> taskExecutor() const override;
    void setTaskExecutor(std::shared_ptr<TaskOperationExecutor> executor);
    // (empty)
    std::vector<std::string>& dependencies() override { return dependencies_; }
    std::vector<std::shared_ptr<TaskResult>>& previousResults() override {
        return previousResults_;
    }
    std::vector<std::shared_ptr<TaskDependable>>& nextTasks() override { return nextTasks_; }
    // (false)
    bool shouldRemoveQueueOnComplete() const override;
    void setShouldRemoveQueueOnComplete(bool remove);

    // GeneralTask's values (one overrider for both protocol views).
    std::shared_ptr<const PriorityValue> priority() const override {
        return GeneralTask::priority();
    }
    TaskQualityOfService qualityOfService() const override {
        return GeneralTask::qualityOfService();
    }
    using GeneralTask::setPriority;

  protected:
    explicit ManagedTask(std::string_view idPrefix);
    // Replaces the id with a fresh one under another prefix.
    void replaceTaskId(std::string_view prefix);

  private:
    mutable SpinLock idMutex_;  // guards taskId_ and taskExecutor_ (short sections only)
    std::string taskId_;
    std::atomic<bool> canBeIndexed_{true};
    std::shared_ptr<TaskOperationExecutor> taskExecutor_;
    std::vector<std::string> dependencies_;
    std::vector<std::shared_ptr<TaskResult>> previousResults_;
    std::vector<std::shared_ptr<TaskDependable>> nextTasks_;
    std::atomic<bool> shouldRemoveQueueOnComplete_{false};
};

}  // namespace ov
