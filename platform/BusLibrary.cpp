#include "BusLibrary.h"

#include <cstdlib>
#include <stdexcept>
#include <string>

#include <dlfcn.h>
#include <unistd.h>

namespace {

constexpr char kFile[] = "libsystemd.so.0";

[[noreturn]] void fail()
{
    const char* const reason = ::dlerror();
    throw std::runtime_error(reason != nullptr ? reason : kFile);
}

template <class Pointer>
void take(void* library, const char* name, Pointer& pointer)
{
    pointer = reinterpret_cast<Pointer>(::dlsym(library, name));
    if (pointer == nullptr)
        fail();
}

BusLibrary load()
{
    void* const library = ::dlopen(kFile, RTLD_NOW | RTLD_LOCAL); // for good
    if (library == nullptr)
        fail();
    BusLibrary calls {};
    take(library, "sd_bus_add_object_vtable", calls.add_object_vtable);
    take(library, "sd_bus_call_async", calls.call_async);
    take(library, "sd_bus_close_unref", calls.close_unref);
    take(library, "sd_bus_get_events", calls.get_events);
    take(library, "sd_bus_get_fd", calls.get_fd);
    take(library, "sd_bus_is_open", calls.is_open);
    take(library, "sd_bus_message_append", calls.message_append);
    take(library, "sd_bus_message_append_array", calls.message_append_array);
    take(library, "sd_bus_message_append_basic", calls.message_append_basic);
    take(library, "sd_bus_message_at_end", calls.message_at_end);
    take(library, "sd_bus_message_close_container", calls.message_close_container);
    take(library, "sd_bus_message_enter_container", calls.message_enter_container);
    take(library, "sd_bus_message_exit_container", calls.message_exit_container);
    take(library, "sd_bus_message_get_error", calls.message_get_error);
    take(library, "sd_bus_message_new_method_call", calls.message_new_method_call);
    take(library, "sd_bus_message_new_method_return", calls.message_new_method_return);
    take(library, "sd_bus_message_open_container", calls.message_open_container);
    take(library, "sd_bus_message_read", calls.message_read);
    take(library, "sd_bus_message_read_array", calls.message_read_array);
    take(library, "sd_bus_message_read_basic", calls.message_read_basic);
    take(library, "sd_bus_message_ref", calls.message_ref);
    take(library, "sd_bus_message_set_auto_start", calls.message_set_auto_start);
    take(library, "sd_bus_message_set_expect_reply", calls.message_set_expect_reply);
    take(library, "sd_bus_message_unref", calls.message_unref);
    take(library, "sd_bus_open_user", calls.open_user);
    take(library, "sd_bus_process", calls.process);
    take(library, "sd_bus_reply_method_errorf", calls.reply_method_errorf);
    take(library, "sd_bus_request_name", calls.request_name);
    take(library, "sd_bus_send", calls.send);
    take(library, "sd_bus_slot_unref", calls.slot_unref);
    take(library, "sd_bus_object_vtable_format", calls.object_vtable_format);
    return calls;
}

/// As the library itself looks for it.
bool isBusNamed()
{
    const char* const address = ::secure_getenv("DBUS_SESSION_BUS_ADDRESS");
    if (address != nullptr)
        return *address != '\0';
    const char* const folder = ::secure_getenv("XDG_RUNTIME_DIR");
    return folder != nullptr && ::access((std::string(folder) + "/bus").c_str(), F_OK) == 0;
}

} // namespace

bool loadBusIfWanted()
{
    if (!isBusNamed())
        return false;
    static_cast<void>(busCalls());
    return true;
}

const BusLibrary& busCalls()
{
    static const BusLibrary library = load();
    return library;
}
