#include "OVUtility/Platform/MemoryPressureMonitor.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <thread>
#include <vector>

#include "OVLog/OVLog.h"
#include "OVUtility/Platform/DispatchQueue.h"
#include "OVUtility/Platform/NotificationCenter.h"

namespace ov {

namespace {

ovlog::Module& logModule() {
    static ovlog::Module& module = ovlog::Module::named("MemoryPressure");
    return module;
}

// ---------------------------------------------------------------- purge handlers
struct PurgeHandlers {
    std::mutex mutex;
    std::map<std::uint64_t, std::shared_ptr<std::function<void()>>> handlers;
    std::uint64_t nextId = 1;

    static PurgeHandlers& shared() {
        static auto* handlers = new PurgeHandlers();  // outlives every cache
        return *handlers;
    }

    std::vector<std::shared_ptr<std::function<void()>>> snapshot() {
        std::lock_guard lock(mutex);
        std::vector<std::shared_ptr<std::function<void()>>> out;
        out.reserve(handlers.size());
        for (auto& [id, handler] : handlers) out.push_back(handler);
        return out;
    }
};

void deliverWarning(const std::shared_ptr<NotificationCenter>& requestedCenter,
                    const std::shared_ptr<DispatchQueue>& postQueue) {
    for (const auto& handler : PurgeHandlers::shared().snapshot()) (*handler)();
    auto center = requestedCenter ? requestedCenter : NotificationCenter::defaultCenter();
    const std::string name(MemoryPressureMonitor::didReceiveMemoryWarningNotification);
    if (postQueue) {
        postQueue->async([center, name] { center->post(name); });
    } else {
        center->post(name);
    }
}

// ---------------------------------------------------------------- sources
int armPressureStallTrigger(const MemoryPressureMonitor::Options& options) {
    const int fd = ::open(options.pressurePath.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        OVLOG_DEBUG(logModule(), "pressure stall information unavailable at {}: {}",
                    options.pressurePath, std::strerror(errno));
        return -1;
    }
    const std::string trigger = "some " + std::to_string(options.stallThreshold.count()) + " " +
                                std::to_string(options.window.count());
    // The trigger text is written with its terminating NUL, as the kernel expects.
    if (::write(fd, trigger.c_str(), trigger.size() + 1) < 0) {
        OVLOG_WARNING(logModule(), "cannot arm memory pressure trigger \"{}\" on {}: {}", trigger,
                      options.pressurePath, std::strerror(errno));
        ::close(fd);
        return -1;
    }
    return fd;
}

std::string readWhole(int fd) {
    std::string text;
    char buffer[512];
    if (::lseek(fd, 0, SEEK_SET) < 0) return text;
    while (true) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n <= 0) break;
        text.append(buffer, static_cast<std::size_t>(n));
    }
    return text;
}

std::string findCgroupEventsPath() {
    std::string cgroupPath;
    {
        std::ifstream in("/proc/self/cgroup");
        std::string line;
        while (std::getline(in, line))
            if (line.rfind("0::", 0) == 0) cgroupPath = line.substr(3);
    }
    if (cgroupPath.empty()) return {};
    std::string mountPoint;
    {
        std::ifstream in("/proc/self/mountinfo");
        std::string line;
        while (std::getline(in, line)) {
            const auto separator = line.find(" - ");
            if (separator == std::string::npos) continue;
            std::istringstream tail(line.substr(separator + 3));
            std::string fsType;
            tail >> fsType;
            if (fsType != "cgroup2") continue;
            std::istringstream head(line.substr(0, separator));
            std::string field;
            for (int i = 0; i < 5 && head >> field; ++i) {
                if (i == 4) mountPoint = field;
            }
            break;
        }
    }
    if (mountPoint.empty()) return {};
    if (cgroupPath == "/") cgroupPath.clear();
    return mountPoint + cgroupPath + "/memory.events";
}

