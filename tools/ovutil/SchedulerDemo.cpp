// Demo section: the task scheduler at work. Tasks of several priorities (the
// lower queues wait while a higher one is busy), a dependency chain, a
// duplicate that shares the first task's result, a task paused at a
// pausable point and resumed, and a task that expires.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "OVUtility/Operations/OperationConfiguration.h"
#include "OVUtility/Platform/OperationQueue.h"
#include "OVUtility/Tasks/DynamicTask.h"
#include "OVUtility/Tasks/StandardTask.h"
#include "OVUtility/Tasks/TaskManager.h"
#include "Verb.h"

namespace ovutil {
namespace {

using namespace std::chrono_literals;

// Counts completions so the section can wait for its tasks.
class Completions {
  public:
    void add() {
        std::lock_guard lock(mutex_);
        ++count_;
        cv_.notify_all();
    }
    bool waitFor(int n, std::chrono::seconds limit = std::chrono::seconds(10)) {
        std::unique_lock lock(mutex_);
        return cv_.wait_for(lock, limit, [&] { return count_ >= n; });
    }

  private:
    std::mutex mutex_;
    std::condition_variable cv_;
    int count_ = 0;
};

std::string priorityName(int value) {
    switch (value) {
        case -8:
            return "veryLow";
        case -4:
            return "low";
        case 0:
            return "medium";
        case 4:
            return "high";
        case 8:
            return "veryHigh";
        default:
            return std::to_string(value);
    }
}

std::shared_ptr<ov::TaskResult> ok() {
    return std::make_shared<ov::GeneralTaskResult>(true, std::nullopt);
}

ov::GeneralTask::CompletionClosure announce(std::string name, Completions& done) {
    return [name = std::move(name), &done](std::shared_ptr<ov::TaskResult> result) {
        std::string outcome = result->success() ? "completed successfully" : "was cancelled";
        if (auto error = result->error()) outcome += " (" + error->description() + ")";
        demoLine("  " + name + " " + outcome);
        done.add();
    };
}

// A task that "works" for `duration` on its operation's thread.
std::shared_ptr<ov::StandardClosureTask> worker(const std::shared_ptr<ov::TaskManager>& manager,
                                                std::string name, ov::TaskPriority priority,
                                                std::chrono::milliseconds duration,
                                                Completions& done) {
    auto task = ov::StandardClosureTask::make([name, duration, priority](ov::GeneralTask& self) {
        demoLine("  " + name + " starts (" + priorityName(priority.intValue()) + " queue)");
        std::this_thread::sleep_for(duration);  // stands in for real work
        auto* standard = dynamic_cast<ov::StandardTask*>(&self);
        std::size_t previous = standard ? standard->previousResults().size() : 0;
        demoLine("  " + name + " ends" +
                 (previous ? ", having received " + std::to_string(previous) +
                                 " result(s) from the tasks it waited for"
                           : std::string()));
        return ok();
    });
    task->setTaskExecutor(manager);
    task->setPriority(priority);
    task->setCompletionClosure(announce(name, done));
    return task;
}

// Works in three steps, with a pausable point before each.
class StepsTask : public ov::DynamicTask {
  public:
    explicit StepsTask(std::string name) : name_(std::move(name)) {}
    void didExecute() override {
        for (int step = 1; step <= 3; ++step) {
            markPausablePoint();
            if (markCancelled()) return;
            demoLine("  " + name_ + " step " + std::to_string(step));
            std::this_thread::sleep_for(20ms);
        }
        setResult(ok());
        finish();
    }

