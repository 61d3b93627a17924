// ov::TaskMap: the task manager's TaskIndexer, a map from taskId to task
// (holding the tasks strongly).
//
// Rules:
// - `index` replaces an entry with the same id.
// - Lookups (`indexedTask`, `isIndexed`) ignore a task whose canBeIndexed()
//   is false, although its entry stays in the map.
// - `canIndex(new)`: true when no visible task has new's id; false when both
//   are TaskExclusible with equal non-empty exclusive ids; true when the ids
//   differ; otherwise a duplicate: refused, and when both are TaskDuplicable
//   the newcomer is first handed to the registered task
//   (`processDuplicateTask`). Exclusivity is thus only checked between tasks
//   that share an id.
// - `allIndexedTasks` lists entries in the map's own (unspecified) order.
// No lock: the task manager calls it from its serial queue only.
#pragma once

#include <unordered_map>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Tasks/TaskIndexer.h"

namespace ov {

class OV_API TaskMap : public TaskIndexer {
  public:
    void index(std::shared_ptr<TaskIndexable> task) override;
    void index(std::shared_ptr<TaskIndexable> task, std::string taskId) override;
    std::shared_ptr<TaskIndexable> indexedTask(const std::string& indexId) const override;
    bool isIndexed(const std::string& indexId) const override;
    void deIndex(const std::string& indexId) override;
    bool canIndex(const std::shared_ptr<TaskIndexable>& task) override;
    bool canIndex(const std::shared_ptr<TaskIndexable>& task, const std::string& taskId) override;
    std::vector<std::shared_ptr<TaskIndexable>> allIndexedTasks() const override;

    // One hash lookup each, for the task manager's admission and completion
    // (same results as the operations above under this class's rules):
    // - registers `task` under `taskId` unless a visible task holds that id,
    //   and returns that task (the index is then unchanged), else null;
    // - removes the entry under `taskId` unless another visible task holds it.
    std::shared_ptr<TaskIndexable> indexUnlessTaken(const std::shared_ptr<TaskIndexable>& task,
                                                    const std::string& taskId);
    void deIndexUnlessReplaced(const TaskIndexable& task, const std::string& taskId);

    const std::unordered_map<std::string, std::shared_ptr<TaskIndexable>>& map() const {
        return map_;
    }

  private:
    std::unordered_map<std::string, std::shared_ptr<TaskIndexable>> map_;
};

}  // namespace ov
