#include "OVUtility/Platform/TimerScheduler.h"

#include <thread>

namespace ov {

TimerScheduler& TimerScheduler::shared() {
    // Never destroyed: its detached thread may outlive static destruction.
    static TimerScheduler* scheduler = new TimerScheduler();
    return *scheduler;
}

TimerScheduler::TimerScheduler() {
    std::thread([this] { run(); }).detach();
}

void TimerScheduler::schedule(DispatchTime deadline, std::function<void()> callback) {
    if (deadline.isDistantFuture() || !callback) return;
    std::lock_guard lock(mutex_);
    bool earliest = entries_.empty() || deadline < entries_.top().deadline;
    entries_.push(Entry{deadline, nextSequence_++, std::move(callback)});
    if (earliest) changed_.notify_one();
}

void TimerScheduler::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        if (entries_.empty()) {
            changed_.wait(lock);
            continue;
        }
        auto deadline = entries_.top().deadline;
        if (DispatchTime::now() < deadline) {
            changed_.wait_until(lock, deadline.timePoint());
            continue;
        }
        // priority_queue::top is const; the entry is popped right after.
        auto callback = std::move(const_cast<Entry&>(entries_.top()).callback);
        entries_.pop();
        lock.unlock();
        callback();
        lock.lock();
    }
}

}  // namespace ov
