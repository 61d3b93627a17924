// Test helper: waits (without pumping the main queue) until a condition holds
// or a deadline passes, polling with short pauses.
//
//   EXPECT_TRUE(ovtest::eventually([&] { return counter == 10; }));
#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace ovtest {

inline bool eventually(const std::function<bool()>& predicate, double seconds = 10.0) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!predicate()) {
        if (std::chrono::steady_clock::now() > deadline) return predicate();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace ovtest