  private:
    std::string name_;
};

void runSchedulerDemo() {
    auto manager = ov::TaskManager::make(ov::TaskManager::defaultConfigurations());
    Completions done;
    int expected = 0;

    demoLine("1. Priorities: a high task is running when a medium and a low task arrive");
    auto checkout = worker(manager, "\"checkout\"", ov::TaskPriority::high, 80ms, done);
    checkout->execute();
    std::this_thread::sleep_for(10ms);
    auto feed = worker(manager, "\"feed refresh\"", ov::TaskPriority::medium, 30ms, done);
    auto analytics = worker(manager, "\"analytics upload\"", ov::TaskPriority::low, 10ms, done);
    feed->execute();
    analytics->execute();
    manager->serialize(true, [] {});
    demoLine(
        "  medium queue suspended: " +
        std::string(manager->operationQueue(0)->isSuspended() ? "yes" : "no") +
        ", low queue suspended: " + (manager->operationQueue(-4)->isSuspended() ? "yes" : "no"));
    expected += 3;
    done.waitFor(expected);

    demoLine("2. Dependencies: \"render\" waits for \"fetch profile\", which waits for \"login\"");
    auto login = worker(manager, "\"login\"", ov::TaskPriority::medium, 20ms, done);
    auto profile = worker(manager, "\"fetch profile\"", ov::TaskPriority::medium, 20ms, done);
    auto render = worker(manager, "\"render\"", ov::TaskPriority::high, 10ms, done);
    profile->depend(login);
    render->depend(profile);
    render->execute();
    profile->execute();
    demoLine("  submitted \"render\" and \"fetch profile\" first; registered while waiting: " +
             std::string(manager->taskExists(render->taskId()) ? "yes" : "no"));
    login->execute();
    expected += 3;
    done.waitFor(expected);

    demoLine("3. Duplicates: two \"artwork\" tasks with the same id");
    std::atomic<int> artworkRuns{0};
    class Artwork : public ov::DynamicTask {
      public:
        explicit Artwork(std::atomic<int>& runs) : runs_(runs) {}
        void didExecute() override {
            ++runs_;
            demoLine("  \"artwork\" downloads once");
            std::this_thread::sleep_for(30ms);
            setResult(ok());
            finish();
        }
        std::atomic<int>& runs_;
    };
    auto first = std::make_shared<Artwork>(artworkRuns);
    auto second = std::make_shared<Artwork>(artworkRuns);
    for (auto& task : {first, second}) {
        task->setTaskExecutor(manager);
        task->setTaskId("--dynamic-task-artwork-42");
    }
    first->setCompletionClosure(announce("\"artwork\" (first)", done));
    second->setCompletionClosure(announce("\"artwork\" (duplicate, shares the result)", done));
    first->execute();
    second->execute();
    expected += 2;
    done.waitFor(expected);
    demoLine("  the work ran " + std::to_string(artworkRuns.load()) +
             " time(s) for two completions");

    demoLine("4. Pause and resume: \"scan library\" stops at its next pausable point");
    auto scan = std::make_shared<StepsTask>("\"scan library\"");
    scan->setTaskExecutor(manager);
    scan->setCompletionClosure(announce("\"scan library\"", done));
    scan->execute();
    for (int i = 0; i < 500 && !scan->isOperating(); ++i) std::this_thread::sleep_for(1ms);
    std::this_thread::sleep_for(30ms);
    scan->pause();
    demoLine("  paused");
    for (int i = 0; i < 1000 && !scan->isBlockedAtPausablePoint(); ++i) {
        std::this_thread::sleep_for(1ms);
    }
    std::this_thread::sleep_for(100ms);
    demoLine("  resumed after 100 ms (blocked at a pausable point meanwhile: " +
             std::string(scan->isBlockedAtPausablePoint() ? "yes" : "no") + ")");
    scan->resume();
    expected += 1;
    done.waitFor(expected);

    demoLine("5. Expiration: \"stream probe\" never reports and expires after 150 ms");
    auto probe = ov::StandardAsyncClosureTask::make(
        [](ov::GeneralTask&, ov::StandardAsyncClosureTask::Callback) {
            demoLine("  \"stream probe\" starts and waits for an answer that never comes");
        });
    auto config = std::make_shared<ov::DefaultOperationConfiguration>();
    config->setExpiration(0.15);
    probe->setOperationConfiguration(config);
    probe->setTaskExecutor(manager);
    probe->setCompletionClosure(announce("\"stream probe\"", done));
    probe->execute();
    expected += 1;
    done.waitFor(expected);

    for (int i = 0; i < 1000 && !manager->isIdle(); ++i) std::this_thread::sleep_for(1ms);
    demoLine(std::string("manager idle: ") + (manager->isIdle() ? "yes" : "no"));
}

DemoSectionRegistration section{20, "Task scheduler", &runSchedulerDemo};

}  // namespace
}  // namespace ovutil
