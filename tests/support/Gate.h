// Test helper: a gate that blocks waiters until it is opened, with a generous
// deadline so that a failing test cannot hang the run.
//
//   ovtest::Gate gate;
//   queue->async([&] { gate.wait(); work(); });
//   ...
//   gate.open();
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

namespace ovtest {

// Blocks waiters until opened (or until a generous deadline, so that a
// failing test cannot hang the run).
class Gate {
  public:
    void open() {
        // The opener keeps the state alive too: a worker opening the gate may
        // still be notifying when the waiting test ends and the Gate goes away.
        auto state = state_;
        {
            std::lock_guard lock(state->mutex);
            state->open = true;
        }
        state->cv.notify_all();
    }
    bool wait(double seconds = 20.0) {
        // The waiter keeps the state alive: the test may end (and the Gate
        // go away) while a worker is still on its way out of this wait.
        auto state = state_;
        std::unique_lock lock(state->mutex);
        return state->cv.wait_for(lock, std::chrono::duration<double>(seconds),
                                  [&] { return state->open; });
    }

  private:
    struct State {
        std::mutex mutex;
        std::condition_variable cv;
        bool open = false;
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace ovtest
