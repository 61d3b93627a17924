#include "OVUtility/Platform/InterleavingPoint.h"

#include <atomic>

namespace ov::interleaving {

namespace {
std::atomic<Hook> installed{nullptr};
}  // namespace

Hook setHook(Hook hook) noexcept {
    return installed.exchange(hook, std::memory_order_acq_rel);
}

bool available() noexcept {
#if defined(OV_INTERLEAVING_HOOKS)
    return true;
#else
    return false;
#endif
}

void reach(const char* point) noexcept {
    if (Hook hook = installed.load(std::memory_order_acquire)) hook(point);
}

}  // namespace ov::interleaving
