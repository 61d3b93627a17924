// ov::DispatchQueue: serial and concurrent dispatch queues on one elastic
// worker pool, with barriers, target queues, queue-specific values, the main
// queue and global queues per quality of service.
//
//   auto q = ov::DispatchQueue::make("com.example.io");              // serial
//   q->async([] { work(); });                                       // never blocks
//   int v = q->sync([] { return 42; });                              // runs on this thread
//   auto rw = ov::DispatchQueue::make("rw", ov::DispatchQueue::Attributes::concurrent);
//   rw->async([] { read(); });
//   rw->asyncBarrier([] { write(); });                               // exclusive
//   q->asyncAfter(ov::DispatchTime::now() + 0.5, [] { later(); });
//
// Contract:
// - A serial queue runs one block at a time, in submission (FIFO) order.
// - A concurrent queue runs blocks at once; a barrier block waits for every
//   earlier block and holds back every later one until it has finished.
// - `sync` runs the block on the calling thread as soon as the queue lets it,
//   returns its value and lets its exception pass. `sync` onto a serial queue
//   (or through a serial target) that the calling thread is already running
//   is a programming error and ends the process with a clear message.
// - An exception escaping an `async` block ends the process (there is nobody
//   to hand it to), as an uncaught exception on a thread would.
// - A queue with a target queue runs its blocks through the target: a serial
//   queue targeting a serial queue shares that queue's exclusion.
// - `getSpecific(key)` on the current queue looks at the running queue, then
//   its target chain.
// - The main queue runs only on the main thread (the thread whose id is the
//   process id) and only while it is pumped through `MainRunLoop`. Code on
//   the main thread counts as running on the main queue.
// - Blocks may block: the worker pool adds threads when work waits and all
//   workers are busy or blocked (see WorkerPool.h).
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/DispatchTime.h"
#include "OVUtility/Platform/QualityOfService.h"

namespace ov {

// A block of work. Move-only callables are accepted by `async`.
using DispatchBlock = std::function<void()>;

// Key for queue-specific values. Identity is the key object's address, so
// keys are usually statics or members that outlive the values stored.
class DispatchSpecificKeyBase {
  public:
    DispatchSpecificKeyBase() = default;
    DispatchSpecificKeyBase(const DispatchSpecificKeyBase&) = delete;
    DispatchSpecificKeyBase& operator=(const DispatchSpecificKeyBase&) = delete;
};

template <typename T>
class DispatchSpecificKey : public DispatchSpecificKeyBase {};

class OV_API DispatchQueue : public std::enable_shared_from_this<DispatchQueue> {
  public:
    enum class Attributes { serial, concurrent };

    // Creates a queue. With a target, blocks run through the target queue;
    // without one, they run on the worker pool at the queue's quality of service.
    static std::shared_ptr<DispatchQueue> make(std::string label,
                                               Attributes attributes = Attributes::serial,
                                               QualityOfService qos = QualityOfService::unspecified,
                                               std::shared_ptr<DispatchQueue> target = nullptr);

    // The main queue (serial, label "com.orvanta.main-thread"), pumped by
    // MainRunLoop on the main thread. `sync` onto it from another thread runs
    // the block on the main thread and waits; from the main thread it is a
    // deadlock and ends the process.
    static std::shared_ptr<DispatchQueue> main();
    // The shared concurrent queue of a quality of service (unspecified and
    // default give the default queue).
    static std::shared_ptr<DispatchQueue> global(
        QualityOfService qos = QualityOfService::defaultQoS);
    // The queue whose block the calling thread is running (the innermost one
    // when blocks nest through `sync`), the main queue on the main thread when
    // nothing else runs, or null.
    static std::shared_ptr<DispatchQueue> current();

    virtual ~DispatchQueue();
    DispatchQueue(const DispatchQueue&) = delete;
    DispatchQueue& operator=(const DispatchQueue&) = delete;

    const std::string& label() const;
    QualityOfService qualityOfService() const;
    bool isConcurrent() const;
    bool isMain() const;
    std::shared_ptr<DispatchQueue> target() const;

