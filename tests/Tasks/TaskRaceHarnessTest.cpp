// The task manager under racing calls: a seeded, model-checked harness.
//
// Worker threads make the calls a client makes, at random: tasks of every
// class and priority, dependencies on blockers that succeed, fail, are
// cancelled or expire, duplicates (each with its own callback queue, some
// the main queue), exclusive ids, pause and resume, cancel, abort, executing
// again, and cancelling everything, by priority or by query, while seeded
// delays are injected at the library's interleaving points and the main
// thread pumps the main queue. After every round:
// - no completion ran twice, and every main-queue completion ran on the
//   main thread;
// - the manager is idle: nothing executing, no queue left suspended;
// - the index holds nothing but dependants of a blocker whose cancelled mark
//   is set (the documented waiting case);
// - cancelling every task then completes each one exactly once (the way an
//   application clears what is left), and the index ends empty.
//
// A failure names its seed: OV_RACE_SEED=<seed> replays that round's calls.
// OV_RACE_SECONDS (default 3) sets how long the rounds run; the soak
// (label "stress", run under ThreadSanitizer in CI) runs them for 30 s.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "OVUtility/Operations/OperationConfiguration.h"
#include "OVUtility/Operations/OperationQueueAdditions.h"
#include "OVUtility/Platform/DispatchQueue.h"
#include "OVUtility/Platform/MainRunLoop.h"
#include "OVUtility/Platform/OperationQueue.h"
#include "Tasks/TaskTestSupport.h"
#include "support/Interleaving.h"
#include "support/MainQueuePump.h"

using namespace ov;
using namespace ovtest;

namespace {

double envSeconds(const char* name, double fallback) {
    const char* value = std::getenv(name);
    return value ? std::atof(value) : fallback;
}

// Work with pausable points between its steps.
class StepTask : public DynamicTask {
  public:
    void didExecute() override {
        for (int i = 0; i < 3; ++i) markPausablePoint();
        setResult(succeeded());
        finish();
    }
};

struct Tracked {
    std::shared_ptr<GeneralTask> task;
    std::atomic<int> completions{0};
    std::atomic<int> offMain{0};  // main-queue completions that ran elsewhere
    std::vector<std::shared_ptr<GeneralTask>> blockers;
    // Work that ends only when someone finishes or cancels the task, and
    // whether a worker has done so (then it must end without more help).
    bool manual = false;
    std::atomic<bool> endRequested{false};
};

class Round {
  public:
    Round(unsigned seed, int threads, int calls) : seed_(seed), threads_(threads), calls_(calls) {}

    void run() {
        manager_ = TaskManager::make(TaskManager::defaultConfigurations());
        lists_.resize(static_cast<std::size_t>(threads_));
        std::atomic<int> done{0};
        std::vector<std::thread> workers;
        {
            InjectedDelays delays(seed_, 25, 300);
            for (int t = 0; t < threads_; ++t) {
                workers.emplace_back([this, t, &done] {
                    worker(t);
                    ++done;
                });
            }
            // The main thread delivers main-queue callbacks meanwhile.
            EXPECT_TRUE(pumpMainUntil([&] { return done.load() == threads_; }, 120.0));
            for (auto& w : workers) w.join();
        }
        // Nothing pauses any more: let every paused task go on, and end the
        // work that waits for an outside end nobody gave it.
        forEach([](Tracked& t) {
            if (auto dynamic = std::dynamic_pointer_cast<DynamicTask>(t.task)) dynamic->resume();
            if (t.manual && !t.endRequested) t.task->finish();
        });
        check();
    }

  private:
    static TaskExecutable* executable(Tracked& t) {
        return dynamic_cast<TaskExecutable*>(t.task.get());
    }
    void execute(Tracked& t) {
        if (auto* e = executable(t)) {
            e->execute();
        } else {
            manager_->addTask(t.task);  // a general task: not executable by itself
        }
    }

