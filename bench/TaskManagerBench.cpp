// End-to-end cost of a trivial task through the task manager (a
// StandardClosureTask: admitted on the manager's serial queue, wrapped in a
// SafeOperation, run on the concurrent medium queue, completed on the shared
// callback queue, removed from the index) against running the same closures
// on oneTBB's task_group and on a Boost.Asio thread_pool of two threads.
//
// Reported per benchmark: items_per_second (tasks/s), p50_us / p99_us
// (submit-to-completion latency of each task), and for the queued-memory
// benchmarks bytes_per_task (heap growth per task held back in a queue,
// measured with mallinfo2).
#include <utility>  // Boost 1.74's Asio needs it under C++20

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include <tbb/task_group.h>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>

#include "BenchRatios.h"
#include "OVUtility/Platform/DispatchSemaphore.h"
#include "OVUtility/Tasks/StandardTask.h"
#include "OVUtility/Tasks/TaskManager.h"

namespace {

constexpr int kTasks = 20'000;

using Clock = std::chrono::steady_clock;

std::int64_t nowNanos() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch())
        .count();
}

// Submit times and completion times of one batch; percentiles of the differences.
struct Latencies {
    std::vector<std::int64_t> submitted = std::vector<std::int64_t>(kTasks);
    std::vector<std::int64_t> completed = std::vector<std::int64_t>(kTasks);
    std::vector<double> all;

    void collect() {
        for (int i = 0; i < kTasks; ++i) all.push_back((completed[i] - submitted[i]) / 1000.0);
    }
    void report(benchmark::State& state) {
        if (all.empty()) return;
        std::sort(all.begin(), all.end());
        state.counters["p50_us"] = all[all.size() / 2];
        state.counters["p99_us"] = all[all.size() * 99 / 100];
    }
};

// Waits for `n` completions.
class Countdown {
  public:
    explicit Countdown(int n) : left_(n) {}
    void done() {
        if (left_.fetch_sub(1, std::memory_order_acq_rel) == 1) finished_.signal();
    }
    void wait() { finished_.wait(); }

  private:
    std::atomic<int> left_;
    ov::DispatchSemaphore finished_{0};
};

// The closure every peer runs: a little work and a result.
std::shared_ptr<ov::TaskResult> trivialWork(std::atomic<long>& counter) {
    counter.fetch_add(1, std::memory_order_relaxed);
    return std::make_shared<ov::GeneralTaskResult>(true, std::nullopt);
}

void BM_TaskManager(benchmark::State& state) {
    auto manager = ov::TaskManager::make(ov::TaskManager::defaultConfigurations());
    std::atomic<long> counter{0};
    Latencies latencies;
    for (auto _ : state) {
        Countdown countdown(kTasks);
        for (int i = 0; i < kTasks; ++i) {
            auto task = ov::StandardClosureTask::make(
                [&counter](ov::GeneralTask&) { return trivialWork(counter); });
            task->setTaskExecutor(manager);
            task->setCompletionClosure(
                [&latencies, &countdown, i](std::shared_ptr<ov::TaskResult>) {
                    latencies.completed[i] = nowNanos();
                    countdown.done();
                });
            latencies.submitted[i] = nowNanos();
            task->execute();
        }
        countdown.wait();
        latencies.collect();
    }
    // Let the last index removals happen outside the measurement.
    manager->serialize(true, [] {});
    latencies.report(state);
    state.SetItemsProcessed(state.iterations() * kTasks);
}
BENCHMARK(BM_TaskManager)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_TbbTaskGroup(benchmark::State& state) {
    std::atomic<long> counter{0};
    Latencies latencies;
    for (auto _ : state) {
        tbb::task_group group;
        for (int i = 0; i < kTasks; ++i) {
            latencies.submitted[i] = nowNanos();
            group.run([&counter, &latencies, i] {
                auto result = trivialWork(counter);
                benchmark::DoNotOptimize(result);
                latencies.completed[i] = nowNanos();
            });
        }
        group.wait();
        latencies.collect();
    }
    latencies.report(state);
    state.SetItemsProcessed(state.iterations() * kTasks);
}
BENCHMARK(BM_TbbTaskGroup)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_AsioThreadPool(benchmark::State& state) {
    boost::asio::thread_pool pool(2);
    std::atomic<long> counter{0};
    Latencies latencies;
    for (auto _ : state) {
        Countdown countdown(kTasks);
        for (int i = 0; i < kTasks; ++i) {
            latencies.submitted[i] = nowNanos();
            boost::asio::post(pool, [&counter, &latencies, &countdown, i] {
                auto result = trivialWork(counter);
                benchmark::DoNotOptimize(result);
                latencies.completed[i] = nowNanos();
                countdown.done();
            });
        }
        countdown.wait();
        latencies.collect();
    }
    pool.join();
    latencies.report(state);
    state.SetItemsProcessed(state.iterations() * kTasks);
}
BENCHMARK(BM_AsioThreadPool)->Unit(benchmark::kMillisecond)->UseRealTime();

