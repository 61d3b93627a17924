// ov::DispatchGroup: tracks a set of blocks and tells when all have finished.
//
//   ov::DispatchGroup group;
//   for (auto& q : queues) group.async(q, [] { work(); });
//   group.notify(ov::DispatchQueue::main(), [] { allDone(); });
//   group.wait();                       // or wait(deadline) -> false on timeout
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/DispatchQueue.h"

namespace ov {

class OV_API DispatchGroup {
  public:
    DispatchGroup();
    ~DispatchGroup();
    DispatchGroup(const DispatchGroup&) = delete;
    DispatchGroup& operator=(const DispatchGroup&) = delete;

    void enter();
    void leave();  // more leaves than enters is a programming error (fatal)
    void async(const std::shared_ptr<DispatchQueue>& queue, DispatchBlock block);
    void wait() { (void)wait(DispatchTime::distantFuture()); }
    bool wait(DispatchTime deadline);
    // Runs `block` on `queue` once the group is empty (at once if it is empty now).
    void notify(const std::shared_ptr<DispatchQueue>& queue, DispatchBlock block);

  private:
    struct Shared;
    std::shared_ptr<Shared> shared_;
};

}  // namespace ov
