// The six states of a SafeOperation, as TaskState values (see
// OVUtility/Tasks/TaskState.h). Four are OperationStates: they are also what
// the operation reports through its platform flags (isReady, isExecuting,
// isFinished, isCancelled). Terminated and PrematurelyFinished are plain task
// states: they remember an early cancel or finish while the operation still
// looks ready to its queue.
//
//   op->update(ov::OperationStateCanceled{});
//   bool running = task->isInState(ov::OperationStateExecuting::instance());
#pragma once

#include "OVUtility/Tasks/TaskState.h"

namespace ov {

// Marks the states that the operation's platform flags are read from.
class OperationState : public TaskState {};

struct OperationStateReady final : TaskStateValue<OperationStateReady, OperationState> {
    std::string_view kvoKeyPath() const override { return "isReady"; }
};
struct OperationStateExecuting final : TaskStateValue<OperationStateExecuting, OperationState> {
    std::string_view kvoKeyPath() const override { return "isExecuting"; }
};
struct OperationStateFinished final : TaskStateValue<OperationStateFinished, OperationState> {
    std::string_view kvoKeyPath() const override { return "isFinished"; }
};
struct OperationStateCanceled final : TaskStateValue<OperationStateCanceled, OperationState> {
    std::string_view kvoKeyPath() const override { return "isCancelled"; }
};
// Cancelled before it was started.
struct OperationStateTerminated final : TaskStateValue<OperationStateTerminated> {
    std::string_view kvoKeyPath() const override { return "isTerminated"; }
};
// Finished before it was started.
struct OperationStatePrematurelyFinished final : TaskStateValue<OperationStatePrematurelyFinished> {
    std::string_view kvoKeyPath() const override { return "isPrematurelyFinished"; }
};

}  // namespace ov
