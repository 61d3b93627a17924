// ov::TaskManager: the scheduler of the task framework. Tasks reach it
// through their executor: execute() calls addTask(), abort() calls
// taskExists() and cancelTask(). Each accepted task is registered in the
// task index (a TaskMap unless replaced), wrapped in a SafeOperation and
// added to the operation queue of its priority.
//
//   auto manager = ov::TaskManager::sharedInstance();   // queues for low, medium, high
//   auto task = ov::StandardClosureTask::make([](ov::GeneralTask&) { return ok(); });
//   task->execute();                                     // -> manager->addTask(task)
//   manager->taskExists(task->taskId());
//   manager->cancelAllTasks(ov::TaskPriority(ov::TaskPriority::low));
//
//   auto mine = ov::TaskManager::make(std::nullopt);     // no queues until first use
//
// Scheduling rules:
// - All bookkeeping (index, queue table) runs on one private serial queue,
//   "--task-manager-queue", strictly in submission order; serialize() is the
//   way in. taskExists() and isIdle() wait for it, so they must not be
//   called from inside a serialize() closure. addTask(), serialize(false, ..)
//   and the end of each operation reach that queue through one intake list,
//   drained a batch at a time, so a burst costs one serial-queue block per
//   batch; what one thread submits is processed in the order it submitted it.
// - Admission, in order: a task already cancelled is dropped ("is cancelled
//   before added to queue"); so is a task that has already ended (it ran, or
//   completed without an operation: a task runs once); a task the index
//   refuses (same id registered: a duplicate is handed to the registered
//   task, an equal exclusive id is refused, the same task executed twice is
//   refused) is dropped with a "duplication of " warning; a task still
//   waiting for dependencies stays registered and is queued when the last of
//   them completes. A task cancelled on another thread while it is being
//   admitted is either run by its operation (which ends at once, cancelled)
//   or completed without one, never both.
// - A queue runs only while no queue of higher priority holds unfinished
//   work: adding a task suspends every lower queue, and its own queue stays
//   suspended while a higher one is busy; when a task completes, each lower
//   queue whose higher queues are all empty is resumed (the resumption
//   cascades down as the higher queues drain). Running operations are never
//   interrupted.
// - A priority without a queue gets one on first use, named
//   "--task-manager-dynamic-queue": concurrent for the medium band (0), serial
//   for every other band, like the default layout. A disposable task
//   (shouldRemoveQueueOnComplete) removes such a queue from the table when it
//   completes; work still in it runs on to its end, no longer held back by
//   higher queues. Queues given to make() are never removed.
// - Completion: the completion closure gets the task's result exactly once,
//   on the operation configuration's callback queue; the task leaves the
//   index after that (or before it, with deIndexBeforeCompletion); tasks
//   absorbed as duplicates get the same result through their own closures,
//   each on its own configuration's callback queue; waiting dependants get
//   the result in previousResults and are told.
// - Dependants: a task cancelled with cancel(error) (or finished with an
//   unsuccessful result) leaves the tasks waiting for it waiting, registered
//   in the index; that is the rule of the dependency protocol. An operation
//   cancelled from outside (expiry, cancelAllTasks) does not mark its task,
//   so its dependants run. An application clears dependants left waiting
//   with abort() on each, or cancelAllTasks(query) selecting them: both
//   complete them (cancelled) and take them out of the index. Apart from
//   those, a manager whose queues have drained keeps no task in its index.
//
// Log lines (module "OperationTask", unit "TaskManager") are part of the
// contract; see TaskManager.cpp for the exact texts.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Operations/QueueConfiguration.h"
#include "OVUtility/Tasks/TaskExecutable.h"
#include "OVUtility/Tasks/TaskIndexer.h"

