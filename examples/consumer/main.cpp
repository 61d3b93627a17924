// Runs a few blocks on a serial queue and a barrier on a concurrent one,
// logging through OVLog, to show that an installed OVUtility links and works.
// It also uses spdlog directly, as many applications do: OVLog's logger stays
// out of spdlog's registry, so the application's logger names and default
// logger are its own.
#include <cstdio>

#include <spdlog/spdlog.h>

#include "OVLog/OVLog.h"
#include "OVUtility/Platform/DispatchGroup.h"
#include "OVUtility/Platform/DispatchQueue.h"

int main() {
    static ovlog::Module& module = ovlog::Module::named("Consumer");
    ovlog::OLog::setLevel("Consumer", ovlog::Level::debug);
    auto queue = ov::DispatchQueue::make("consumer.serial");
    ov::DispatchGroup group;
    int total = 0;
    for (int i = 1; i <= 10; ++i) group.async(queue, [&total, i] { total += i; });
    group.wait();
    OVLOG_DEBUG(module, "sum of 1..10 computed on a serial queue: {}", total);
    if (spdlog::get("OVLog")) return 2;
    spdlog::set_default_logger(spdlog::default_logger()->clone("consumer"));
    OVLOG_DEBUG(module, "still logging after the application replaced spdlog's default logger");
    std::printf("%d\n", total);
    return total == 55 ? 0 : 1;
}
