// ov::GeneralTask: the base class of every concrete task. It carries the
// task's result, its cancelled mark, priority, quality of service, task and
// operation configurations, completion closure and the weak link to the
// operation that runs it, and defines the lifecycle hooks subclasses
// override (didExecute, willCancel, willFinish, shouldChange, willChange,
// didChange). ov::GeneralClosureTask runs a closure as its work.
//
//   auto task = std::make_shared<ov::GeneralClosureTask>([](ov::GeneralTask&) {
//       return std::make_shared<ov::GeneralTaskResult>(true, std::nullopt);
//   });
//   task->setCompletionClosure([](std::shared_ptr<ov::TaskResult> r) { use(r->success()); });
//   manager->addTask(task);            // wrapped in a SafeOperation, queued by priority
//
// Lifecycle: the operation starts -> didExecute() (the work; the base class
// finishes at once) -> the work calls finish() or cancel(error) -> the
// operation ends -> the completion closure receives `result()`, exactly once,
// on the operation configuration's callback queue.
// - finish() with an unsuccessful result counts as a cancellation: the mark
//   is set and the operation moves to its cancelled state.
// - cancel(error) sets the mark and stores the error in the result, always,
//   also after the task has ended (then nothing else happens).
// - Without an operation (finished or cancelled before any executor wrapped
//   it) the task completes itself: a verbose "task is canceled before added "
//   line, then the completion closure on the callback queue (holding the task
//   weakly: a released task gets no callback).
// - One rule decides the end: a task ends once, either through the operation
//   that runs it (which ends once, whatever arrives later) or, when no
//   operation ever ran it, by itself. The choice is made under the task's
//   lock, together with the link to an operation (attachOperationBridge), so
//   a task cancelled while an executor wraps it is either run by the
//   operation or completed without one, never both. An ended task is never
//   run again. Results and errors that arrive after the end are still stored
//   (the completion closure has already received the result it gets).
// - Kept on purpose: the completion closure is released once it has run, so
//   nothing it captured stays alive with the task (no cycle through it).
//
// Fields are guarded by the task's own (spin) lock, so they may be read and set
// from any thread; the result object itself is handed from thread to thread
// through the queues (see TaskResult.h).
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Operations/OperationConfiguration.h"
#include "OVUtility/Platform/Error.h"
#include "OVUtility/Platform/SpinLock.h"
#include "OVUtility/Tasks/OperationTask.h"
#include "OVUtility/Tasks/TaskCompletable.h"
#include "OVUtility/Tasks/TaskConfigurable.h"
#include "OVUtility/Tasks/TaskResult.h"

namespace ov {

class OV_API GeneralTask : public virtual OperationTask, public virtual TaskConfigurable {
  public:
    using CompletionClosure = TaskCompletable::CompletionClosure;

    GeneralTask();
    ~GeneralTask() override;
    GeneralTask(const GeneralTask&) = delete;
    GeneralTask& operator=(const GeneralTask&) = delete;

    // ---- stored properties (initial values in parentheses)
    // (a GeneralTaskResult with success false, no error)
    virtual std::shared_ptr<TaskResult> result() const;
    virtual void setResult(std::shared_ptr<TaskResult> result);
    // (false)
    bool markCancelled() const override;
    void setMarkCancelled(bool cancelled);
    // (TaskPriority::medium)
    std::shared_ptr<const PriorityValue> priority() const override;
    void setPriority(std::shared_ptr<const PriorityValue> priority);
    void setPriority(TaskPriority priority);
    // (raw value 0, veryLow)
    TaskQualityOfService qualityOfService() const override;
    void setQualityOfService(TaskQualityOfService qos);
    // (DefaultTaskConfiguration)
    std::shared_ptr<const TaskConfiguration> configuration() const override;
    void setConfiguration(std::shared_ptr<const TaskConfiguration> configuration);
    // (DefaultOperationConfiguration: one immutable instance shared by all
    // tasks). The setter keeps a copy: later changes to `configuration` are
    // not seen by the task.
    std::shared_ptr<const OperationConfiguration> operationConfiguration() const override;
    void setOperationConfiguration(std::shared_ptr<const OperationConfiguration> configuration);
    // (none; empty again once it has been called)
    virtual CompletionClosure completionClosure() const;
    virtual void setCompletionClosure(CompletionClosure closure);
    // (none; held weakly: the operation owns the task, not the reverse)
    std::shared_ptr<OperationBridge> operationBridge() const override;
    void setOperationBridge(const std::shared_ptr<OperationBridge>& bridge) override;
    // Refused once the task has ended or another operation has taken it.
    bool attachOperationBridge(const std::shared_ptr<OperationBridge>& bridge) override;

