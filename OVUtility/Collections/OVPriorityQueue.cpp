#include "OVUtility/Collections/OVPriorityQueue.h"

#include <atomic>
#include <cmath>

#include "OVLog/OVLog.h"

namespace ov::detail {

Date priorityQueueNodeCreationDate() {
    // The wall clock's resolution as a double of seconds since 1970 is about
    // a quarter of a microsecond, and the clock may step back; nodes made in
    // quick succession must still be ordered. Each date is therefore at least
    // the next representable double after the previous one.
    static std::atomic<double> last{0.0};
    double previous = last.load(std::memory_order_relaxed);
    while (true) {
        double now = Date::now().timeIntervalSince1970();
        if (!(now > previous)) now = std::nextafter(previous, INFINITY);
        if (last.compare_exchange_weak(previous, now, std::memory_order_relaxed)) return Date(now);
    }
}

std::int64_t priorityQueueParentIndex(std::int64_t index) {
    // Single-precision on purpose: positions above 2^24 lose exactness, as
    // the queue has always computed them.
    const float halved = static_cast<float>(index - 1) * 0.5f;
    const float floored = std::floor(halved);
    std::int32_t parent;
    if (floored >= 2147483648.0f) {
        parent = std::numeric_limits<std::int32_t>::max();  // saturating conversion
    } else if (floored < -2147483648.0f) {
        parent = std::numeric_limits<std::int32_t>::min();
    } else {
        parent = static_cast<std::int32_t>(floored);
    }
    if (parent < 0) parent = -1;
    return static_cast<std::int64_t>(parent);
}

void logPriorityQueueIndexRefused(const char* function, std::int64_t index, std::size_t count) {
    static ovlog::Module& module = ovlog::Module::named("Collections");
    OVLOG_AT(ovlog::Level::warning, module, "OVPriorityQueue", function,
             "position {} is outside the heap of {} nodes; ignored", index, count);
}

}  // namespace ov::detail
