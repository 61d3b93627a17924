#include "OVUtility/Tasks/TaskMap.h"

#include "OVUtility/Tasks/TaskCompletable.h"

namespace ov {

void TaskMap::index(std::shared_ptr<TaskIndexable> task) {
    if (!task) return;
    std::string id = task->taskId();
    index(std::move(task), std::move(id));
}

void TaskMap::index(std::shared_ptr<TaskIndexable> task, std::string taskId) {
    if (!task) return;
    map_.insert_or_assign(std::move(taskId), std::move(task));
}

std::shared_ptr<TaskIndexable> TaskMap::indexedTask(const std::string& indexId) const {
    auto it = map_.find(indexId);
    if (it == map_.end() || !it->second->canBeIndexed()) return nullptr;
    return it->second;
}

bool TaskMap::isIndexed(const std::string& indexId) const {
    return indexedTask(indexId) != nullptr;
}

void TaskMap::deIndex(const std::string& indexId) {
    map_.erase(indexId);
}

bool TaskMap::canIndex(const std::shared_ptr<TaskIndexable>& task) {
    if (!task) return false;
    return canIndex(task, task->taskId());
}

bool TaskMap::canIndex(const std::shared_ptr<TaskIndexable>& task, const std::string& taskId) {
    if (!task) return false;
    auto existing = indexedTask(taskId);
    if (!existing) return true;

    auto newExclusive = std::dynamic_pointer_cast<TaskExclusible>(task);
    auto oldExclusive = std::dynamic_pointer_cast<TaskExclusible>(existing);
    if (newExclusive && oldExclusive) {
        auto a = newExclusive->exclusiveId();
        auto b = oldExclusive->exclusiveId();
        if (a && b && *a == *b) return false;
    }

    if (taskId != existing->taskId()) return true;

    auto newDuplicable = std::dynamic_pointer_cast<TaskDuplicable>(task);
    if (!newDuplicable) return false;
    if (auto oldDuplicable = std::dynamic_pointer_cast<TaskDuplicable>(existing)) {
        oldDuplicable->processDuplicateTask(newDuplicable);
    }
    return false;
}

std::shared_ptr<TaskIndexable> TaskMap::indexUnlessTaken(const std::shared_ptr<TaskIndexable>& task,
                                                         const std::string& taskId) {
    if (!task) return nullptr;
    auto [it, inserted] = map_.try_emplace(taskId, task);
    if (inserted) return nullptr;
    if (it->second->canBeIndexed()) return it->second;
    it->second = task;  // an invisible entry gives way, as index() would
    return nullptr;
}

void TaskMap::deIndexUnlessReplaced(const TaskIndexable& task, const std::string& taskId) {
    auto it = map_.find(taskId);
    if (it == map_.end()) return;
    if (it->second.get() != &task && it->second->canBeIndexed()) return;
    map_.erase(it);
}

std::vector<std::shared_ptr<TaskIndexable>> TaskMap::allIndexedTasks() const {
    std::vector<std::shared_ptr<TaskIndexable>> all;
    all.reserve(map_.size());
    for (const auto& [id, task] : map_) all.push_back(task);
    return all;
}

}  // namespace ov
