// ov::MemoryPressureMonitor: turns the Linux kernel's memory-pressure signals
// into the platform's memory warning. On a warning it first lets every
// ov::ObjectCache throw away what it can, then posts
// "UIApplicationDidReceiveMemoryWarningNotification" on a notification
// centre (the default centre unless told otherwise).
//
// Turning it on (once, early in the application's start-up):
//
//   auto source = ov::MemoryPressureMonitor::start();   // default options
//   // or: deliver on the main queue, with a stricter threshold
//   ov::MemoryPressureMonitor::Options options;
//   options.postQueue = ov::DispatchQueue::main();
//   options.stallThreshold = std::chrono::milliseconds(100);
//   ov::MemoryPressureMonitor::start(options);
//   ...
//   ov::MemoryPressureMonitor::stop();                  // e.g. at shutdown
//
// Nothing watches the kernel until `start` is called: a library must not
// start threads or open kernel files behind the application's back.
//
// Signals, in order of preference:
// 1. Pressure stall information (/proc/pressure/memory, Linux 5.2+): a trigger
//    "some <stallThreshold> <window>" fires when tasks stalled on memory for
//    that long within the window. Unprivileged processes need Linux 6.4+
//    and a window that is a multiple of 2 s (the default window is 2 s).
// 2. The cgroup v2 memory.events file of the process's cgroup: a warning when
//    its "high", "max" or "oom" counters grow (the cgroup hit its limits).
// `start` returns the source it armed, or `Source::none` (with a log line)
// when neither is available; `simulateMemoryWarning()` works in every case.
//
// Delivery: purge handlers run on the monitor's thread, then the notification
// is posted on that thread, or submitted to `postQueue` when one is given
// (posting from the main queue matches what UI code usually expects). Kernel
// warnings closer together than `minimumInterval` are coalesced.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

class DispatchQueue;
class NotificationCenter;

class OV_API MemoryPressureMonitor {
  public:
    static constexpr std::string_view didReceiveMemoryWarningNotification =
        "UIApplicationDidReceiveMemoryWarningNotification";

    enum class Source { none, pressureStallInformation, cgroupMemoryEvents };

    struct Options {
        std::string pressurePath = "/proc/pressure/memory";
        std::chrono::microseconds stallThreshold{150000};
        std::chrono::microseconds window{2000000};
        // Empty: found from /proc/self/cgroup and the cgroup2 mount.
        std::string cgroupEventsPath;
        bool useCgroupEvents = true;
        std::shared_ptr<NotificationCenter> center;  // null: the default centre
        std::shared_ptr<DispatchQueue> postQueue;    // null: the monitor's thread
        std::chrono::milliseconds minimumInterval{1000};
    };

    // Starts watching (stopping an earlier monitor first). Returns the armed
    // source; with Source::none no thread is started.
    static Source start();  // default options
    static Source start(Options options);
    // Arms only `only` (Source::none: the first available, as `start` does).
    static Source start(Source only, Options options);
    static void stop();
    static Source activeSource();
    static std::string_view toString(Source source);

    // Delivers a warning as if the kernel had signalled one: through the
    // monitor's thread when it runs, else at once on the calling thread.
    static void simulateMemoryWarning();

    // Called on every warning before the notification is posted. Handlers
    // run without the monitor's lock held; they must not call stop().
    // The handler stays registered while the returned token lives.
    using PurgeToken = std::shared_ptr<void>;
    [[nodiscard]] static PurgeToken addPurgeHandler(std::function<void()> handler);

    // The counters of a cgroup v2 memory.events file.
    struct MemoryEvents {
        std::uint64_t low = 0, high = 0, max = 0, oom = 0, oomKill = 0;
    };
    static std::optional<MemoryEvents> parseMemoryEvents(std::string_view text);
    // True when `now` shows the cgroup hitting its limits since `before`.
    static bool isPressure(const MemoryEvents& before, const MemoryEvents& now);
};

}  // namespace ov
