// Internal to the dispatch runtime: the state behind a DispatchQueue and the
// per-thread stack of queues being run. Not part of the public interface.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "OVUtility/Platform/DispatchQueue.h"

namespace ov::detail {

// A thread waiting in `sync` until the queue lets it run.
struct SyncWaiter {
    std::mutex mutex;
    std::condition_variable cv;
    bool granted = false;

    void grant() {
        std::lock_guard lock(mutex);
        granted = true;
        cv.notify_one();
    }
    void wait();
};

struct Item {
    DispatchBlock block;
    SyncWaiter* waiter = nullptr;  // set for a `sync` caller's place in line
    bool barrier = false;
};

// The queues the calling thread is running, innermost first.
struct Frame {
    DispatchQueue* queue;
    bool exclusive;  // holds the queue alone (serial queue or barrier)
    Frame* previous;
};

Frame*& currentFrame();

class FrameScope {
  public:
    FrameScope(DispatchQueue* queue, bool exclusive) : frame_{queue, exclusive, currentFrame()} {
        currentFrame() = &frame_;
    }
    ~FrameScope() { currentFrame() = frame_.previous; }
    FrameScope(const FrameScope&) = delete;
    FrameScope& operator=(const FrameScope&) = delete;

  private:
    Frame frame_;
};

}  // namespace ov::detail

namespace ov {

struct DispatchQueue::State {
    std::string label;
    QualityOfService qos = QualityOfService::unspecified;
    bool concurrent = false;
    bool main = false;
    std::shared_ptr<DispatchQueue> target;
    DispatchQueue* owner = nullptr;

    std::mutex mutex;
    std::deque<detail::Item> items;
    int suspendCount = 0;
    // Serial queues: a drainer is scheduled or running, or a `sync` caller
    // owns the queue.
    bool scheduled = false;
    // Concurrent queues.
    int running = 0;
    bool barrierActive = false;
    int pendingDrainers = 0;
    int activeDrainers = 0;
    int pendingBarriers = 0;  // barrier items (blocks or sync callers) waiting in `items`
    // Lock-free admission for `sync` on a concurrent queue, one word:
    // - the low bits count readers that entered without the mutex;
    // - kSlow: readers take the mutex path (a barrier waits or runs, or the
    //   queue is suspended);
    // - kWriter: a barrier `sync` holds the queue without the mutex;
    // - kBusy: the mutex side has work (blocks running or queued, barriers,
    //   suspension); mirrored by `busy`.
    // A barrier `sync` on an idle queue takes it with one compare-and-swap
    // from 0 to kWriter|kSlow and gives it back with one the other way; when
    // anything arrived meanwhile, the swap back fails and it hands the queue
    // over under the mutex. While kBusy is set no lock-free barrier can
    // start, so code under the mutex that has set it (enterLocked) sees a
    // stable kWriter. A barrier starts only when both `running` and the
    // reader count are zero; the last lock-free reader to leave while kSlow
    // is set re-examines the queue.
    static constexpr uint64_t kSlow = 1ull << 63;
    static constexpr uint64_t kWriter = 1ull << 62;
    static constexpr uint64_t kBusy = 1ull << 61;
    static constexpr uint64_t kFlags = kSlow | kWriter | kBusy;
    std::atomic<uint64_t> fastReaders{0};
    bool busy = false;

    uint64_t fastReaderCount() const { return fastReaders.load() & ~kFlags; }

    // Called with the mutex held before deciding whether a block may start:
    // sets kBusy and tells whether a lock-free barrier holds the queue.
    bool enterLocked() {
        if (!busy) {
            busy = true;
            return (fastReaders.fetch_or(kBusy, std::memory_order_acq_rel) & kWriter) != 0;
        }
        return (fastReaders.load(std::memory_order_acquire) & kWriter) != 0;
    }
    // Whether a barrier (queued through the mutex or lock-free) holds the
    // queue. Only after enterLocked().
    bool exclusiveLocked() { return barrierActive || enterLocked(); }

    // Called with the mutex held after any change to the conditions below.
    void updateSlowLocked() {
        const bool slow = suspendCount > 0 || barrierActive || pendingBarriers > 0;
        const bool work = slow || running > 0 || !items.empty();
        uint64_t current = fastReaders.load(std::memory_order_relaxed);
        for (;;) {
            uint64_t wanted = current & ~(kSlow | kBusy);
            // A lock-free barrier keeps readers out until it leaves.
            if (slow || (current & kWriter)) wanted |= kSlow;
            if (work) wanted |= kBusy;
            if (wanted == current) break;
            if (fastReaders.compare_exchange_weak(current, wanted, std::memory_order_acq_rel,
                                                  std::memory_order_relaxed))
                break;
        }
        busy = work;
    }
    // Keeps the queue alive while it has work scheduled, as a queue is
    // retained by its pending blocks.
    std::shared_ptr<DispatchQueue> keepAlive;

    // Main queue only: wakes MainRunLoop.
    std::condition_variable mainWake;

    mutable std::mutex specificsMutex;
    std::unordered_map<const void*, std::shared_ptr<void>> specifics;
};

}  // namespace ov
