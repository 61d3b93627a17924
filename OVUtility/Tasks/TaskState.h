// ov::TaskState: a state of a task's operation, identified by its key path
// (the key under which the operation announces it through key-value
// observation). States are empty values; two states are equal when their key
// paths are equal, never by type.
//
//   if (task->isInState(ov::TaskStatePaused{})) { ... }
//   bool same = ov::TaskStatePaused{} == other;          // compares kvoKeyPath()
//   const ov::TaskState& s = ov::TaskStateResumed::instance();
//
// Each state type has one shared instance (`instance()`, also reachable from
// any value through `canonical()`); operations store pointers to those, so a
// state change never allocates. New state types derive from
// `TaskStateValue<NewState>` and implement `kvoKeyPath()`.
// The six operation states live in OVUtility/Operations/OperationState.h.
#pragma once

#include <string_view>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

class OV_API TaskState {
  public:
    virtual ~TaskState() = default;
    virtual std::string_view kvoKeyPath() const = 0;
    // The process-wide instance of this value's type (same dynamic type).
    virtual const TaskState& canonical() const = 0;

    friend bool operator==(const TaskState& a, const TaskState& b) {
        return a.kvoKeyPath() == b.kvoKeyPath();
    }
};

// Supplies `instance()` and `canonical()` for an empty state type `Derived`
// deriving (through this) from `Base` (TaskState or a refinement of it).
template <typename Derived, typename Base = TaskState>
class OV_API TaskStateValue : public Base {
  public:
    static const Derived& instance() {
        static const Derived* const value = new Derived();  // never destroyed
        return *value;
    }
    const TaskState& canonical() const override { return instance(); }
};

struct OV_API TaskStatePaused final : TaskStateValue<TaskStatePaused> {
    std::string_view kvoKeyPath() const override { return "isPaused"; }
};

struct OV_API TaskStateResumed final : TaskStateValue<TaskStateResumed> {
    std::string_view kvoKeyPath() const override { return "isResumed"; }
};

}  // namespace ov
