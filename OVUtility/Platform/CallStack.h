// ov::callStackSymbols: the calling thread's call stack as text, the way the
// platform prints its `callStackSymbols` list: a bracketed, comma-separated
// list of quoted frames ("0   binary(symbol+0x1f) [0x...]"). Used by
// verbose log lines that record where a cancellation came from.
//
//   OVLOG_VERBOSE(module, "Operation canceled {}", ov::callStackSymbols());
#pragma once

#include <string>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

OV_API std::string callStackSymbols();

}  // namespace ov
