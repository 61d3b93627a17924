#include "OVUtility/Platform/DispatchQueue.h"

#include <array>
#include <exception>
#include <new>
#include <optional>

#include "OVUtility/Platform/DispatchQueueState.h"
#include "OVUtility/Platform/DispatchSemaphore.h"
#include "OVUtility/Platform/Fatal.h"
#include "OVUtility/Platform/MainRunLoop.h"
#include "OVUtility/Platform/MainRunLoopAccess.h"
#include "OVUtility/Platform/TimerScheduler.h"
#include "OVUtility/Platform/WorkerPool.h"

namespace ov {

namespace detail {

namespace {
thread_local Frame* tFrameTop = nullptr;
}

Frame*& currentFrame() {
    return tFrameTop;
}

void SyncWaiter::wait() {
    WorkerPool::BlockingScope blocking;
    std::unique_lock lock(mutex);
    cv.wait(lock, [&] { return granted; });
}

}  // namespace detail

namespace {

using detail::FrameScope;
using detail::Item;

// Serial queues run at most this many blocks, or for this long, per turn on
// a worker before they step aside for other queues.
constexpr int kDrainBatch = 512;
constexpr auto kDrainSlice = std::chrono::milliseconds(2);
// Concurrent queues keep at most this many drainer jobs waiting in the pool;
// each drainer that starts a block asks for the next one, so parallelism
// still fans out to every free worker.
constexpr int kMaxPendingDrainers = 4;

void runBlock(const DispatchBlock& block, const std::string& label) {
    try {
        block();
    } catch (const std::exception& e) {
        fatal("uncaught exception in a block on queue \"" + label + "\": " + e.what());
    } catch (...) {
        fatal("uncaught exception in a block on queue \"" + label + "\"");
    }
}

}  // namespace

// Internal entry points shared with the rest of the runtime.
struct DispatchQueueAccess {
    static DispatchQueue::State& state(DispatchQueue& q) { return *q.state_; }
    static void enqueue(DispatchQueue& q, Item item);
    static void submitDrainer(DispatchQueue& q);
    static void drain(DispatchQueue& q);
    static void drainSerial(DispatchQueue& q);
    static void drainConcurrent(DispatchQueue& q);
    static int wantDrainersLocked(DispatchQueue::State& s);
    static void submitDrainers(DispatchQueue& q, int count);
    static void poolThunk(void* queue) { drain(*static_cast<DispatchQueue*>(queue)); }
    static bool rootFlag(const DispatchQueue& q);
};

namespace {
std::array<std::shared_ptr<DispatchQueue>, 6>& globalQueues();
}

bool DispatchQueueAccess::rootFlag(const DispatchQueue& q) {
    for (auto& g : globalQueues()) {
        if (g.get() == &q) return true;
    }
    return false;
}

DispatchQueue::DispatchQueue(std::unique_ptr<State> state) : state_(std::move(state)) {
    state_->owner = this;
}

DispatchQueue::~DispatchQueue() = default;

std::shared_ptr<DispatchQueue> DispatchQueue::make(std::string label, Attributes attributes,
                                                   QualityOfService qos,
                                                   std::shared_ptr<DispatchQueue> target) {
    auto state = std::make_unique<State>();
    state->label = std::move(label);
    state->concurrent = attributes == Attributes::concurrent;
    state->qos = qos;
    // Targeting a root (global) queue is the same as targeting nothing: the
    // queue runs on the pool, at the root's quality of service if it has none.
    if (target && DispatchQueueAccess::rootFlag(*target)) {
        if (qos == QualityOfService::unspecified) state->qos = target->qualityOfService();
        target.reset();
    }
    state->target = std::move(target);
    return std::shared_ptr<DispatchQueue>(new DispatchQueue(std::move(state)));
}

std::shared_ptr<DispatchQueue> DispatchQueue::main() {
    static std::shared_ptr<DispatchQueue> queue = [] {
        auto state = std::make_unique<State>();
        state->label = "com.orvanta.main-thread";
        state->main = true;
        state->qos = QualityOfService::userInteractive;
        return std::shared_ptr<DispatchQueue>(new DispatchQueue(std::move(state)));
    }();
    return queue;
}

namespace {

std::array<std::shared_ptr<DispatchQueue>, 6>& globalQueues() {
    static std::array<std::shared_ptr<DispatchQueue>, 6> queues = [] {
        std::array<std::shared_ptr<DispatchQueue>, 6> qs;
        const std::pair<QualityOfService, const char*> table[] = {
            {QualityOfService::background, "com.orvanta.root.background-qos"},
            {QualityOfService::utility, "com.orvanta.root.utility-qos"},
            {QualityOfService::defaultQoS, "com.orvanta.root.default-qos"},
            {QualityOfService::userInitiated, "com.orvanta.root.user-initiated-qos"},
            {QualityOfService::userInteractive, "com.orvanta.root.user-interactive-qos"},
        };
        for (size_t i = 0; i < 5; ++i) {
            qs[i] = DispatchQueue::make(table[i].second, DispatchQueue::Attributes::concurrent,
                                        table[i].first);
        }
        return qs;
    }();
    return queues;
}

}  // namespace

std::shared_ptr<DispatchQueue> DispatchQueue::global(QualityOfService qos) {
    auto& qs = globalQueues();
    switch (qos) {
        case QualityOfService::background:
            return qs[0];
        case QualityOfService::utility:
            return qs[1];
        case QualityOfService::userInitiated:
            return qs[3];
        case QualityOfService::userInteractive:
            return qs[4];
        default:
            return qs[2];
    }
}

std::shared_ptr<DispatchQueue> DispatchQueue::current() {
    if (auto* frame = detail::currentFrame()) return frame->queue->shared_from_this();
    if (MainRunLoop::isMainThread()) return main();
    return nullptr;
}

const std::string& DispatchQueue::label() const {
    return state_->label;
}
QualityOfService DispatchQueue::qualityOfService() const {
    return state_->qos;
}
bool DispatchQueue::isConcurrent() const {
    return state_->concurrent;
}
bool DispatchQueue::isMain() const {
    return state_->main;
}
std::shared_ptr<DispatchQueue> DispatchQueue::target() const {
    return state_->target;
}

bool DispatchQueue::isCurrent() const {
    for (auto* frame = detail::currentFrame(); frame; frame = frame->previous) {
        if (frame->queue == this) return true;
    }
    return state_->main && MainRunLoop::isMainThread();
}

void DispatchQueue::async(DispatchBlock block) {
    DispatchQueueAccess::enqueue(*this, Item{std::move(block), nullptr, false});
}

void DispatchQueue::asyncBarrier(DispatchBlock block) {
    DispatchQueueAccess::enqueue(*this, Item{std::move(block), nullptr, true});
}

void DispatchQueue::asyncAfter(DispatchTime deadline, DispatchBlock block) {
    if (deadline <= DispatchTime::now()) {
        async(std::move(block));
        return;
    }
    auto fire = [queue = shared_from_this(), block = std::move(block)]() mutable {
        queue->async(std::move(block));
    };
    // Main-queue timers are kept apart so that a host event loop sees their
    // deadlines (MainQueuePort).
    if (state_->main) {
        TimerScheduler::shared().scheduleForMain(deadline, std::move(fire));
    } else {
        TimerScheduler::shared().schedule(deadline, std::move(fire));
    }
}

void DispatchQueue::suspend() {
    std::lock_guard lock(state_->mutex);
    ++state_->suspendCount;
    if (state_->concurrent) state_->updateSlowLocked();
}

void DispatchQueue::resume() {
    int submit = 0;
    bool serialSubmit = false;
    {
        std::lock_guard lock(state_->mutex);
        if (state_->suspendCount == 0)
            fatal("DispatchQueue::resume: queue \"" + state_->label + "\" is not suspended");
        --state_->suspendCount;
        if (state_->concurrent) state_->updateSlowLocked();
        if (state_->suspendCount > 0 || state_->items.empty()) return;
        if (state_->main) {
            state_->mainWake.notify_all();
            detail::signalMainQueuePort();
            return;
        }
        if (state_->concurrent) {
            submit = DispatchQueueAccess::wantDrainersLocked(*state_);
        } else if (!state_->scheduled) {
            state_->scheduled = true;
            state_->keepAlive = shared_from_this();
            serialSubmit = true;
        }
    }
    if (serialSubmit) DispatchQueueAccess::submitDrainer(*this);
    DispatchQueueAccess::submitDrainers(*this, submit);
}

void DispatchQueue::setSpecificRaw(const void* key, std::shared_ptr<void> value) {
    std::lock_guard lock(state_->specificsMutex);
    if (value) {
        state_->specifics[key] = std::move(value);
    } else {
        state_->specifics.erase(key);
    }
}

std::shared_ptr<void> DispatchQueue::getSpecificRaw(const void* key) const {
    std::lock_guard lock(state_->specificsMutex);
    auto it = state_->specifics.find(key);
    return it == state_->specifics.end() ? nullptr : it->second;
}

std::shared_ptr<void> DispatchQueue::getSpecificCurrentRaw(const void* key) {
    const DispatchQueue* queue = nullptr;
    if (auto* frame = detail::currentFrame()) {
        queue = frame->queue;
    } else if (MainRunLoop::isMainThread()) {
        queue = main().get();
    }
    for (; queue; queue = queue->state_->target.get()) {
        if (auto value = queue->getSpecificRaw(key)) return value;
    }
    return nullptr;
}

bool DispatchQueue::needsMainThreadHop() const {
    return state_->main && !MainRunLoop::isMainThread();
}

void DispatchQueue::runOnMainAndWait(const std::function<void()>& block) {
    DispatchSemaphore done(0);
    std::exception_ptr error;
    async([&] {
        try {
            block();
        } catch (...) {
            error = std::current_exception();
        }
        done.signal();
    });
    done.wait();
    if (error) std::rethrow_exception(error);
}

// ---------------------------------------------------------------- enqueue and drain

void DispatchQueueAccess::enqueue(DispatchQueue& q, Item item) {
    auto& s = *q.state_;
    if (!s.concurrent) item.barrier = false;
    int submit = 0;
    bool serialSubmit = false;
    {
        std::lock_guard lock(s.mutex);
        if (item.barrier) ++s.pendingBarriers;
        s.items.push_back(std::move(item));
        if (s.concurrent) s.updateSlowLocked();
        if (s.main) {
            s.mainWake.notify_one();
            if (s.suspendCount == 0) detail::signalMainQueuePort();
            return;
        }
        if (s.suspendCount > 0) return;
        if (s.concurrent) {
            submit = wantDrainersLocked(s);
        } else if (!s.scheduled) {
            s.scheduled = true;
            s.keepAlive = q.shared_from_this();
            serialSubmit = true;
        }
    }
    if (serialSubmit) submitDrainer(q);
    submitDrainers(q, submit);
}

// Called with the lock held: how many new drainers a concurrent queue needs
// for the blocks that could start now.
int DispatchQueueAccess::wantDrainersLocked(DispatchQueue::State& s) {
    if (s.suspendCount > 0 || s.items.empty() || s.exclusiveLocked()) return 0;
    if (s.items.front().barrier && (s.running > 0 || s.fastReaderCount() > 0)) return 0;
    int wanted = static_cast<int>(std::min<size_t>(s.items.size(), kMaxPendingDrainers));
    if (s.pendingDrainers >= wanted) return 0;
    if (!s.keepAlive && s.owner) s.keepAlive = s.owner->shared_from_this();
    ++s.pendingDrainers;
    return 1;
}

void DispatchQueueAccess::submitDrainers(DispatchQueue& q, int count) {
    for (int i = 0; i < count; ++i) submitDrainer(q);
}

void DispatchQueueAccess::submitDrainer(DispatchQueue& q) {
    auto& s = *q.state_;
    if (s.target) {
        // Blocks of a queue with a target run inside one block of the target.
        // The queue keeps itself alive (keepAlive) until the drainer ran.
        DispatchQueue* self = &q;
        enqueue(*s.target, Item{[self] { drain(*self); }, nullptr, false});
    } else {
        WorkerPool::shared().push(WorkerPool::Job{&poolThunk, &q}, s.qos);
    }
}

void DispatchQueueAccess::drain(DispatchQueue& q) {
    if (q.state_->concurrent) {
        drainConcurrent(q);
    } else {
        drainSerial(q);
    }
}

void DispatchQueueAccess::drainSerial(DispatchQueue& q) {
    auto& s = *q.state_;
    auto started = std::chrono::steady_clock::now();
    int ran = 0;
    std::unique_lock lock(s.mutex);
    for (;;) {
        if (s.suspendCount > 0 || s.items.empty()) {
            s.scheduled = false;
            auto keepAlive = std::move(s.keepAlive);
            lock.unlock();
            return;  // keepAlive may release the queue here, after the unlock
        }
        Item item = std::move(s.items.front());
        s.items.pop_front();
        if (item.waiter) {
            // A `sync` caller's turn: it takes the queue over (still scheduled)
            // and hands it back when its block is done.
            lock.unlock();
            item.waiter->grant();
            return;
        }
        lock.unlock();
        {
            FrameScope frame(&q, true);
            runBlock(item.block, s.label);
            item.block = nullptr;  // captured state dies inside the queue's turn
        }
        lock.lock();
        if (++ran >= kDrainBatch || std::chrono::steady_clock::now() - started > kDrainSlice) {
            if (!s.items.empty() && s.suspendCount == 0) {
                // Step aside for other queues; stay scheduled.
                lock.unlock();
                submitDrainer(q);
                return;
            }
            ran = 0;
            started = std::chrono::steady_clock::now();
        }
    }
}

void DispatchQueueAccess::drainConcurrent(DispatchQueue& q) {
    auto& s = *q.state_;
    std::unique_lock lock(s.mutex);
    --s.pendingDrainers;
    ++s.activeDrainers;
    for (;;) {
        if (s.suspendCount > 0 || s.items.empty() || s.exclusiveLocked()) break;
        bool barrier = s.items.front().barrier;
        if (barrier) {
            // The last running block (or lock-free reader) picks it up.
            if (s.running > 0 || s.fastReaderCount() > 0) break;
            s.barrierActive = true;
            --s.pendingBarriers;
            s.updateSlowLocked();
        } else {
            ++s.running;
        }
        Item item = std::move(s.items.front());
        s.items.pop_front();
        int more = wantDrainersLocked(s);
        lock.unlock();
        submitDrainers(q, more);
        if (item.waiter) {
            item.waiter->grant();  // the `sync` caller runs its block and releases
        } else {
            {
                FrameScope frame(&q, barrier);
                runBlock(item.block, s.label);
                item.block = nullptr;
            }
        }
        lock.lock();
        if (!item.waiter) {
            if (barrier) {
                s.barrierActive = false;
            } else {
                --s.running;
            }
            s.updateSlowLocked();
        }
    }
    --s.activeDrainers;
    std::shared_ptr<DispatchQueue> keepAlive;
    if (s.activeDrainers == 0 && s.pendingDrainers == 0) keepAlive = std::move(s.keepAlive);
    lock.unlock();
}

// ---------------------------------------------------------------- sync

DispatchQueue::SyncScope::SyncScope(DispatchQueue& queue, bool barrier)
    : queue_(queue), barrier_(barrier) {
    auto& s = *queue.state_;
    const bool exclusive = !s.concurrent || barrier;
    if (s.main)
        fatal("DispatchQueue::sync onto the main queue from the main thread would deadlock");
    detail::Frame*& top = detail::tFrameTop;
    for (auto* frame = top; frame; frame = frame->previous) {
        if (frame->queue != &queue) continue;
        if (exclusive || frame->exclusive) {
            fatal("DispatchQueue::sync onto queue \"" + s.label +
                  "\", which the calling thread is already running, would deadlock");
        }
        nestedRead_ = true;  // a reader re-entering its own concurrent queue
    }

    if (s.concurrent && !nestedRead_) {
        if (!barrier) {
            // Uncontended readers get in without the mutex.
            uint64_t current = s.fastReaders.load(std::memory_order_relaxed);
            while (!(current & State::kSlow)) {
                if (s.fastReaders.compare_exchange_weak(current, current + 1,
                                                        std::memory_order_acquire)) {
                    fastRead_ = true;
                    break;
                }
            }
        } else {
            // A barrier on an idle queue (nothing running, queued, suspended
            // or reading) takes it without the mutex.
            uint64_t idle = 0;
            fastRead_ = s.fastReaders.compare_exchange_strong(idle, State::kWriter | State::kSlow,
                                                              std::memory_order_acquire,
                                                              std::memory_order_relaxed);
        }
    }
    // Everything else goes through the mutex, kept out of line so that the
    // uncontended paths above stay short.
    if (!fastRead_) [&]() __attribute__((noinline)) {
            // Made only when the caller has to wait.
            std::optional<detail::SyncWaiter> waiter;
            bool wait = false;
            int submit = 0;
            bool serialSubmit = false;
            {
                std::lock_guard lock(s.mutex);
                if (s.concurrent) {
                    const bool held = s.exclusiveLocked();
                    if (nestedRead_ ||
                        (!barrier && s.suspendCount == 0 && !held && s.pendingBarriers == 0)) {
                        ++s.running;
                        s.updateSlowLocked();
                    } else if (barrier && s.suspendCount == 0 && !held && s.pendingBarriers == 0 &&
                               s.running == 0 && s.items.empty()) {
                        s.barrierActive = true;
                        s.updateSlowLocked();  // no new lock-free readers from here on
                        if (s.fastReaderCount() > 0) {
                            // Readers still inside: wait in line; the last one
                            // to leave starts us.
                            s.barrierActive = false;
                            ++s.pendingBarriers;
                            s.items.push_back(Item{nullptr, &waiter.emplace(), true});
                            s.updateSlowLocked();
                            wait = true;
                        }
                    } else {
                        if (barrier) ++s.pendingBarriers;
                        s.items.push_back(Item{nullptr, &waiter.emplace(), barrier});
                        s.updateSlowLocked();
                        submit = DispatchQueueAccess::wantDrainersLocked(s);
                        wait = true;
                    }
                } else if (!s.scheduled && s.items.empty() && s.suspendCount == 0) {
                    s.scheduled = true;
                } else {
                    s.items.push_back(Item{nullptr, &waiter.emplace(), false});
                    if (!s.scheduled && s.suspendCount == 0) {
                        s.scheduled = true;
                        s.keepAlive = queue.shared_from_this();
                        serialSubmit = true;
                    }
                    wait = true;
                }
            }
            if (serialSubmit) DispatchQueueAccess::submitDrainer(queue);
            DispatchQueueAccess::submitDrainers(queue, submit);
            if (wait) waiter->wait();
        }
    ();

    // Blocks of this queue run inside its target: hold the target as well.
    if (s.target) parent_ = new SyncScope(*s.target, false);
    static_assert(sizeof(frame_) >= sizeof(detail::Frame));
    top = new (frame_) detail::Frame{&queue, exclusive, top};
}

DispatchQueue::SyncScope::~SyncScope() {
    detail::tFrameTop = std::launder(reinterpret_cast<detail::Frame*>(frame_))->previous;

    auto& s = *queue_.state_;
    if (fastRead_ && barrier_) {
        uint64_t held = State::kWriter | State::kSlow;
        if (!s.fastReaders.compare_exchange_strong(held, 0, std::memory_order_release,
                                                   std::memory_order_relaxed))
            [&]() __attribute__((noinline)) {
                // Work arrived while the barrier ran (it set kBusy under the
                // mutex and waits): hand the queue over.
                int submit = 0;
                {
                    std::lock_guard lock(s.mutex);
                    s.fastReaders.fetch_and(~State::kWriter, std::memory_order_acq_rel);
                    s.updateSlowLocked();
                    submit = DispatchQueueAccess::wantDrainersLocked(s);
                }
                DispatchQueueAccess::submitDrainers(queue_, submit);
            }
        ();
    } else if (fastRead_) {
        uint64_t before = s.fastReaders.fetch_sub(1, std::memory_order_acq_rel);
        if ((before & State::kSlow) && (before & ~State::kFlags) == 1)
            [&]() __attribute__((noinline)) {
                // Last lock-free reader out while a barrier waits: let it start.
                int submit = 0;
                {
                    std::lock_guard lock(s.mutex);
                    submit = DispatchQueueAccess::wantDrainersLocked(s);
                }
                DispatchQueueAccess::submitDrainers(queue_, submit);
            }
        ();
    } else
        [&]() __attribute__((noinline)) {
            int submit = 0;
            bool serialSubmit = false;
            std::shared_ptr<DispatchQueue> keepAlive;
            {
                std::lock_guard lock(s.mutex);
                if (s.concurrent) {
                    if (barrier_) {
                        s.barrierActive = false;
                    } else {
                        --s.running;
                    }
                    s.updateSlowLocked();
                    submit = DispatchQueueAccess::wantDrainersLocked(s);
                } else if (!s.items.empty() && s.suspendCount == 0) {
                    s.keepAlive = queue_.shared_from_this();
                    serialSubmit = true;  // stays scheduled: a drainer takes over
                } else {
                    s.scheduled = false;
                    keepAlive = std::move(s.keepAlive);
                }
            }
            if (serialSubmit) DispatchQueueAccess::submitDrainer(queue_);
            DispatchQueueAccess::submitDrainers(queue_, submit);
        }
    ();
    delete parent_;
}

}  // namespace ov
