// ov::fatal: the one way the library ends the process on a programming error
// (a failed mutex initialisation, a counter overflow, a non-finite timer
// interval, a deadlocking `sync`). It logs the reason at error level on the
// "OVUtility" module, writes it to stderr as well, and calls std::abort().
//
//   if (!std::isfinite(interval)) ov::fatal("makeTimer: interval is not finite");
#pragma once

#include <string_view>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

[[noreturn]] OV_API void fatal(std::string_view reason);

}  // namespace ov
