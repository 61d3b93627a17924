// Operation configurations: plain values describing how a task runs in its
// SafeOperation.
//
// | field                   | meaning                                             | default |
// | isAsync                 | the operation's isAsynchronous flag                 | true    |
// | isThreadSafe            | the operation locks around state changes and tests  | true    |
// | qualityOfService        | requested for the task's work (read by the tasks)   | veryLow |
// | callbackQueue           | completion callbacks and handed-over transitions    | shared callback
// queue | | expiration              | seconds; > 0 cancels a still-running operation then | 0 | |
// deIndexBeforeCompletion | leave the task index before completion is delivered | false   |
//
// MainQueueOperationConfiguration differs only in callbackQueue (the main
// operation queue).
//
// Configurations are values: a task keeps its own copy (copy(), taken by
// setOperationConfiguration), so changing a configuration object after
// handing it to a task changes nothing the task, its operation or the task
// manager sees, and no thread reads an object another one is changing.
//
//   auto config = std::make_shared<ov::DefaultOperationConfiguration>();
//   config->setExpiration(2.0);
//   config->callbackQueue() == ov::sharedCallBackQueue();   // same object every time
#pragma once

#include <memory>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Tasks/TaskPriority.h"

namespace ov {

class OperationQueue;

class OV_API OperationConfiguration {
  public:
    virtual ~OperationConfiguration() = default;
    virtual bool isAsync() const = 0;
    virtual bool isThreadSafe() const = 0;
    virtual TaskQualityOfService qualityOfService() const = 0;
    virtual std::shared_ptr<OperationQueue> callbackQueue() const = 0;
    virtual double expiration() const = 0;
    virtual bool deIndexBeforeCompletion() const = 0;
    // An independent copy with the same values. Default: a copy of the six
    // values (a configuration type with more state overrides it).
    virtual std::shared_ptr<const OperationConfiguration> copy() const;
};

// Shared storage of the two public configurations.
class OV_API StoredOperationConfiguration : public OperationConfiguration {
  public:
    bool isAsync() const override { return isAsync_; }
    void setIsAsync(bool value) { isAsync_ = value; }
    bool isThreadSafe() const override { return isThreadSafe_; }
    void setIsThreadSafe(bool value) { isThreadSafe_ = value; }
    TaskQualityOfService qualityOfService() const override { return qualityOfService_; }
    void setQualityOfService(TaskQualityOfService value) { qualityOfService_ = value; }
    std::shared_ptr<OperationQueue> callbackQueue() const override { return callbackQueue_; }
    void setCallbackQueue(std::shared_ptr<OperationQueue> queue) {
        callbackQueue_ = std::move(queue);
    }
    double expiration() const override { return expiration_; }
    void setExpiration(double seconds) { expiration_ = seconds; }
    bool deIndexBeforeCompletion() const override { return deIndexBeforeCompletion_; }
    void setDeIndexBeforeCompletion(bool value) { deIndexBeforeCompletion_ = value; }

  protected:
    explicit StoredOperationConfiguration(std::shared_ptr<OperationQueue> callbackQueue)
        : callbackQueue_(std::move(callbackQueue)) {}

  private:
    bool isAsync_ = true;
    bool isThreadSafe_ = true;
    TaskQualityOfService qualityOfService_ = TaskQualityOfService::veryLow;
    std::shared_ptr<OperationQueue> callbackQueue_;
    double expiration_ = 0.0;
    bool deIndexBeforeCompletion_ = false;
};

// Callbacks on the shared serial callback queue (sharedCallBackQueue()).
struct OV_API DefaultOperationConfiguration final : StoredOperationConfiguration {
    DefaultOperationConfiguration();
    std::shared_ptr<const OperationConfiguration> copy() const override;
};

// Callbacks on the main operation queue (OperationQueue::main()).
struct OV_API MainQueueOperationConfiguration final : StoredOperationConfiguration {
    MainQueueOperationConfiguration();
    std::shared_ptr<const OperationConfiguration> copy() const override;
};

}  // namespace ov
