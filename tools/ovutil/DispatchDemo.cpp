// Demo section: dispatch queues, a barrier between readers, a repeating timer,
// and main-queue delivery.
#include <atomic>
#include <string>

#include "OVUtility/Concurrency/DispatchTimerFactory.h"
#include "OVUtility/Platform/DispatchGroup.h"
#include "OVUtility/Platform/DispatchQueue.h"
#include "OVUtility/Platform/MainRunLoop.h"
#include "OVUtility/Platform/WorkerPool.h"
#include "Verb.h"

namespace ovutil {
namespace {

void runDispatchDemo() {
    using ov::DispatchQueue;

    auto serial = DispatchQueue::make("demo.serial");
    ov::DispatchGroup group;
    for (int i = 1; i <= 3; ++i) {
        group.async(serial, [i] {
            demoLine("serial queue \"demo.serial\" runs block " + std::to_string(i) + " (FIFO)");
        });
    }
    group.wait();

    auto rw = DispatchQueue::make("demo.readers-writer", DispatchQueue::Attributes::concurrent);
    std::atomic<int> readers{0};
    long shared = 0;
    for (int i = 1; i <= 3; ++i) {
        group.async(rw, [&, i] {
            readers.fetch_add(1);
            demoLine("reader " + std::to_string(i) + " sees value " + std::to_string(shared));
            readers.fetch_sub(1);
        });
    }
    rw->asyncBarrier([&] {
        shared = 42;
        demoLine("barrier writes 42 with " + std::to_string(readers.load()) + " readers inside");
    });
    group.async(rw,
                [&] { demoLine("reader after the barrier sees value " + std::to_string(shared)); });
    group.wait();

    int answer = serial->sync([] { return 6 * 7; });
    demoLine("sync onto \"demo.serial\" ran on the calling thread and returned " +
             std::to_string(answer));

    ov::DispatchTimerFactory factory;
    std::atomic<int> ticks{0};
    std::shared_ptr<ov::BlockTimer> timer = factory.scheduleMainQueueTimer(0.05, 0, [&] {
        int n = ticks.fetch_add(1) + 1;
        demoLine("main-queue timer fired (" + std::to_string(n) +
                 "), on main thread: " + (ov::MainRunLoop::isMainThread() ? "yes" : "no"));
        if (n == 3) {
            timer->invalidate();
            demoLine("timer invalidated from its own handler");
        }
    });
    ov::MainRunLoop::runUntil([&] { return ticks.load() >= 3; }, ov::DispatchTime::now() + 5.0);
    ov::MainRunLoop::runUntil(ov::DispatchTime::now() + 0.12);
    demoLine("no further ticks after invalidate: " + std::to_string(ticks.load()) + " in total");

    auto stats = ov::WorkerPool::shared().stats();
    demoLine("worker pool: " + std::to_string(stats.threads) + " threads, " +
             std::to_string(stats.idle) + " idle");
}

DemoSectionRegistration section{10, "Dispatch queues, barriers and timers", &runDispatchDemo};

}  // namespace
}  // namespace ovutil
