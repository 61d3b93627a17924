#include "OVUtility/Concurrency/MainThreadExecutor.h"

#include "OVUtility/Platform/MainRunLoop.h"

namespace ov {

void MainThreadExecutor::performOnMainThread(DispatchBlock block) {
    if (MainRunLoop::isMainThread()) {
        block();
    } else {
        DispatchQueue::main()->async(std::move(block));
    }
}

}  // namespace ov
