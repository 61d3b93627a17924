#include "OVUtility/Tasks/OperationTask.h"

#include "OVUtility/Operations/OperationBridge.h"

namespace ov {

std::shared_ptr<const PriorityValue> OperationTask::priority() const {
    return TaskPriority::shared(TaskPriority::medium);
}

TaskQualityOfService OperationTask::qualityOfService() const {
    return TaskQualityOfService::veryLow;
}

bool OperationTask::attachOperationBridge(const std::shared_ptr<OperationBridge>& bridge) {
    setOperationBridge(bridge);
    return true;
}

bool OperationTask::isOperating() const {
    auto bridge = operationBridge();
    return bridge ? bridge->isOperating() : false;
}

bool OperationTask::isInState(const TaskState& state) const {
    auto bridge = operationBridge();
    return bridge ? bridge->isInState(state) : false;
}

bool OperationTask::isInOneOfStates(const std::vector<const TaskState*>& states) const {
    for (const TaskState* state : states) {
        if (state && isInState(*state)) return true;
    }
    return false;
}

void OperationTask::change(const TaskState& state) {
    if (auto bridge = operationBridge()) bridge->update(state);
}

}  // namespace ov
