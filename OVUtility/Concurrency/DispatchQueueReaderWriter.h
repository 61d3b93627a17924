// Reader/writer access through a concurrent dispatch queue, and the shared
// queue the memory caches use for it.
//
//   auto rw = ov::memoryCacheAccess();                    // "com.orvanta.memory-cache.rwLock"
//   int n = ov::concurrentRead(*rw, [&] { return map.size(); });   // readers run together
//   ov::exclusiveWrite(*rw, [&] { map.clear(); });        // barrier; returns at once
//
// "Already on the queue" is decided by the current operation queue: when
// OperationQueue::current()'s underlying queue is `queue`, both run the block
// inline. Code running directly in a dispatch block on `queue` (not inside
// an operation) is not recognised: `concurrentRead` would then `sync` onto
// the queue it is running on, and `exclusiveWrite` would enqueue a barrier
// behind the running block.
#pragma once

#include <memory>
#include <type_traits>
#include <utility>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/DispatchQueue.h"

namespace ov {

// True when the current operation queue runs on `queue`.
OV_API bool isCurrentOperationQueueOn(const DispatchQueue& queue);

// Runs `block` inline when on `queue` (see above), else with `sync`; returns
// its result and lets its exception pass.
template <typename F>
auto concurrentRead(DispatchQueue& queue, F&& block) -> std::invoke_result_t<F&> {
    if (isCurrentOperationQueueOn(queue)) return block();
    return queue.sync(std::forward<F>(block));
}

// Runs `block` inline when on `queue` (see above), else submits it as a
// barrier block and returns.
OV_API void exclusiveWrite(DispatchQueue& queue, DispatchBlock block);

// The memory caches' shared concurrent queue, made once on first use.
OV_API std::shared_ptr<DispatchQueue> memoryCacheAccess();

}  // namespace ov