// ---------------------------------------------------------------- the monitor
struct Monitor {
    std::mutex mutex;  // start/stop and the fields below
    std::thread thread;
    int wakeFd = -1;
    int sourceFd = -1;
    MemoryPressureMonitor::Source source = MemoryPressureMonitor::Source::none;
    MemoryPressureMonitor::Options options;
    std::atomic<bool> stopping{false};
    std::atomic<int> pendingSimulations{0};

    static Monitor& shared() {
        static auto* monitor = new Monitor();
        return *monitor;
    }
};

void runMonitor(Monitor& m, int wakeFd, int sourceFd, MemoryPressureMonitor::Source source,
                MemoryPressureMonitor::Options options) {
    using Clock = std::chrono::steady_clock;
    std::optional<Clock::time_point> lastKernelWarning;
    MemoryPressureMonitor::MemoryEvents lastEvents;
    if (source == MemoryPressureMonitor::Source::cgroupMemoryEvents) {
        if (auto parsed = MemoryPressureMonitor::parseMemoryEvents(readWhole(sourceFd)))
            lastEvents = *parsed;
    }
    pollfd fds[2] = {{wakeFd, POLLIN, 0}, {sourceFd, POLLPRI, 0}};
    while (true) {
        const int ready = ::poll(fds, 2, -1);
        if (ready < 0) {
            if (errno == EINTR) continue;
            OVLOG_ERROR(logModule(), "memory pressure monitor stops: poll failed: {}",
                        std::strerror(errno));
            return;
        }
        if (fds[0].revents & POLLIN) {
            std::uint64_t value = 0;
            (void)!::read(wakeFd, &value, sizeof value);
            if (m.stopping.load()) return;
            for (int n = m.pendingSimulations.exchange(0); n > 0; --n)
                deliverWarning(options.center, options.postQueue);
        }
        const short events = fds[1].revents;
        if (events == 0) continue;
        bool warn = false;
        if (source == MemoryPressureMonitor::Source::pressureStallInformation) {
            if (events & POLLERR) {
                OVLOG_WARNING(logModule(), "memory pressure trigger failed; no longer watched");
                fds[1].fd = -1;
            } else if (events & POLLPRI) {
                warn = true;
            }
        } else if (events & (POLLPRI | POLLERR)) {
            if (auto now = MemoryPressureMonitor::parseMemoryEvents(readWhole(sourceFd))) {
                warn = MemoryPressureMonitor::isPressure(lastEvents, *now);
                lastEvents = *now;
            }
        }
        if (!warn) continue;
        const auto now = Clock::now();
        if (lastKernelWarning && now - *lastKernelWarning < options.minimumInterval) continue;
        lastKernelWarning = now;
        OVLOG_WARNING(logModule(), "memory pressure reported by {}",
                      MemoryPressureMonitor::toString(source));
        deliverWarning(options.center, options.postQueue);
    }
}

// Stops the running monitor thread, if any (the monitor's mutex is held).
void stopLocked(Monitor& m) {
    if (!m.thread.joinable()) return;
    m.stopping = true;
    const std::uint64_t one = 1;
    (void)!::write(m.wakeFd, &one, sizeof one);
    m.thread.join();
    ::close(m.wakeFd);
    ::close(m.sourceFd);
    m.wakeFd = m.sourceFd = -1;
    m.source = MemoryPressureMonitor::Source::none;
    m.options = {};
}

}  // namespace

MemoryPressureMonitor::Source MemoryPressureMonitor::start() {
    return start(Options());
}

MemoryPressureMonitor::Source MemoryPressureMonitor::start(Options options) {
    return start(Source::none, std::move(options));
}

