#pragma once

#include <systemd/sd-bus.h>

/// What is used of the bus library, by the names there without "sd_bus_".
///
/// The library brings many others along, which take a small run a quarter of its time. So no program is linked to it: it
/// is loaded where there is a bus to speak to, and stays.
struct BusLibrary {
    decltype(&::sd_bus_add_object_vtable) add_object_vtable;
    decltype(&::sd_bus_call_async) call_async;
    decltype(&::sd_bus_close_unref) close_unref;
    decltype(&::sd_bus_get_events) get_events;
    decltype(&::sd_bus_get_fd) get_fd;
    decltype(&::sd_bus_is_open) is_open;
    decltype(&::sd_bus_message_append) message_append;
    decltype(&::sd_bus_message_append_array) message_append_array;
    decltype(&::sd_bus_message_append_basic) message_append_basic;
    decltype(&::sd_bus_message_at_end) message_at_end;
    decltype(&::sd_bus_message_close_container) message_close_container;
    decltype(&::sd_bus_message_enter_container) message_enter_container;
    decltype(&::sd_bus_message_exit_container) message_exit_container;
    decltype(&::sd_bus_message_get_error) message_get_error;
    decltype(&::sd_bus_message_new_method_call) message_new_method_call;
    decltype(&::sd_bus_message_new_method_return) message_new_method_return;
    decltype(&::sd_bus_message_open_container) message_open_container;
    decltype(&::sd_bus_message_read) message_read;
    decltype(&::sd_bus_message_read_array) message_read_array;
    decltype(&::sd_bus_message_read_basic) message_read_basic;
    decltype(&::sd_bus_message_ref) message_ref;
    decltype(&::sd_bus_message_set_auto_start) message_set_auto_start;
    decltype(&::sd_bus_message_set_expect_reply) message_set_expect_reply;
    decltype(&::sd_bus_message_unref) message_unref;
    decltype(&::sd_bus_open_user) open_user;
    decltype(&::sd_bus_process) process;
    decltype(&::sd_bus_reply_method_errorf) reply_method_errorf;
    decltype(&::sd_bus_request_name) request_name;
    decltype(&::sd_bus_send) send;
    decltype(&::sd_bus_slot_unref) slot_unref;
    const unsigned* object_vtable_format;
};

/// Loads the library, the first time, if the environment names a session bus; the bus may be dead or refuse us all the
/// same. False if none is named: no address, and no socket where a desktop puts it. To be called before the process
/// gives up its right to open files. Raises: std::runtime_error if the library isn't there as it should be.
bool loadBusIfWanted();

/// Whoever has a message or a connection has the library too; else it is loaded, or raised as above.
const BusLibrary& busCalls();
