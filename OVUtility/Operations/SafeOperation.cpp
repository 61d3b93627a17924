#include "OVUtility/Operations/SafeOperation.h"

#include <cstdlib>
#include <string>
#include <typeinfo>
#include <utility>

#include "OVLog/OVLog.h"
#include "OVUtility/Operations/OperationConfiguration.h"
#include "OVUtility/Platform/CallStack.h"
#include "OVUtility/Platform/DispatchQueue.h"
#include "OVUtility/Platform/InterleavingPoint.h"
#include "OVUtility/Platform/MainRunLoop.h"
#include "OVUtility/Platform/OperationQueue.h"
#include "OVUtility/Tasks/OperationTask.h"
#include "OVUtility/Tasks/TaskCast.h"
#include "OVUtility/Tasks/TaskConfigurable.h"

namespace ov {

namespace {

ovlog::Module& logModule() {
    static ovlog::Module& module = ovlog::Module::named("OperationTask");
    return module;
}

const TaskState* const kReady = &OperationStateReady::instance();
const TaskState* const kExecuting = &OperationStateExecuting::instance();
const TaskState* const kFinished = &OperationStateFinished::instance();
const TaskState* const kCanceled = &OperationStateCanceled::instance();

// Whether a canonical state is one of the four OperationStates (the states
// the platform flags are read from); pointer tests, as every stored state is
// its type's one instance. `operationState_` only ever holds one of these
// four, so the flags below are pointer tests too.
bool isOperationState(const TaskState* state) {
    return state == kReady || state == kExecuting || state == kFinished || state == kCanceled;
}

bool is(const TaskState* state, std::string_view keyPath) {
    return state->kvoKeyPath() == keyPath;
}

constexpr std::string_view kReadyKey = "isReady";
constexpr std::string_view kExecutingKey = "isExecuting";
constexpr std::string_view kFinishedKey = "isFinished";
constexpr std::string_view kCancelledKey = "isCancelled";
constexpr std::string_view kTerminatedKey = "isTerminated";
constexpr std::string_view kPrematurelyFinishedKey = "isPrematurelyFinished";

std::shared_ptr<const OperationConfiguration> configurationOf(const OperationTask& task) {
    if (auto* configurable = taskCast<const TaskConfigurable>(&task)) {
        return configurable->operationConfiguration();
    }
    return nullptr;
}

std::shared_ptr<DispatchQueue> expirationQueue() {
    // One serial queue serves every operation's expiration timer.
    static auto* const queue = new std::shared_ptr<DispatchQueue>(
        DispatchQueue::make(std::string(SafeOperation::kExpirationQueueLabel),
                            DispatchQueue::Attributes::serial, QualityOfService::background));
    return *queue;
}

}  // namespace

SafeOperation::SafeOperation(std::shared_ptr<OperationTask> task)
    : state_(kReady), operationState_(kReady), task_(std::move(task)) {
    if (auto config = task_ ? configurationOf(*task_) : nullptr) {
        guarded_ = config->isThreadSafe();
        async_ = config->isAsync();
        expiration_ = config->expiration();
    }
}

std::shared_ptr<SafeOperation> SafeOperation::make(std::shared_ptr<OperationTask> task) {
    // One block for the operation and its reference count (the constructor
    // is protected, hence the local subclass). The task's weak link keeps
    // that block's memory (not the operation's members) until the task goes,
    // which in the task manager's flow is when it leaves the index: then the
    // block is freed on the thread that allocated it, which glibc's
    // per-thread caches reward (a separate control block measured 10% slower).
    struct Made final : SafeOperation {
        explicit Made(std::shared_ptr<OperationTask> task) : SafeOperation(std::move(task)) {}
    };
    std::shared_ptr<SafeOperation> op = std::make_shared<Made>(std::move(task));
    if (!op->link()) return nullptr;
    return op;
}

bool SafeOperation::link() {
    // A task that has already ended refuses the link: it must not run again.
    auto self = std::static_pointer_cast<SafeOperation>(weak_from_this().lock());
    if (task_ && !task_->attachOperationBridge(self)) return false;
    setupOperation();
    return true;
}

void SafeOperation::setupOperation() {
    auto task = this->task();
    if (!task) return;
    // TaskPriority is final: a type test is enough (and far cheaper than a cast).
    if (auto priority = task->priority(); priority && typeid(*priority) == typeid(TaskPriority)) {
        setQueuePriority(static_cast<const TaskPriority&>(*priority).queuePriority());
    }
    setQualityOfService(bridgeValue(task->qualityOfService()));
    auto config = configurationOf(*task);
    setCallBackQueue(config ? config->callbackQueue() : nullptr);
}

// A transition handed to the callback queue: a block operation that applies
// `state` to the operation if it still exists, in one allocation.
class SafeOperation::HandOver final : public BlockOperation {
  public:
    HandOver(std::weak_ptr<SafeOperation> target, const TaskState& state)
        : target_(std::move(target)), state_(&state) {}
    void main() override {
        if (auto target = target_.lock()) target->apply(*state_);
    }