    void worker(int index) {
        std::mt19937 random(seed_ * 7919u + static_cast<unsigned>(index));
        auto pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
        auto& list = lists_[static_cast<std::size_t>(index)];
        list.reserve(static_cast<std::size_t>(calls_) * 3);
        std::vector<std::shared_ptr<DynamicTask>> dynamics;
        // Mostly one of the last few tasks (likely still being admitted or
        // running), sometimes any earlier one.
        auto any = [&]() -> Tracked* {
            if (!list.empty() && pick(2) == 0) {
                const int recent = std::min<int>(4, static_cast<int>(list.size()));
                return list[list.size() - 1 - static_cast<std::size_t>(pick(recent))].get();
            }
            return list.empty()
                       ? nullptr
                       : list[static_cast<std::size_t>(pick(static_cast<int>(list.size())))].get();
        };
        for (int call = 0; call < calls_; ++call) {
            const int roll = pick(100);
            if (roll < 22) {
                if (pick(6) == 0) {
                    list.push_back(make(
                        GeneralClosureTask::make([](GeneralTask&) { return succeeded(); }), pick));
                } else {
                    list.push_back(make(closureTask(pick(4) == 0), pick));
                }
                execute(*list.back());
            } else if (roll < 28) {
                list.push_back(make(asyncTask(pick), pick));
                execute(*list.back());
            } else if (roll < 32) {
                list.push_back(make(StandardAsyncClosureTask::make(
                                        [](GeneralTask&, StandardAsyncClosureTask::Callback) {}),
                                    pick));
                list.back()->manual = true;
                execute(*list.back());
            } else if (roll < 42) {
                // A dependant of two blockers, linked before any is submitted.
                auto dependant = make(closureTask(false), pick);
                auto dependable = std::dynamic_pointer_cast<TaskDependable>(dependant->task);
                for (int i = 0; i < 2; ++i) {
                    dependant->blockers.push_back(blockerTask(pick));
                    dependable->depend(
                        std::dynamic_pointer_cast<TaskCombinable>(dependant->blockers.back()));
                }
                auto blockers = dependant->blockers;
                list.push_back(std::move(dependant));
                execute(*list.back());
                for (auto& b : blockers) {
                    list.push_back(make(b, pick));
                    execute(*list.back());
                }
            } else if (roll < 52) {
                auto task = std::make_shared<StepTask>();
                if (!dynamics.empty() && pick(3) == 0) {
                    // Same id as a recent one: absorbed as its duplicate while
                    // it is registered, run on its own otherwise.
                    task->setTaskId(
                        dynamics[static_cast<std::size_t>(pick(static_cast<int>(dynamics.size())))]
                            ->taskId());
                } else if (!dynamics.empty() && pick(4) == 0) {
                    // Same id and the same exclusive id: refused while it is registered.
                    auto& other =
                        dynamics[static_cast<std::size_t>(pick(static_cast<int>(dynamics.size())))];
                    task->setTaskId(other->taskId());
                    other->setExclusiveId("player");
                    task->setExclusiveId("player");
                }
                dynamics.push_back(task);
                list.push_back(make(task, pick));
                task->execute();
            } else if (roll < 58) {
                if (auto* t = any()) {
                    t->task->cancel(Error{"race", 1});
                    t->endRequested = true;
                }
            } else if (roll < 62) {
                if (auto* t = any()) {
                    if (pick(2) == 0) t->task->setResult(succeeded());
                    t->task->finish();  // from outside the work
                    t->endRequested = true;
                }
            } else if (roll < 70) {
                if (auto* t = any(); t && executable(*t)) executable(*t)->abort(Error{"race", 2});
            } else if (roll < 76) {
                if (auto* t = any()) execute(*t);  // again
            } else if (roll < 88) {
                if (!dynamics.empty()) {
                    auto& d =
                        dynamics[static_cast<std::size_t>(pick(static_cast<int>(dynamics.size())))];
                    if (pick(2) == 0)
                        d->pause();
                    else
                        d->resume();
                }
            } else if (roll < 93) {
                manager_->cancelAllTasks(TaskPriority(kPriorities[pick(5)]));
            } else if (roll < 98) {
                const int bucket = pick(8);
                manager_->cancelAllTasks([bucket](const std::shared_ptr<TaskIndexable>& t) {
                    return std::hash<std::string>{}(t->taskId()) % 8 ==
                           static_cast<std::size_t>(bucket);
                });
            } else {
                manager_->cancelAllTasks();
            }
        }
    }

