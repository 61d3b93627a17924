// ov::GLibMainQueueSource: runs the main queue inside a GLib main loop.
//
// A GTK or GLib application keeps its own loop; this attaches the main queue
// to a GMainContext as a GSource that watches MainQueuePort's descriptor and
// bounds the loop's wait by the next main-queue timer. Keep the object alive
// as long as the loop should serve the main queue; the context must be
// iterated on the main thread (the default context, normally).
//
//   GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
//   ov::GLibMainQueueSource mainQueue;          // default context
//   ov::DispatchQueue::main()->async([] { ... });
//   g_main_loop_run(loop);
//
// Header-only; link the OVUtility::GLib target (OVUtility plus glib-2.0).
#pragma once

#include <glib.h>

#include "OVUtility/Platform/MainQueuePort.h"

namespace ov {

class GLibMainQueueSource {
  public:
    // Attaches to `context` (null: the default main context) at `priority`.
    explicit GLibMainQueueSource(GMainContext* context = nullptr,
                                 int priority = G_PRIORITY_DEFAULT) {
        source_ = g_source_new(&functions(), sizeof(Source));
        auto* self = reinterpret_cast<Source*>(source_);
        self->tag = g_source_add_unix_fd(source_, MainQueuePort::fileDescriptor(), G_IO_IN);
        g_source_set_priority(source_, priority);
        g_source_set_name(source_, "OVUtility main queue");
        g_source_attach(source_, context);
    }
    ~GLibMainQueueSource() {
        g_source_destroy(source_);
        g_source_unref(source_);
    }
    GLibMainQueueSource(const GLibMainQueueSource&) = delete;
    GLibMainQueueSource& operator=(const GLibMainQueueSource&) = delete;

    GSource* source() const { return source_; }

  private:
    struct Source {
        GSource base;
        gpointer tag;
    };

    static GSourceFuncs& functions() {
        static GSourceFuncs funcs = {&prepare, &check, &dispatch, nullptr, nullptr, nullptr};
        return funcs;
    }
    // Ready at once when a main-queue timer is due; otherwise the loop may
    // sleep until the next one (or until the descriptor turns readable).
    static gboolean prepare(GSource*, gint* timeout) {
        *timeout = MainQueuePort::timeoutMilliseconds();
        return *timeout == 0;
    }
    static gboolean check(GSource* source) {
        auto* self = reinterpret_cast<Source*>(source);
        return (g_source_query_unix_fd(source, self->tag) & G_IO_IN) != 0 ||
               MainQueuePort::timeoutMilliseconds() == 0;
    }
    static gboolean dispatch(GSource*, GSourceFunc, gpointer) {
        MainQueuePort::perform();
        return G_SOURCE_CONTINUE;
    }

    GSource* source_;
};

}  // namespace ov
