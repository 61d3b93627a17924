// ov::TaskIndexer: how the task manager keeps track of live tasks: register
// by taskId, look up, decide whether a newcomer may be accepted (duplicates
// and exclusivity), remove and list. TaskMap is the implementation.
// Not thread-safe: the task manager calls it from its serial queue only.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Tasks/TaskIndexable.h"

namespace ov {

class OV_API TaskIndexer {
  public:
    virtual ~TaskIndexer() = default;
    virtual void index(std::shared_ptr<TaskIndexable> task) = 0;
    virtual std::shared_ptr<TaskIndexable> indexedTask(const std::string& indexId) const = 0;
    virtual bool isIndexed(const std::string& indexId) const = 0;
    virtual void deIndex(const std::string& indexId) = 0;
    virtual bool canIndex(const std::shared_ptr<TaskIndexable>& task) = 0;
    virtual std::vector<std::shared_ptr<TaskIndexable>> allIndexedTasks() const = 0;

    // The same two steps for a caller that already holds the task's id
    // (`taskId` equals task->taskId()), sparing the indexer another copy of
    // it. By default they forward to the forms above.
    virtual void index(std::shared_ptr<TaskIndexable> task, std::string taskId) {
        (void)taskId;
        index(std::move(task));
    }
    virtual bool canIndex(const std::shared_ptr<TaskIndexable>& task, const std::string& taskId) {
        (void)taskId;
        return canIndex(task);
    }
};

}  // namespace ov
