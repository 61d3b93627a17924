#include "OVUtility/Concurrency/DispatchTimer.h"

namespace ov {

DispatchTimer::DispatchTimer(double timeInterval, std::shared_ptr<DispatchQueue> queue,
                             long long leeway, std::function<void()> onEventHandler)
    : timeInterval_(timeInterval), timer_(DispatchSource::makeTimer(std::move(queue))) {
    timer_->schedule(DispatchTime::now() + timeInterval, timeInterval, leeway);
    timer_->setEventHandler(std::move(onEventHandler));
    // The source stays suspended, as every new source is, until start().
}

DispatchTimer::~DispatchTimer() {
    // This order keeps a source from being released while suspended: clear
    // the handler, cancel, and resume once if it was never left running.
    timer_->setEventHandler(nullptr);
    timer_->cancel();
    if (state_ != TimerState::running) timer_->resume();
}

void DispatchTimer::start() {
    if (state_ != TimerState::suspended) return;
    state_ = TimerState::running;
    timer_->resume();
}

void DispatchTimer::suspend() {
    if (state_ != TimerState::running) return;
    state_ = TimerState::suspended;
    timer_->suspend();
}

}  // namespace ov