namespace ov {

class DispatchQueue;
class OperationQueue;
class TaskResult;

class OV_API TaskManager : public TaskOperationExecutor,
                           public std::enable_shared_from_this<TaskManager> {
  public:
    using Configurations = std::vector<std::shared_ptr<const QueueConfiguration>>;

    static constexpr std::string_view kInternalQueueLabel = "--task-manager-queue";
    static constexpr std::string_view kDynamicQueueName = "--task-manager-dynamic-queue";

    // The process-wide manager, made once (thread-safely) from defaultConfigurations().
    static std::shared_ptr<TaskManager> sharedInstance();
    // A new array on every call: serial low (-4), concurrent medium (0), serial high (4).
    static Configurations defaultConfigurations();
    // One queue per configuration, in order (a later one replaces an earlier
    // one of the same priority); nullopt: no queue until first use.
    static std::shared_ptr<TaskManager> make(std::optional<Configurations> configurations);

    ~TaskManager() override;
    TaskManager(const TaskManager&) = delete;
    TaskManager& operator=(const TaskManager&) = delete;

    // The task index. Only touch it inside serialize() once tasks flow.
    std::shared_ptr<TaskIndexer> taskIndexer() const { return taskIndexer_; }
    void setTaskIndexer(std::shared_ptr<TaskIndexer> indexer);

    // Asynchronous: admits and queues the task on the serial queue.
    void addTask(std::shared_ptr<OperationTask> task) override;
    // Waits for the serial queue; whether a task with this id is registered.
    bool taskExists(const std::string& indexId) override;
    // Waits for the serial queue; true when no queue holds an unfinished operation.
    virtual bool isIdle();
    // When the task exists: cancels it (asynchronously) with `error`.
    void cancelTask(const std::string& indexId, std::optional<Error> error) override;
    // Asynchronous: cancels every operation of the queue of that priority.
    virtual void cancelAllTasks(const PriorityValue& priority);
    // Asynchronous: cancels every registered task the query accepts.
    void cancelAllTasks(Query query) override;
    // Asynchronous: cancels every operation of every queue.
    virtual void cancelAllTasks();
    // The one way onto the serial queue: wait for `closure` or schedule it.
    void serialize(bool shouldWait, std::function<void()> closure) override;

    // Used by the task classes: completes a task that never ran in an
    // operation (cancelled or finished before it was queued): its result
    // goes to its waiting tasks, its completion closure (and those of its
    // duplicates) runs on the callback queue, then it leaves the index.
    void completeUnqueuedTask(std::shared_ptr<OperationTask> task);

    // Waits for the serial queue. The queue registered for a priority (or
    // null), and the priorities that have a queue, in ascending order.
    std::shared_ptr<OperationQueue> operationQueue(int priority);
    std::vector<int> queuePriorities();

  protected:
    TaskManager();

    // The steps below run on the serial queue (names as in the log lines).
    virtual void addToQueue(const std::shared_ptr<OperationTask>& task);
    // `deIndexFirst`: the task's deIndexBeforeCompletion (its completion
    // closure has not run yet and is scheduled here, after the removal).
    virtual void completeOperation(const std::string& taskId, int priority,
                                   const std::shared_ptr<OperationTask>& task, bool deIndexFirst);
    virtual void notifyCompleteTask(const std::string& taskId,
                                    const std::shared_ptr<OperationTask>& task);
    virtual void enableQueues(int thatHavePriorityLowerThan);
    virtual void suspendQueues(int withLowerPriorityThan);
    virtual bool areQueuesEmpty(int withPriorityHigherThan);
    virtual void logAllCurrentTasks();

  private:
    struct QueueSlot {
        std::shared_ptr<OperationQueue> queue;
        // Operations this manager added and has not yet completed; a queue
        // "holds unfinished work" while this is above zero.
        std::size_t unfinished = 0;
    };

    // Admissions and ended operations reach the serial queue through one
    // intake list, in the order they were handed over: the first item of an
    // empty list schedules a drain, later ones join it, so a burst of tasks
    // costs one serial-queue block per batch instead of one per task.
    struct IntakeItem {
        // A task to admit, an operation that has ended, or a serialize()d step.
        enum class Kind : unsigned char { add, ended, closure };
        Kind kind = Kind::add;
        bool deIndexFirst = false;
        int priority = 0;
        std::shared_ptr<OperationTask> task;
        // Ended operations only: the id it was admitted under, the queue
        // slot it ran in (identity only, never dereferenced), its priority
        // and deIndexBeforeCompletion.
        std::string taskId;
        const OperationQueue* queue = nullptr;
        std::function<void()> closure;
    };
    // The operation the manager wraps each task in: a SafeOperation that
    // carries the manager's completion bookkeeping itself (no closure).
    class ManagedOperation;
    friend class ManagedOperation;

    void enqueueIntake(IntakeItem item);
    static void drainIntake(const std::weak_ptr<TaskManager>& weak);
    void operationEnded(const IntakeItem& item);

    std::shared_ptr<OperationQueue> queueForTask(const OperationTask& task, int priority);
    void registerQueue(const QueueConfiguration& configuration);
    // `knownId`: the task's id when the caller already has it.
    void deIndexFinished(const std::shared_ptr<OperationTask>& task,
                         const std::string* knownId = nullptr);
    void deliverDuplicates(const std::shared_ptr<OperationTask>& task,
                           const std::shared_ptr<TaskResult>& result);

    std::mutex intakeMutex_;
    std::vector<IntakeItem> intake_;  // guarded by intakeMutex_

    std::shared_ptr<TaskIndexer> taskIndexer_;
    std::map<int, QueueSlot> operationQueues_;
    // On-demand queues a disposable task removed while they still held work:
    // kept (and running) until their last operation has ended.
    std::vector<QueueSlot> retiredQueues_;
    // Registered tasks waiting for dependencies (identity only): the ones a
    // second admission of the same object may start.
    std::unordered_set<const OperationTask*> waiting_;
    std::shared_ptr<DispatchQueue> internalQueue_;
};

}  // namespace ov
