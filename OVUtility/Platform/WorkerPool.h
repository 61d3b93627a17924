// ov::WorkerPool: the one elastic pool of worker threads under every dispatch
// queue. Queues hand it small jobs (a function pointer and an argument); the
// pool runs them on its threads, highest quality of service first.
//
// Elasticity:
// - A thread is started when a job waits and fewer than one runnable worker
//   per core is busy (up to `kMaxThreads`).
// - Code about to block (semaphores, `sync`, group and queue waits) wraps the
//   wait in a `WorkerPool::BlockingScope`; a blocked worker does not count as
//   busy, so waiting work gets a new thread at once.
// - A monitor thread (every 50 ms) adds a thread when jobs wait and no job
//   finished since its last look, which covers blocking the pool cannot see
//   (user code on a mutex or doing I/O).
// - A worker spins briefly before sleeping when it runs out of jobs, so a
//   producer that keeps submitting rarely pays for a wake-up; threads idle
//   for `kIdleRetireSeconds` exit.
//
// Users normally never touch the pool directly; DispatchQueue uses it.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/QualityOfService.h"

namespace ov {

class OV_API WorkerPool {
  public:
    struct Job {
        void (*function)(void*) = nullptr;
        void* argument = nullptr;
    };

    struct Stats {
        size_t threads = 0;
        size_t idle = 0;
        size_t blocked = 0;
        size_t pending = 0;
    };

    static constexpr size_t kMaxThreads = 512;
    static constexpr int kIdleRetireSeconds = 5;

    static WorkerPool& shared();

    void push(Job job, QualityOfService qos);

    // True on a thread owned by the pool.
    static bool isWorkerThread();

    // Marks the calling worker thread as blocked for its lifetime (no effect
    // on threads outside the pool).
    class BlockingScope {
      public:
        BlockingScope();
        ~BlockingScope();
        BlockingScope(const BlockingScope&) = delete;
        BlockingScope& operator=(const BlockingScope&) = delete;

      private:
        bool active_;
    };

    Stats stats();

    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

  private:
    static constexpr int kLevels = 6;
    WorkerPool();
    void workerLoop();
    void monitorLoop();
    bool popLocked(Job& job);
    void spawnLocked();
    void wakeOrSpawnLocked();
    static int levelOf(QualityOfService qos);

    std::mutex mutex_;
    std::condition_variable workAvailable_;
    std::deque<Job> ready_[kLevels];
    std::atomic<size_t> pending_{0};
    size_t threads_ = 0;
    size_t idle_ = 0;
    size_t blocked_ = 0;
    size_t spinning_ = 0;
    size_t completed_ = 0;
    size_t cores_;
};

}  // namespace ov
