#include "OVUtility/Platform/DispatchGroup.h"

#include "OVUtility/Platform/Fatal.h"
#include "OVUtility/Platform/WorkerPool.h"

namespace ov {

struct DispatchGroup::Shared {
    std::mutex mutex;
    std::condition_variable empty;
    long count = 0;
    std::vector<std::pair<std::shared_ptr<DispatchQueue>, DispatchBlock>> notifications;
};

DispatchGroup::DispatchGroup() : shared_(std::make_shared<Shared>()) {}
DispatchGroup::~DispatchGroup() = default;

void DispatchGroup::enter() {
    std::lock_guard lock(shared_->mutex);
    ++shared_->count;
}

void DispatchGroup::leave() {
    std::vector<std::pair<std::shared_ptr<DispatchQueue>, DispatchBlock>> ready;
    {
        std::lock_guard lock(shared_->mutex);
        if (shared_->count == 0) fatal("DispatchGroup::leave called more often than enter");
        if (--shared_->count > 0) return;
        ready.swap(shared_->notifications);
        shared_->empty.notify_all();
    }
    for (auto& [queue, block] : ready) queue->async(std::move(block));
}

void DispatchGroup::async(const std::shared_ptr<DispatchQueue>& queue, DispatchBlock block) {
    enter();
    // The block keeps the group's state alive, not the group object.
    queue->async([shared = shared_, block = std::move(block)] {
        block();
        std::vector<std::pair<std::shared_ptr<DispatchQueue>, DispatchBlock>> ready;
        {
            std::lock_guard lock(shared->mutex);
            if (--shared->count == 0) {
                ready.swap(shared->notifications);
                shared->empty.notify_all();
            }
        }
        for (auto& [q, b] : ready) q->async(std::move(b));
    });
}

bool DispatchGroup::wait(DispatchTime deadline) {
    std::unique_lock lock(shared_->mutex);
    if (shared_->count == 0) return true;
    WorkerPool::BlockingScope blocking;
    if (deadline.isDistantFuture()) {
        shared_->empty.wait(lock, [&] { return shared_->count == 0; });
        return true;
    }
    return shared_->empty.wait_until(lock, deadline.timePoint(),
                                     [&] { return shared_->count == 0; });
}

void DispatchGroup::notify(const std::shared_ptr<DispatchQueue>& queue, DispatchBlock block) {
    {
        std::lock_guard lock(shared_->mutex);
        if (shared_->count > 0) {
            shared_->notifications.emplace_back(queue, std::move(block));
            return;
        }
    }
    queue->async(std::move(block));
}

}  // namespace ov
