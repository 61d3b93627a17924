// `ovutil demo`: runs the registered demo sections in order, each printing a
// timeline of what the library does. Sections pump the main queue where they
// need main-thread delivery.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <mutex>

#include "OVUtility/Platform/MainRunLoop.h"
#include "Verb.h"

namespace ovutil {

std::vector<DemoSection>& demoSections() {
    static std::vector<DemoSection> sections;
    return sections;
}

namespace {
const auto demoStart = std::chrono::steady_clock::now();
std::mutex printMutex;
}  // namespace

void demoLine(const std::string& text) {
    double ms =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - demoStart)
            .count();
    std::lock_guard lock(printMutex);
    std::printf("[%8.1f ms] %s\n", ms, text.c_str());
    std::fflush(stdout);
}

namespace {

int runDemo(const std::vector<std::string>& args) {
    auto sections = demoSections();
    std::stable_sort(sections.begin(), sections.end(),
                     [](const DemoSection& a, const DemoSection& b) { return a.order < b.order; });
    std::string only = args.empty() ? std::string() : args[0];
    for (const auto& section : sections) {
        if (!only.empty() && section.title.find(only) == std::string::npos) continue;
        std::printf("\n== %s\n", section.title.c_str());
        section.run();
    }
    std::printf("\nDemo finished.\n");
    return 0;
}

VerbRegistration registration{
    "demo", "show the library at work (queues, timers, tasks, features, strings)", &runDemo,
    "usage: ovutil demo [SECTION]\n"
    "Runs every demo section, or only those whose title contains SECTION.\n"};

}  // namespace
}  // namespace ovutil
