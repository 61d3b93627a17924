#include "OVUtility/Tasks/GeneralTask.h"

#include <cxxabi.h>

#include <cstdlib>
#include <typeinfo>
#include <utility>

#include "OVLog/OVLog.h"
#include "OVUtility/Operations/OperationBridge.h"
#include "OVUtility/Operations/OperationQueueAdditions.h"
#include "OVUtility/Operations/OperationState.h"
#include "OVUtility/Platform/CallStack.h"
#include "OVUtility/Platform/InterleavingPoint.h"
#include "OVUtility/Platform/OperationQueue.h"
#include "OVUtility/Tasks/TaskDependable.h"
#include "OVUtility/Tasks/TaskManager.h"

namespace ov {

namespace {

ovlog::Module& logModule() {
    static ovlog::Module& module = ovlog::Module::named("OperationTask");
    return module;
}

// The default task configuration is empty and immutable: one instance serves
// every task.
std::shared_ptr<const TaskConfiguration> defaultTaskConfiguration() {
    static const auto* const configuration = new std::shared_ptr<const TaskConfiguration>(
        std::make_shared<const DefaultTaskConfiguration>());
    return *configuration;
}

// Likewise the default operation configuration: it is immutable (tasks hold
// it as const), so one instance stands for a fresh default in every task.
std::shared_ptr<const OperationConfiguration> defaultOperationConfiguration() {
    static const auto* const configuration = new std::shared_ptr<const OperationConfiguration>(
        std::make_shared<const DefaultOperationConfiguration>());
    return *configuration;
}

}  // namespace

GeneralTask::GeneralTask()
    : priority_(TaskPriority::shared(TaskPriority::medium)),
      configuration_(defaultTaskConfiguration()),
      operationConfiguration_(defaultOperationConfiguration()) {}

GeneralTask::~GeneralTask() = default;

// ------------------------------------------------------------------ properties

void GeneralTask::makeInitialResult() const {
    {
        std::lock_guard lock(mutex_);
        if (resultStored_) return;
    }
    // Made outside the lock, which guards only loads and stores; the first
    // of two racing readers stores its object, the other's is dropped.
    auto initial = std::make_shared<GeneralTaskResult>(false, std::nullopt);
    std::lock_guard lock(mutex_);
    if (resultStored_) return;
    result_ = std::move(initial);
    resultStored_ = true;
}

std::shared_ptr<TaskResult> GeneralTask::result() const {
    {
        std::lock_guard lock(mutex_);
        if (resultStored_) return result_;
    }
    makeInitialResult();
    std::lock_guard lock(mutex_);
    return result_;
}

void GeneralTask::setResult(std::shared_ptr<TaskResult> result) {
    std::lock_guard lock(mutex_);
    result_.swap(result);  // the old result is released after the lock
    resultStored_ = true;
}

bool GeneralTask::markCancelled() const {
    return markCancelled_.load(std::memory_order_acquire);
}

void GeneralTask::setMarkCancelled(bool cancelled) {
    markCancelled_.store(cancelled, std::memory_order_release);
}

std::shared_ptr<const PriorityValue> GeneralTask::priority() const {
    std::lock_guard lock(mutex_);
    return priority_;
}

void GeneralTask::setPriority(std::shared_ptr<const PriorityValue> priority) {
    if (!priority) return;
    std::lock_guard lock(mutex_);
    priority_.swap(priority);
}

void GeneralTask::setPriority(TaskPriority priority) {
    setPriority(TaskPriority::shared(priority.value()));
}

TaskQualityOfService GeneralTask::qualityOfService() const {
    std::lock_guard lock(mutex_);
    return qualityOfService_;
}

void GeneralTask::setQualityOfService(TaskQualityOfService qos) {
    std::lock_guard lock(mutex_);
    qualityOfService_ = qos;
}

std::shared_ptr<const TaskConfiguration> GeneralTask::configuration() const {
    std::lock_guard lock(mutex_);
    return configuration_;
}

void GeneralTask::setConfiguration(std::shared_ptr<const TaskConfiguration> configuration) {
    std::lock_guard lock(mutex_);
    configuration_.swap(configuration);
}

std::shared_ptr<const OperationConfiguration> GeneralTask::operationConfiguration() const {
    std::lock_guard lock(mutex_);
    return operationConfiguration_;
}

void GeneralTask::setOperationConfiguration(
    std::shared_ptr<const OperationConfiguration> configuration) {
    // The task keeps its own copy: configurations are values.
    if (configuration) configuration = configuration->copy();
    std::lock_guard lock(mutex_);
    operationConfiguration_.swap(configuration);
}

GeneralTask::CompletionClosure GeneralTask::completionClosure() const {
    std::lock_guard lock(mutex_);
    return completionClosure_;
}

void GeneralTask::setCompletionClosure(CompletionClosure closure) {
    std::lock_guard lock(mutex_);
    completionClosure_.swap(closure);
}

std::shared_ptr<OperationBridge> GeneralTask::operationBridge() const {
    std::lock_guard lock(mutex_);
    return operationBridge_.lock();
}

void GeneralTask::setOperationBridge(const std::shared_ptr<OperationBridge>& bridge) {
    std::lock_guard lock(mutex_);
    operationBridge_ = bridge;
}

bool GeneralTask::attachOperationBridge(const std::shared_ptr<OperationBridge>& bridge) {
    std::lock_guard lock(mutex_);
    if (phase_ != Phase::fresh || !bridge) return false;
    operationBridge_ = bridge;
    phase_ = Phase::wrapped;
    return true;
}

bool GeneralTask::hasEnded() const {
    std::lock_guard lock(mutex_);
    return phase_ == Phase::ended;
}

// ------------------------------------------------------------------ hooks

bool GeneralTask::shouldChange(const TaskState& state) {
    auto bridge = operationBridge();
    return bridge ? bridge->isInState(state) : false;
}

void GeneralTask::willChange(const TaskState&, const TaskState&) {}

void GeneralTask::didChange(const TaskState&, const TaskState& to) {
    const auto key = to.kvoKeyPath();
    if (key == OperationStateExecuting::instance().kvoKeyPath()) {
        didExecute();
    } else if (key == OperationStateFinished::instance().kvoKeyPath() ||
               key == OperationStateCanceled::instance().kvoKeyPath()) {
        std::lock_guard lock(mutex_);
        phase_ = Phase::ended;
    }
}

void GeneralTask::didExecute() {
    finish();
}

void GeneralTask::willCancel(const std::optional<Error>&) {}

void GeneralTask::willFinish() {}

// ------------------------------------------------------------------ lifecycle

void GeneralTask::cancel(std::optional<Error> error) {
    willCancel(error);
    makeInitialResult();
    {
        std::lock_guard lock(mutex_);
        markCancelled_.store(true, std::memory_order_release);
        if (result_) result_->setError(std::move(error));
    }
    requestEnd(OperationStateCanceled::instance());
}

void GeneralTask::finish() {
    willFinish();
    auto r = result();
    const bool success = r && r->success();
    OVLOG_AT(ovlog::Level::debug, logModule(), "GeneralTask", "finish()",
             "task {} finish with result success:{}", description(), success);
    // An unsuccessful result counts as a cancellation without an error.
    if (!success) markCancelled_.store(true, std::memory_order_release);
    requestEnd(success ? static_cast<const TaskState&>(OperationStateFinished::instance())
                       : OperationStateCanceled::instance());
}

void GeneralTask::requestEnd(const TaskState& target) {
    std::shared_ptr<OperationBridge> bridge;
    bool completeHere = false;
    {
        // Decided under the same lock as attachOperationBridge(): either an
        // operation runs the task (and ends it), or the task ends here.
        std::lock_guard lock(mutex_);
        bridge = operationBridge_.lock();
        if (!bridge && phase_ == Phase::fresh) {
            phase_ = Phase::ended;
            completeHere = true;
        }
    }
    OV_INTERLEAVING_POINT("GeneralTask.requestEnd");
    if (bridge) {
        bridge->update(target);  // an operation that has ended ignores it
    } else if (completeHere) {
        completeWithoutOperation();
    }
}

void GeneralTask::finishWithWorkResult(std::shared_ptr<TaskResult> result) {
    setResult(result ? std::move(result)
                     : std::make_shared<GeneralTaskResult>(false, std::nullopt));
    finish();
}

bool GeneralTask::beginCompletion() {
    return !completionBegun_.exchange(true, std::memory_order_acq_rel);
}

void GeneralTask::callCompletionClosure(const std::shared_ptr<TaskResult>& result) {
    CompletionClosure closure;
    {
        std::lock_guard lock(mutex_);
        closure = std::exchange(completionClosure_, nullptr);
    }
    if (closure) closure(result);
}

void GeneralTask::completeWithoutOperation() {
    OVLOG_AT(ovlog::Level::verbose, logModule(), "GeneralTask", "completeWithoutOperation()",
             "task is canceled before added {} {}", description(), callStackSymbols());
    auto self = sharedAs<OperationTask>();
    if (!self) return;  // not owned by a shared_ptr: nobody to call back

    // A task run by a task manager is completed there: its waiting tasks,
    // duplicates and index entry are the manager's, on its serial queue.
    if (auto* executable = dynamic_cast<TaskExecutable*>(this)) {
        if (auto manager = std::dynamic_pointer_cast<TaskManager>(executable->taskExecutor())) {
            manager->completeUnqueuedTask(std::move(self));
            return;
        }
    }

    auto result = this->result();
    auto* indexable = dynamic_cast<TaskIndexable*>(this);
    if (auto indexed = std::dynamic_pointer_cast<TaskResultIndexable>(result);
        indexed && indexable) {
        indexed->setTaskId(indexable->taskId());
    }
    auto deliver = [weak = std::weak_ptr<OperationTask>(self), result] {
        auto task = std::dynamic_pointer_cast<GeneralTask>(weak.lock());
        if (task && task->beginCompletion()) task->callCompletionClosure(result);
    };
    auto queueCompletion = [config = operationConfiguration(), deliver = std::move(deliver)] {
        auto queue = config ? config->callbackQueue() : nullptr;
        if (!queue) queue = sharedCallBackQueue();
        queue->addOperation(deliver);
    };
    auto* combinable = dynamic_cast<TaskCombinable*>(this);
    auto* executable = dynamic_cast<TaskExecutable*>(this);
    auto executor = executable ? executable->taskExecutor() : nullptr;
    if (combinable && executor) {
        // The waiting tasks are the executor's to touch: hand the result over there.
        executor->serialize(false, [self, result, queueCompletion] {
            if (auto c = std::dynamic_pointer_cast<TaskCombinable>(self)) {
                for (auto& next : c->nextTasks()) next->previousResults().push_back(result);
            }
            queueCompletion();
        });
        return;
    }
    if (combinable) {
        for (auto& next : combinable->nextTasks()) next->previousResults().push_back(result);
    }
    queueCompletion();
}

std::string GeneralTask::className() const {
    const char* mangled = typeid(*this).name();
    int status = 0;
    char* demangled = abi::__cxa_demangle(mangled, nullptr, nullptr, &status);
    std::string name = (status == 0 && demangled) ? demangled : mangled;
    std::free(demangled);
    // Drop namespace qualifiers ("ov::StandardClosureTask" -> "StandardClosureTask").
    auto templateStart = name.find('<');
    auto scope = name.rfind("::", templateStart);
    if (scope != std::string::npos) name.erase(0, scope + 2);
    return name;
}

std::string GeneralTask::description() const {
    return className();
}

// ------------------------------------------------------------------ GeneralClosureTask

GeneralClosureTask::GeneralClosureTask(TaskClosure closure) : taskClosure_(std::move(closure)) {}

void GeneralClosureTask::didExecute() {
    // A closure that returns no result failed (an unsuccessful result is stored).
    finishWithWorkResult(taskClosure_ ? taskClosure_(*this) : nullptr);
}

}  // namespace ov
