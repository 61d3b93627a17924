#include "OVUtility/Collections/OVLRUCache.h"

#include "OVLog/OVLog.h"

namespace ov::detail {

void logLRUCacheDecodeFailure(const std::string& reason) {
    static ovlog::Module& module = ovlog::Module::named("Collections");
    OVLOG_AT(ovlog::Level::warning, module, "OVLRUCache", "initWithCoder()",
             "cannot decode OVLRUCache: {}", reason);
}

}  // namespace ov::detail
