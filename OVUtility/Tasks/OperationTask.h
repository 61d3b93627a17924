// The task protocols every runnable task adopts:
// - TaskCancelable: a cancelled mark and `cancel(error)`.
// - TaskPrioritizable: a priority and a quality of service.
// - OperationTask: both, plus the link to the operation that runs the task
//   (`operationBridge`, held weakly by the task) and the state hooks the
//   operation calls around every state change.
//
// Defaults supplied here (override to change): priority medium, quality of
// service veryLow; `isOperating`, `isInState` and `change` ask the bridge and
// answer false / do nothing while the task has no bridge.
//
//   if (task->isInOneOfStates({&ov::OperationStateReady::instance(),
//                              &ov::OperationStateExecuting::instance()})) { ... }
//   task->change(ov::TaskStatePaused{});         // asks the operation to change state
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/Error.h"
#include "OVUtility/Tasks/TaskObject.h"
#include "OVUtility/Tasks/TaskPriority.h"
#include "OVUtility/Tasks/TaskState.h"

namespace ov {

class OperationBridge;

class OV_API TaskCancelable : public virtual TaskObject {
  public:
    virtual bool markCancelled() const = 0;
    virtual void cancel(std::optional<Error> error) = 0;
};

class OV_API TaskPrioritizable : public virtual TaskObject {
  public:
    virtual std::shared_ptr<const PriorityValue> priority() const = 0;
    virtual TaskQualityOfService qualityOfService() const = 0;
};

class OV_API OperationTask : public virtual TaskCancelable, public virtual TaskPrioritizable {
  public:
    // Default: TaskPriority::medium.
    std::shared_ptr<const PriorityValue> priority() const override;
    // Default: raw value 0 (veryLow).
    TaskQualityOfService qualityOfService() const override;

    // The operation running this task; empty before it is wrapped and after
    // the operation is gone. Implementations hold the bridge weakly.
    virtual std::shared_ptr<OperationBridge> operationBridge() const = 0;
    virtual void setOperationBridge(const std::shared_ptr<OperationBridge>& bridge) = 0;
    // Links the task to the operation about to run it, unless the task has
    // already ended (completed or cancelled without an operation, or run to
    // its end by an earlier one): then it refuses, and must not be run. A
    // task that decides its end under the same lock as this link can never
    // be completed twice, by itself and by the operation. Default: links
    // and accepts.
    virtual bool attachOperationBridge(const std::shared_ptr<OperationBridge>& bridge);

    // False without a bridge; otherwise the bridge's answer.
    virtual bool isOperating() const;
    virtual bool isInState(const TaskState& state) const;
    // True as soon as one state matches (in order); false for an empty list.
    bool isInOneOfStates(const std::vector<const TaskState*>& states) const;
    // Asks the bridge to change the operation's state; nothing without a bridge.
    virtual void change(const TaskState& state);

    // Hooks called by the operation (see SafeOperation).
    virtual bool shouldChange(const TaskState& state) = 0;
    virtual void willChange(const TaskState& from, const TaskState& to) = 0;
    virtual void didChange(const TaskState& from, const TaskState& to) = 0;
};

}  // namespace ov
