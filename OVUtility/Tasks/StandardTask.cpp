#include "OVUtility/Tasks/StandardTask.h"

#include "OVUtility/Platform/DispatchQueue.h"
#include "OVUtility/Platform/MainRunLoop.h"

namespace ov {

// ------------------------------------------------------------------ StandardTask

StandardTask::StandardTask() : StandardTask("--standard-task-") {}

StandardTask::StandardTask(std::string_view idPrefix) : ManagedTask(idPrefix) {}

std::string StandardTask::description() const {
    // The class name split at every "__"; the last piece names the task.
    std::string name = className();
    std::string_view view = name;
    std::string_view last;
    bool any = false;
    while (true) {
        auto pos = view.find("__");
        std::string_view piece = view.substr(0, pos);
        if (!piece.empty()) {
            last = piece;
            any = true;
        }
        if (pos == std::string_view::npos) break;
        view.remove_prefix(pos + 2);
    }
    return any ? std::string(last) : taskId();
}

// ------------------------------------------------------------------ StandardClosureTask

StandardClosureTask::StandardClosureTask(TaskClosure closure)
    : StandardTask("--standard-closure-task-"), taskClosure_(std::move(closure)) {}

void StandardClosureTask::didExecute() {
    // A closure that returns no result failed (see GeneralClosureTask).
    finishWithWorkResult(taskClosure_ ? taskClosure_(*this) : nullptr);
}

// ------------------------------------------------------------------ StandardAsyncClosureTask

StandardAsyncClosureTask::StandardAsyncClosureTask(TaskClosure closure)
    : StandardTask("--standard-async-closure-task-"), taskClosure_(std::move(closure)) {}

void StandardAsyncClosureTask::didExecute() {
    Callback callback = [weak = weak_from_this()](std::shared_ptr<TaskResult> result) {
        auto task = std::dynamic_pointer_cast<StandardAsyncClosureTask>(weak.lock());
        if (!task) return;  // released meanwhile: nothing to report to
        // Stored even when it arrives late (the operation expired or was
        // cancelled meanwhile); the operation then ignores the end request.
        if (!result) result = std::make_shared<GeneralTaskResult>(false, std::nullopt);
        task->setResult(result);
        if (!result->success()) {
            task->cancel(result->error());
        } else {
            task->finish();
        }
    };
    if (!taskClosure_) {
        callback(nullptr);
        return;
    }
    if (executeOnMainQueue() && !MainRunLoop::isMainThread()) {
        DispatchQueue::main()->async([self = std::static_pointer_cast<StandardAsyncClosureTask>(
                                          sharedAs<StandardAsyncClosureTask>()),
                                      callback = std::move(callback)] {
            if (self) self->taskClosure_(*self, callback);
        });
        return;
    }
    taskClosure_(*this, std::move(callback));
}

}  // namespace ov
