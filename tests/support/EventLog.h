// ovtest::EventLog: events in the order they happened, from any thread.
// Copies share one record, so closures may capture a copy and outlive the
// test's own log.
#pragma once

#include <algorithm>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace ovtest {

class EventLog {
  public:
    void add(std::string event) const {
        std::lock_guard lock(state_->mutex);
        state_->events.push_back(std::move(event));
    }
    std::vector<std::string> events() const {
        std::lock_guard lock(state_->mutex);
        return state_->events;
    }
    // The events so far, leaving the log empty.
    std::vector<std::string> take() const {
        std::lock_guard lock(state_->mutex);
        return std::exchange(state_->events, {});
    }
    bool contains(const std::string& event) const { return indexOf(event) >= 0; }
    // Position of an event, or -1.
    int indexOf(const std::string& event) const {
        std::lock_guard lock(state_->mutex);
        auto it = std::find(state_->events.begin(), state_->events.end(), event);
        return it == state_->events.end() ? -1 : static_cast<int>(it - state_->events.begin());
    }

  private:
    struct State {
        std::mutex mutex;
        std::vector<std::string> events;
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace ovtest
