// Test entry point shared by every test program: quiet console logging (tests
// that check log lines attach a CaptureSink), then GoogleTest.
#include <cstdlib>

#include <gtest/gtest.h>

#include "OVLog/OVLog.h"

int main(int argc, char** argv) {
    if (!std::getenv("OVLOG_CONSOLE")) ovlog::OLog::setConsoleOutput(false);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
