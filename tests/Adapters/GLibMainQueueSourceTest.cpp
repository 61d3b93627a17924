// The main queue inside a real GLib main loop on the default context.
#include <gtest/gtest.h>

#include "OVUtility/Adapters/GLibMainQueueSource.h"
#include "support/HostLoopScenarios.h"

namespace {

class GLibHost : public ovtest::HostLoop {
  public:
    GLibHost() : loop_(g_main_loop_new(nullptr, FALSE)) {}
    ~GLibHost() override { g_main_loop_unref(loop_); }

    bool run(double seconds) override {
        timedOut_ = false;
        guint guard = g_timeout_add(static_cast<guint>(seconds * 1000), &onTimeout, this);
        g_main_loop_run(loop_);
        if (!timedOut_) g_source_remove(guard);
        return !timedOut_;
    }
    void quit() override { g_main_loop_quit(loop_); }
    void hostCall(double seconds, std::function<void()> work) override {
        auto* call = new std::function<void()>(std::move(work));
        g_timeout_add_full(G_PRIORITY_DEFAULT, static_cast<guint>(seconds * 1000), &onCall, call,
                           [](gpointer p) { delete static_cast<std::function<void()>*>(p); });
    }

  private:
    static gboolean onTimeout(gpointer p) {
        auto* self = static_cast<GLibHost*>(p);
        self->timedOut_ = true;
        g_main_loop_quit(self->loop_);
        return G_SOURCE_REMOVE;
    }
    static gboolean onCall(gpointer p) {
        (*static_cast<std::function<void()>*>(p))();
        return G_SOURCE_REMOVE;
    }

    GMainLoop* loop_;
    ov::GLibMainQueueSource source_;
    bool timedOut_ = false;
};

}  // namespace

TEST(GLibMainQueueSource, RunsBlocksFromOtherThreadsInOrderAndAnswersSync) {
    GLibHost host;
    ovtest::expectCrossThreadOrder(host);
}

TEST(GLibMainQueueSource, FiresMainQueueTimersInDeadlineOrder) {
    GLibHost host;
    ovtest::expectTimersInDeadlineOrder(host);
}

TEST(GLibMainQueueSource, SharesTheLoopFairlyWithOtherSources) {
    GLibHost host;
    ovtest::expectFairnessWithHostSources(host);
}

TEST(GLibMainQueueSource, DetachedSourceStopsServingTheMainQueue) {
    bool ran = false;
    {
        GLibHost host;
        ov::DispatchQueue::main()->async([&] { host.quit(); });
        ASSERT_TRUE(host.run(20.0));
    }
    // With no adapter attached, an iteration of the context leaves the block alone.
    ov::DispatchQueue::main()->async([&] { ran = true; });
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
    EXPECT_FALSE(ran);
    ov::MainRunLoop::drain();
    EXPECT_TRUE(ran);
}
