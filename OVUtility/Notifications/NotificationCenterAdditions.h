// Additions to the notification centre: observing with an optional first run.
//
//   auto token = ov::observe(center, "reachabilityDidChange", nullptr, queue,
//                            ov::EventMode::idempotent, [] { refresh(); });
//   ...
//   center->removeObserver(token);                      // the caller owns the token
//
//   ov::runAndObserve(center, "themeDidChange", nullptr, [] { restyle(); })
//       ->disposed(ownerSlot);                          // lives as long as the owner
//
// `observe` with EventMode::idempotent runs the block once at once, on the
// calling thread (not on the queue), then on every notification; onlyOnEvent
// runs it only for notifications. A missing block registers and runs nothing.
// `runAndObserve` always runs the block at once and returns a
// NotificationDisposable that unregisters when released. In both, the block
// ignores the notification itself and runs on `queue`, or on the posting
// thread when `queue` is null.
#pragma once

#include <functional>
#include <memory>

#include "OVUtility/Notifications/NotificationDisposable.h"
#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/NotificationCenter.h"

namespace ov {

enum class EventMode { idempotent, onlyOnEvent };

OV_API NotificationCenter::Token observe(const std::shared_ptr<NotificationCenter>& center,
                                         const NotificationName& name, AnyObject from,
                                         NotificationQueue onto, EventMode mode,
                                         std::function<void()> block);

OV_API std::shared_ptr<NotificationDisposable> runAndObserve(
    const std::shared_ptr<NotificationCenter>& center, const NotificationName& name,
    NotificationQueue queue, std::function<void()> block);

}  // namespace ov
