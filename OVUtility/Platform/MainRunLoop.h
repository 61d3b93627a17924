// ov::MainRunLoop: pumps the main queue on the main thread.
//
// OVUtility has no main loop of its own; an application (or a test) that wants
// main-thread delivery calls one of these from the main thread:
//
//   ov::MainRunLoop::run();                         // until stop()
//   ov::MainRunLoop::runUntil(ov::DispatchTime::now() + 1.0);
//   bool ok = ov::MainRunLoop::runUntil([&] { return done; }, ov::DispatchTime::now() + 5.0);
//   ov::MainRunLoop::drain();                       // run what is ready, never block
//
// The main thread is the thread whose id equals the process id. Calling these
// from another thread is a programming error (fatal).
//
// An application that already runs an event loop (GLib, Qt, Boost.Asio)
// keeps it and drives the main queue from it through MainQueuePort (or the
// adapters in OVUtility/Adapters/) instead.
#pragma once

#include <functional>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/DispatchTime.h"

namespace ov {

class OV_API MainRunLoop {
  public:
    static bool isMainThread();
    // Runs main-queue blocks until `stop()` is called (from any thread).
    static void run();
    static void stop();
    // Runs main-queue blocks until the deadline.
    static void runUntil(DispatchTime deadline);
    // Runs main-queue blocks until `predicate` is true (checked after every
    // block and on every wake-up) or the deadline passes. Returns the predicate's
    // last value.
    static bool runUntil(const std::function<bool()>& predicate, DispatchTime deadline);
    // Runs the blocks that are ready now; returns how many ran.
    static size_t drain();
};

}  // namespace ov
