#include "VLR_BoundedWait.h"

#include "Interruption.h"

#include <glib-unix.h>

namespace {

gboolean CancelAtDeadline(void* cancellable)
{
    g_cancellable_cancel(static_cast<GCancellable*>(cancellable));
    return G_SOURCE_REMOVE;
}

gboolean CancelAtSignal(int, GIOCondition, void* cancellable)
{
    return CancelAtDeadline(cancellable);
}

} // namespace

VLR_BoundedWait::VLR_BoundedWait(std::chrono::milliseconds timeOut)
    : context(g_main_context_new())
    , cancellable(g_cancellable_new())
{
    g_main_context_push_thread_default(context.get());
    CancelWhen(g_timeout_source_new(static_cast<guint>(timeOut.count())), CancelAtDeadline);
    if (interruptionDescriptor() >= 0)
        CancelWhen(g_unix_fd_source_new(interruptionDescriptor(), G_IO_IN), G_SOURCE_FUNC(CancelAtSignal));
}

VLR_BoundedWait::~VLR_BoundedWait()
{
    result.reset(); // it holds on to the call's object
    while (g_main_context_iteration(context.get(), FALSE)) { } // objects that end leave work to the loop
    g_main_context_pop_thread_default(context.get());
}

/// The context owns the source from here on, and ends it with itself.
void VLR_BoundedWait::CancelWhen(GSource* source, GSourceFunc cancels)
{
    g_source_set_callback(source, cancels, cancellable.get(), nullptr);
    g_source_attach(source, context.get());
    g_source_unref(source);
}

void VLR_BoundedWait::Done(GObject*, GAsyncResult* result, void* wait)
{
    auto& self = *static_cast<VLR_BoundedWait*>(wait);
    self.result.reset(static_cast<GAsyncResult*>(g_object_ref(result)));
    self.isDone = true;
}

GAsyncResult* VLR_BoundedWait::Result()
{
    while (!isDone)
        g_main_context_iteration(context.get(), TRUE);
    isDone = false;
    return result.get();
}
