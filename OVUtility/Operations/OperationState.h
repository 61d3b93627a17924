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

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Tasks/TaskState.h"

namespace ov {

// Marks the states that the operation's platform flags are read from.
class OV_API OperationState : public TaskState {};

struct OV_API OperationStateReady final : TaskStateValue<OperationStateReady, OperationState> {
    std::string_view kvoKeyPath() const override { return "isReady"; }
};
struct OV_API OperationStateExecuting final
    : TaskStateValue<OperationStateExecuting, OperationState> {
    std::string_view kvoKeyPath() const override { return "isExecuting"; }
};
struct OV_API OperationStateFinished final
    : TaskStateValue<OperationStateFinished, OperationState> {
    std::string_view kvoKeyPath() const override { return "isFinished"; }
};
struct OV_API OperationStateCanceled final
    : TaskStateValue<OperationStateCanceled, OperationState> {
    std::string_view kvoKeyPath() const override { return "isCancelled"; }
};
// Cancelled before it was started.
struct OV_API OperationStateTerminated final : TaskStateValue<OperationStateTerminated> {
    std::string_view kvoKeyPath() const override { return "isTerminated"; }
};
// Finished before it was started.
struct OV_API OperationStatePrematurelyFinished final
    : TaskStateValue<OperationStatePrematurelyFinished> {
    std::string_view kvoKeyPath() const override { return "isPrematurelyFinished"; }
};

}  // namespace ov
