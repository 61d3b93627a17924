#include "OVUtility/Operations/OperationConfiguration.h"

#include "OVUtility/Operations/OperationQueueAdditions.h"
#include "OVUtility/Platform/OperationQueue.h"

namespace ov {

DefaultOperationConfiguration::DefaultOperationConfiguration()
    : StoredOperationConfiguration(sharedCallBackQueue()) {}

MainQueueOperationConfiguration::MainQueueOperationConfiguration()
    : StoredOperationConfiguration(OperationQueue::main()) {}

}  // namespace ov
