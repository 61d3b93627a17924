// Test helper: pumps the main queue on the main thread until a condition holds
// or a deadline passes. Tests never sleep to synchronise; they wait on a
// condition with a generous deadline.
//
//   ASSERT_TRUE(ovtest::pumpMainUntil([&] { return done.load(); }));
#pragma once

#include <functional>

#include "OVUtility/Platform/MainRunLoop.h"

namespace ovtest {

inline bool pumpMainUntil(const std::function<bool()>& predicate, double seconds = 10.0) {
    return ov::MainRunLoop::runUntil(predicate, ov::DispatchTime::now() + seconds);
}

// Pumps for a fixed time (for "nothing happens" checks).
inline void pumpMainFor(double seconds) {
    ov::MainRunLoop::runUntil(ov::DispatchTime::now() + seconds);
}

}  // namespace ovtest
