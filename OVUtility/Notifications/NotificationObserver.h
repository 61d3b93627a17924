// ov::NotificationObserver: a registration request for a NotificationReceiver
// (what to listen for, from which sender, delivered where).
//
//   receiver.add({"didLogIn", ov::AnyObject(session), ov::DispatchQueue::main()},
//                [](const ov::Notification& n) { ... });
//
// `object` empty: any sender. `queue` empty: the block runs synchronously on
// the posting thread.
#pragma once

#include <memory>

#include "OVUtility/Platform/Notification.h"

namespace ov {

class DispatchQueue;

struct NotificationObserver {
    NotificationName name;
    AnyObject object;
    std::shared_ptr<DispatchQueue> queue;
};

}  // namespace ov