    // ---- hooks
    // False without a bridge; otherwise whether the operation is in `state`.
    bool shouldChange(const TaskState& state) override;
    void willChange(const TaskState& from, const TaskState& to) override;
    // Runs didExecute() when the operation becomes executing, and remembers
    // when it has ended (finished or cancelled). An operation cancelled from
    // outside the task (expiry, cancelAllOperations) does not set the task's
    // cancelled mark: only cancel(error) and an unsuccessful finish() do, so
    // only they leave the task's dependants waiting.
    void didChange(const TaskState& from, const TaskState& to) override;
    // The task's work, on the operation's thread. Base: finish() at once.
    virtual void didExecute();
    virtual void willCancel(const std::optional<Error>& error);
    virtual void willFinish();

    // ---- lifecycle
    // Sets the mark, stores `error` in the result and cancels the operation
    // (or completes the task directly when it has none).
    void cancel(std::optional<Error> error) override;
    // Logs "task <description> finish with result success:<bool>", then moves
    // the operation to finished (cancelled when the result is unsuccessful).
    virtual void finish();

    // The name of the task's class, without namespaces (e.g. "GeneralClosureTask").
    virtual std::string description() const;

    // ---- for executors
    // Claims the one delivery of the completion; true the first time only.
    bool beginCompletion();
    // Whether the task has ended: its operation finished or was cancelled,
    // or it completed without one. An ended task is never run again.
    bool hasEnded() const;
    // Calls the closure stored by setCompletionClosure with `result` (when
    // one is set). The closure is handed over, not copied: the task lets go
    // of it (and of what it captured), so completionClosure() is empty after.
    // Called once per task, after beginCompletion().
    void callCompletionClosure(const std::shared_ptr<TaskResult>& result);

  protected:
    // Stores what the work produced (no result counts as an unsuccessful
    // one), then finishes the task.
    void finishWithWorkResult(std::shared_ptr<TaskResult> result);

    // The completion hand-off of a task that no operation runs: the verbose
    // log line, the result's task id, the result handed to the waiting tasks,
    // and the completion closure on the callback queue.
    virtual void completeWithoutOperation();

    // The demangled dynamic class name without namespace qualifiers.
    std::string className() const;

  private:
    // Where the task stands in its one life: no operation yet, run by an
    // operation, or ended.
    enum class Phase : unsigned char { fresh, wrapped, ended };

    // Ends the task with `target` (finished or cancelled): through its
    // operation when one runs it, else by completing it here, once.
    void requestEnd(const TaskState& target);

    // A one-byte lock: tasks exist by the hundred thousand and every
    // critical section below is a few loads and stores (what a setter
    // replaces is released after the lock is let go).
    mutable SpinLock mutex_;
    // The initial result (unsuccessful, no error) is made on first use: most
    // tasks store the result of their work before anyone reads it, and a
    // queued task then holds no result object at all.
    void makeInitialResult() const;
    mutable std::shared_ptr<TaskResult> result_;
    mutable bool resultStored_ = false;  // guarded by mutex_; result_ is meaningful once set
    std::atomic<bool> markCancelled_{false};
    std::shared_ptr<const PriorityValue> priority_;
    TaskQualityOfService qualityOfService_ = TaskQualityOfService::veryLow;
    std::shared_ptr<const TaskConfiguration> configuration_;
    std::shared_ptr<const OperationConfiguration> operationConfiguration_;
    CompletionClosure completionClosure_;
    std::weak_ptr<OperationBridge> operationBridge_;
    Phase phase_ = Phase::fresh;  // guarded by mutex_
    std::atomic<bool> completionBegun_{false};
};

// A GeneralTask whose work is a closure returning the result.
class OV_API GeneralClosureTask : public GeneralTask {
  public:
    using TaskClosure = std::function<std::shared_ptr<TaskResult>(GeneralTask&)>;

    explicit GeneralClosureTask(TaskClosure closure);
    GeneralClosureTask() = delete;  // a closure task always has a closure

    static std::shared_ptr<GeneralClosureTask> make(TaskClosure closure) {
        return std::make_shared<GeneralClosureTask>(std::move(closure));
    }

    const TaskClosure& taskClosure() const { return taskClosure_; }

    // Runs the closure, stores what it returns in `result`, then finish().
    void didExecute() override;

  private:
    const TaskClosure taskClosure_;
};

}  // namespace ov
