// Dispatch runtime against the libraries a C++ programmer would otherwise
// use: a Boost.Asio strand on a thread_pool for serial work, std::shared_mutex
// for reader/writer access.
#include <utility>  // Boost 1.74's Asio needs it under C++20

#include <atomic>
#include <shared_mutex>

#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>

#include "BenchRatios.h"
#include "OVUtility/Platform/DispatchQueue.h"
#include "OVUtility/Platform/DispatchSemaphore.h"

namespace {

constexpr int kBlocks = 100'000;

void BM_SerialQueueAsyncDrain(benchmark::State& state) {
    auto queue = ov::DispatchQueue::make("bench.serial");
    long counter = 0;
    for (auto _ : state) {
        ov::DispatchSemaphore done(0);
        for (int i = 0; i < kBlocks; ++i) queue->async([&counter] { ++counter; });
        queue->async([&done] { done.signal(); });
        done.wait();
    }
    benchmark::DoNotOptimize(counter);
    state.SetItemsProcessed(state.iterations() * kBlocks);
}
BENCHMARK(BM_SerialQueueAsyncDrain)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_AsioStrandPostDrain(benchmark::State& state) {
    boost::asio::thread_pool pool(2);
    auto strand = boost::asio::make_strand(pool);
    long counter = 0;
    for (auto _ : state) {
        std::atomic<bool> done{false};
        for (int i = 0; i < kBlocks; ++i) boost::asio::post(strand, [&counter] { ++counter; });
        ov::DispatchSemaphore finished(0);
        boost::asio::post(strand, [&finished] { finished.signal(); });
        finished.wait();
    }
    benchmark::DoNotOptimize(counter);
    state.SetItemsProcessed(state.iterations() * kBlocks);
    pool.join();
}
BENCHMARK(BM_AsioStrandPostDrain)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ConcurrentQueueSyncRead(benchmark::State& state) {
    auto queue = ov::DispatchQueue::make("bench.rw", ov::DispatchQueue::Attributes::concurrent);
    long value = 7;
    for (auto _ : state) {
        long v = queue->sync([&value] { return value; });
        benchmark::DoNotOptimize(v);
    }
}
BENCHMARK(BM_ConcurrentQueueSyncRead);

void BM_SharedMutexSharedRead(benchmark::State& state) {
    std::shared_mutex mutex;
    long value = 7;
    for (auto _ : state) {
        std::shared_lock lock(mutex);
        long v = value;
        benchmark::DoNotOptimize(v);
    }
}
BENCHMARK(BM_SharedMutexSharedRead);

void BM_ConcurrentQueueBarrierWrite(benchmark::State& state) {
    // Latency from submitting a barrier write until it has run.
    auto queue =
        ov::DispatchQueue::make("bench.barrier", ov::DispatchQueue::Attributes::concurrent);
    long value = 0;
    for (auto _ : state) {
        ov::DispatchSemaphore done(0);
        queue->asyncBarrier([&] {
            ++value;
            done.signal();
        });
        done.wait();
    }
    benchmark::DoNotOptimize(value);
}
BENCHMARK(BM_ConcurrentQueueBarrierWrite)->UseRealTime();

void BM_ConcurrentQueueSyncBarrierWrite(benchmark::State& state) {
    auto queue =
        ov::DispatchQueue::make("bench.syncbarrier", ov::DispatchQueue::Attributes::concurrent);
    long value = 0;
    for (auto _ : state) queue->syncBarrier([&] { ++value; });
    benchmark::DoNotOptimize(value);
}
BENCHMARK(BM_ConcurrentQueueSyncBarrierWrite);

void BM_SharedMutexExclusiveWrite(benchmark::State& state) {
    std::shared_mutex mutex;
    long value = 0;
    for (auto _ : state) {
        std::unique_lock lock(mutex);
        ++value;
    }
    benchmark::DoNotOptimize(value);
}
BENCHMARK(BM_SharedMutexExclusiveWrite);

}  // namespace

int main(int argc, char** argv) {
    return ovbench::runWithRatios(
        argc, argv,
        {{"BM_SerialQueueAsyncDrain", "BM_AsioStrandPostDrain"},
         {"BM_ConcurrentQueueSyncRead", "BM_SharedMutexSharedRead"},
         {"BM_ConcurrentQueueSyncBarrierWrite", "BM_SharedMutexExclusiveWrite"}});
}
