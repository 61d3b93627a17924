// ov::OperationBridge: how a task talks back to the operation that runs it
// (SafeOperation implements it). A task holds its bridge weakly, so the
// bridge never keeps an operation alive.
//
//   if (auto bridge = task->operationBridge()) bridge->update(ov::OperationStateFinished{});
#pragma once

#include <memory>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Tasks/TaskState.h"

namespace ov {

class OperationTask;

class OV_API OperationBridge {
  public:
    virtual ~OperationBridge() = default;
    virtual std::shared_ptr<OperationTask> task() const = 0;
    // Started and neither finished nor cancelled.
    virtual bool isOperating() const = 0;
    virtual bool isInState(const TaskState& state) const = 0;
    // Requests a transition; false when the task refused it.
    virtual bool update(const TaskState& state) = 0;
};

}  // namespace ov
