// Test helper: drives the library's interleaving points (see
// OVUtility/Platform/InterleavingPoint.h) to put threads in a chosen order.
//
//   // Deterministic: hold whichever thread next reaches a point, act, release.
//   ovtest::PointHold hold("TaskManager.addToQueue.beforeWrap");
//   task->execute();
//   ASSERT_TRUE(hold.waitReached());
//   task->cancel(std::nullopt);          // lands between the manager's test and its wrap
//   hold.release();
//
//   // Both orders of two calls: `first` stops at its first point (if any)
//   // until `second` has returned.
//   ovtest::runInterleaved([&] { op->finish(); }, [&] { op->start(); });
//
//   // Randomised: seeded small delays at every point, for the race harness.
//   ovtest::InjectedDelays delays(seed, /*percent=*/10, /*maxMicros=*/200);
#pragma once

#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <thread>

#include "OVUtility/Platform/InterleavingPoint.h"
#include "support/Gate.h"

namespace ovtest {

namespace interleaving_detail {

struct Hold {
    const char* point = nullptr;  // nullptr: any point
    bool anyThread = true;
    std::thread::id thread;
    Gate reached;
    Gate release;
    bool taken = false;
};

struct State {
    std::mutex mutex;
    std::shared_ptr<Hold> hold;  // guarded by mutex; shared with a thread still leaving it
    std::atomic<bool> holding{false};
    std::atomic<unsigned> generation{0};
    std::atomic<unsigned> seed{0};
    std::atomic<int> percent{0};
    std::atomic<int> maxMicros{0};
};

inline State& state() {
    static State s;
    return s;
}

inline void delay() {
    State& s = state();
    const int percent = s.percent.load(std::memory_order_relaxed);
    if (percent <= 0) return;
    thread_local std::minstd_rand random;
    thread_local unsigned generation = ~0u;
    if (generation != s.generation.load(std::memory_order_relaxed)) {
        generation = s.generation.load(std::memory_order_relaxed);
        random.seed(s.seed.load() ^ static_cast<unsigned>(
                                        std::hash<std::thread::id>{}(std::this_thread::get_id())));
    }
    if (static_cast<int>(random() % 100) >= percent) return;
    const unsigned micros = random() % static_cast<unsigned>(s.maxMicros.load() + 1);
    if (micros < 20) {
        std::this_thread::yield();
    } else {
        std::this_thread::sleep_for(std::chrono::microseconds(micros));
    }
}

inline void hook(const char* point) {
    State& s = state();
    if (s.holding.load(std::memory_order_acquire)) {
        std::shared_ptr<Hold> mine;
        {
            std::lock_guard lock(s.mutex);
            const auto& h = s.hold;
            if (h && !h->taken && (!h->point || std::strcmp(h->point, point) == 0) &&
                (h->anyThread || h->thread == std::this_thread::get_id())) {
                h->taken = true;
                mine = h;
            }
        }
        if (mine) {
            mine->reached.open();
            mine->release.wait();
            return;
        }
    }
    delay();
}

inline void install() {
    ov::interleaving::setHook(&hook);
}

}  // namespace interleaving_detail

// Holds the next thread that reaches `point` (nullptr: any point), or only
// `thread`'s next point, until release() (or destruction).
class PointHold {
  public:
    explicit PointHold(const char* point, std::thread::id thread = {}) {
        hold_->point = point;
        hold_->anyThread = thread == std::thread::id{};
        hold_->thread = thread;
        auto& s = interleaving_detail::state();
        interleaving_detail::install();
        std::lock_guard lock(s.mutex);
        s.hold = hold_;
        s.holding.store(true, std::memory_order_release);
    }
    ~PointHold() { release(); }
    PointHold(const PointHold&) = delete;
    PointHold& operator=(const PointHold&) = delete;

    bool waitReached(double seconds = 20.0) { return hold_->reached.wait(seconds); }
    // Lets the held thread go on; later points are not held.
    void release() {
        auto& s = interleaving_detail::state();
        {
            std::lock_guard lock(s.mutex);
            if (s.hold == hold_) {
                s.hold = nullptr;
                s.holding.store(false, std::memory_order_release);
            }
        }
        hold_->release.open();
    }

  private:
    std::shared_ptr<interleaving_detail::Hold> hold_ = std::make_shared<interleaving_detail::Hold>();
};

// Runs `first` on a new thread that stops at the first interleaving point it
// reaches, runs `second` on this thread meanwhile, then lets `first` go on.
// When `first` reaches no point it simply runs before `second`.
inline void runInterleaved(const std::function<void()>& first,
                           const std::function<void()>& second) {
    Gate started;
    Gate done;
    std::unique_ptr<PointHold> hold;
    std::thread worker([&] {
        started.wait();
        first();
        done.open();
    });
    hold = std::make_unique<PointHold>(nullptr, worker.get_id());
    started.open();
    // Parked at its point, or finished without reaching one.
    while (!hold->waitReached(0.001) && !done.wait(0.001)) {
    }
    second();
    hold->release();
    worker.join();
}

// Seeded random delays at every interleaving point while alive.
class InjectedDelays {
  public:
    InjectedDelays(unsigned seed, int percent, int maxMicros) {
        auto& s = interleaving_detail::state();
        interleaving_detail::install();
        s.seed.store(seed);
        s.maxMicros.store(maxMicros);
        s.generation.fetch_add(1);
        s.percent.store(percent);
    }
    ~InjectedDelays() { interleaving_detail::state().percent.store(0); }
    InjectedDelays(const InjectedDelays&) = delete;
    InjectedDelays& operator=(const InjectedDelays&) = delete;
};

}  // namespace ovtest