    static constexpr TaskPriority::Case kPriorities[] = {TaskPriority::veryLow, TaskPriority::low,
                                                         TaskPriority::medium, TaskPriority::high,
                                                         TaskPriority::veryHigh};

    template <typename Pick>
    std::unique_ptr<Tracked> make(std::shared_ptr<GeneralTask> task, Pick& pick) {
        auto tracked = std::make_unique<Tracked>();
        if (auto* managed = dynamic_cast<ManagedTask*>(task.get())) {
            managed->setTaskExecutor(manager_);
        }
        task->setPriority(kPriorities[pick(5)]);
        const bool onMain = pick(5) == 0;
        if (onMain || pick(8) == 0) {
            std::shared_ptr<StoredOperationConfiguration> config;
            if (onMain) {
                config = std::make_shared<MainQueueOperationConfiguration>();
            } else {
                config = std::make_shared<DefaultOperationConfiguration>();
            }
            config->setDeIndexBeforeCompletion(pick(2) == 0);
            auto* current = task->operationConfiguration().get();
            if (current && current->expiration() > 0) config->setExpiration(current->expiration());
            task->setOperationConfiguration(config);
        }
        Tracked* raw = tracked.get();
        task->setCompletionClosure([raw, onMain](std::shared_ptr<TaskResult>) {
            if (onMain && !MainRunLoop::isMainThread()) ++raw->offMain;
            ++raw->completions;
        });
        tracked->task = std::move(task);
        return tracked;
    }

    static std::shared_ptr<GeneralTask> closureTask(bool fails) {
        return StandardClosureTask::make([fails](GeneralTask&) {
            return std::make_shared<GeneralTaskResult>(!fails, std::nullopt);
        });
    }

    // Succeeds, fails, or never reports and expires.
    template <typename Pick>
    static std::shared_ptr<GeneralTask> blockerTask(Pick& pick) {
        switch (pick(3)) {
            case 0:
                return closureTask(false);
            case 1:
                return closureTask(true);
            default: {
                auto task = StandardAsyncClosureTask::make(
                    [](GeneralTask&, StandardAsyncClosureTask::Callback) {});
                auto config = std::make_shared<DefaultOperationConfiguration>();
                config->setExpiration(0.002);
                task->setOperationConfiguration(config);
                return task;
            }
        }
    }

    // Reports success or failure from another thread, at once or a little
    // later, or (with an expiration) never; sometimes runs on the main queue.
    template <typename Pick>
    static std::shared_ptr<GeneralTask> asyncTask(Pick& pick) {
        const int mode = pick(4);
        auto task = StandardAsyncClosureTask::make(
            [mode](GeneralTask&, StandardAsyncClosureTask::Callback done) {
                if (mode == 3) return;  // never reports: expires
                DispatchQueue::global(QualityOfService::utility)->async([done, mode] {
                    done(std::make_shared<GeneralTaskResult>(mode != 1, std::nullopt));
                    if (mode == 2) done(succeeded());  // reported twice
                });
            });
        task->setExecuteOnMainQueue(pick(4) == 0);
        auto config = std::make_shared<DefaultOperationConfiguration>();
        config->setExpiration(mode == 3 ? 0.003 : 5.0);
        task->setOperationConfiguration(config);
        return task;
    }

    template <typename F>
    void forEach(F f) {
        for (auto& list : lists_)
            for (auto& t : list) f(*t);
    }

