// Adding and running 100k trivial block operations on an OperationQueue,
// against a oneTBB task_group and a Boost.Asio thread_pool running the same
// closures. Each iteration submits every closure and waits for all of them.
#include <utility>  // before Boost.Asio: Debian's Boost 1.74 needs it under C++20

#include <atomic>
#include <thread>

#include <tbb/task_group.h>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>

#include "BenchRatios.h"
#include "OVUtility/Platform/OperationQueue.h"

namespace {

constexpr int kOperations = 100'000;
std::atomic<long> gSink{0};

inline void trivialWork() {
    gSink.fetch_add(1, std::memory_order_relaxed);
}

void BM_OperationQueue_BlockOperations(benchmark::State& state) {
    const int maxConcurrent = static_cast<int>(state.range(0));
    for (auto _ : state) {
        auto queue = ov::OperationQueue::make("bench");
        queue->setMaxConcurrentOperationCount(maxConcurrent);
        for (int i = 0; i < kOperations; ++i) {
            queue->addOperation(ov::BlockOperation::make(trivialWork));
        }
        queue->waitUntilAllOperationsAreFinished();
    }
    state.SetItemsProcessed(state.iterations() * kOperations);
}
BENCHMARK(BM_OperationQueue_BlockOperations)
    ->Arg(-1)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_TbbTaskGroup(benchmark::State& state) {
    for (auto _ : state) {
        tbb::task_group group;
        for (int i = 0; i < kOperations; ++i) group.run(trivialWork);
        group.wait();
    }
    state.SetItemsProcessed(state.iterations() * kOperations);
}
BENCHMARK(BM_TbbTaskGroup)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_AsioThreadPool(benchmark::State& state) {
    const unsigned threads = std::max(2u, std::thread::hardware_concurrency());
    for (auto _ : state) {
        boost::asio::thread_pool pool(threads);
        for (int i = 0; i < kOperations; ++i) boost::asio::post(pool, trivialWork);
        pool.join();
    }
    state.SetItemsProcessed(state.iterations() * kOperations);
}
BENCHMARK(BM_AsioThreadPool)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    return ovbench::runWithRatios(argc, argv,
                                  {{"BM_OperationQueue_BlockOperations/-1", "BM_TbbTaskGroup"},
                                   {"BM_OperationQueue_BlockOperations/-1", "BM_AsioThreadPool"},
                                   {"BM_OperationQueue_BlockOperations/1", "BM_TbbTaskGroup"},
                                   {"BM_OperationQueue_BlockOperations/1", "BM_AsioThreadPool"}});
}
