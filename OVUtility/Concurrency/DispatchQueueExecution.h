// Running work on or off a given dispatch queue without deadlocking when the
// caller is already on it.
//
//   ov::executeOnMainQueue(false, [] { updateUI(); });       // inline when on main
//   ov::executeOnNonMainQueue(true, [] { loadFromDisk(); }); // global queue when on main
//   ov::execute(*queue, true, [] { mutate(); });             // inline when on `queue`
//   int n = ov::executeBlockingWithResult(*queue, [] { return count(); });
//
// "Already on the queue" is tested with a fresh queue-specific marker set on
// the queue and looked up from the calling code, so it holds for code running
// on the queue itself or on any queue that targets it, and (for the main
// queue) for any code on the main thread. The marker is removed again after
// the test.
#pragma once

#include <type_traits>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/DispatchQueue.h"

namespace ov {

// True when the calling code runs on the main queue.
OV_API bool isOnMainQueue();

// True when the calling code runs on `queue` (directly or through a queue
// that targets it).
OV_API bool isRunningOn(DispatchQueue& queue);

// On the main queue: runs `block` at once. Elsewhere: submits it to the main
// queue, with `sync` when `blocking` (the main queue must be pumped), else `async`.
OV_API void executeOnMainQueue(bool blocking, DispatchBlock block);

// On the main queue: submits `block` to the default global queue, with
// `sync` when `blocking`, else `async`. Elsewhere: runs it at once.
OV_API void executeOnNonMainQueue(bool blocking, DispatchBlock block);

// On `queue` already: runs `block` at once. Otherwise `sync` when
// `blocking`, `async` when not.
OV_API void execute(DispatchQueue& queue, bool blocking, DispatchBlock block);

// On `queue` already: runs `block` at once; otherwise with `sync`. Returns
// the block's result; exceptions pass through.
template <typename F>
auto executeBlockingWithResult(DispatchQueue& queue, F&& block) -> std::invoke_result_t<F&> {
    if (isRunningOn(queue)) return block();
    return queue.sync(std::forward<F>(block));
}

}  // namespace ov