    // A task may stay registered only as a dependant of a cancelled blocker.
    bool onlyDocumentedWaitersIndexed(std::string* offender) {
        std::vector<std::shared_ptr<TaskIndexable>> indexed;
        manager_->serialize(true, [&] { indexed = manager_->taskIndexer()->allIndexedTasks(); });
        for (const auto& i : indexed) {
            bool documented = false;
            forEach([&](Tracked& t) {
                if (dynamic_cast<TaskIndexable*>(t.task.get()) != i.get()) return;
                for (auto& b : t.blockers) documented = documented || b->markCancelled();
            });
            if (!documented) {
                *offender = i->taskId();
                return false;
            }
        }
        return true;
    }

    bool noQueueSuspended() {
        for (int priority : manager_->queuePriorities()) {
            auto queue = manager_->operationQueue(priority);
            if (queue && queue->isSuspended()) return false;
        }
        return true;
    }

    void drainCallbacks() {
        sharedCallBackQueue()->waitUntilAllOperationsAreFinished();
        ovtest::pumpMainFor(0.01);
    }

    void check() {
        const std::string seed = "seed " + std::to_string(seed_);
        std::string offender;
        EXPECT_TRUE(pumpMainUntil(
            [&] {
                return manager_->isIdle() && noQueueSuspended() &&
                       onlyDocumentedWaitersIndexed(&offender);
            },
            60.0))
            << seed << ": not idle, a queue left suspended, or " << offender
            << " left in the index";
        drainCallbacks();
        forEach([&](Tracked& t) {
            EXPECT_LE(t.completions.load(), 1) << seed << ": " << t.task->description();
            EXPECT_EQ(t.offMain.load(), 0) << seed << ": main-queue completion off the main thread";
        });
        // What is left is cleared by cancelling it: each task then has
        // completed exactly once, and the index is empty.
        forEach([](Tracked& t) { t.task->cancel(Error{"sweep", 3}); });
        bool all = pumpMainUntil(
            [&] {
                bool complete = true;
                forEach([&](Tracked& t) { complete = complete && t.completions.load() >= 1; });
                return complete;
            },
            60.0);
        EXPECT_TRUE(all) << seed << ": a task never completed";
        EXPECT_TRUE(
            pumpMainUntil([&] { return manager_->isIdle() && indexedCount(manager_) == 0; }, 60.0))
            << seed << ": the index did not empty";
        drainCallbacks();
        forEach([&](Tracked& t) {
            EXPECT_EQ(t.completions.load(), 1)
                << seed << ": " << t.task->description() << " "
                << dynamic_cast<TaskIndexable*>(t.task.get())->taskId();
        });
        std::weak_ptr<TaskManager> weak = manager_;
        lists_.clear();
        manager_.reset();
        EXPECT_TRUE(eventually([&] { return weak.expired(); }, 30.0)) << seed << ": manager leaked";
    }

    unsigned seed_;
    int threads_;
    int calls_;
    std::shared_ptr<TaskManager> manager_;
    std::vector<std::vector<std::unique_ptr<Tracked>>> lists_;
};

}  // namespace

TEST(TaskRaceHarnessTest, RandomRoundsEndWithEveryTaskCompletedOnceAndTheManagerIdle) {
    if (!interleaving::available()) GTEST_SKIP() << "interleaving points not compiled in";
    const double seconds = envSeconds("OV_RACE_SECONDS", 3.0);
    unsigned seed = static_cast<unsigned>(envSeconds("OV_RACE_SEED", 0));
    const bool replay = seed != 0;
    if (!replay) seed = static_cast<unsigned>(std::random_device{}());
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    int rounds = 0;
    do {
        Round(seed + static_cast<unsigned>(rounds), 3, 120).run();
        ++rounds;
        if (::testing::Test::HasFailure()) {
            ADD_FAILURE() << "replay with OV_RACE_SEED="
                          << seed + static_cast<unsigned>(rounds - 1);
            break;
        }
    } while (!replay && (rounds < 2 || std::chrono::steady_clock::now() < deadline));
    std::cout << rounds << " rounds from seed " << seed << "\n";
}
