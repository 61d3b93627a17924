#include "OVUtility/Tasks/TaskManager.h"

#include <cxxabi.h>

#include <cstdlib>
#include <typeinfo>

#include "OVLog/OVLog.h"
#include "OVUtility/Operations/OperationConfiguration.h"
#include "OVUtility/Operations/OperationQueueAdditions.h"
#include "OVUtility/Operations/SafeOperation.h"
#include "OVUtility/Platform/DispatchQueue.h"
#include "OVUtility/Platform/InterleavingPoint.h"
#include "OVUtility/Platform/OperationQueue.h"
#include "OVUtility/Tasks/GeneralTask.h"
#include "OVUtility/Tasks/TaskCast.h"
#include "OVUtility/Tasks/TaskCompletable.h"
#include "OVUtility/Tasks/TaskConfigurable.h"
#include "OVUtility/Tasks/TaskDependable.h"
#include "OVUtility/Tasks/TaskInterruptable.h"
#include "OVUtility/Tasks/TaskMap.h"

namespace ov {

namespace {

ovlog::Module& logModule() {
    static ovlog::Module& module = ovlog::Module::named("OperationTask");
    return module;
}

// Every line of the manager names the unit "TaskManager" and the step.
#define TM_LOG(level, function, ...) \
    OVLOG_AT(::ovlog::Level::level, logModule(), "TaskManager", function, __VA_ARGS__)

constexpr const char* kAddToQueue = "addToQueue(_:)";
constexpr const char* kCompleteOperation = "completeOperation(taskId:priority:)";
constexpr const char* kNotifyCompleteTask = "notifyCompleteTask(taskId:)";
constexpr const char* kEnableQueues = "enableQueues(thatHavePriorityLowerThan:)";
constexpr const char* kSuspendQueues = "suspendQueues(withLowerPriorityThan:)";
constexpr const char* kAreQueuesEmpty = "areQueuesEmpty(withPriorityHigherThan:)";
constexpr const char* kLogAllCurrentTasks = "logAllCurrentTasks()";

std::string typeName(const void* object, const std::type_info& type) {
    (void)object;
    int status = 0;
    char* demangled = abi::__cxa_demangle(type.name(), nullptr, nullptr, &status);
    std::string name = (status == 0 && demangled) ? demangled : type.name();
    std::free(demangled);
    return name;
}

// How log lines print a task: its description when it has one.
template <typename T>
std::string describe(const T& task) {
    if (auto* general = taskCast<const GeneralTask>(&task)) return general->description();
    if (auto* indexable = taskCast<const TaskIndexable>(&task)) return indexable->taskId();
    return typeName(&task, typeid(task));
}

std::shared_ptr<TaskResult> resultOf(const OperationTask& task) {
    if (auto* general = taskCast<const GeneralTask>(&task)) return general->result();
    if (auto* completable = taskCast<const TaskCompletable>(&task)) return completable->result();
    return nullptr;
}

template <typename Task>
std::shared_ptr<const OperationConfiguration> configurationOf(const Task& task) {
    auto* configurable = taskCast<const TaskConfigurable>(&task);
    return configurable ? configurable->operationConfiguration() : nullptr;
}

template <typename Task>
std::shared_ptr<OperationQueue> callbackQueueOf(const Task& task) {
    auto config = configurationOf(task);
    auto queue = config ? config->callbackQueue() : nullptr;
    // Completion closures never run on the manager's own queue (they may
    // call taskExists()); without a configured queue they use the shared one.
    return queue ? queue : sharedCallBackQueue();
}

// An indexable result carries the id of the task that produced it.
void stampTaskId(const OperationTask& task, const std::shared_ptr<TaskResult>& result) {
    auto* indexable = taskCast<const TaskIndexable>(&task);
    if (!indexable) return;
    if (auto* stamped = taskCast<TaskResultIndexable>(result.get())) {
        stamped->setTaskId(indexable->taskId());
    }
}

// Hands the task's final result to its completion closure; a GeneralTask
// is completed only once, however many paths lead here.
void deliverCompletion(const std::shared_ptr<OperationTask>& task) {
    auto result = resultOf(*task);
    stampTaskId(*task, result);
    if (auto* general = taskCast<GeneralTask>(task.get())) {
        if (general->beginCompletion()) general->callCompletionClosure(result);
    } else if (auto* completable = taskCast<TaskCompletable>(task.get())) {
        if (auto closure = completable->completionClosure()) closure(result);
    }
}

// A task absorbed as a duplicate gets the registered task's result through
// its own completion closure, once.
void deliverToDuplicate(const std::shared_ptr<TaskDuplicable>& duplicate,
                        const std::shared_ptr<TaskResult>& result) {
    auto* general = taskCast<GeneralTask>(duplicate.get());
    if (general && !general->beginCompletion()) return;
    duplicate->setResult(result);
    if (general) {
        general->callCompletionClosure(result);
    } else if (auto closure = duplicate->completionClosure()) {
        closure(result);
    }
}

// Called on the callback queue `current`: each duplicate whose own
// configuration names that queue is completed here, the others on their own
// callback queues (a duplicate configured for the main queue is called back
// on the main thread, whatever queue the registered task uses).
void deliverToDuplicates(const std::vector<std::shared_ptr<TaskDuplicable>>& duplicates,
                         const std::shared_ptr<TaskResult>& result,
                         const std::shared_ptr<OperationQueue>& current) {
    for (const auto& duplicate : duplicates) {
        if (!duplicate) continue;
        auto queue = callbackQueueOf(*duplicate);
        if (queue == current) {
            deliverToDuplicate(duplicate, result);
        } else {
            queue->addOperation([duplicate, result] { deliverToDuplicate(duplicate, result); });
        }
    }
}

std::vector<std::shared_ptr<TaskDuplicable>> takeDuplicates(const OperationTask& task) {
    std::vector<std::shared_ptr<TaskDuplicable>> taken;
    if (auto* duplicable = taskCast<TaskDuplicable>(const_cast<OperationTask*>(&task))) {
        taken.swap(duplicable->duplicatedTasks());
    }
    return taken;
}

void appendPreviousResults(const OperationTask& task, const std::shared_ptr<TaskResult>& result) {
    if (!result) return;
    auto* combinable = taskCast<TaskCombinable>(const_cast<OperationTask*>(&task));
    if (!combinable) return;
    for (auto& next : combinable->nextTasks()) {
        if (next) next->previousResults().push_back(result);
    }
}

// The index when it is exactly the default TaskMap (a subclass may have rules
// of its own): the manager then uses its one-lookup admission and removal.
TaskMap* asDefaultMap(TaskIndexer& indexer) {
    return typeid(indexer) == typeid(TaskMap) ? static_cast<TaskMap*>(&indexer) : nullptr;
}

// Whether the task has already ended (and so must not run again).
bool hasEnded(const OperationTask& task) {
    auto* general = taskCast<const GeneralTask>(&task);
    return general && general->hasEnded();
}

}  // namespace

// ------------------------------------------------------------------ the manager's operation

// The callback of an operation the manager added runs once, on the task's
// callback queue, when the operation has ended: it delivers the completion
// there (unless the task leaves the index first) and moves the bookkeeping
// onto the serial queue. Its state lives in the operation itself, so the
// callback costs no closure of its own.
class TaskManager::ManagedOperation final : public SafeOperation {
  public:
    ManagedOperation(std::shared_ptr<OperationTask> task, std::weak_ptr<TaskManager> manager,
                     std::string taskId, int priority, const OperationQueue* queue,
                     bool deIndexFirst)
        : SafeOperation(task),
          admitted_(std::move(task)),
          manager_(std::move(manager)),
          taskId_(std::move(taskId)),
          queue_(queue),
          priority_(priority),
          deIndexFirst_(deIndexFirst) {
        ownsCallBack_ = true;
    }

