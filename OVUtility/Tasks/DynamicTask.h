// ov::DynamicTask: the fullest task class. A ManagedTask (indexable by
// "--dynamic-task-<UUID>" ids, executable through a task manager, dependable,
// combinable, disposable) that is also completable, duplicable (a newcomer
// with the same id is absorbed and gets this task's result through its own
// completion closure), exclusive (an optional exclusiveId) and
// interruptable: its work can be paused and resumed at the points it marks.
//
//   class Scan : public ov::DynamicTask {
//       void didExecute() override {
//           for (auto& file : files) {
//               markPausablePoint();          // blocks here while paused
//               if (markCancelled()) return;   // cancelled while paused or running
//               scan(file);
//           }
//           setResult(std::make_shared<ov::GeneralTaskResult>(true, std::nullopt));
//           finish();
//       }
//   };
//   auto scan = std::make_shared<Scan>();
//   scan->execute();
//   scan->pause();  ...  scan->resume();
//
// - pause()/resume() ask the operation to move to "isPaused"/"isResumed"; the
//   task accepts a pause only while operating, not already paused and not
//   cancelled, and a resume only while paused.
// - markPausablePoint() blocks the work's thread while the operation is
//   paused, until resume(). Kept on purpose: cancelling a paused task (or
//   its expiry) releases the blocked thread too, so that a paused task can
//   never hang its thread forever.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/DispatchSemaphore.h"
#include "OVUtility/Tasks/ManagedTask.h"
#include "OVUtility/Tasks/TaskCompletable.h"

namespace ov {

class OV_API DynamicTask : public ManagedTask,
                           public virtual TaskCompletable,
                           public virtual TaskDuplicable,
                           public virtual TaskExclusible,
                           public virtual TaskInterruptable {
  public:
    using CompletionClosure = GeneralTask::CompletionClosure;

    DynamicTask();
    static std::shared_ptr<DynamicTask> make() { return std::make_shared<DynamicTask>(); }

    // (none)
    std::optional<std::string> exclusiveId() const override;
    void setExclusiveId(std::optional<std::string> exclusiveId);
    // (empty) Touched in the executor's serial context.
    std::vector<std::shared_ptr<TaskDuplicable>>& duplicatedTasks() override {
        return duplicatedTasks_;
    }
    // Whether the work is blocked at a pausable point right now.
    bool isBlockedAtPausablePoint() const;

    // One overrider for GeneralTask's storage and the protocol views.
    std::shared_ptr<TaskResult> result() const override { return GeneralTask::result(); }
    void setResult(std::shared_ptr<TaskResult> result) override {
        GeneralTask::setResult(std::move(result));
    }
    CompletionClosure completionClosure() const override {
        return GeneralTask::completionClosure();
    }
    void setCompletionClosure(CompletionClosure closure) override {
        GeneralTask::setCompletionClosure(std::move(closure));
    }
    void pause() override;
    void resume() override;
    // Called by the work on its operation thread; see the header comment.
    void markPausablePoint();

    bool shouldChange(const TaskState& state) override;
    void didChange(const TaskState& from, const TaskState& to) override;

  private:
    void releasePausablePoint();

    mutable std::mutex mutex_;  // guards exclusiveId_
    std::optional<std::string> exclusiveId_;
    std::vector<std::shared_ptr<TaskDuplicable>> duplicatedTasks_;
    // Exists only while the work is blocked at a pausable point. Guarded by
    // its own mutex, which is never taken under the operation's lock.
    mutable std::mutex pauseMutex_;
    std::shared_ptr<DispatchSemaphore> semaphoreLock_;
};

}  // namespace ov
