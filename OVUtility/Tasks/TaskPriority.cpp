#include "OVUtility/Tasks/TaskPriority.h"

namespace ov {

std::shared_ptr<const PriorityValue> TaskPriority::shared(Case value) {
    static const auto* const instances = new std::shared_ptr<const PriorityValue>[5] {
        std::make_shared<const TaskPriority>(veryLow), std::make_shared<const TaskPriority>(low),
            std::make_shared<const TaskPriority>(medium),
            std::make_shared<const TaskPriority>(high),
            std::make_shared<const TaskPriority>(veryHigh)
    };
    return instances[TaskPriority(value).caseIndex()];
}

}  // namespace ov