    static std::shared_ptr<ManagedOperation> make(std::shared_ptr<OperationTask> task,
                                                  std::weak_ptr<TaskManager> manager,
                                                  std::string taskId, int priority,
                                                  const OperationQueue* queue, bool deIndexFirst) {
        return makeLinked<ManagedOperation>(std::move(task), std::move(manager), std::move(taskId),
                                            priority, queue, deIndexFirst);
    }

  private:
    void callBack(CallBackClosure& closure) override {
        SafeOperation::callBack(closure);
        // The task admitted, even if someone replaced the operation's task
        // since: its queue slot and index entry are the ones to release.
        auto task = std::move(admitted_);
        if (!task) return;  // called once; nothing left to do on a second call
        if (!deIndexFirst_) ov::deliverCompletion(task);
        if (auto manager = manager_.lock()) {
            IntakeItem item;
            item.kind = IntakeItem::Kind::ended;
            item.task = std::move(task);
            item.taskId = std::move(taskId_);
            item.queue = queue_;
            item.priority = priority_;
            item.deIndexFirst = deIndexFirst_;
            manager->enqueueIntake(std::move(item));
        }
    }

    std::shared_ptr<OperationTask> admitted_;
    std::weak_ptr<TaskManager> manager_;
    std::string taskId_;           // the id the task was admitted under
    const OperationQueue* queue_;  // identity of the queue slot it ran in, never dereferenced
    int priority_;
    bool deIndexFirst_;
};

// ------------------------------------------------------------------ construction

std::shared_ptr<TaskManager> TaskManager::sharedInstance() {
    // Made once, thread-safely; lives for the whole process.
    static auto* const instance = new std::shared_ptr<TaskManager>(make(defaultConfigurations()));
    return *instance;
}

TaskManager::Configurations TaskManager::defaultConfigurations() {
    auto low = std::make_shared<SerialQueueConfiguration>();
    low->setPriority(TaskPriority::low);
    auto medium = std::make_shared<ConcurrentQueueConfiguration>();
    medium->setPriority(TaskPriority::medium);
    auto high = std::make_shared<SerialQueueConfiguration>();
    high->setPriority(TaskPriority::high);
    return {std::move(low), std::move(medium), std::move(high)};
}

TaskManager::TaskManager()
    : taskIndexer_(std::make_shared<TaskMap>()),
      internalQueue_(DispatchQueue::make(
          std::string(kInternalQueueLabel), DispatchQueue::Attributes::serial,
          QualityOfService::unspecified, DispatchQueue::global(QualityOfService::defaultQoS))) {}

TaskManager::~TaskManager() = default;

std::shared_ptr<TaskManager> TaskManager::make(std::optional<Configurations> configurations) {
    std::shared_ptr<TaskManager> manager(new TaskManager());
    if (configurations) {
        for (const auto& configuration : *configurations) {
            if (configuration) manager->registerQueue(*configuration);
        }
    }
    return manager;
}

void TaskManager::setTaskIndexer(std::shared_ptr<TaskIndexer> indexer) {
    if (indexer) taskIndexer_ = std::move(indexer);
}

// ------------------------------------------------------------------ public operations

void TaskManager::serialize(bool shouldWait, std::function<void()> closure) {
    if (!closure) return;
    if (shouldWait) {
        internalQueue_->sync(closure);
    } else {
        // Through the intake, like added tasks: one list keeps every
        // asynchronous step in the order it was submitted.
        IntakeItem item;
        item.kind = IntakeItem::Kind::closure;
        item.closure = std::move(closure);
        enqueueIntake(std::move(item));
    }
}

void TaskManager::addTask(std::shared_ptr<OperationTask> task) {
    if (!task) return;
    IntakeItem item;
    item.kind = IntakeItem::Kind::add;
    item.task = std::move(task);
    enqueueIntake(std::move(item));
}

void TaskManager::enqueueIntake(IntakeItem item) {
    // The first item of an empty list schedules the drain, and does so before
    // the lock is released: whoever adds to a non-empty list therefore knows
    // that a drain is already queued ahead of anything it serializes next.
    std::lock_guard lock(intakeMutex_);
    const bool first = intake_.empty();
    intake_.push_back(std::move(item));
    if (first) {
        internalQueue_->async([weak = weak_from_this()] { drainIntake(weak); });
    }
}

void TaskManager::drainIntake(const std::weak_ptr<TaskManager>& weak) {
    // Runs on the serial queue and takes the whole list: stopping part-way
    // would let a block queued behind this one overtake the rest. Serialized
    // closures run without holding the manager (they hold it weakly, as the
    // caller's closure would on the queue itself); once it has gone, the
    // rest of the batch is dropped.
    OV_INTERLEAVING_POINT("TaskManager.drainIntake");
    std::vector<IntakeItem> batch;
    if (auto self = weak.lock()) {
        std::lock_guard lock(self->intakeMutex_);
        batch.swap(self->intake_);
    }
    for (auto& item : batch) {
        // The steps below may add to the intake (a dependant executed in
        // turn, a serialized step): that goes to the fresh list and its own
        // drain, after this one.
        if (item.kind == IntakeItem::Kind::closure) {
            item.closure();
            continue;
        }
        auto self = weak.lock();
        if (!self) return;
        if (item.kind == IntakeItem::Kind::add) {
            self->addToQueue(item.task);
        } else {
            self->operationEnded(item);
        }
    }
}

void TaskManager::operationEnded(const IntakeItem& item) {
    // The slot the operation was counted in: its queue's, whether that queue
    // is still in the table or was retired by a disposable task.
    auto it = operationQueues_.find(item.priority);
    if (it != operationQueues_.end() && it->second.queue.get() == item.queue) {
        if (it->second.unfinished > 0) --it->second.unfinished;
    } else {
        for (auto retired = retiredQueues_.begin(); retired != retiredQueues_.end(); ++retired) {
            if (retired->queue.get() != item.queue) continue;
            if (retired->unfinished > 0) --retired->unfinished;
            if (retired->unfinished == 0) retiredQueues_.erase(retired);
            break;
        }
    }
    completeOperation(item.taskId, item.priority, item.task, item.deIndexFirst);
}

bool TaskManager::taskExists(const std::string& indexId) {
    bool exists = false;
    serialize(true, [&] { exists = taskIndexer_->isIndexed(indexId); });
    return exists;
}

bool TaskManager::isIdle() {
    bool idle = true;
    serialize(true, [&] {
        auto busy = [](const QueueSlot& slot) {
            for (const auto& operation : slot.queue->operations()) {
                if (!operation->isFinished()) return true;
            }
            return false;
        };
        for (const auto& [priority, slot] : operationQueues_) idle = idle && !busy(slot);
        for (const auto& slot : retiredQueues_) idle = idle && !busy(slot);
    });
    return idle;
}

void TaskManager::cancelTask(const std::string& indexId, std::optional<Error> error) {
    if (!taskExists(indexId)) return;
    serialize(false, [weak = weak_from_this(), indexId, error = std::move(error)] {
        auto self = weak.lock();
        if (!self) return;
        auto task = taskPointerCast<OperationTask>(self->taskIndexer_->indexedTask(indexId));
        if (task) task->cancel(error);
    });
}

void TaskManager::cancelAllTasks(const PriorityValue& priority) {
    serialize(false, [weak = weak_from_this(), key = priority.intValue()] {
        auto self = weak.lock();
        if (!self) return;
        for (const auto& [priority, slot] : self->operationQueues_) {
            if (priority == key) slot.queue->cancelAllOperations();
        }
    });
}

void TaskManager::cancelAllTasks(Query query) {
    if (!query) return;
    serialize(false, [weak = weak_from_this(), query = std::move(query)] {
        auto self = weak.lock();
        if (!self) return;
        for (const auto& indexable : self->taskIndexer_->allIndexedTasks()) {
            if (!indexable || !query(indexable)) continue;
            if (auto task = taskPointerCast<OperationTask>(indexable)) {
                task->cancel(std::nullopt);
            }
        }
    });
}

void TaskManager::cancelAllTasks() {
    serialize(false, [weak = weak_from_this()] {
        auto self = weak.lock();
        if (!self) return;
        for (const auto& [priority, slot] : self->operationQueues_) {
            slot.queue->cancelAllOperations();
        }
    });
}

std::shared_ptr<OperationQueue> TaskManager::operationQueue(int priority) {
    std::shared_ptr<OperationQueue> queue;
    serialize(true, [&] {
        if (auto it = operationQueues_.find(priority); it != operationQueues_.end()) {
            queue = it->second.queue;
        }
    });
    return queue;
}

std::vector<int> TaskManager::queuePriorities() {
    std::vector<int> priorities;
    serialize(true, [&] {
        for (const auto& [priority, slot] : operationQueues_) priorities.push_back(priority);
    });
    return priorities;
}

// ------------------------------------------------------------------ admission

void TaskManager::addToQueue(const std::shared_ptr<OperationTask>& task) {
    logAllCurrentTasks();

    // 1. Cancelled before it got here: nothing to run, nothing to register.
    // Likewise a task that has already ended (it ran, or completed without
    // an operation): a task lives once.
    if (task->markCancelled()) {
        TM_LOG(debug, kAddToQueue, "{} is cancelled before added to queue", describe(*task));
        return;
    }
    if (hasEnded(*task)) {
        TM_LOG(warning, kAddToQueue, "{} has already ended and is not run again", describe(*task));
        return;
    }

    // 2. Duplicates and exclusivity. A task registered as this very object
    // is admitted again only when it has been waiting for dependencies and
    // none is left (its last blocking task executed it); otherwise it is the
    // same task added twice, refused like any duplicate.
    // The id is read once; the completion step de-indexes by this same id.
    auto indexable = taskPointerCast<TaskIndexable>(task);
    auto dependable = taskPointerCast<TaskDependable>(task);
    std::string taskId;
    if (indexable) {
        taskId = indexable->taskId();
        // The default index registers a free id in the same lookup that
        // tests it; any other indexer is asked through its own operations.
        auto* map = asDefaultMap(*taskIndexer_);
        auto existing =
            map ? map->indexUnlessTaken(indexable, taskId) : taskIndexer_->indexedTask(taskId);
        const bool registeredNow = map && !existing;
        const bool sameObject = existing && existing.get() == indexable.get();
        bool admitted;
        if (registeredNow) {
            admitted = true;
        } else if (sameObject) {
            auto waiting = waiting_.find(task.get());
            admitted =
                waiting != waiting_.end() && dependable && dependable->dependencies().empty();
            if (admitted) waiting_.erase(waiting);
        } else {
            admitted = taskIndexer_->canIndex(indexable, taskId);
        }
        if (!admitted) {
            TM_LOG(warning, kAddToQueue, "duplication of {} is found in indexer", describe(*task));
            return;
        }
        if (!sameObject && !registeredNow) taskIndexer_->index(indexable, taskId);
    }

    // 3. Waiting for other tasks: stays registered, queued by notifyCompleteTask.
    if (dependable && !dependable->dependencies().empty()) {
        TM_LOG(debug, kAddToQueue,
               "{} waiting to be executed since its dependencies not yet satisfied",
               describe(*task));
        if (indexable) waiting_.insert(task.get());
        return;
    }

    // 4. The queue of the task's priority.
    auto priorityValue = task->priority();
    const int priority = priorityValue ? priorityValue->intValue() : 0;
    auto queue = queueForTask(*task, priority);
    if (!queue) {
        TM_LOG(error, kAddToQueue,
               "{} can't find queue. This should be handled by disposable queue", describe(*task));
        // It can never run: do not leave it registered.
        if (indexable) deIndexFinished(task, &taskId);
        return;
    }

    // The task is linked to its operation before anything depends on it
    // running. The link is refused when the task ended since the tests
    // above (cancelled or finished on another thread): it then completes
    // without an operation, and that completion takes it out of the index.
    OV_INTERLEAVING_POINT("TaskManager.addToQueue.beforeWrap");
    auto config = configurationOf(*task);
    const bool deIndexFirst = config && config->deIndexBeforeCompletion();
    auto operation = ManagedOperation::make(task, weak_from_this(), std::move(taskId), priority,
                                            queue.get(), deIndexFirst);
    if (!operation) {
        if (task->markCancelled()) {
            TM_LOG(debug, kAddToQueue, "{} is cancelled before added to queue", describe(*task));
        } else {
            TM_LOG(warning, kAddToQueue, "{} has already ended and is not run again",
                   describe(*task));
        }
        return;
    }
    QueueSlot& slot = operationQueues_[priority];

    // 5. Lower queues wait for this one; this one waits for any busier higher one.
    suspendQueues(priority);
    const bool higherEmpty = areQueuesEmpty(priority);
    if (!higherEmpty) {
        for (const auto& [other, otherSlot] : operationQueues_) {
            if (other > priority && otherSlot.unfinished > 0) {
                TM_LOG(debug, kAddToQueue, "dependency with high priority {} to priority queue:{}",
                       other, priority);
            }
        }
    }
    if (queue->isSuspended() == higherEmpty) queue->setSuspended(!higherEmpty);

    // 6. The operation's callback (ManagedOperation::callBack) runs once, on
    // the configuration's callback queue, when the operation has ended.

    // 7.
    TM_LOG(debug, kAddToQueue, "adding task {} existingCount:{} suspended:{}", describe(*task),
           incompleteOperationCount(*queue), queue->isSuspended());

    // 8.
    ++slot.unfinished;
    queue->addOperation(std::move(operation));
}

// ------------------------------------------------------------------ queues

std::shared_ptr<OperationQueue> TaskManager::queueForTask(const OperationTask& task, int key) {
    if (auto it = operationQueues_.find(key); it != operationQueues_.end()) return it->second.queue;
    auto priority = task.priority();
    if (!priority) priority = TaskPriority::shared(TaskPriority::medium);

    // A queue made on demand mirrors the default layout: the medium band
    // runs its tasks concurrently, every other band one at a time.
    TaskQueueConfiguration configuration(priority, key == 0 ? -1 : 1, task.qualityOfService());
    configuration.setQueueName(std::string(kDynamicQueueName));
    registerQueue(configuration);
    if (auto it = operationQueues_.find(key); it != operationQueues_.end()) return it->second.queue;
    return nullptr;
}

void TaskManager::registerQueue(const QueueConfiguration& configuration) {
    auto priority = configuration.priority();
    if (!priority) return;
    auto queue = makeOperationQueue(configuration);
    if (!queue) return;
    operationQueues_[priority->intValue()] = QueueSlot{std::move(queue), 0};
}

void TaskManager::suspendQueues(int withLowerPriorityThan) {
    for (auto& [priority, slot] : operationQueues_) {
        if (priority >= withLowerPriorityThan) break;
        if (slot.queue->isSuspended()) continue;
        TM_LOG(debug, kSuspendQueues, "lower priority than {} suspend queue priority {}",
               withLowerPriorityThan, priority);
        slot.queue->setSuspended(true);
    }
}

bool TaskManager::areQueuesEmpty(int withPriorityHigherThan) {
    for (auto it = operationQueues_.upper_bound(withPriorityHigherThan);
         it != operationQueues_.end(); ++it) {
        if (it->second.unfinished > 0) {
            TM_LOG(debug, kAreQueuesEmpty, "queue with priority {} with operation count: {}",
                   it->first, it->second.unfinished);
            return false;
        }
    }
    return true;
}

void TaskManager::enableQueues(int thatHavePriorityLowerThan) {
    // From the highest lower queue down: each one runs again only when every
    // queue above it is empty, so a busy middle queue keeps the ones below it
    // waiting until its own last task completes.
    auto end = operationQueues_.lower_bound(thatHavePriorityLowerThan);
    for (auto it = std::make_reverse_iterator(end); it != operationQueues_.rend(); ++it) {
        if (!it->second.queue->isSuspended()) continue;
        if (!areQueuesEmpty(it->first)) break;  // everything further down waits as well
        TM_LOG(debug, kEnableQueues, "enable queue with priority {}", it->first);
        it->second.queue->setSuspended(false);
    }
}

// ------------------------------------------------------------------ completion

void TaskManager::completeOperation(const std::string& taskId, int priority,
                                    const std::shared_ptr<OperationTask>& task, bool deIndexFirst) {
    auto result = resultOf(*task);
    stampTaskId(*task, result);
    appendPreviousResults(*task, result);

    // 1. The tasks waiting for this one.
    notifyCompleteTask(taskId, task);

    // 2. Out of the index, with its dependency links. Without
    // deIndexBeforeCompletion the completion closure has already run (on the
    // callback queue, before this step was scheduled), so the task leaves the
    // index after its completion; with it, the task leaves first and the
    // closure is scheduled below.
    if (auto combinable = taskPointerCast<TaskCombinable>(task)) {
        combinable->nextTasks().clear();
    }
    deIndexFinished(task, &taskId);

    // 3. A disposable task takes its on-demand queue out of the table (never
    // a queue given to make()). Work still in that queue is not stranded: the
    // queue is retired, running and no longer held back by higher queues,
    // until its last operation has ended; the next task of that priority
    // gets a new queue.
    if (auto disposable = taskPointerCast<TaskDisposable>(task);
        disposable && disposable->shouldRemoveQueueOnComplete()) {
        if (auto it = operationQueues_.find(priority);
            it != operationQueues_.end() &&
            it->second.queue->name() == std::string(kDynamicQueueName)) {
            if (it->second.unfinished > 0) {
                it->second.queue->setSuspended(false);
                retiredQueues_.push_back(std::move(it->second));
            }
            operationQueues_.erase(it);
        }
    }

    // 4. Lower queues run again once nothing above them is busy.
    if (areQueuesEmpty(priority)) {
        TM_LOG(debug, kCompleteOperation, "should enable queue lower than priority {}", priority);
        enableQueues(priority);
    } else {
        for (auto it = operationQueues_.upper_bound(priority); it != operationQueues_.end(); ++it) {
            if (it->second.unfinished == 0) continue;
            TM_LOG(debug, kCompleteOperation,
                   "dependency with high priority {} will resume the queue when added", it->first);
        }
    }

    // Completion closures: the task's own (when it left the index first) and
    // those of the tasks absorbed as its duplicates, which are taken in the
    // same serial step that removed the task from the index, so no later
    // duplicate can be missed.
    auto duplicates = takeDuplicates(*task);
    if (deIndexFirst || !duplicates.empty()) {
        auto queue = callbackQueueOf(*task);
        queue->addOperation(
            [task, result, deIndexFirst, queue, duplicates = std::move(duplicates)] {
                if (deIndexFirst) deliverCompletion(task);
                deliverToDuplicates(duplicates, result, queue);
            });
    }
}

void TaskManager::notifyCompleteTask(const std::string& taskId,
                                     const std::shared_ptr<OperationTask>& task) {
    auto combinable = taskPointerCast<TaskCombinable>(task);
    if (!combinable) return;
    (void)taskId;
    // Dependants are told in the order they started to wait. Each one drops
    // the id asynchronously on this queue and is executed when none is left;
    // a cancelled task's dependants keep waiting (TaskDependable).
    auto waiting = combinable->nextTasks();
    for (const auto& next : waiting) {
        if (!next) continue;
        TM_LOG(debug, kNotifyCompleteTask, "task {} trigger dependency task {}", describe(*task),
               describe(*next));
        next->didCompleteBlockingTask(combinable);
    }
}

void TaskManager::deIndexFinished(const std::shared_ptr<OperationTask>& task,
                                  const std::string* knownId) {
    auto* indexable = taskCast<TaskIndexable>(task.get());
    if (!indexable) return;
    std::string ownId;
    const std::string& id = knownId ? *knownId : (ownId = indexable->taskId());
    if (!waiting_.empty()) waiting_.erase(task.get());
    // Only this task's own entry: an invisible entry (canBeIndexed off) may
    // have been replaced by a newer task with the same id.
    if (auto* map = asDefaultMap(*taskIndexer_)) {
        map->deIndexUnlessReplaced(*indexable, id);
        return;
    }
    auto current = taskIndexer_->indexedTask(id);
    if (!current || current.get() == indexable) taskIndexer_->deIndex(id);
}

void TaskManager::completeUnqueuedTask(std::shared_ptr<OperationTask> task) {
    if (!task) return;
    serialize(false, [weak = weak_from_this(), task = std::move(task)] {
        auto self = weak.lock();
        if (!self) return;
        auto result = resultOf(*task);
        stampTaskId(*task, result);
        appendPreviousResults(*task, result);
        // Its dependants are told as for a task that ran: they go on unless
        // it was cancelled (the usual case here), then they keep waiting.
        if (auto* indexable = taskCast<TaskIndexable>(task.get())) {
            self->notifyCompleteTask(indexable->taskId(), task);
        }
        if (auto combinable = taskPointerCast<TaskCombinable>(task))
            combinable->nextTasks().clear();
        auto duplicates = takeDuplicates(*task);
        // The callback holds the task weakly: a task nobody keeps (not even
        // the index) gets no completion. It leaves the index after it.
        auto queue = callbackQueueOf(*task);
        queue->addOperation([weak, weakTask = std::weak_ptr<OperationTask>(task), result, queue,
                             duplicates = std::move(duplicates)] {
            auto task = weakTask.lock();
            if (!task) return;
            deliverCompletion(task);
            deliverToDuplicates(duplicates, result, queue);
            if (auto self = weak.lock()) {
                self->serialize(false, [weak, task] {
                    if (auto self = weak.lock()) self->deIndexFinished(task);
                });
            }
        });
    });
}

// ------------------------------------------------------------------ diagnostics

void TaskManager::logAllCurrentTasks() {
    if (!ovlog::OLog::isEnabled(ovlog::Level::debug, logModule())) return;
    TM_LOG(debug, kLogAllCurrentTasks, ":::: start checking all queues");
    for (const auto& [priority, slot] : operationQueues_) {
        TM_LOG(debug, kLogAllCurrentTasks, "queue priority:{}, operation count: {}", priority,
               incompleteOperationCount(*slot.queue));
    }
    TM_LOG(debug, kLogAllCurrentTasks, ":::: all tasks in indexer");
    for (const auto& indexed : taskIndexer_->allIndexedTasks()) {
        if (indexed) TM_LOG(debug, kLogAllCurrentTasks, "{}", describe(*indexed));
    }
    TM_LOG(debug, kLogAllCurrentTasks, ":::: done checking all queues");
}

}  // namespace ov
