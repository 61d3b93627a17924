#include "OVUtility/Platform/DispatchSource.h"

#include <cmath>
#include <mutex>

#include "OVUtility/Platform/TimerScheduler.h"

namespace ov {

struct DispatchSource::State : std::enable_shared_from_this<DispatchSource::State> {
    std::mutex mutex;
    std::shared_ptr<DispatchQueue> queue;
    std::shared_ptr<DispatchBlock> handler;
    DispatchTime deadline = DispatchTime::distantFuture();
    std::chrono::nanoseconds interval{0};
    int suspendCount = 1;  // sources are created suspended
    bool cancelled = false;
    // Ticks fired but not yet handed to the handler. They merge: however many
    // fire before a delivery starts, the handler runs once for them.
    bool eventPending = false;
    // A delivery is on the queue or running. Only one exists at a time, so
    // the handler never runs twice at once, even on a concurrent queue.
    bool deliveryActive = false;
    unsigned long long generation = 0;  // bumps on every (re)arm; stale wake-ups are dropped

    bool runnableLocked() const { return !cancelled && suspendCount == 0; }

    // Arms the scheduler for the current deadline (lock held).
    void armLocked() {
        ++generation;
        if (!runnableLocked() || deadline.isDistantFuture()) return;
        std::weak_ptr<State> weak = shared_from_this();
        auto callback = [weak, gen = generation] {
            if (auto state = weak.lock()) state->fire(gen);
        };
        if (queue->isMain()) {
            TimerScheduler::shared().scheduleForMain(deadline, std::move(callback));
        } else {
            TimerScheduler::shared().schedule(deadline, std::move(callback));
        }
    }

    // Queues a delivery for a pending event unless one is already under way
    // (lock held).
    void deliverLocked() {
        if (!eventPending || deliveryActive || !runnableLocked()) return;
        deliveryActive = true;
        queue->async([self = shared_from_this()] { self->deliver(); });
    }

    void fire(unsigned long long gen) {
        std::lock_guard lock(mutex);
        if (gen != generation || !runnableLocked()) return;
        if (interval.count() > 0) {
            // A timer that fell behind fires once, then keeps its cadence.
            auto now = DispatchTime::now();
            auto next = deadline + interval;
            if (next <= now) {
                auto behind = (now.timePoint() - deadline.timePoint()) / interval;
                next = deadline + interval * (behind + 1);
            }
            deadline = next;
        } else {
            deadline = DispatchTime::distantFuture();
        }
        armLocked();
        eventPending = true;
        deliverLocked();
    }

    void deliver() {
        std::shared_ptr<DispatchBlock> current;
        {
            std::lock_guard lock(mutex);
            if (!runnableLocked()) {
                // Suspended: the event stays pending and is delivered on
                // resume. Cancelled: it is dropped with everything else.
                deliveryActive = false;
                return;
            }
            eventPending = false;
            current = handler;
        }
        if (current && *current) (*current)();
        current.reset();  // a handler replaced meanwhile is released here, outside the lock
        std::lock_guard lock(mutex);
        deliveryActive = false;
        deliverLocked();  // ticks that fired while the handler ran
    }
};

std::shared_ptr<DispatchSource> DispatchSource::makeTimer(std::shared_ptr<DispatchQueue> queue) {
    std::shared_ptr<DispatchSource> source(new DispatchSource());
    source->state_->queue = queue ? std::move(queue) : DispatchQueue::global();
    return source;
}

DispatchSource::DispatchSource() : state_(std::make_shared<State>()) {}

DispatchSource::~DispatchSource() {
    cancel();
}

void DispatchSource::schedule(DispatchTime deadline, double intervalSeconds,
                              long long leewayNanoseconds) {
    (void)leewayNanoseconds;  // events fire at their deadline; leeway only permits lateness
    std::lock_guard lock(state_->mutex);
    state_->deadline = deadline;
    if (std::isfinite(intervalSeconds) && intervalSeconds > 0) {
        state_->interval = std::chrono::nanoseconds(
            static_cast<long long>(std::min(intervalSeconds, 9.2e9) * 1e9));
    } else {
        state_->interval = std::chrono::nanoseconds(0);
    }
    state_->armLocked();
}

void DispatchSource::setEventHandler(DispatchBlock handler) {
    std::lock_guard lock(state_->mutex);
    if (state_->cancelled) return;
    state_->handler = handler ? std::make_shared<DispatchBlock>(std::move(handler)) : nullptr;
}

void DispatchSource::resume() {
    std::lock_guard lock(state_->mutex);
    if (state_->suspendCount == 0) return;  // over-resume is ignored rather than fatal
    if (--state_->suspendCount == 0) {
        state_->armLocked();
        state_->deliverLocked();  // an event observed while suspended
    }
}

void DispatchSource::suspend() {
    std::lock_guard lock(state_->mutex);
    ++state_->suspendCount;
    ++state_->generation;
}

void DispatchSource::cancel() {
    std::shared_ptr<DispatchBlock> released;
    {
        std::lock_guard lock(state_->mutex);
        state_->cancelled = true;
        ++state_->generation;
        released = std::move(state_->handler);
    }
    // The handler (and what it captured) is released outside the lock.
}

bool DispatchSource::isCancelled() const {
    std::lock_guard lock(state_->mutex);
    return state_->cancelled;
}

}  // namespace ov
