#include "OVUtility/Platform/WorkerPool.h"

#include <chrono>
#include <thread>

namespace ov {

namespace {
thread_local bool tlsIsWorker = false;
// How long an idle worker keeps polling for new jobs before it sleeps.
constexpr auto kSpinTime = std::chrono::microseconds(50);
constexpr auto kMonitorPeriod = std::chrono::milliseconds(50);
}  // namespace

WorkerPool& WorkerPool::shared() {
    // Never destroyed: detached workers may still run while the process exits.
    static WorkerPool* pool = new WorkerPool();
    return *pool;
}

WorkerPool::WorkerPool() : cores_(std::max(2u, std::thread::hardware_concurrency())) {
    std::thread([this] { monitorLoop(); }).detach();
}

int WorkerPool::levelOf(QualityOfService qos) {
    switch (qos) {
        case QualityOfService::userInteractive:
            return 5;
        case QualityOfService::userInitiated:
            return 4;
        case QualityOfService::defaultQoS:
        case QualityOfService::unspecified:
            return 3;
        case QualityOfService::utility:
            return 2;
        case QualityOfService::background:
            return 1;
    }
    return 3;
}

bool WorkerPool::isWorkerThread() {
    return tlsIsWorker;
}

void WorkerPool::push(Job job, QualityOfService qos) {
    std::lock_guard lock(mutex_);
    ready_[levelOf(qos)].push_back(job);
    pending_.fetch_add(1, std::memory_order_release);
    if (spinning_ == 0) wakeOrSpawnLocked();
}

// Wakes a sleeping worker, or starts a new one when every worker is busy and
// fewer runnable workers than cores exist.
void WorkerPool::wakeOrSpawnLocked() {
    if (idle_ > 0) {
        workAvailable_.notify_one();
    } else if (threads_ - blocked_ < cores_ && threads_ < kMaxThreads) {
        spawnLocked();
    }
}

void WorkerPool::spawnLocked() {
    ++threads_;
    std::thread([this] { workerLoop(); }).detach();
}

bool WorkerPool::popLocked(Job& job) {
    for (int level = kLevels - 1; level >= 0; --level) {
        auto& q = ready_[level];
        if (!q.empty()) {
            job = q.front();
            q.pop_front();
            pending_.fetch_sub(1, std::memory_order_relaxed);
            return true;
        }
    }
    return false;
}

void WorkerPool::workerLoop() {
    tlsIsWorker = true;
    std::unique_lock lock(mutex_);
    for (;;) {
        Job job;
        if (!popLocked(job)) {
            // Poll for a short while before sleeping: producers that keep
            // submitting then never pay for a futex wake-up.
            ++spinning_;
            lock.unlock();
            auto until = std::chrono::steady_clock::now() + kSpinTime;
            while (pending_.load(std::memory_order_acquire) == 0 &&
                   std::chrono::steady_clock::now() < until) {
                std::this_thread::yield();
            }
            lock.lock();
            --spinning_;
            if (!popLocked(job)) {
                ++idle_;
                bool woke = workAvailable_.wait_for(
                    lock, std::chrono::seconds(kIdleRetireSeconds),
                    [&] { return pending_.load(std::memory_order_relaxed) > 0; });
                --idle_;
                if (!woke) {
                    --threads_;
                    return;
                }
                continue;
            }
        }
        // More work waiting: let another worker take it.
        if (pending_.load(std::memory_order_relaxed) > 0) wakeOrSpawnLocked();
        lock.unlock();
        job.function(job.argument);
        lock.lock();
        ++completed_;
    }
}

void WorkerPool::monitorLoop() {
    size_t lastCompleted = 0;
    std::unique_lock lock(mutex_);
    for (;;) {
        lock.unlock();
        std::this_thread::sleep_for(kMonitorPeriod);
        lock.lock();
        if (pending_.load(std::memory_order_relaxed) > 0 && completed_ == lastCompleted &&
            idle_ == 0 && spinning_ == 0 && threads_ < kMaxThreads) {
            // Jobs wait and nothing finished for a whole period: the workers
            // are stuck in code that blocks without telling us.
            spawnLocked();
        }
        lastCompleted = completed_;
    }
}

WorkerPool::BlockingScope::BlockingScope() : active_(tlsIsWorker) {
    if (!active_) return;
    auto& pool = shared();
    std::lock_guard lock(pool.mutex_);
    ++pool.blocked_;
    if (pool.pending_.load(std::memory_order_relaxed) > 0 && pool.idle_ == 0 &&
        pool.spinning_ == 0) {
        pool.wakeOrSpawnLocked();
    }
}

WorkerPool::BlockingScope::~BlockingScope() {
    if (!active_) return;
    auto& pool = shared();
    std::lock_guard lock(pool.mutex_);
    --pool.blocked_;
}

WorkerPool::Stats WorkerPool::stats() {
    std::lock_guard lock(mutex_);
    return Stats{threads_, idle_, blocked_, pending_.load(std::memory_order_relaxed)};
}

}  // namespace ov
