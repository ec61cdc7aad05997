#pragma once

#include <memory>

#include <gio/gio.h>

// Owners of GLib's objects. Each is null or gives back one reference.

template <auto release>
struct GLibRelease {
    template <class T>
    void operator()(T* object) const
    {
        release(object);
    }
};

template <class T>
using GLibObject = std::unique_ptr<T, GLibRelease<g_object_unref>>;

using GLibError = std::unique_ptr<GError, GLibRelease<g_error_free>>;
using GLibKeyFile = std::unique_ptr<GKeyFile, GLibRelease<g_key_file_free>>;
using GLibMainContext = std::unique_ptr<GMainContext, GLibRelease<g_main_context_unref>>;
using GLibTable = std::unique_ptr<GHashTable, GLibRelease<g_hash_table_unref>>;
using GLibText = std::unique_ptr<char, GLibRelease<g_free>>;
