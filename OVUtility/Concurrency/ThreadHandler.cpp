#include "OVUtility/Concurrency/ThreadHandler.h"

#include <cmath>

#include "OVUtility/Platform/DispatchQueue.h"
#include "OVUtility/Platform/DispatchSemaphore.h"
#include "OVUtility/Platform/Fatal.h"
#include "OVUtility/Platform/MainRunLoop.h"

namespace ov {

void ThreadHandler::pauseBackgroundThread(double seconds) {
    if (MainRunLoop::isMainThread() || seconds <= 0) return;
    const double nanoseconds = seconds * 1e9;
    if (!std::isfinite(nanoseconds) || nanoseconds >= 9.223372036854775807e18) {
        fatal("ThreadHandler::pauseBackgroundThread: duration does not fit in nanoseconds");
    }
    auto semaphore = std::make_shared<DispatchSemaphore>(0);
    DispatchQueue::main()->asyncAfter(
        DispatchTime::now() + std::chrono::nanoseconds(static_cast<long long>(nanoseconds)),
        [semaphore] { semaphore->signal(); });
    semaphore->wait();
}

}  // namespace ov
