// Queue configurations: plain values describing one operation queue of the
// task manager (the priority band it serves, its concurrency, quality of
// service and name), and how a queue is built from one.
//
//   ov::SerialQueueConfiguration serial;              // medium, 1, veryLow, no name
//   serial.setPriority(ov::TaskPriority::high);
//   ov::ConcurrentQueueConfiguration concurrent;      // medium, -1, veryLow, no name
//   auto queue = ov::makeOperationQueue(concurrent);  // background quality, default maximum
//
// Copies are independent; a queue built from one keeps what it was given.
// The default quality veryLow (background) is intended.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Tasks/TaskPriority.h"

namespace ov {

class OperationQueue;

class OV_API QueueConfiguration {
  public:
    virtual ~QueueConfiguration() = default;
    virtual std::shared_ptr<const PriorityValue> priority() const = 0;
    // 1: serial; -1: the operation queue's default maximum.
    virtual int maxConcurrentOperationCount() const = 0;
    virtual TaskQualityOfService qualityOfService() const = 0;
    // Default: no name.
    virtual std::optional<std::string> queueName() const { return std::nullopt; }
};

// Shared storage of the two public configurations.
class OV_API StoredQueueConfiguration : public QueueConfiguration {
  public:
    std::shared_ptr<const PriorityValue> priority() const override { return priority_; }
    void setPriority(std::shared_ptr<const PriorityValue> priority) {
        if (priority) priority_ = std::move(priority);
    }
    void setPriority(TaskPriority priority) { priority_ = TaskPriority::shared(priority.value()); }
    int maxConcurrentOperationCount() const override { return maxConcurrentOperationCount_; }
    void setMaxConcurrentOperationCount(int count) { maxConcurrentOperationCount_ = count; }
    TaskQualityOfService qualityOfService() const override { return qualityOfService_; }
    void setQualityOfService(TaskQualityOfService qos) { qualityOfService_ = qos; }

  protected:
    explicit StoredQueueConfiguration(int maxConcurrentOperationCount)
        : maxConcurrentOperationCount_(maxConcurrentOperationCount) {}

  private:
    std::shared_ptr<const PriorityValue> priority_ = TaskPriority::shared(TaskPriority::medium);
    int maxConcurrentOperationCount_;
    TaskQualityOfService qualityOfService_ = TaskQualityOfService::veryLow;
};

// Priority medium, one operation at a time, quality veryLow, no name.
struct OV_API SerialQueueConfiguration final : StoredQueueConfiguration {
    SerialQueueConfiguration() : StoredQueueConfiguration(1) {}
};

// Priority medium, the default maximum (-1), quality veryLow, no name.
struct OV_API ConcurrentQueueConfiguration final : StoredQueueConfiguration {
    ConcurrentQueueConfiguration() : StoredQueueConfiguration(-1) {}
};

// The configuration of a queue the task manager makes for a task on demand:
// fixed priority, count and quality; a writable name.
class OV_API TaskQueueConfiguration final : public QueueConfiguration {
  public:
    TaskQueueConfiguration(std::shared_ptr<const PriorityValue> priority,
                           int maxConcurrentOperationCount, TaskQualityOfService qualityOfService)
        : priority_(priority ? std::move(priority) : TaskPriority::shared(TaskPriority::medium)),
          maxConcurrentOperationCount_(maxConcurrentOperationCount),
          qualityOfService_(qualityOfService) {}

    std::shared_ptr<const PriorityValue> priority() const override { return priority_; }
    int maxConcurrentOperationCount() const override { return maxConcurrentOperationCount_; }
    TaskQualityOfService qualityOfService() const override { return qualityOfService_; }
    std::optional<std::string> queueName() const override { return queueName_; }
    void setQueueName(std::optional<std::string> name) { queueName_ = std::move(name); }

  private:
    std::shared_ptr<const PriorityValue> priority_;
    int maxConcurrentOperationCount_;
    TaskQualityOfService qualityOfService_;
    std::optional<std::string> queueName_;
};

// A new operation queue with the configuration's maximum, quality of service
// (bridged) and name. Keying it by priority is the caller's business.
OV_API std::shared_ptr<OperationQueue> makeOperationQueue(const QueueConfiguration& configuration);

}  // namespace ov
