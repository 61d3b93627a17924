#include "OVUtility/Concurrency/DispatchTimerFactory.h"

#include <cmath>

#include "OVUtility/Platform/Fatal.h"

namespace ov {

std::shared_ptr<BlockTimer> DispatchTimerFactory::makeTimer(double interval,
                                                            std::shared_ptr<DispatchQueue> queue,
                                                            long long leeway,
                                                            std::function<void()> event) {
    auto source = DispatchSource::makeTimer(std::move(queue));
    const double milliseconds = interval * 1000.0;
    constexpr double kTwoTo63 = 9.223372036854776e18;
    if (milliseconds < kTwoTo63) {
        if (!std::isfinite(milliseconds) || !(milliseconds > -kTwoTo63)) {
            fatal(
                "DispatchTimerFactory::makeTimer: interval is not a finite number of milliseconds");
        }
        const auto whole = static_cast<long long>(milliseconds);  // truncates toward zero
        const double seconds = static_cast<double>(whole) / 1000.0;
        source->schedule(DispatchTime::now() + std::chrono::milliseconds(whole), seconds, leeway);
    } else {
        source->schedule(DispatchTime::distantFuture(), 0, leeway);
    }
    source->setEventHandler(std::move(event));
    source->resume();
    return std::make_shared<DispatchSourceTimer>(std::move(source));
}

}  // namespace ov
