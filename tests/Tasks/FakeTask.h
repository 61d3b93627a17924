// Test doubles for the task protocols: a task adopting every protocol with
// plain storage, an executor that records calls and runs serialized closures
// when told to, and a bridge with a scripted state.
#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "OVUtility/Operations/OperationBridge.h"
#include "OVUtility/Tasks/TaskCompletable.h"
#include "OVUtility/Tasks/TaskDependable.h"
#include "OVUtility/Tasks/TaskExecutable.h"
#include "OVUtility/Tasks/TaskIndexable.h"

namespace ovtest {

class RecordingExecutor : public ov::TaskOperationExecutor {
  public:
    std::vector<std::shared_ptr<ov::OperationTask>> added;
    std::set<std::string> known;
    std::vector<std::pair<std::string, std::optional<ov::Error>>> cancelled;
    std::vector<std::function<void()>> pendingAsync;
    std::vector<bool> serializeWaits;

    void addTask(std::shared_ptr<ov::OperationTask> task) override { added.push_back(task); }
    bool taskExists(const std::string& id) override { return known.count(id) > 0; }
    void cancelTask(const std::string& id, std::optional<ov::Error> error) override {
        cancelled.emplace_back(id, std::move(error));
    }
    void cancelAllTasks(Query) override {}
    void serialize(bool shouldWait, std::function<void()> closure) override {
        serializeWaits.push_back(shouldWait);
        if (shouldWait) {
            closure();
        } else {
            pendingAsync.push_back(std::move(closure));
        }
    }
    void runPending() {
        auto pending = std::move(pendingAsync);
        pendingAsync.clear();
        for (auto& c : pending) c();
    }
};

class FakeTask : public virtual ov::TaskExecutable,
                 public virtual ov::TaskDependable,
                 public virtual ov::TaskCombinable,
                 public virtual ov::TaskDuplicable,
                 public virtual ov::TaskExclusible {
  public:
    explicit FakeTask(std::string id, std::shared_ptr<ov::TaskOperationExecutor> executor = nullptr)
        : id_(std::move(id)), executor_(std::move(executor)) {}

    // TaskCancelable
    bool markCancelled() const override { return cancelledMark; }
    void cancel(std::optional<ov::Error> error) override {
        cancelledMark = true;
        cancelErrors.push_back(std::move(error));
    }
    // OperationTask
    std::shared_ptr<ov::OperationBridge> operationBridge() const override { return bridge_.lock(); }
    void setOperationBridge(const std::shared_ptr<ov::OperationBridge>& bridge) override {
        bridge_ = bridge;
    }
    bool shouldChange(const ov::TaskState&) override { return acceptChanges; }
    void willChange(const ov::TaskState&, const ov::TaskState&) override {}
    void didChange(const ov::TaskState&, const ov::TaskState&) override {}
    // TaskIndexable / TaskExclusible
    std::string taskId() const override { return id_; }
    bool canBeIndexed() const override { return indexable_; }
    void setCanBeIndexed(bool value) override { indexable_ = value; }
    std::optional<std::string> exclusiveId() const override { return exclusive; }
    // TaskExecutable
    std::shared_ptr<ov::TaskOperationExecutor> taskExecutor() const override {
        return executor_.lock();
    }
    // TaskDependable / TaskCombinable
    std::vector<std::string>& dependencies() override { return dependencies_; }
    std::vector<std::shared_ptr<ov::TaskResult>>& previousResults() override { return previous_; }
    std::vector<std::shared_ptr<ov::TaskDependable>>& nextTasks() override { return next_; }
    // TaskCompletable / TaskDuplicable
    std::shared_ptr<ov::TaskResult> result() const override { return result_; }
    void setResult(std::shared_ptr<ov::TaskResult> r) override { result_ = std::move(r); }
    CompletionClosure completionClosure() const override { return completion_; }
    void setCompletionClosure(CompletionClosure c) override { completion_ = std::move(c); }
    std::vector<std::shared_ptr<ov::TaskDuplicable>>& duplicatedTasks() override {
        return duplicates_;
    }

    bool cancelledMark = false;
    bool acceptChanges = true;
    std::optional<std::string> exclusive;
    std::vector<std::optional<ov::Error>> cancelErrors;

  private:
    std::string id_;
    // Weak: the recording executor keeps the tasks it was given, and a
    // strong link back would make a cycle that outlives the test.
    std::weak_ptr<ov::TaskOperationExecutor> executor_;
    std::weak_ptr<ov::OperationBridge> bridge_;
    bool indexable_ = true;
    std::vector<std::string> dependencies_;
    std::vector<std::shared_ptr<ov::TaskResult>> previous_;
    std::vector<std::shared_ptr<ov::TaskDependable>> next_;
    std::shared_ptr<ov::TaskResult> result_;
    CompletionClosure completion_;
    std::vector<std::shared_ptr<ov::TaskDuplicable>> duplicates_;
};

// A plain indexable task that is neither duplicable nor exclusive.
class PlainIndexable : public ov::TaskIndexable {
  public:
    explicit PlainIndexable(std::string id) : id_(std::move(id)) {}
    std::string taskId() const override { return id_; }
    bool canBeIndexed() const override { return indexable_; }
    void setCanBeIndexed(bool value) override { indexable_ = value; }

  private:
    std::string id_;
    bool indexable_ = true;
};

// A bridge whose current state key is scripted; counts state queries.
class ScriptedBridge : public ov::OperationBridge {
  public:
    std::string stateKey = "isReady";
    bool operating = false;
    mutable int queries = 0;
    std::vector<std::string> updates;

    std::shared_ptr<ov::OperationTask> task() const override { return nullptr; }
    bool isOperating() const override { return operating; }
    bool isInState(const ov::TaskState& state) const override {
        ++queries;
        return state.kvoKeyPath() == stateKey;
    }
    bool update(const ov::TaskState& state) override {
        updates.emplace_back(state.kvoKeyPath());
        return true;
    }
};

}  // namespace ovtest
