#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "OVLog/CaptureSink.h"
#include "OVLog/OVLog.h"

using ovlog::Level;
using ovlog::OLog;

TEST(OVLog, LevelsPerModuleGateOutputAndCaptureKeepsCallSite) {
    auto& module = ovlog::Module::named("OVLogTest.levels");
    OLog::setLevel("OVLogTest.levels", Level::debug);
    auto capture = ovlog::CaptureSink::attach();

    OVLOG_VERBOSE(module, "hidden {}", 1);
    OVLOG_DEBUG(module, "shown {}", 2);
    OVLOG_AT(Level::warning, module, "TaskManager", "addToQueue(_:)",
             "duplication of {} is found in indexer", "t");

    auto records = capture->records();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].message, "shown 2");
    EXPECT_EQ(records[0].level, Level::debug);
    EXPECT_EQ(records[0].unit, "OVLogTest");
    EXPECT_EQ(records[0].function, "TestBody");
    EXPECT_EQ(records[1].message, "duplication of t is found in indexer");
    EXPECT_EQ(records[1].unit, "TaskManager");
    EXPECT_EQ(records[1].function, "addToQueue(_:)");
    EXPECT_EQ(records[1].module, "OVLogTest.levels");
    EXPECT_GT(records[1].line, 0);

    EXPECT_FALSE(OLog::isEnabled(Level::verbose, module));
    EXPECT_TRUE(OLog::isEnabled(Level::error, "OVLogTest.levels"));
    OLog::setLevel("OVLogTest.levels", Level::off);
    EXPECT_FALSE(OLog::isEnabled(Level::error, module));
}

TEST(OVLog, DefaultLevelAppliesToModulesWithoutTheirOwn) {
    Level saved = OLog::defaultLevel();
    auto& fresh = ovlog::Module::named("OVLogTest.default");
    OLog::setLevel("OVLogTest.explicit", Level::error);
    OLog::setDefaultLevel(Level::verbose);
    EXPECT_TRUE(OLog::isEnabled(Level::verbose, fresh));
    EXPECT_FALSE(OLog::isEnabled(Level::warning, "OVLogTest.explicit"));
    OLog::setDefaultLevel(saved);
    EXPECT_EQ(fresh.level(), saved);
}

TEST(OVLog, ConcurrentWritersLoseNoLine) {
    auto& module = ovlog::Module::named("OVLogTest.threads");
    OLog::setLevel("OVLogTest.threads", Level::verbose);
    auto capture = ovlog::CaptureSink::attach();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 500; ++i) OVLOG_VERBOSE(module, "line {} {}", t, i);
        });
    }
    for (auto& th : threads) th.join();
    EXPECT_EQ(capture->countStartingWith("line "), 2000u);
}