  private:
    std::weak_ptr<SafeOperation> target_;
    const TaskState* state_;  // a canonical state instance: lives for the process
};

// The completion callback as a block operation on the callback queue; it
// keeps the operation (and so a subclass's completion state) until it runs.
class SafeOperation::CallBackOperation final : public BlockOperation {
  public:
    CallBackOperation(std::shared_ptr<SafeOperation> operation, CallBackClosure closure)
        : operation_(std::move(operation)), closure_(std::move(closure)) {}
    void main() override {
        auto operation = std::move(operation_);
        operation->callBack(closure_);
        closure_ = nullptr;  // what it captured goes with the callback's turn
    }

  private:
    std::shared_ptr<SafeOperation> operation_;
    CallBackClosure closure_;
};

std::weak_ptr<SafeOperation> SafeOperation::weakSelf() {
    return std::static_pointer_cast<SafeOperation>(weak_from_this().lock());
}

// ------------------------------------------------------------------ flags

bool SafeOperation::isReady() const {
    return operationState_.load() == kReady;
}
bool SafeOperation::isExecuting() const {
    return operationState_.load() == kExecuting;
}
bool SafeOperation::isFinished() const {
    return operationState_.load() == kFinished;
}
bool SafeOperation::isCancelled() const {
    return operationState_.load() == kCanceled;
}

bool SafeOperation::isOperating() const {
    return operationState_.load() == kExecuting;
}

bool SafeOperation::isInState(const TaskState& state) const {
    std::unique_lock guard(lock_, std::defer_lock);
    if (guarded_) guard.lock();
    return state_.load()->kvoKeyPath() == state.kvoKeyPath();
}

// ------------------------------------------------------------------ fields

std::shared_ptr<OperationTask> SafeOperation::task() const {
    std::lock_guard lock(fieldsMutex_);
    return task_;
}

void SafeOperation::setTask(std::shared_ptr<OperationTask> task) {
    std::lock_guard lock(fieldsMutex_);
    task_.swap(task);  // a replaced task is released after the lock
}

SafeOperation::CallBackClosure SafeOperation::callBackClosure() const {
    std::lock_guard lock(fieldsMutex_);
    return callBackClosure_;
}

void SafeOperation::setCallBackClosure(CallBackClosure closure) {
    std::lock_guard lock(fieldsMutex_);
    callBackClosure_.swap(closure);  // a replaced closure is released after the lock
}

std::shared_ptr<OperationQueue> SafeOperation::callBackQueue() const {
    std::lock_guard lock(fieldsMutex_);
    return callBackQueue_;
}

void SafeOperation::setCallBackQueue(std::shared_ptr<OperationQueue> queue) {
    std::lock_guard lock(fieldsMutex_);
    callBackQueue_.swap(queue);
}

// ------------------------------------------------------------------ transitions

namespace {

// The states in which the operation has started and not yet ended: executing,
// or a task state (paused, resumed) taken while executing.
bool isOperatingState(const TaskState* state) {
    return !is(state, kReadyKey) && !is(state, kTerminatedKey) &&
           !is(state, kPrematurelyFinishedKey) && !is(state, kFinishedKey) &&
           !is(state, kCancelledKey);
}

// The state a transition really takes. A request decided on a state that has
// changed meanwhile (another thread started, cancelled or finished the
// operation between the test and the transition) still ends the operation:
// - a start after an early cancel, or an early cancel after the start: Canceled;
// - a start after an early finish, or an early finish after the start: Finished.
const TaskState* effectiveTarget(const TaskState* old, const TaskState* target) {
    if ((is(old, kTerminatedKey) && is(target, kExecutingKey)) ||
        (isOperatingState(old) && is(target, kTerminatedKey))) {
        return &OperationStateCanceled::instance();
    }
    if ((is(old, kPrematurelyFinishedKey) && is(target, kExecutingKey)) ||
        (isOperatingState(old) && is(target, kPrematurelyFinishedKey))) {
        return kFinished;
    }
    return target;
}

}  // namespace

void SafeOperation::apply(const TaskState& target) {
    auto keepAlive = weak_from_this().lock();  // queues drop their reference on "isFinished"
    auto task = this->task();
    const TaskState* old;
    const TaskState* effective;
    {
        std::unique_lock guard(lock_, std::defer_lock);
        if (guarded_) guard.lock();
        if (operationState_.load() == kFinished) return;  // late hand-over after the end
        old = state_.load();
        effective = effectiveTarget(old, &target.canonical());
        if (task) task->willChange(*old, *effective);
        willChangeValue(effective->kvoKeyPath());
        willChangeValue(old->kvoKeyPath());
        state_.store(effective);
        if (isOperationState(effective)) operationState_.store(effective);
        didChangeValue(old->kvoKeyPath());
        didChangeValue(effective->kvoKeyPath());
        if (isCancelled()) {
            setCancelledFlag();
            willChangeValue(kFinishedKey);
            operationState_.store(kFinished);
            didChangeValue(kFinishedKey);
        }
    }
    if (task) task->didChange(*old, *effective);
    if (isFinished()) {
        stopExpirationTimer();
        deliverCompletion();
    }
}

void SafeOperation::handOver(const TaskState& target) {
    auto queue = callBackQueue();
    if (queue && MainRunLoop::isMainThread()) {
        queue->addOperation(std::make_shared<HandOver>(weakSelf(), target.canonical()));
    } else {
        apply(target);
    }
}

bool SafeOperation::update(const TaskState& state) {
    const std::string_view key = state.kvoKeyPath();
    if (key == kFinishedKey || key == kPrematurelyFinishedKey) {
        if (isReady()) {
            OV_INTERLEAVING_POINT("SafeOperation.update.finishWhileReady");
            apply(OperationStatePrematurelyFinished::instance());
        } else if (isOperating()) {
            finishingPath();
        }
        return true;
    }
    if (key == kCancelledKey || key == kTerminatedKey) {
        cancel();
        return true;
    }
    bool accepted = false;
    {
        std::unique_lock guard(lock_, std::defer_lock);
        if (guarded_) guard.lock();
        auto task = this->task();
        accepted = task && task->shouldChange(state);
    }
    if (!accepted) return false;
    OV_INTERLEAVING_POINT("SafeOperation.update.accepted");
    handOver(state);
    return true;
}

void SafeOperation::start() {
    if (isInState(OperationStateTerminated::instance())) {
        dispatchCancel();
    } else if (isInState(OperationStatePrematurelyFinished::instance())) {
        finishingPath();
    } else {
        armExpirationTimer();
        OV_INTERLEAVING_POINT("SafeOperation.start");
        apply(OperationStateExecuting::instance());
    }
}

void SafeOperation::cancel() {
    if (isReady()) {
        OV_INTERLEAVING_POINT("SafeOperation.cancel.whileReady");
        apply(OperationStateTerminated::instance());
    } else if (isOperating()) {
        dispatchCancel();
    }
}

void SafeOperation::finish() {
    if (isReady()) {
        OV_INTERLEAVING_POINT("SafeOperation.finish.whileReady");
        apply(OperationStatePrematurelyFinished::instance());
    } else if (isOperating()) {
        finishingPath();
    }
}

void SafeOperation::finishingPath() {
    if (auto queue = callBackQueue()) {
        queue->addOperation(
            std::make_shared<HandOver>(weakSelf(), OperationStateFinished::instance()));
    } else {
        apply(OperationStateFinished::instance());
    }
}

void SafeOperation::dispatchCancel() {
    OVLOG_AT(ovlog::Level::verbose, logModule(), "SafeOperation", "dispatchCancel()",
             "Operation canceled {}", callStackSymbols());
    if (auto queue = callBackQueue()) {
        queue->addOperation(
            std::make_shared<HandOver>(weakSelf(), OperationStateCanceled::instance()));
    } else {
        apply(OperationStateCanceled::instance());
    }
}

// ------------------------------------------------------------------ expiration, completion

void SafeOperation::armExpirationTimer() {
    if (!(expiration_ > 0)) return;
    auto timer = timeSchedulerFactory_.makeTimer(expiration_, expirationQueue(),
                                                 kExpirationLeewayNanoseconds, [weak = weakSelf()] {
                                                     if (auto self = weak.lock()) self->cancel();
                                                 });
    std::shared_ptr<BlockTimer> previous;
    {
        std::lock_guard lock(fieldsMutex_);
        previous = std::exchange(expirationTimer_, std::move(timer));
    }
    if (previous) previous->invalidate();
}

void SafeOperation::stopExpirationTimer() {
    std::shared_ptr<BlockTimer> timer;
    {
        std::lock_guard lock(fieldsMutex_);
        timer = std::move(expirationTimer_);
    }
    if (timer) timer->invalidate();
}

void SafeOperation::deliverCompletion() {
    if (completionDelivered_.exchange(true)) return;
    // Delivered once: the closure is handed on, not copied, and the
    // operation lets go of it (and of whatever it captured).
    CallBackClosure closure;
    std::shared_ptr<OperationQueue> queue;
    {
        std::lock_guard lock(fieldsMutex_);
        closure = std::exchange(callBackClosure_, nullptr);
        queue = callBackQueue_;
    }
    if (!closure && !ownsCallBack_) return;
    auto self = std::static_pointer_cast<SafeOperation>(weak_from_this().lock());
    if (queue && self) {
        queue->addOperation(
            std::make_shared<CallBackOperation>(std::move(self), std::move(closure)));
    } else {
        callBack(closure);
    }
}

void SafeOperation::callBack(CallBackClosure& closure) {
    if (closure) closure();
}

}  // namespace ov
