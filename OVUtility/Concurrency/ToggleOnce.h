// ov::ToggleOnce: a one-way switch that runs a stored action the first time
// it is activated.
//
//   ov::ToggleOnce firstFrame;
//   firstFrame.onActivated([] { hideSplash(); });
//   firstFrame.activate();   // runs hideSplash()
//   firstFrame.activate();   // nothing
//
// - `onActivated` stores (or replaces) the action and never runs it, not even
//   when the toggle is already activated: an action set after activation
//   never runs.
// - Only the first `activate()` has an effect; it runs the stored action on
//   the calling thread. The action stays stored.
// - The switch itself is atomic: of several threads calling `activate()`
//   at once, exactly one runs the action, and `isActivated` may be read from
//   any thread. Setting the action while another thread activates is a race
//   the caller must avoid (set it up first).
#pragma once

#include <atomic>
#include <functional>

namespace ov {

class ToggleOnce {
  public:
    ToggleOnce() = default;
    ToggleOnce(const ToggleOnce&) = delete;
    ToggleOnce& operator=(const ToggleOnce&) = delete;

    bool isActivated() const { return on_.load(std::memory_order_acquire); }

    void onActivated(std::function<void()> action) { activatedAction_ = std::move(action); }

    void activate() {
        if (on_.exchange(true, std::memory_order_acq_rel)) return;
        if (activatedAction_) activatedAction_();
    }

  private:
    std::atomic<bool> on_{false};
    std::function<void()> activatedAction_;
};

}  // namespace ov
