// The main queue inside a real Boost.Asio io_context run on the main thread.
#include <gtest/gtest.h>

#include <boost/asio/post.hpp>

#include "OVUtility/Adapters/AsioMainQueue.h"
#include "support/HostLoopScenarios.h"

namespace {

class AsioHost : public ovtest::HostLoop {
  public:
    bool run(double seconds) override {
        bool timedOut = false;
        boost::asio::steady_timer guard(io_, std::chrono::duration_cast<std::chrono::nanoseconds>(
                                                 std::chrono::duration<double>(seconds)));
        guard.async_wait([&](const boost::system::error_code& error) {
            if (error) return;
            timedOut = true;
            io_.stop();
        });
        io_.restart();
        io_.run();
        return !timedOut;
    }
    void quit() override { io_.stop(); }
    void hostCall(double seconds, std::function<void()> work) override {
        auto timer = std::make_shared<boost::asio::steady_timer>(
            io_, std::chrono::duration_cast<std::chrono::nanoseconds>(
                     std::chrono::duration<double>(seconds)));
        timer->async_wait([timer, work = std::move(work)](const boost::system::error_code& error) {
            if (!error) work();
        });
    }

    boost::asio::io_context io_;
    ov::AsioMainQueue mainQueue_{io_};
};

}  // namespace

TEST(AsioMainQueue, RunsBlocksFromOtherThreadsInOrderAndAnswersSync) {
    AsioHost host;
    ovtest::expectCrossThreadOrder(host);
}

TEST(AsioMainQueue, FiresMainQueueTimersInDeadlineOrder) {
    AsioHost host;
    ovtest::expectTimersInDeadlineOrder(host);
}

TEST(AsioMainQueue, SharesTheLoopFairlyWithOtherHandlers) {
    AsioHost host;
    ovtest::expectFairnessWithHostSources(host);
}

TEST(AsioMainQueue, DestroyedAdapterLeavesTheDescriptorOpenAndHandlersHarmless) {
    boost::asio::io_context io;
    { ov::AsioMainQueue first(io); }
    // The first adapter's cancelled handlers run now and must do nothing; a
    // second adapter on the same descriptor still works.
    ov::AsioMainQueue second(io);
    bool ran = false;
    ov::DispatchQueue::main()->async([&] {
        ran = true;
        io.stop();
    });
    boost::asio::steady_timer guard(io, std::chrono::seconds(20));
    guard.async_wait([&](const boost::system::error_code& error) {
        if (!error) io.stop();
    });
    io.run();
    EXPECT_TRUE(ran);
}
