#include "OVUtility/Tasks/TaskExecutable.h"

#include "OVLog/OVLog.h"

namespace ov {

namespace {
ovlog::Module& logModule() {
    static ovlog::Module& module = ovlog::Module::named("OperationTask");
    return module;
}
}  // namespace

void TaskExecutable::execute() {
    auto executor = taskExecutor();
    auto self = sharedAs<OperationTask>();
    if (!executor || !self) {
        OVLOG_ERROR(logModule(), "task {} has no executor or is not shared; not executed",
                    taskId());
        return;
    }
    executor->addTask(std::move(self));
}

void TaskExecutable::abort(std::optional<Error> error) {
    auto executor = taskExecutor();
    const std::string id = taskId();
    if (executor && executor->taskExists(id)) {
        executor->cancelTask(id, std::move(error));
    } else {
        cancel(std::move(error));
    }
}

}  // namespace ov
