// Interleaving points: named places in the threaded code (the task manager's
// intake, the safe operation's transitions, a task's cancel and finish) where
// one thread hands state over to another. Tests install a hook that runs at
// every point, to inject seeded random delays or to hold a thread at a gate,
// and so drive races into the interleavings that matter instead of hoping
// that a stress loop hits them.
//
//   OV_INTERLEAVING_POINT("SafeOperation.finish");      // in library code
//
//   // in a test (a plain function; keep its state in statics):
//   ov::interleaving::setHook([](const char* point) { if (!strcmp(point, ...)) gate.wait(); });
//   ...
//   ov::interleaving::setHook(nullptr);
//
// The points are compiled in only when OV_INTERLEAVING_HOOKS is defined (the
// builds that build the tests do it); otherwise the macro is empty and the
// library carries no trace of them. With them, a point with no hook costs one
// relaxed atomic load.
#pragma once

#include "OVUtility/OVUtilityExport.h"

namespace ov::interleaving {

using Hook = void (*)(const char* point);

// Installs `hook` (nullptr removes it). Returns the previous one.
OV_API Hook setHook(Hook hook) noexcept;

// Whether this build of the library has its interleaving points compiled in.
OV_API bool available() noexcept;

// Runs the installed hook, if any, for `point`.
OV_API void reach(const char* point) noexcept;

}  // namespace ov::interleaving

#if defined(OV_INTERLEAVING_HOOKS)
#define OV_INTERLEAVING_POINT(name) ::ov::interleaving::reach(name)
#else
#define OV_INTERLEAVING_POINT(name) ((void)0)
#endif
