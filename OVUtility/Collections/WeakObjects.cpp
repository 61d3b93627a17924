#include "OVUtility/Collections/WeakObjects.h"

namespace ov::detail {

std::shared_ptr<DispatchQueue> makeWeakObjectsQueue() {
    return DispatchQueue::make("com.orvanta.weakObjects.serialQueue",
                               DispatchQueue::Attributes::serial, QualityOfService::unspecified,
                               DispatchQueue::global(QualityOfService::defaultQoS));
}

}  // namespace ov::detail