MemoryPressureMonitor::Source MemoryPressureMonitor::start(Source only, Options options) {
    Monitor& m = Monitor::shared();
    std::lock_guard lock(m.mutex);
    stopLocked(m);  // one monitor at a time, also when two threads start at once
    int sourceFd = -1;
    Source source = Source::none;
    if (only == Source::none || only == Source::pressureStallInformation) {
        sourceFd = armPressureStallTrigger(options);
        if (sourceFd >= 0) source = Source::pressureStallInformation;
    }
    if (sourceFd < 0 && options.useCgroupEvents &&
        (only == Source::none || only == Source::cgroupMemoryEvents)) {
        const std::string path =
            options.cgroupEventsPath.empty() ? findCgroupEventsPath() : options.cgroupEventsPath;
        if (!path.empty()) {
            sourceFd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
            if (sourceFd >= 0) {
                if (parseMemoryEvents(readWhole(sourceFd))) {
                    source = Source::cgroupMemoryEvents;
                } else {
                    ::close(sourceFd);
                    sourceFd = -1;
                }
            }
        }
    }
    if (source == Source::none) {
        OVLOG_WARNING(logModule(),
                      "no kernel memory pressure signal available; memory warnings only when "
                      "simulated");
        return source;
    }
    const int wakeFd = ::eventfd(0, EFD_CLOEXEC);
    if (wakeFd < 0) {
        OVLOG_ERROR(logModule(), "cannot create the monitor's wake-up descriptor: {}",
                    std::strerror(errno));
        ::close(sourceFd);
        return Source::none;
    }
    m.stopping = false;
    m.wakeFd = wakeFd;
    m.sourceFd = sourceFd;
    m.source = source;
    m.options = options;
    m.thread = std::thread(runMonitor, std::ref(m), wakeFd, sourceFd, source, std::move(options));
    OVLOG_DEBUG(logModule(), "memory pressure monitor watching {}", toString(source));
    return source;
}

void MemoryPressureMonitor::stop() {
    Monitor& m = Monitor::shared();
    std::lock_guard lock(m.mutex);
    stopLocked(m);
}

MemoryPressureMonitor::Source MemoryPressureMonitor::activeSource() {
    Monitor& m = Monitor::shared();
    std::lock_guard lock(m.mutex);
    return m.source;
}

std::string_view MemoryPressureMonitor::toString(Source source) {
    switch (source) {
        case Source::pressureStallInformation:
            return "pressure stall information";
        case Source::cgroupMemoryEvents:
            return "cgroup memory events";
        case Source::none:
            break;
    }
    return "none";
}

void MemoryPressureMonitor::simulateMemoryWarning() {
    Monitor& m = Monitor::shared();
    {
        std::lock_guard lock(m.mutex);
        if (m.thread.joinable()) {
            m.pendingSimulations++;
            const std::uint64_t one = 1;
            (void)!::write(m.wakeFd, &one, sizeof one);
            return;
        }
    }
    deliverWarning(nullptr, nullptr);
}

MemoryPressureMonitor::PurgeToken MemoryPressureMonitor::addPurgeHandler(
    std::function<void()> handler) {
    auto& shared = PurgeHandlers::shared();
    std::uint64_t id;
    {
        std::lock_guard lock(shared.mutex);
        id = shared.nextId++;
        shared.handlers.emplace(id, std::make_shared<std::function<void()>>(std::move(handler)));
    }
    // The token's deleter unregisters the handler.
    return PurgeToken(reinterpret_cast<void*>(static_cast<std::uintptr_t>(id)), [](void* p) {
        auto& handlers = PurgeHandlers::shared();
        std::lock_guard lock(handlers.mutex);
        handlers.handlers.erase(static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(p)));
    });
}

std::optional<MemoryPressureMonitor::MemoryEvents> MemoryPressureMonitor::parseMemoryEvents(
    std::string_view text) {
    MemoryEvents events;
    bool any = false;
    std::istringstream in{std::string(text)};
    std::string name;
    std::uint64_t value = 0;
    while (in >> name >> value) {
        any = true;
        if (name == "low")
            events.low = value;
        else if (name == "high")
            events.high = value;
        else if (name == "max")
            events.max = value;
        else if (name == "oom")
            events.oom = value;
        else if (name == "oom_kill")
            events.oomKill = value;
    }
    if (!any) return std::nullopt;
    return events;
}

bool MemoryPressureMonitor::isPressure(const MemoryEvents& before, const MemoryEvents& now) {
    return now.high > before.high || now.max > before.max || now.oom > before.oom;
}

}  // namespace ov
