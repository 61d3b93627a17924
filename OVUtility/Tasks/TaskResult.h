// Results of tasks. A task's result is a shared reference object (tasks,
// their completion closures and dependants all see the same one).
//
//   auto r = std::make_shared<ov::GeneralTaskResult>(true, std::nullopt);
//   r->refresh(false, ov::Error{"com.orvanta.task", 2, "failed"});   // overwrites both
//   auto ir = std::make_shared<ov::IndexableTaskResult>();           // also carries taskId
//
// The two result classes are synchronised (a one-byte lock per result): a
// completion closure may read a result while a late cancel(error) on its task
// stores the error in it from another thread.
#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/Error.h"
#include "OVUtility/Platform/SpinLock.h"

namespace ov {

class OV_API TaskResult {
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

class OV_API TaskResultIndexable : public virtual TaskResult {
  public:
    virtual std::string taskId() const = 0;
    virtual void setTaskId(std::string taskId) = 0;
};

namespace detail {

// The success and error fields of the result classes below, behind one lock.
template <typename Interface>
class SynchronisedResult : public virtual Interface {
  public:
    bool success() const override {
        std::lock_guard guard(lock_);
        return success_;
    }
    void setSuccess(bool success) override {
        std::lock_guard guard(lock_);
        success_ = success;
    }
    std::optional<Error> error() const override {
        std::lock_guard guard(lock_);
        return error_;
    }
    void setError(std::optional<Error> error) override {
        std::lock_guard guard(lock_);
        error_ = std::move(error);
    }

  protected:
    SynchronisedResult() = default;
    SynchronisedResult(bool success, std::optional<Error> error)
        : success_(success), error_(std::move(error)) {}

    mutable SpinLock lock_;

  private:
    bool success_ = false;
    std::optional<Error> error_;
};

}  // namespace detail

class OV_API GeneralTaskResult : public detail::SynchronisedResult<TaskResult> {
  public:
    GeneralTaskResult() = default;
    GeneralTaskResult(bool success, std::optional<Error> error)
        : SynchronisedResult(success, std::move(error)) {}
};

class OV_API IndexableTaskResult : public detail::SynchronisedResult<TaskResultIndexable> {
  public:
    IndexableTaskResult() = default;
    IndexableTaskResult(bool success, std::optional<Error> error, std::string taskId)
        : SynchronisedResult(success, std::move(error)), taskId_(std::move(taskId)) {}

    std::string taskId() const override {
        std::lock_guard guard(lock_);
        return taskId_;
    }
    void setTaskId(std::string taskId) override {
        std::lock_guard guard(lock_);
        taskId_ = std::move(taskId);
    }

  private:
    std::string taskId_;
};

}  // namespace ov
