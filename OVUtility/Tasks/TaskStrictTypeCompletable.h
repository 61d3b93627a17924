// ov::TaskStrictTypeCompletable<Result, Config>: a task whose result and
// configuration have fixed concrete types, so callers need no casts:
//
//   class FetchTask : public ov::DynamicTask,
//                     public ov::TaskStrictTypeCompletable<FetchResult, FetchConfig> {
//     public:
//       static std::shared_ptr<FetchTask> make(FetchConfig config);   // the initialiser
//       std::shared_ptr<FetchResult> typedResult() const override;
//       const FetchConfig& typedConfiguration() const override;
//       void complete(std::shared_ptr<FetchResult> result) override;
//   };
//   static_assert(ov::StrictTypeCompletableTask<FetchTask>);
//
// A C++ interface cannot require a constructor, so the initialiser is a
// static `make(ConfigType)`, checked by the concept StrictTypeCompletableTask.
#pragma once

#include <concepts>
#include <memory>

#include "OVUtility/Tasks/TaskCompletable.h"
#include "OVUtility/Tasks/TaskConfigurable.h"
#include "OVUtility/Tasks/TaskExecutable.h"

namespace ov {

template <typename ResultT, typename ConfigT>
class TaskStrictTypeCompletable : public virtual TaskExecutable,
                                  public virtual TaskConfigurable,
                                  public virtual TaskCompletable {
  public:
    using ResultType = ResultT;
    using ConfigType = ConfigT;

    // The result as its concrete type (empty while none of that type is set).
    virtual std::shared_ptr<ResultType> typedResult() const = 0;
    // The configuration the task was created from.
    virtual const ConfigType& typedConfiguration() const = 0;
    // Completes the task with a typed result.
    virtual void complete(std::shared_ptr<ResultType> result) = 0;
};

template <typename T>
concept StrictTypeCompletableTask = std::derived_from<
    T, TaskStrictTypeCompletable<typename T::ResultType, typename T::ConfigType>> &&
    requires(typename T::ConfigType config) {
    { T::make(config) } -> std::convertible_to<std::shared_ptr<T>>;
};

}  // namespace ov
