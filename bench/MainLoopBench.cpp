// Wake-up latency of the main queue inside a host event loop: a block posted
// from a worker thread until it runs on the loop's (main) thread, against the
// same loop's own cross-thread call (g_main_context_invoke for GLib,
// asio::post for Boost.Asio), measured in one run. Each sample lets the main
// thread fall asleep in the loop's poll first, so it is a real wake-up.
// Reported time is the median latency. Both sides run the same loop: the
// adapter is attached for the peer's samples too, so the loop waits in its
// poll (as an application's loop with descriptors to watch does) rather than
// on the condition variable an idle io_context would use.
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

// Where the posted work records that it ran.
struct Arrival {
    std::atomic<bool> arrived{false};
    std::atomic<Clock::time_point> ranAt{};
    void mark() {
        ranAt = Clock::now();
        arrived = true;
    }
};

// Runs the benchmark's samples: `iterate` runs the loop until the work arrived.
template <typename Iterate>
void measure(benchmark::State& state, Poster& poster, Arrival& arrival, Iterate iterate) {
    std::vector<double> samples;
    for (auto _ : state) {
        arrival.arrived = false;
        poster.request();
        while (!arrival.arrived) iterate();
        samples.push_back(
            std::chrono::duration<double, std::nano>(arrival.ranAt.load() - poster.postedAt())
                .count());
    }
    std::nth_element(samples.begin(), samples.begin() + samples.size() / 2, samples.end());
    state.counters["median_ns"] = samples[samples.size() / 2];
}

std::function<void()> postToMainQueue(Arrival& arrival) {
    return [&arrival, main = ov::DispatchQueue::main()] {
        main->async([&arrival] { arrival.mark(); });
    };
}

constexpr int kSamples = 2000;

void BM_GLibMainQueueWakeup(benchmark::State& state) {
    ov::GLibMainQueueSource source;
    Arrival arrival;
    Poster poster(postToMainQueue(arrival));
    measure(state, poster, arrival, [] { g_main_context_iteration(nullptr, TRUE); });
}
BENCHMARK(BM_GLibMainQueueWakeup)->Iterations(kSamples)->UseRealTime();

void BM_GLibContextInvokeWakeup(benchmark::State& state) {
    ov::GLibMainQueueSource source;
    Arrival arrival;
    Poster poster([&] {
        g_main_context_invoke(
            nullptr,
            [](gpointer p) -> gboolean {
                static_cast<Arrival*>(p)->mark();
                return G_SOURCE_REMOVE;
            },
            &arrival);
    });
    measure(state, poster, arrival, [] { g_main_context_iteration(nullptr, TRUE); });
}
BENCHMARK(BM_GLibContextInvokeWakeup)->Iterations(kSamples)->UseRealTime();

void BM_AsioMainQueueWakeup(benchmark::State& state) {
    boost::asio::io_context io;
    ov::AsioMainQueue adapter(io);
    Arrival arrival;
    Poster poster(postToMainQueue(arrival));
    measure(state, poster, arrival, [&] { io.run_one(); });
}
BENCHMARK(BM_AsioMainQueueWakeup)->Iterations(kSamples)->UseRealTime();

void BM_AsioPostWakeup(benchmark::State& state) {
    boost::asio::io_context io;
    ov::AsioMainQueue adapter(io);
    Arrival arrival;
    Poster poster([&] { boost::asio::post(io, [&] { arrival.mark(); }); });
    measure(state, poster, arrival, [&] { io.run_one(); });
}
BENCHMARK(BM_AsioPostWakeup)->Iterations(kSamples)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    return ovbench::runWithRatios(argc, argv,
                                  {{"BM_GLibMainQueueWakeup", "BM_GLibContextInvokeWakeup"},
                                   {"BM_AsioMainQueueWakeup", "BM_AsioPostWakeup"}});
}
