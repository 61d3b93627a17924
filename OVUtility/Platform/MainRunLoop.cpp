#include "OVUtility/Platform/MainRunLoop.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>

#include "OVUtility/Platform/DispatchQueue.h"
#include "OVUtility/Platform/DispatchQueueState.h"
#include "OVUtility/Platform/Fatal.h"
#include "OVUtility/Platform/MainRunLoopAccess.h"

namespace ov {

namespace {

std::atomic<bool> stopRequested{false};
// Upper bound on one wait of the loop, so that predicates that change
// without a main-queue block (another thread setting a flag) are seen soon.
constexpr auto kPredicatePoll = std::chrono::milliseconds(2);

void requireMainThread(const char* function) {
    if (!MainRunLoop::isMainThread()) {
        fatal(std::string("MainRunLoop::") + function + " called off the main thread");
    }
}

}  // namespace

bool MainRunLoopAccess::runOne() {
    auto queue = DispatchQueue::main();
    auto& s = *queue->state_;
    detail::Item item;
    {
        std::lock_guard lock(s.mutex);
        if (s.suspendCount > 0 || s.items.empty()) return false;
        item = std::move(s.items.front());
        s.items.pop_front();
    }
    detail::FrameScope frame(queue.get(), true);
    try {
        item.block();
    } catch (const std::exception& e) {
        fatal(std::string("uncaught exception in a block on the main queue: ") + e.what());
    } catch (...) {
        fatal("uncaught exception in a block on the main queue");
    }
    return true;
}

void MainRunLoopAccess::waitForWork(DispatchTime until, bool honourStop) {
    auto queue = DispatchQueue::main();
    auto& s = *queue->state_;
    std::unique_lock lock(s.mutex);
    auto ready = [&] {
        return (s.suspendCount == 0 && !s.items.empty()) ||
               (honourStop && stopRequested.load(std::memory_order_relaxed));
    };
    if (until.isDistantFuture()) {
        s.mainWake.wait(lock, ready);
    } else {
        s.mainWake.wait_until(lock, until.timePoint(), ready);
    }
}

size_t MainRunLoopAccess::readyCount() {
    auto queue = DispatchQueue::main();
    auto& s = *queue->state_;
    std::lock_guard lock(s.mutex);
    return s.suspendCount > 0 ? 0 : s.items.size();
}

void MainRunLoopAccess::wake() {
    auto queue = DispatchQueue::main();
    auto& s = *queue->state_;
    std::lock_guard lock(s.mutex);
    s.mainWake.notify_all();
}

bool MainRunLoop::isMainThread() {
    thread_local const bool isMain = static_cast<pid_t>(::syscall(SYS_gettid)) == ::getpid();
    return isMain;
}

void MainRunLoop::run() {
    requireMainThread("run");
    stopRequested.store(false);
    while (!stopRequested.load()) {
        if (!MainRunLoopAccess::runOne())
            MainRunLoopAccess::waitForWork(DispatchTime::distantFuture(), true);
    }
    stopRequested.store(false);
}

void MainRunLoop::stop() {
    stopRequested.store(true);
    MainRunLoopAccess::wake();
}

void MainRunLoop::runUntil(DispatchTime deadline) {
    requireMainThread("runUntil");
    while (DispatchTime::now() < deadline) {
        if (!MainRunLoopAccess::runOne()) MainRunLoopAccess::waitForWork(deadline);
    }
}

bool MainRunLoop::runUntil(const std::function<bool()>& predicate, DispatchTime deadline) {
    requireMainThread("runUntil");
    for (;;) {
        if (predicate()) return true;
        if (DispatchTime::now() >= deadline) return predicate();
        if (!MainRunLoopAccess::runOne()) {
            auto poll = DispatchTime::now() + kPredicatePoll;
            MainRunLoopAccess::waitForWork(poll < deadline ? poll : deadline);
        }
    }
}

size_t MainRunLoop::drain() {
    requireMainThread("drain");
    // Only the blocks that are ready now: blocks they submit wait for the
    // next turn, so a block that re-submits itself cannot keep drain() going.
    size_t ready = MainRunLoopAccess::readyCount();
    size_t ran = 0;
    while (ran < ready && MainRunLoopAccess::runOne()) ++ran;
    return ran;
}

}  // namespace ov
