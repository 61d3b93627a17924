// Many tasks from several threads at once through one manager: random
// priorities, dependency groups, duplicates of dynamic tasks, cancellations
// and pauses. Every completion closure must run exactly once, and the
// manager must end idle, with an empty index, and be released with its
// tasks (no cycle keeps it alive).
//
// OV_TASK_STRESS_COUNT sets the number of tasks (default 20000, which takes
// a few seconds, also under ThreadSanitizer).
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "Tasks/TaskTestSupport.h"

using namespace ov;
using namespace ovtest;

namespace {

constexpr int kDefaultCount = 20000;

int taskCount() {
    if (const char* env = std::getenv("OV_TASK_STRESS_COUNT")) {
        int n = std::atoi(env);
        if (n > 0) return n;
    }
    return kDefaultCount;
}

const TaskPriority::Case kPriorities[] = {TaskPriority::veryLow, TaskPriority::low,
                                          TaskPriority::medium, TaskPriority::high,
                                          TaskPriority::veryHigh};

// Dynamic work with pausable points between its steps.
class StepTask : public DynamicTask {
  public:
    void didExecute() override {
        for (int i = 0; i < 3; ++i) {
            markPausablePoint();
            if (markCancelled()) return;
        }
        setResult(std::make_shared<GeneralTaskResult>(true, std::nullopt));
        finish();
    }
};

struct Tracked {
    std::shared_ptr<GeneralTask> task;
    std::atomic<int> completions{0};
};

}  // namespace

TEST(TaskManagerStressTest, EveryCompletionRunsExactlyOnceAndTheManagerEndsEmpty) {
    const int total = taskCount();
    constexpr int kThreads = 4;
    const int perThread = total / kThreads;

    auto manager = TaskManager::make(TaskManager::defaultConfigurations());
    std::weak_ptr<TaskManager> weakManager = manager;
    std::vector<std::vector<std::unique_ptr<Tracked>>> tracked(kThreads);
    std::atomic<int> ran{0};

    auto track = [&](std::vector<std::unique_ptr<Tracked>>& list,
                     std::shared_ptr<GeneralTask> task) -> Tracked& {
        list.push_back(std::make_unique<Tracked>());
        Tracked& t = *list.back();
        t.task = task;
        task->setCompletionClosure([&t](std::shared_ptr<TaskResult>) { ++t.completions; });
        return t;
    };

    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            std::mt19937 random(1234u + static_cast<unsigned>(thread));
            auto& list = tracked[thread];
            list.reserve(static_cast<std::size_t>(perThread) + 8);
            std::vector<std::shared_ptr<StepTask>> dynamics;
            auto pick = [&](int n) {
                return static_cast<int>(random() % static_cast<unsigned>(n));
            };

            int made = 0;
            while (made < perThread) {
                const int kind = pick(100);
                const auto priority = kPriorities[pick(5)];
                if (kind < 60) {
                    // A plain closure task.
                    auto task = StandardClosureTask::make([&ran](GeneralTask&) {
                        ++ran;
                        return succeeded();
                    });
                    task->setTaskExecutor(manager);
                    task->setPriority(priority);
                    track(list, task);
                    task->execute();
                    ++made;
                } else if (kind < 75) {
                    // A dependency group: two blocking tasks and one dependant,
                    // linked before any of them is submitted.
                    std::shared_ptr<StandardClosureTask> group[3];
                    for (auto& member : group) {
                        member = StandardClosureTask::make([&ran](GeneralTask&) {
                            ++ran;
                            return succeeded();
                        });
                        member->setTaskExecutor(manager);
                        member->setPriority(kPriorities[pick(5)]);
                        track(list, member);
                    }
                    group[2]->depend(group[0]);
                    group[2]->depend(group[1]);
                    group[2]->execute();
                    group[0]->execute();
                    group[1]->execute();
                    made += 3;
                } else if (kind < 85) {
                    // A pausable dynamic task, sometimes paused and resumed.
                    auto task = std::make_shared<StepTask>();
                    task->setTaskExecutor(manager);
                    task->setPriority(priority);
                    track(list, task);
                    task->execute();
                    dynamics.push_back(task);
                    if (pick(2) == 0) {
                        task->pause();
                        std::this_thread::yield();
                        task->resume();
                    }
                    ++made;
                } else if (kind < 93 && !dynamics.empty()) {
                    // A duplicate of a recent dynamic task: absorbed when the
                    // original is still registered, run on its own otherwise.
                    auto& original = dynamics[static_cast<std::size_t>(pick(static_cast<int>(
                                                  std::min<std::size_t>(dynamics.size(), 16)))) +
                                              (dynamics.size() > 16 ? dynamics.size() - 16 : 0)];
                    auto duplicate = std::make_shared<StepTask>();
                    duplicate->setTaskExecutor(manager);
                    duplicate->setTaskId(original->taskId());
                    duplicate->setPriority(priority);
                    track(list, duplicate);
                    duplicate->execute();
                    ++made;
                } else if (!list.empty()) {
                    // Cancel something submitted earlier, in whatever state it is.
                    auto& victim =
                        list[static_cast<std::size_t>(pick(static_cast<int>(list.size())))];
                    if (auto executable = std::dynamic_pointer_cast<TaskExecutable>(victim->task)) {
                        executable->abort(Error{"stress", 1});
                    }
                }
            }
        });
    }
    for (auto& t : threads) t.join();

    // Tasks left waiting for a cancelled blocking task wait for ever, by
    // design; abort whatever has not completed once the queues have drained.
    ASSERT_TRUE(eventually([&] { return manager->isIdle(); }, 120.0));
    auto uncompleted = [&] {
        std::vector<Tracked*> left;
        for (auto& list : tracked)
            for (auto& t : list)
                if (t->completions.load() == 0) left.push_back(t.get());
        return left;
    };
    ASSERT_TRUE(eventually(
        [&] {
            auto left = uncompleted();
            for (Tracked* t : left) {
                if (auto dynamic = std::dynamic_pointer_cast<DynamicTask>(t->task))
                    dynamic->resume();
                if (auto executable = std::dynamic_pointer_cast<TaskExecutable>(t->task)) {
                    executable->abort(Error{"stress", 2});
                }
            }
            return left.empty();
        },
        120.0));
    ASSERT_TRUE(settles(manager, 120.0));

    std::size_t count = 0;
    for (auto& list : tracked) {
        for (auto& t : list) {
            EXPECT_EQ(t->completions.load(), 1) << t->task->description();
            ++count;
        }
    }
    EXPECT_GE(count, static_cast<std::size_t>(perThread) * kThreads);
    EXPECT_GT(ran.load(), 0);
    // A moment later nothing was delivered twice.
    ASSERT_TRUE(settles(manager));
    for (auto& list : tracked)
        for (auto& t : list) ASSERT_EQ(t->completions.load(), 1);

    tracked.clear();
    manager.reset();
    EXPECT_TRUE(eventually([&] { return weakManager.expired(); }, 30.0))
        << "something still holds the manager";
}
