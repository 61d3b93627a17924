// A task for operation tests: records the operation's hook calls and
// key-value notifications (as "will:key" / "did:key" / "task-will:a>b" /
// "task-did:a>b") in one ordered, thread-safe log.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "OVUtility/Operations/OperationConfiguration.h"
#include "OVUtility/Operations/SafeOperation.h"
#include "OVUtility/Platform/OperationQueue.h"
#include "OVUtility/Tasks/OperationTask.h"
#include "OVUtility/Tasks/TaskConfigurable.h"
#include "support/EventLog.h"

namespace ovtest {

class RecordingTask : public ov::OperationTask, public ov::TaskConfigurable {
  public:
    explicit RecordingTask(std::shared_ptr<EventLog> log,
                           std::shared_ptr<ov::StoredOperationConfiguration> config = nullptr)
        : log_(std::move(log)), config_(std::move(config)) {}

    bool markCancelled() const override { return false; }
    void cancel(std::optional<ov::Error>) override {}
    std::shared_ptr<const ov::PriorityValue> priority() const override {
        return priority_ ? priority_ : OperationTask::priority();
    }
    ov::TaskQualityOfService qualityOfService() const override { return qos_; }
    std::shared_ptr<ov::OperationBridge> operationBridge() const override { return bridge_.lock(); }
    void setOperationBridge(const std::shared_ptr<ov::OperationBridge>& bridge) override {
        bridge_ = bridge;
    }
    bool shouldChange(const ov::TaskState&) override { return accept; }
    void willChange(const ov::TaskState& from, const ov::TaskState& to) override {
        log_->add("task-will:" + std::string(from.kvoKeyPath()) + ">" +
                  std::string(to.kvoKeyPath()));
        if (onWillChange) onWillChange();
    }
    void didChange(const ov::TaskState& from, const ov::TaskState& to) override {
        log_->add("task-did:" + std::string(from.kvoKeyPath()) + ">" +
                  std::string(to.kvoKeyPath()));
    }
    std::shared_ptr<const ov::TaskConfiguration> configuration() const override {
        return std::make_shared<ov::DefaultTaskConfiguration>();
    }
    std::shared_ptr<const ov::OperationConfiguration> operationConfiguration() const override {
        return config_;
    }

    bool accept = true;
    std::shared_ptr<const ov::PriorityValue> priority_;
    ov::TaskQualityOfService qos_ = ov::TaskQualityOfService::veryLow;
    std::function<void()> onWillChange;

  private:
    std::shared_ptr<EventLog> log_;
    std::shared_ptr<ov::StoredOperationConfiguration> config_;
    std::weak_ptr<ov::OperationBridge> bridge_;
};

// A default configuration without callback queue: transitions and callbacks
// happen on the calling thread, so the log order is deterministic.
inline std::shared_ptr<ov::StoredOperationConfiguration> inlineConfiguration() {
    auto config = std::make_shared<ov::DefaultOperationConfiguration>();
    config->setCallbackQueue(nullptr);
    return config;
}

// Observes every key of `op` into `log`.
inline void observeAll(ov::SafeOperation& op, const std::shared_ptr<EventLog>& log) {
    op.addObserver([log](std::string_view key, ov::KeyValueChange change) {
        log->add((change == ov::KeyValueChange::willChange ? "will:" : "did:") + std::string(key));
    });
}

}  // namespace ovtest
