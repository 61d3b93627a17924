// ov::TaskObject: the common root of every task protocol (OperationTask,
// TaskIndexable, TaskDependable, ...). Tasks are reference objects that live
// in a std::shared_ptr; the root gives every protocol the same object
// identity, so a task can be viewed through any of its protocols:
//
//   std::shared_ptr<ov::TaskIndexable> indexable = ...;
//   if (auto dependable = std::dynamic_pointer_cast<ov::TaskDependable>(indexable)) { ... }
//   std::weak_ptr<ov::TaskObject> weak = task->weak_from_this();   // for closures
//
// The protocols inherit it virtually, so a class adopting several protocols
// has exactly one TaskObject (and one enable_shared_from_this).
#pragma once

#include <memory>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Tasks/TaskCast.h"

namespace ov {

class OV_API TaskObject : public std::enable_shared_from_this<TaskObject> {
  public:
    virtual ~TaskObject() = default;

    // This object viewed as protocol `T`; empty when the object does not adopt
    // `T` or is not owned by a shared_ptr.
    template <typename T>
    std::shared_ptr<T> sharedAs() {
        return taskPointerCast<T>(weak_from_this().lock());
    }
    template <typename T>
    std::shared_ptr<const T> sharedAs() const {
        return taskPointerCast<const T>(weak_from_this().lock());
    }

  protected:
    TaskObject() = default;
    TaskObject(const TaskObject&) = default;
    // Tasks are reference objects shared through shared_ptr: never assigned.
    TaskObject& operator=(const TaskObject&) = delete;
};

}  // namespace ov
