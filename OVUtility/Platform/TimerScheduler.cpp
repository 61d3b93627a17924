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
    push(entries_, deadline, std::move(callback));
}

void TimerScheduler::scheduleForMain(DispatchTime deadline, std::function<void()> callback) {
    push(mainEntries_, deadline, std::move(callback));
}

void TimerScheduler::push(Heap& heap, DispatchTime deadline, std::function<void()> callback) {
    if (deadline.isDistantFuture() || !callback) return;
    std::lock_guard lock(mutex_);
    auto* first = earliestLocked();
    bool earliest = !first || deadline < first->top().deadline;
    heap.push(Entry{deadline, nextSequence_++, std::move(callback)});
    if (earliest) changed_.notify_one();
}

TimerScheduler::Heap* TimerScheduler::earliestLocked() {
    if (entries_.empty()) return mainEntries_.empty() ? nullptr : &mainEntries_;
    if (mainEntries_.empty()) return &entries_;
    return Later{}(entries_.top(), mainEntries_.top()) ? &mainEntries_ : &entries_;
}

std::function<void()> TimerScheduler::popLocked(Heap& heap) {
    // priority_queue::top is const; the entry is popped right after.
    auto callback = std::move(const_cast<Entry&>(heap.top()).callback);
    heap.pop();
    return callback;
}

DispatchTime TimerScheduler::nextMainDeadline() {
    std::lock_guard lock(mutex_);
    return mainEntries_.empty() ? DispatchTime::distantFuture() : mainEntries_.top().deadline;
}

size_t TimerScheduler::fireDueMain() {
    size_t fired = 0;
    std::unique_lock lock(mutex_);
    auto now = DispatchTime::now();
    while (!mainEntries_.empty() && mainEntries_.top().deadline <= now) {
        auto callback = popLocked(mainEntries_);
        lock.unlock();
        callback();
        ++fired;
        lock.lock();
    }
    return fired;
}

void TimerScheduler::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        auto* heap = earliestLocked();
        if (!heap) {
            changed_.wait(lock);
            continue;
        }
        auto deadline = heap->top().deadline;
        if (DispatchTime::now() < deadline) {
            changed_.wait_until(lock, deadline.timePoint());
            continue;
        }
        auto callback = popLocked(*heap);
        lock.unlock();
        callback();
        lock.lock();
    }
}

}  // namespace ov
