// ov::NotificationObserver: a registration request for a NotificationReceiver
// (what to listen for, from which sender, delivered where).
//
//   receiver.add({"didLogIn", ov::AnyObject(session), ov::OperationQueue::main()},
//                [](const ov::Notification& n) { ... });
//
// `object` empty: any sender. `queue` (an OperationQueue or a DispatchQueue)
// empty: the block runs synchronously on the posting thread.
#pragma once

#include <memory>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/NotificationCenter.h"

namespace ov {

struct OV_API NotificationObserver {
    NotificationName name;
    AnyObject object;
    NotificationQueue queue;
};

}  // namespace ov
