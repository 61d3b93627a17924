// Helpers for the end-to-end task tests: a gate that holds a task's work
// until the test opens it, the shared event log, task factories bound to
// a given manager, and waits on the manager's state (all with deadlines).
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "OVUtility/Tasks/DynamicTask.h"
#include "OVUtility/Tasks/StandardTask.h"
#include "OVUtility/Tasks/TaskManager.h"
#include "support/EventLog.h"
#include "support/Eventually.h"
#include "support/Gate.h"

namespace ovtest {

inline std::shared_ptr<ov::TaskResult> succeeded() {
    return std::make_shared<ov::GeneralTaskResult>(true, std::nullopt);
}

// A closure task on `manager` that logs "<name> start", optionally waits for
// `gate`, logs "<name> end" and succeeds; its completion logs "<name> done".
inline std::shared_ptr<ov::StandardClosureTask> loggedTask(
    const std::shared_ptr<ov::TaskManager>& manager, EventLog& log, std::string name,
    ov::TaskPriority priority = ov::TaskPriority::medium, Gate* gate = nullptr) {
    auto task = ov::StandardClosureTask::make([log, name, gate](ov::GeneralTask&) {
        log.add(name + " start");
        if (gate) gate->wait();
        log.add(name + " end");
        return succeeded();
    });
    task->setTaskExecutor(manager);
    task->setPriority(priority);
    task->setCompletionClosure([log, name](std::shared_ptr<ov::TaskResult> r) {
        log.add(name + (r && r->success() ? " done" : " failed"));
    });
    return task;
}

inline std::size_t indexedCount(const std::shared_ptr<ov::TaskManager>& manager) {
    std::size_t n = 0;
    manager->serialize(true, [&] { n = manager->taskIndexer()->allIndexedTasks().size(); });
    return n;
}

// Idle and nothing left in the index.
inline bool settles(const std::shared_ptr<ov::TaskManager>& manager, double seconds = 20.0) {
    return eventually([&] { return manager->isIdle() && indexedCount(manager) == 0; }, seconds);
}

// Waits `seconds` and reports whether `predicate` became true meanwhile
// (for "this must not happen yet" checks).
inline bool happensWithin(const std::function<bool()>& predicate, double seconds) {
    return eventually(predicate, seconds);
}

}  // namespace ovtest
