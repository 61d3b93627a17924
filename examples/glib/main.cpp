// A GLib application that keeps its own main loop and uses the task manager:
// tasks run on the manager's operation queues, their completions arrive on
// the main queue, which GLibMainQueueSource serves from the GLib loop. A
// GLib timeout and a main-queue timer tick alongside. Exits 0 when every
// completion arrived on the main thread.
#include <glib.h>

#include <cstdio>
#include <memory>

#include "OVUtility/Adapters/GLibMainQueueSource.h"
#include "OVUtility/Operations/OperationConfiguration.h"
#include "OVUtility/Platform/DispatchQueue.h"
#include "OVUtility/Platform/MainRunLoop.h"
#include "OVUtility/Tasks/StandardTask.h"
#include "OVUtility/Tasks/TaskManager.h"
#include "OVUtility/Tasks/TaskResult.h"

int main() {
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    ov::GLibMainQueueSource mainQueue;  // serve the main queue from this loop

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
            if (++completed == kTasks) g_main_loop_quit(loop);
        });
        task->execute();
    }
    // A main-queue timer and a GLib timer share the loop.
    ov::DispatchQueue::main()->asyncAfter(0.01, [] { std::printf("main-queue timer fired\n"); });
    g_timeout_add(
        10,
        [](gpointer) -> gboolean {
            std::printf("GLib timeout fired\n");
            return G_SOURCE_REMOVE;
        },
        nullptr);
    // Never hang: give up after 20 s.
    g_timeout_add_seconds(
        20,
        [](gpointer l) -> gboolean {
            g_main_loop_quit(static_cast<GMainLoop*>(l));
            return G_SOURCE_REMOVE;
        },
        loop);

    g_main_loop_run(loop);
    g_main_loop_unref(loop);
    std::printf("%d of %d tasks completed on the main thread\n", allOnMain ? completed : 0, kTasks);
    return completed == kTasks && allOnMain ? 0 : 1;
}
