// A Boost.Asio application that runs its io_context on the main thread and
// uses the task manager: tasks run on the manager's operation queues, their
// completions arrive on the main queue, which AsioMainQueue serves as
// handlers of the same context. Exits 0 when every completion arrived on the
// main thread.
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdio>
#include <memory>

#include "OVUtility/Adapters/AsioMainQueue.h"
#include "OVUtility/Operations/OperationConfiguration.h"
#include "OVUtility/Platform/DispatchQueue.h"
#include "OVUtility/Platform/MainRunLoop.h"
#include "OVUtility/Tasks/StandardTask.h"
#include "OVUtility/Tasks/TaskManager.h"
#include "OVUtility/Tasks/TaskResult.h"

int main() {
    boost::asio::io_context io;
    ov::AsioMainQueue mainQueue(io);  // serve the main queue from this context

    constexpr int kTasks = 8;
    int completed = 0;
    bool allOnMain = true;
    auto onMain = std::make_shared<ov::MainQueueOperationConfiguration>();
    for (int i = 1; i <= kTasks; ++i) {
        auto task = ov::StandardClosureTask::make([](ov::GeneralTask&) {
            return std::make_shared<ov::GeneralTaskResult>(true, std::nullopt);
        });
        task->setOperationConfiguration(onMain);
        task->setCompletionClosure([&, i](std::shared_ptr<ov::TaskResult> result) {
            allOnMain = allOnMain && ov::MainRunLoop::isMainThread();
            std::printf("task %d %s\n", i, result->success() ? "done" : "failed");
            if (++completed == kTasks) io.stop();
        });
        task->execute();
    }
    // A main-queue timer and an Asio timer share the context.
    ov::DispatchQueue::main()->asyncAfter(0.01, [] { std::printf("main-queue timer fired\n"); });
    boost::asio::steady_timer tick(io, std::chrono::milliseconds(10));
    tick.async_wait([](const boost::system::error_code&) { std::printf("Asio timer fired\n"); });
    // Never hang: give up after 20 s.
    boost::asio::steady_timer guard(io, std::chrono::seconds(20));
    guard.async_wait([&](const boost::system::error_code& error) {
        if (!error) io.stop();
    });

    io.run();
    std::printf("%d of %d tasks completed on the main thread\n", allOnMain ? completed : 0, kTasks);
    return completed == kTasks && allOnMain ? 0 : 1;
}
