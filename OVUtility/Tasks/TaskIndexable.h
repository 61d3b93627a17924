// Identity protocols of tasks:
// - TaskIndexable: a `taskId` by which the task manager indexes the task, and
//   `canBeIndexed` (a task switched off is invisible to index lookups).
// - TaskExclusible: an optional `exclusiveId`; a registered task refuses a
//   newcomer with the same id and the same exclusive id (see TaskMap).
#pragma once

#include <optional>
#include <string>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Tasks/TaskObject.h"

namespace ov {

class OV_API TaskIndexable : public virtual TaskObject {
  public:
    virtual std::string taskId() const = 0;
    virtual bool canBeIndexed() const = 0;
    virtual void setCanBeIndexed(bool canBeIndexed) = 0;
};

class OV_API TaskExclusible : public virtual TaskIndexable {
  public:
    virtual std::optional<std::string> exclusiveId() const = 0;
};

}  // namespace ov
