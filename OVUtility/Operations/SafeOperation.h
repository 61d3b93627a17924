// ov::SafeOperation: the operation in which every task of the task framework
// runs. It wraps one OperationTask, keeps its own state as a TaskState,
// publishes the platform flags (isReady/isExecuting/isFinished/isCancelled)
// through key-value observation, optionally arms an expiration timer, and
// delivers a completion callback on a chosen operation queue.
//
//   auto op = ov::SafeOperation::make(task);          // task->operationBridge() == op
//   op->setCallBackClosure([] { /* ran exactly once, when finished */ });
//   queue->addOperation(op);
//   ...
//   task->change(ov::OperationStateFinished{});       // or op->finish(), op->cancel()
//
// States (key paths): Ready "isReady", Executing "isExecuting", Finished
// "isFinished", Canceled "isCancelled" (these four are the platform flags),
// Terminated "isTerminated" (cancelled before start) and PrematurelyFinished
// "isPrematurelyFinished" (finished before start); the last two still look
// ready to the queue, which starts the operation and sees it end at once.
//
// Every transition: lock (when guarded) -> task->willChange(old, new) ->
// willChange(new key), willChange(old key) -> state := new -> didChange(old
// key), didChange(new key) -> when the operation is now cancelled, it is
// finished as well (announced "isFinished") -> unlock -> task->didChange(old,
// new) -> when finished: stop the expiration timer, deliver the callback.
// A transition chosen on a state that another thread changed meanwhile still
// ends the operation: a start racing an early cancel (Terminated ->
// Executing), or an early cancel landing after the start (executing, paused
// or resumed -> Terminated), ends as Canceled; a start racing an early finish
// (PrematurelyFinished -> Executing), or an early finish landing after the
// start (-> PrematurelyFinished), ends as Finished. Every operation that
// starts therefore ends, with exactly one callback.
//
// Guarded (the task has no operation configuration, or its isThreadSafe is
// true; read once, at creation): transitions and state tests take the
// recursive lock "--safe-operation-recursive-lock". Unguarded: no lock at
// all, and serialising state changes is the caller's business.
//
// Finishing and cancelling are handed to `callBackQueue()` when one is set
// (holding the operation weakly). Kept on purpose: a transition that arrives
// after the operation has finished is ignored (no second "isFinished", no
// second callback). The completion callback runs exactly
// once: at once on the finishing thread without a callback queue, else as a
// block operation on it; `callBackClosure()` is empty from then on. Expiry (configuration
// `expiration` > 0 seconds, armed at start on the serial queue "com.orvanta.safeoperation", leeway
// 0.1 s) behaves like cancel(): a verbose "Operation canceled " line with the
// call stack, Canceled, Finished, callback.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string_view>

#include "OVUtility/Concurrency/DispatchTimerFactory.h"
#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Operations/OperationBridge.h"
#include "OVUtility/Operations/OperationState.h"
#include "OVUtility/Platform/Operation.h"
#include "OVUtility/Platform/SpinLock.h"

namespace ov {

class OperationQueue;
class OperationTask;

class OV_API SafeOperation : public Operation, public OperationBridge {
  public:
    using CallBackClosure = std::function<void()>;

    static constexpr std::string_view kLockName = "--safe-operation-recursive-lock";
    static constexpr std::string_view kExpirationQueueLabel = "com.orvanta.safeoperation";
    static constexpr long long kExpirationLeewayNanoseconds = 100'000'000;

    // Wraps `task`: sets its operation bridge to the new operation, copies its
    // priority (when it is a TaskPriority) and quality of service, and takes
    // the callback queue from its operation configuration. Null when the task
    // refuses the link because it has already ended (see
    // OperationTask::attachOperationBridge): an ended task never runs again.
    static std::shared_ptr<SafeOperation> make(std::shared_ptr<OperationTask> task);
    SafeOperation() = delete;  // an operation always carries a task

    bool isAsynchronous() const override { return async_; }
    bool isReady() const override;
    bool isExecuting() const override;
    bool isFinished() const override;
    bool isCancelled() const override;

    // OperationBridge
    std::shared_ptr<OperationTask> task() const override;
    bool isOperating() const override;
    bool isInState(const TaskState& state) const override;
    bool update(const TaskState& state) override;

    void setTask(std::shared_ptr<OperationTask> task);

    void start() override;
    void cancel() override;
    void finish();

    CallBackClosure callBackClosure() const;
    void setCallBackClosure(CallBackClosure closure);
    std::shared_ptr<OperationQueue> callBackQueue() const;
    void setCallBackQueue(std::shared_ptr<OperationQueue> queue);

    // Whether transitions take the lock (fixed at creation).
    bool isGuarded() const { return guarded_; }

  protected:
    explicit SafeOperation(std::shared_ptr<OperationTask> task);
    // Copies priority, quality of service and callback queue from the task.
    virtual void setupOperation();

    // For subclasses that carry their own completion state (an executor's
    // bookkeeping) instead of a closure: makes an `Op` from the task and
    // `args`, in one allocation, and links it to the task as make() does.
    // Null when the task refuses the link. `Op`'s constructor must be
    // reachable from here (public, or befriend SafeOperation).
    template <typename Op, typename... Args>
    static std::shared_ptr<Op> makeLinked(std::shared_ptr<OperationTask> task, Args&&... args) {
        auto op = std::make_shared<Op>(std::move(task), std::forward<Args>(args)...);
        if (!op->link()) return nullptr;
        return op;
    }
    // The completion callback, delivered once (on the callback queue when one
    // is set). The base runs `closure` (the one set with setCallBackClosure);
    // a subclass that sets `ownsCallBack_` in its constructor is called even
    // without a closure and may use its own state instead.
    virtual void callBack(CallBackClosure& closure);
    bool ownsCallBack_ = false;

  private:
    class HandOver;
    class CallBackOperation;
    // Attaches the operation to its task and copies the task's settings.
    bool link();
    void apply(const TaskState& target);
    void handOver(const TaskState& target);
    void finishingPath();
    void dispatchCancel();
    void armExpirationTimer();
    void stopExpirationTimer();
    void deliverCompletion();
    std::weak_ptr<SafeOperation> weakSelf();

    std::atomic<const TaskState*> state_;
    std::atomic<const TaskState*> operationState_;
    mutable std::recursive_mutex lock_;
    bool guarded_ = true;
    bool async_ = true;
    double expiration_ = 0;
    std::atomic<bool> completionDelivered_{false};
    DispatchTimerFactory timeSchedulerFactory_;

    mutable SpinLock fieldsMutex_;  // guards the members below (short sections only)
    std::shared_ptr<BlockTimer> expirationTimer_;
    CallBackClosure callBackClosure_;
    std::shared_ptr<OperationQueue> callBackQueue_;
    std::shared_ptr<OperationTask> task_;
};

}  // namespace ov
