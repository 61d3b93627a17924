// ov::StandardTask: the ready-made task class, a ManagedTask: a GeneralTask
// that is also indexable (by a fresh "--standard-task-<UUID>" id), executable
// through a task manager (the shared one unless replaced), dependable,
// combinable and disposable. Use it through its two closure variants or
// subclass it:
//
//   auto login = ov::StandardClosureTask::make([](ov::GeneralTask&) {
//       return std::make_shared<ov::GeneralTaskResult>(signIn(), std::nullopt);
//   });
//   auto fetch = ov::StandardAsyncClosureTask::make([](ov::GeneralTask&, auto done) {
//       http.get(url, [done](bool ok) { done(std::make_shared<ov::GeneralTaskResult>(ok,
//       std::nullopt)); });
//   });
//   fetch->executeAfter(login);        // queued once login has completed
//   login->execute();
//
// - StandardClosureTask: the closure runs on the operation's thread; its
//   result is stored and the task finishes (an unsuccessful result counts as
//   a cancellation, see GeneralTask).
// - StandardAsyncClosureTask: the closure gets a callback that may be called
//   later from any thread; the operation stays executing until then. The
//   callback holds the task weakly; an unsuccessful result becomes
//   cancel(result's error). With executeOnMainQueue the closure runs on the
//   main queue (at once when already on the main thread).
// - description(): the dynamic class name (after the last "__"), else the id.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Tasks/ManagedTask.h"

namespace ov {

class OV_API StandardTask : public ManagedTask {
  public:
    StandardTask();
    static std::shared_ptr<StandardTask> make() { return std::make_shared<StandardTask>(); }

    std::string description() const override;
    std::string debugDescription() const { return description(); }

  protected:
    // For subclasses with their own id prefix: the id is made once, with it.
    explicit StandardTask(std::string_view idPrefix);
};

// A StandardTask whose work is a synchronous closure ("--standard-closure-task-" ids).
class OV_API StandardClosureTask : public StandardTask {
  public:
    using TaskClosure = std::function<std::shared_ptr<TaskResult>(GeneralTask&)>;

    explicit StandardClosureTask(TaskClosure closure);
    StandardClosureTask() = delete;
    static std::shared_ptr<StandardClosureTask> make(TaskClosure closure) {
        return std::make_shared<StandardClosureTask>(std::move(closure));
    }

    const TaskClosure& taskClosure() const { return taskClosure_; }
    // Runs the closure on the operation's thread, stores its result, finish().
    void didExecute() override;

  private:
    const TaskClosure taskClosure_;
};

// A StandardTask whose work reports its result through a callback
// ("--standard-async-closure-task-" ids).
class OV_API StandardAsyncClosureTask : public StandardTask {
  public:
    using Callback = std::function<void(std::shared_ptr<TaskResult>)>;
    using TaskClosure = std::function<void(GeneralTask&, Callback)>;

    explicit StandardAsyncClosureTask(TaskClosure closure);
    StandardAsyncClosureTask() = delete;
    static std::shared_ptr<StandardAsyncClosureTask> make(TaskClosure closure) {
        return std::make_shared<StandardAsyncClosureTask>(std::move(closure));
    }

    // (false) Run the closure on the main queue.
    bool executeOnMainQueue() const { return executeOnMainQueue_.load(); }
    void setExecuteOnMainQueue(bool value) { executeOnMainQueue_.store(value); }
    const TaskClosure& taskClosure() const { return taskClosure_; }

    void didExecute() override;

  private:
    std::atomic<bool> executeOnMainQueue_{false};
    const TaskClosure taskClosure_;
};

}  // namespace ov
