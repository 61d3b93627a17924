#include "OVUtility/Platform/MainQueuePort.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <mutex>
#include <string>

#include "OVUtility/Platform/Fatal.h"
#include "OVUtility/Platform/InterleavingPoint.h"
#include "OVUtility/Platform/MainRunLoop.h"
#include "OVUtility/Platform/MainRunLoopAccess.h"
#include "OVUtility/Platform/TimerScheduler.h"

namespace ov {

namespace {

// The descriptor exists only once someone asked for it, so that applications
// pumping with MainRunLoop pay no system call per block.
std::atomic<int> portFd{-1};
// True while the descriptor holds an unread count: one write per turn of the
// host loop however many blocks arrive in between.
std::atomic<bool> portSignaled{false};

void signal(int fd) {
    if (portSignaled.exchange(true)) return;
    // Non-blocking; the counter cannot overflow with one write per clear.
    while (::eventfd_write(fd, 1) != 0 && errno == EINTR) {
    }
}

}  // namespace

void detail::signalMainQueuePort() {
    int fd = portFd.load();
    if (fd >= 0) signal(fd);
}

int MainQueuePort::fileDescriptor() {
    static std::once_flag once;
    std::call_once(once, [] {
        int fd = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
        if (fd < 0) fatal(std::string("MainQueuePort: eventfd failed: ") + std::strerror(errno));
        portFd.store(fd);
        // Blocks submitted before the descriptor existed did not signal it.
        if (MainRunLoopAccess::readyCount() > 0) signal(fd);
    });
    return portFd.load();
}

size_t MainQueuePort::perform() {
    if (!MainRunLoop::isMainThread()) fatal("MainQueuePort::perform called off the main thread");
    // Due timers submit their blocks first, so that they run in this turn.
    TimerScheduler::shared().fireDueMain();
    // Then clear, before counting: drain the descriptor first and lower the
    // flag after, so that a signal skipped because the flag was still up
    // belongs to a block submitted before the count below, and any later
    // submission writes the descriptor again. (Lowering the flag first let a
    // write that landed between the two be drained with the flag left up:
    // every later signal was then skipped and the host loop slept on work.)
    if (int fd = portFd.load(); fd >= 0) {
        eventfd_t value;
        while (::eventfd_read(fd, &value) != 0 && errno == EINTR) {
        }
        OV_INTERLEAVING_POINT("MainQueuePort.perform.drained");
        portSignaled.store(false);
    }
    // Only the blocks ready now, as MainRunLoop::drain: a block that
    // re-submits itself cannot starve the host loop's other sources.
    size_t ready = MainRunLoopAccess::readyCount();
    size_t ran = 0;
    for (size_t i = 0; i < ready && MainRunLoopAccess::runOne(); ++i) ++ran;
    return ran;
}

DispatchTime MainQueuePort::nextTimerDeadline() {
    return TimerScheduler::shared().nextMainDeadline();
}

int MainQueuePort::timeoutMilliseconds() {
    auto deadline = nextTimerDeadline();
    if (deadline.isDistantFuture()) return -1;
    auto left = deadline.timePoint() - DispatchTime::now().timePoint();
    if (left <= left.zero()) return 0;
    auto ms = std::chrono::ceil<std::chrono::milliseconds>(left).count();
    return ms > INT_MAX ? INT_MAX : static_cast<int>(ms);
}

}  // namespace ov
