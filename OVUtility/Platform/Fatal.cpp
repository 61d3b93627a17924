#include "OVUtility/Platform/Fatal.h"

#include <cstdio>
#include <cstdlib>

#include "OVLog/OVLog.h"

namespace ov {

void fatal(std::string_view reason) {
    static ovlog::Module& module = ovlog::Module::named("OVUtility");
    std::fprintf(stderr, "OVUtility fatal error: %.*s\n", static_cast<int>(reason.size()),
                 reason.data());
    std::fflush(stderr);
    OVLOG_AT(ovlog::Level::error, module, "OVUtility", "fatal", "fatal error: {}", reason);
    std::abort();
}

}  // namespace ov
