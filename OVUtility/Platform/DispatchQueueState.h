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
    // Lock-free reader admission for `sync` on a concurrent queue: the low
    // bits count readers that entered without the mutex; kSlow is set while a
    // barrier is waiting or running or the queue is suspended, and then
    // readers take the mutex path. A barrier starts only when both `running`
    // and this count are zero; the last lock-free reader to leave while kSlow
    // is set re-examines the queue.
    static constexpr uint64_t kSlow = 1ull << 63;
    std::atomic<uint64_t> fastReaders{0};

    uint64_t fastReaderCount() const { return fastReaders.load() & ~kSlow; }
    // Called with the mutex held after any change to the conditions below.
    void updateSlowLocked() {
        if (suspendCount > 0 || barrierActive || pendingBarriers > 0) {
            fastReaders.fetch_or(kSlow);
        } else {
            fastReaders.fetch_and(~kSlow);
        }
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
