// ov::TaskConfigurable: a task that carries a task configuration (a marker
// type; DefaultTaskConfiguration when nothing special is configured) and an
// operation configuration (how its SafeOperation runs; see
// OVUtility/Operations/OperationConfiguration.h).
//
//   auto config = std::make_shared<ov::DefaultOperationConfiguration>();
//   config->setExpiration(2.0);
//   task->setOperationConfiguration(config);     // on task classes that allow it
#pragma once

#include <memory>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Tasks/TaskObject.h"

namespace ov {

class OperationConfiguration;

// Marker for configurations that tasks carry; no requirements.
class OV_API TaskConfiguration {
  public:
    virtual ~TaskConfiguration() = default;
};

struct OV_API DefaultTaskConfiguration final : TaskConfiguration {};

class OV_API TaskConfigurable : public virtual TaskObject {
  public:
    virtual std::shared_ptr<const TaskConfiguration> configuration() const = 0;
    virtual std::shared_ptr<const OperationConfiguration> operationConfiguration() const = 0;
};

}  // namespace ov
