#include "OVUtility/Collections/MemoryCache.h"

namespace ov {

std::shared_ptr<DispatchQueueCacheAccess> DispatchQueueCacheAccess::shared() {
    // One adapter over the one shared queue; made once, thread-safely, and
    // never destroyed (caches may still write during static destruction).
    static const auto* access = new std::shared_ptr<DispatchQueueCacheAccess>(
        std::make_shared<DispatchQueueCacheAccess>(memoryCacheAccess()));
    return *access;
}

}  // namespace ov