// ---- memory held per queued task

std::size_t heapInUse() {
    return mallinfo2().uordblks;
}

void BM_TaskManagerQueuedMemory(benchmark::State& state) {
    auto manager = ov::TaskManager::make(ov::TaskManager::defaultConfigurations());
    std::atomic<long> counter{0};
    double bytes = 0;
    for (auto _ : state) {
        // A high-priority task holds the medium queue back while the batch is queued.
        ov::DispatchSemaphore gate(0), holding(0);
        auto holder = ov::StandardClosureTask::make([&](ov::GeneralTask&) {
            holding.signal();
            gate.wait();
            return trivialWork(counter);
        });
        holder->setTaskExecutor(manager);
        holder->setPriority(ov::TaskPriority::high);
        holder->execute();
        holding.wait();
        Countdown countdown(kTasks + 1);
        holder->setCompletionClosure([&](std::shared_ptr<ov::TaskResult>) { countdown.done(); });

        const std::size_t before = heapInUse();
        for (int i = 0; i < kTasks; ++i) {
            auto task = ov::StandardClosureTask::make(
                [&counter](ov::GeneralTask&) { return trivialWork(counter); });
            task->setTaskExecutor(manager);
            task->setCompletionClosure(
                [&countdown](std::shared_ptr<ov::TaskResult>) { countdown.done(); });
            task->execute();
        }
        manager->serialize(true, [] {});  // every task admitted and queued
        const std::size_t after = heapInUse();
        bytes = (static_cast<double>(after) - static_cast<double>(before)) / kTasks;
        gate.signal();
        countdown.wait();
    }
    manager->serialize(true, [] {});
    state.counters["bytes_per_task"] = bytes;
    state.SetItemsProcessed(state.iterations() * kTasks);
}
BENCHMARK(BM_TaskManagerQueuedMemory)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

void BM_AsioQueuedMemory(benchmark::State& state) {
    boost::asio::thread_pool pool(2);
    std::atomic<long> counter{0};
    double bytes = 0;
    for (auto _ : state) {
        // Both pool threads are held while the batch is queued. The holders
        // count down too, so that the semaphores outlive their last use.
        ov::DispatchSemaphore gate(0), holding(0);
        Countdown countdown(kTasks + 2);
        for (int t = 0; t < 2; ++t) {
            boost::asio::post(pool, [&] {
                holding.signal();
                gate.wait();
                countdown.done();
            });
        }
        holding.wait();
        holding.wait();
        const std::size_t before = heapInUse();
        for (int i = 0; i < kTasks; ++i) {
            boost::asio::post(pool, [&counter, &countdown] {
                auto result = trivialWork(counter);
                benchmark::DoNotOptimize(result);
                countdown.done();
            });
        }
        const std::size_t after = heapInUse();
        bytes = (static_cast<double>(after) - static_cast<double>(before)) / kTasks;
        gate.signal();
        gate.signal();
        countdown.wait();
    }
    pool.join();
    state.counters["bytes_per_task"] = bytes;
    state.SetItemsProcessed(state.iterations() * kTasks);
}
BENCHMARK(BM_AsioQueuedMemory)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

}  // namespace

int main(int argc, char** argv) {
    return ovbench::runWithRatios(
        argc, argv,
        {{"BM_TaskManager", "BM_TbbTaskGroup"}, {"BM_TaskManager", "BM_AsioThreadPool"}});
}
