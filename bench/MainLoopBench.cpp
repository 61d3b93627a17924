// Wake-up latency of the main queue inside a host event loop: a block posted
// from a worker thread until it runs on the loop's (main) thread, against the
// same loop's own cross-thread call (g_main_context_invoke for GLib,
// asio::post for Boost.Asio), measured in one run. Each sample lets the main
// thread fall asleep in the loop's poll first, so it is a real wake-up.
// Reported time is the median latency.
#include <utility>  // Boost 1.74's Asio needs it under C++20

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

#include "BenchRatios.h"
#include "OVUtility/Adapters/AsioMainQueue.h"
#include "OVUtility/Adapters/GLibMainQueueSource.h"
#include "OVUtility/Platform/DispatchQueue.h"

namespace {

using Clock = std::chrono::steady_clock;

// A worker thread that, on each request, waits until the main thread has had
// time to block in its loop, stamps the time and calls `post`.
class Poster {
  public:
    explicit Poster(std::function<void()> post)
        : post_(std::move(post)), thread_([this] { run(); }) {}
    ~Poster() {
        {
            std::lock_guard lock(mutex_);
            quit_ = true;
        }
        cv_.notify_one();
        thread_.join();
    }
    void request() {
        {
            std::lock_guard lock(mutex_);
            ++requested_;
        }
        cv_.notify_one();
    }
    Clock::time_point postedAt() const { return postedAt_.load(); }

  private:
    void run() {
        long served = 0;
        for (;;) {
            {
                std::unique_lock lock(mutex_);
                cv_.wait(lock, [&] { return quit_ || requested_ > served; });
                if (quit_) return;
                ++served;
            }
            // Let the main thread reach its poll.
            auto until = Clock::now() + std::chrono::microseconds(200);
            while (Clock::now() < until) {
            }
            postedAt_.store(Clock::now());
            post_();
        }
    }

    std::function<void()> post_;
    std::mutex mutex_;
    std::condition_variable cv_;
    long requested_ = 0;
    bool quit_ = false;
    std::atomic<Clock::time_point> postedAt_{};
    std::thread thread_;
};

// Runs the benchmark's samples: `iterate` runs the loop until `arrived`.
template <typename Iterate>
void measure(benchmark::State& state, Poster& poster, std::atomic<bool>& arrived,
             std::atomic<Clock::time_point>& ranAt, Iterate iterate) {
    std::vector<double> samples;
    for (auto _ : state) {
        arrived = false;
        poster.request();
        while (!arrived) iterate();
        samples.push_back(
            std::chrono::duration<double, std::nano>(ranAt.load() - poster.postedAt()).count());
    }
    std::nth_element(samples.begin(), samples.begin() + samples.size() / 2, samples.end());
    state.counters["median_ns"] = samples[samples.size() / 2];
}

constexpr int kSamples = 2000;

void BM_GLibMainQueueWakeup(benchmark::State& state) {
    ov::GLibMainQueueSource source;
    std::atomic<bool> arrived{false};
    std::atomic<Clock::time_point> ranAt{};
    auto main = ov::DispatchQueue::main();
    Poster poster([&] {
        main->async([&] {
            ranAt = Clock::now();
            arrived = true;
        });
    });
    measure(state, poster, arrived, ranAt, [] { g_main_context_iteration(nullptr, TRUE); });
}
BENCHMARK(BM_GLibMainQueueWakeup)->Iterations(kSamples)->UseRealTime();

struct InvokeTarget {
    std::atomic<bool>* arrived;
    std::atomic<Clock::time_point>* ranAt;
};

void BM_GLibContextInvokeWakeup(benchmark::State& state) {
    std::atomic<bool> arrived{false};
    std::atomic<Clock::time_point> ranAt{};
    InvokeTarget target{&arrived, &ranAt};
    Poster poster([&] {
        g_main_context_invoke(
            nullptr,
            [](gpointer p) -> gboolean {
                auto* t = static_cast<InvokeTarget*>(p);
                *t->ranAt = Clock::now();
                *t->arrived = true;
                return G_SOURCE_REMOVE;
            },
            &target);
    });
    measure(state, poster, arrived, ranAt, [] { g_main_context_iteration(nullptr, TRUE); });
}
BENCHMARK(BM_GLibContextInvokeWakeup)->Iterations(kSamples)->UseRealTime();

void BM_AsioMainQueueWakeup(benchmark::State& state) {
    boost::asio::io_context io;
    ov::AsioMainQueue adapter(io);
    std::atomic<bool> arrived{false};
    std::atomic<Clock::time_point> ranAt{};
    auto main = ov::DispatchQueue::main();
    Poster poster([&] {
        main->async([&] {
            ranAt = Clock::now();
            arrived = true;
        });
    });
    measure(state, poster, arrived, ranAt, [&] { io.run_one(); });
}
BENCHMARK(BM_AsioMainQueueWakeup)->Iterations(kSamples)->UseRealTime();

void BM_AsioPostWakeup(benchmark::State& state) {
    boost::asio::io_context io;
    // Keeps run_one() blocking between samples, as the adapter's watch does.
    auto guard = boost::asio::make_work_guard(io);
    std::atomic<bool> arrived{false};
    std::atomic<Clock::time_point> ranAt{};
    Poster poster([&] {
        boost::asio::post(io, [&] {
            ranAt = Clock::now();
            arrived = true;
        });
    });
    measure(state, poster, arrived, ranAt, [&] { io.run_one(); });
}
BENCHMARK(BM_AsioPostWakeup)->Iterations(kSamples)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    return ovbench::runWithRatios(argc, argv,
                                  {{"BM_GLibMainQueueWakeup", "BM_GLibContextInvokeWakeup"},
                                   {"BM_AsioMainQueueWakeup", "BM_AsioPostWakeup"}});
}
