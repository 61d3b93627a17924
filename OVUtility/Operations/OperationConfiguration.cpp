#include "OVUtility/Operations/OperationConfiguration.h"

#include "OVUtility/Operations/OperationQueueAdditions.h"
#include "OVUtility/Platform/OperationQueue.h"

namespace ov {

namespace {

// The values of any configuration, frozen.
struct ConfigurationSnapshot final : StoredOperationConfiguration {
    explicit ConfigurationSnapshot(const OperationConfiguration& source)
        : StoredOperationConfiguration(source.callbackQueue()) {
        setIsAsync(source.isAsync());
        setIsThreadSafe(source.isThreadSafe());
        setQualityOfService(source.qualityOfService());
        setExpiration(source.expiration());
        setDeIndexBeforeCompletion(source.deIndexBeforeCompletion());
    }
};

}  // namespace

std::shared_ptr<const OperationConfiguration> OperationConfiguration::copy() const {
    return std::make_shared<const ConfigurationSnapshot>(*this);
}

std::shared_ptr<const OperationConfiguration> DefaultOperationConfiguration::copy() const {
    return std::make_shared<const DefaultOperationConfiguration>(*this);
}

std::shared_ptr<const OperationConfiguration> MainQueueOperationConfiguration::copy() const {
    return std::make_shared<const MainQueueOperationConfiguration>(*this);
}

DefaultOperationConfiguration::DefaultOperationConfiguration()
    : StoredOperationConfiguration(sharedCallBackQueue()) {}

MainQueueOperationConfiguration::MainQueueOperationConfiguration()
    : StoredOperationConfiguration(OperationQueue::main()) {}

}  // namespace ov
