// Lifecycle protocols of tasks:
// - TaskInterruptable: a running task that can be paused and resumed (the
//   operation moves to TaskStatePaused / TaskStateResumed).
// - TaskDisposable: a task whose on-demand queue is removed when it completes.
#pragma once

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Tasks/OperationTask.h"

namespace ov {

class OV_API TaskInterruptable : public virtual OperationTask {
  public:
    virtual void pause() = 0;
    virtual void resume() = 0;
};

class OV_API TaskDisposable : public virtual TaskPrioritizable {
  public:
    virtual bool shouldRemoveQueueOnComplete() const = 0;
};

}  // namespace ov
