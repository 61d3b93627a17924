// Results of tasks. A task's result is a shared reference object (tasks,
// their completion closures and dependants all see the same one).
//
//   auto r = std::make_shared<ov::GeneralTaskResult>(true, std::nullopt);
//   r->refresh(false, ov::Error{"com.orvanta.task", 2, "failed"});   // overwrites both
//   auto ir = std::make_shared<ov::IndexableTaskResult>();           // also carries taskId
//
// Results are not synchronised: the task framework hands them from thread to
// thread through its queues.
#pragma once

#include <optional>
#include <string>

#include "OVUtility/Platform/Error.h"

namespace ov {

class TaskResult {
  public:
    virtual ~TaskResult() = default;
    virtual bool success() const = 0;
    virtual void setSuccess(bool success) = 0;
    virtual std::optional<Error> error() const = 0;
    virtual void setError(std::optional<Error> error) = 0;

    // Overwrites both fields in place.
    void refresh(bool success, std::optional<Error> error) {
        setSuccess(success);
        setError(std::move(error));
    }
};

class TaskResultIndexable : public virtual TaskResult {
  public:
    virtual std::string taskId() const = 0;
    virtual void setTaskId(std::string taskId) = 0;
};

class GeneralTaskResult : public virtual TaskResult {
  public:
    GeneralTaskResult() = default;
    GeneralTaskResult(bool success, std::optional<Error> error)
        : success_(success), error_(std::move(error)) {}

    bool success() const override { return success_; }
    void setSuccess(bool success) override { success_ = success; }
    std::optional<Error> error() const override { return error_; }
    void setError(std::optional<Error> error) override { error_ = std::move(error); }

  private:
    bool success_ = false;
    std::optional<Error> error_;
};

class IndexableTaskResult : public virtual TaskResultIndexable {
  public:
    IndexableTaskResult() = default;
    IndexableTaskResult(bool success, std::optional<Error> error, std::string taskId)
        : success_(success), error_(std::move(error)), taskId_(std::move(taskId)) {}

    bool success() const override { return success_; }
    void setSuccess(bool success) override { success_ = success; }
    std::optional<Error> error() const override { return error_; }
    void setError(std::optional<Error> error) override { error_ = std::move(error); }
    std::string taskId() const override { return taskId_; }
    void setTaskId(std::string taskId) override { taskId_ = std::move(taskId); }

  private:
    bool success_ = false;
    std::optional<Error> error_;
    std::string taskId_;
};

}  // namespace ov
