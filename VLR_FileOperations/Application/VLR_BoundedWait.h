#pragma once

#include "VLR_GLibPointers.h"

#include <chrono>

/// Waits for GLib's asynchronous calls without a loop of the program's, and no longer than told.
///
/// One deadline holds for all calls of a scope. When it has passed, or a signal asks the program to end, the call under
/// way is cancelled, as is each that follows: it ends soon with a failure. A wait outlives the objects that its calls
/// have made. Calls are made one after the other:
///
///     g_bus_get(G_BUS_TYPE_SESSION, wait.Cancellable(), VLR_BoundedWait::Done, &wait);
///     GDBusConnection* bus = g_bus_get_finish(wait.Result(), nullptr);
class VLR_BoundedWait {
public:
    explicit VLR_BoundedWait(std::chrono::milliseconds timeOut);
    ~VLR_BoundedWait();
    VLR_BoundedWait(const VLR_BoundedWait&) = delete;
    VLR_BoundedWait& operator=(const VLR_BoundedWait&) = delete;

    GCancellable* Cancellable() const { return cancellable.get(); }

    /// The callback of a call, whose user data is this wait.
    static void Done(GObject* source, GAsyncResult* result, void* wait);

    /// Waits for the call's end. The result is owned here and lives until the next one comes.
    GAsyncResult* Result();

private:
    void CancelWhen(GSource* source, GSourceFunc cancels);

    GLibMainContext context;
    GLibObject<GCancellable> cancellable;
    GLibObject<GAsyncResult> result;
    bool isDone = false;
};