    void async(DispatchBlock block);
    void asyncBarrier(DispatchBlock block);  // same as async on a serial queue
    void asyncAfter(DispatchTime deadline, DispatchBlock block);
    void asyncAfter(double seconds, DispatchBlock block) {
        asyncAfter(DispatchTime::now() + seconds, std::move(block));
    }

    template <typename F>
    auto sync(F&& f) -> std::invoke_result_t<F&> {
        return syncImpl(std::forward<F>(f), /*barrier=*/false);
    }
    template <typename F>
    auto syncBarrier(F&& f) -> std::invoke_result_t<F&> {
        return syncImpl(std::forward<F>(f), /*barrier=*/true);
    }

    // Suspension is counted: a queue runs blocks again after as many resumes
    // as suspends. Suspending holds back blocks not yet started.
    void suspend();
    void resume();

    // Queue-specific values. Setting an empty pointer removes the value.
    template <typename T>
    void setSpecific(const DispatchSpecificKey<T>& key, std::shared_ptr<T> value) {
        setSpecificRaw(&key, std::static_pointer_cast<void>(std::move(value)));
    }
    template <typename T>
    std::shared_ptr<T> getSpecific(const DispatchSpecificKey<T>& key) const {
        return std::static_pointer_cast<T>(getSpecificRaw(&key));
    }
    // The value for `key` seen by the calling code: looked up on the running
    // queue, then along its target chain.
    template <typename T>
    static std::shared_ptr<T> getSpecificCurrent(const DispatchSpecificKey<T>& key) {
        return std::static_pointer_cast<T>(getSpecificCurrentRaw(&key));
    }

    // True when the calling thread is running a block of this queue, directly
    // or through a queue that targets it.
    bool isCurrent() const;

    // Implementation detail, opaque to users.
    struct State;

  private:
    explicit DispatchQueue(std::unique_ptr<State> state);

    template <typename F>
    auto syncImpl(F&& f, bool barrier) -> std::invoke_result_t<F&> {
        using R = std::invoke_result_t<F&>;
        if (needsMainThreadHop()) {
            // The main queue's blocks run on the main thread only: hand the
            // block over and wait for it.
            if constexpr (std::is_void_v<R>) {
                runOnMainAndWait([&] { f(); });
                return;
            } else if constexpr (std::is_reference_v<R>) {
                std::remove_reference_t<R>* result = nullptr;
                runOnMainAndWait([&] { result = &f(); });
                return static_cast<R>(*result);
            } else {
                std::optional<R> result;
                runOnMainAndWait([&] { result.emplace(f()); });
                return std::move(*result);
            }
        }
        SyncScope scope(*this, barrier);
        if constexpr (std::is_void_v<R>) {
            f();
        } else {
            return f();
        }
    }

    // Acquires the queue for the calling thread in its constructor (waiting
    // for earlier blocks as the queue's kind requires) and releases it in its
    // destructor, also when the block throws.
    class SyncScope {
      public:
        SyncScope(DispatchQueue& queue, bool barrier);
        ~SyncScope();
        SyncScope(const SyncScope&) = delete;
        SyncScope& operator=(const SyncScope&) = delete;

      private:
        DispatchQueue& queue_;
        bool barrier_;
        bool nestedRead_ = false;
        bool fastRead_ = false;  // entered lock-free (a reader, or a barrier on an idle queue)
        SyncScope* parent_ = nullptr;  // the target queue, held while this one is
        void* frame_[3];               // storage for this thread's frame record
    };

    bool needsMainThreadHop() const;
    void runOnMainAndWait(const std::function<void()>& block);
    void setSpecificRaw(const void* key, std::shared_ptr<void> value);
    std::shared_ptr<void> getSpecificRaw(const void* key) const;
    static std::shared_ptr<void> getSpecificCurrentRaw(const void* key);

    friend struct MainRunLoopAccess;
    friend struct DispatchQueueAccess;
    std::unique_ptr<State> state_;
};

}  // namespace ov
