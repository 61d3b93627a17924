// ov::AsioMainQueue: runs the main queue inside a Boost.Asio io_context.
//
// An application built around an io_context keeps calling io.run() on its
// main thread; this watches MainQueuePort's descriptor with a
// posix::stream_descriptor and the next main-queue timer with a steady_timer,
// and runs the main queue's work as a handler. Keep the object alive as long
// as the context should serve the main queue; run the context on the main
// thread. While it is alive the context never runs out of work, so stop it
// with io.stop() (or destroy the adapter first).
//
//   boost::asio::io_context io;
//   ov::AsioMainQueue mainQueue(io);
//   ov::DispatchQueue::main()->async([&] { ...; io.stop(); });
//   io.run();
//
// Header-only; link the OVUtility::Asio target (OVUtility plus Boost headers).
#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <memory>

#include "OVUtility/Platform/MainQueuePort.h"

namespace ov {

class AsioMainQueue {
  public:
    explicit AsioMainQueue(boost::asio::io_context& io) : state_(std::make_shared<State>(io)) {
        waitReadable(state_);
        armTimer(state_);
    }
    // Stops watching; handlers still queued in the context see `stopped`
    // and do nothing. The descriptor is released, never closed.
    ~AsioMainQueue() {
        state_->stopped = true;
        state_->descriptor.release();
        state_->timer.cancel();
    }
    AsioMainQueue(const AsioMainQueue&) = delete;
    AsioMainQueue& operator=(const AsioMainQueue&) = delete;

  private:
    // Shared with the pending handlers, so that they never outlive it.
    struct State {
        explicit State(boost::asio::io_context& io)
            : descriptor(io, MainQueuePort::fileDescriptor()), timer(io) {}
        boost::asio::posix::stream_descriptor descriptor;
        boost::asio::steady_timer timer;
        DispatchTime armedFor = DispatchTime::distantFuture();
        bool stopped = false;
    };

    static void perform(const std::shared_ptr<State>& state) {
        MainQueuePort::perform();
        armTimer(state);
    }
    static void waitReadable(const std::shared_ptr<State>& state) {
        state->descriptor.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                                     [state](const boost::system::error_code& error) {
                                         if (error || state->stopped) return;
                                         perform(state);
                                         waitReadable(state);
                                     });
    }
    // Re-arms the timer when the earliest main-queue deadline moved (timers
    // added elsewhere still wake the loop through the descriptor).
    static void armTimer(const std::shared_ptr<State>& state) {
        auto deadline = MainQueuePort::nextTimerDeadline();
        if (deadline == state->armedFor) return;
        state->armedFor = deadline;
        if (deadline.isDistantFuture()) {
            state->timer.cancel();
            return;
        }
        state->timer.expires_at(deadline.timePoint());
        state->timer.async_wait([state](const boost::system::error_code& error) {
            if (error || state->stopped) return;
            state->armedFor = DispatchTime::distantFuture();
            perform(state);
        });
    }

    std::shared_ptr<State> state_;
};

}  // namespace ov
