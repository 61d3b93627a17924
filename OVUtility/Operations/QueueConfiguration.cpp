#include "OVUtility/Operations/QueueConfiguration.h"

#include "OVUtility/Platform/OperationQueue.h"

namespace ov {

std::shared_ptr<OperationQueue> makeOperationQueue(const QueueConfiguration& configuration) {
    auto queue = OperationQueue::make();
    queue->setMaxConcurrentOperationCount(configuration.maxConcurrentOperationCount());
    queue->setQualityOfService(bridgeValue(configuration.qualityOfService()));
    queue->setName(configuration.queueName());
    return queue;
}

}  // namespace ov
