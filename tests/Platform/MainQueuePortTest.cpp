// MainQueuePort driven by a bare poll(2) loop, as an application's own loop
// would drive it.
#include <poll.h>

#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "OVUtility/Platform/DispatchQueue.h"
#include "OVUtility/Platform/MainQueuePort.h"
#include "support/Interleaving.h"

using ov::DispatchQueue;
using ov::DispatchTime;
using ov::MainQueuePort;

namespace {

bool readable(int timeoutMs = 0) {
    pollfd p{MainQueuePort::fileDescriptor(), POLLIN, 0};
    return ::poll(&p, 1, timeoutMs) == 1 && (p.revents & POLLIN);
}

}  // namespace

TEST(MainQueuePort, DescriptorTracksReadyWorkAcrossSuspendAndThreads) {
    auto main = DispatchQueue::main();
    // Work submitted before the descriptor exists still shows.
    int ran = 0;
    main->async([&] { ++ran; });
    EXPECT_TRUE(readable());
    EXPECT_EQ(MainQueuePort::perform(), 1u);
    EXPECT_FALSE(readable());

    // A suspended main queue is not ready; resuming makes it ready.
    main->suspend();
    main->async([&] { ++ran; });
    EXPECT_FALSE(readable());
    EXPECT_EQ(MainQueuePort::perform(), 0u);
    main->resume();
    EXPECT_TRUE(readable());

    // A block that submits another leaves the descriptor armed for the next
    // turn instead of running it in this one.
    main->async([&] { main->async([&] { ++ran; }); });
    EXPECT_EQ(MainQueuePort::perform(), 2u);
    EXPECT_TRUE(readable());
    EXPECT_EQ(MainQueuePort::perform(), 1u);
    EXPECT_EQ(ran, 3);

    // Another thread's submission wakes a poll that would otherwise sleep.
    std::thread poster([&] { main->async([&] { ++ran; }); });
    EXPECT_TRUE(readable(20000));
    poster.join();
    MainQueuePort::perform();
    EXPECT_EQ(ran, 4);

    // A submission that lands while perform() clears the descriptor is run
    // in that turn, and the next one still wakes the loop (it used to find
    // the flag left up with the descriptor drained, and the loop slept).
    if (ov::interleaving::available()) {
        main->async([&] { ++ran; });
        ovtest::PointHold hold("MainQueuePort.perform.drained");
        std::thread racer([&] {
            EXPECT_TRUE(hold.waitReached());
            main->async([&] { ++ran; });
            hold.release();
        });
        EXPECT_EQ(MainQueuePort::perform(), 2u);
        racer.join();
        std::thread([&] { main->async([&] { ++ran; }); }).join();
        EXPECT_TRUE(readable(2000));
        MainQueuePort::perform();
        EXPECT_EQ(ran, 7);
    }
}

TEST(MainQueuePort, TimeoutFollowsTheEarliestMainQueueTimerAndPerformFiresIt) {
    auto main = DispatchQueue::main();
    EXPECT_EQ(MainQueuePort::timeoutMilliseconds(), -1);
    // Timers of other queues are not the main loop's business.
    DispatchQueue::make("test.port.other")->asyncAfter(0.05, [] {});
    EXPECT_TRUE(MainQueuePort::nextTimerDeadline().isDistantFuture());

    auto start = DispatchTime::now();
    std::vector<int> order;
    main->asyncAfter(start + 0.2, [&] { order.push_back(2); });
    main->asyncAfter(start + 0.1, [&] { order.push_back(1); });
    EXPECT_EQ(MainQueuePort::nextTimerDeadline(), start + 0.1);
    int timeout = MainQueuePort::timeoutMilliseconds();
    EXPECT_GT(timeout, 0);
    EXPECT_LE(timeout, 100);
    // Sleeping for the timeout and performing runs the timer, whether the
    // timer thread got to it first or perform() did.
    for (int turns = 0; order.size() < 2 && turns < 1000; ++turns) {
        pollfd p{MainQueuePort::fileDescriptor(), POLLIN, 0};
        ::poll(&p, 1, MainQueuePort::timeoutMilliseconds());
        MainQueuePort::perform();
    }
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
    EXPECT_GE(DispatchTime::now(), start + 0.2);
    EXPECT_EQ(MainQueuePort::timeoutMilliseconds(), -1);
}
