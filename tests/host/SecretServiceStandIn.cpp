#include "SecretServiceStandIn.h"

#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include <systemd/sd-bus.h>

namespace {

constexpr char kName[] = "org.freedesktop.secrets";
constexpr char kService[] = "/org/freedesktop/secrets";
constexpr char kDefaultCollection[] = "/org/freedesktop/secrets/aliases/default";
constexpr char kItems[] = "/org/freedesktop/secrets/collection/login";
constexpr char kSession[] = "/org/freedesktop/secrets/session/s1";
constexpr char kServiceInterface[] = "org.freedesktop.Secret.Service";
constexpr char kCollectionInterface[] = "org.freedesktop.Secret.Collection";
constexpr char kItemInterface[] = "org.freedesktop.Secret.Item";
constexpr char kNothing[] = "/"; // stands for no prompt

using Attributes = std::map<std::string, std::string>;

struct Item {
    Attributes attributes;
    std::string label;
    std::string secret;
};

SecretServiceStandIn::Mode gMode;
std::map<std::string, Item> gItems; // by path
int gLastItem = 0;

Attributes readAttributes(sd_bus_message* message)
{
    Attributes attributes;
    const char* name = nullptr;
    const char* value = nullptr;
    sd_bus_message_enter_container(message, 'a', "{ss}");
    while (sd_bus_message_read(message, "{ss}", &name, &value) > 0)
        attributes[name] = value;
    sd_bus_message_exit_container(message);
    return attributes;
}

bool hasAll(const Item& item, const Attributes& wanted)
{
    for (const auto& [name, value] : wanted) {
        const auto found = item.attributes.find(name);
        if (found == item.attributes.end() || found->second != value)
            return false;
    }
    return true;
}

void appendPaths(sd_bus_message* reply, const std::vector<std::string>& paths)
{
    sd_bus_message_open_container(reply, 'a', "o");
    for (const std::string& path : paths)
        sd_bus_message_append(reply, "o", path.c_str());
    sd_bus_message_close_container(reply);
}

int send(sd_bus_message* reply)
{
    const int result = sd_bus_send(nullptr, reply, nullptr);
    sd_bus_message_unref(reply);
    return result < 0 ? result : 1;
}

int openSession(sd_bus_message* message, void*, sd_bus_error*)
{
    if (gMode == SecretServiceStandIn::Mode::Silent)
        return 1;
    const char* algorithm = nullptr;
    sd_bus_message_read(message, "s", &algorithm);
    if (algorithm != std::string("plain"))
        return sd_bus_reply_method_errorf(message, "org.freedesktop.DBus.Error.NotSupported", "plain alone");
    return sd_bus_reply_method_return(message, "vo", "s", "", kSession);
}

int searchItems(sd_bus_message* message, void*, sd_bus_error*)
{
    const Attributes wanted = readAttributes(message);
    std::vector<std::string> found;
    for (const auto& [path, item] : gItems) {
        if (hasAll(item, wanted))
            found.push_back(path);
    }
    const bool locked = gMode == SecretServiceStandIn::Mode::Locked;
    sd_bus_message* reply = nullptr;
    sd_bus_message_new_method_return(message, &reply);
    appendPaths(reply, locked ? std::vector<std::string>() : found);
    appendPaths(reply, locked ? found : std::vector<std::string>());
    return send(reply);
}

void appendSecret(sd_bus_message* message, const std::string& secret)
{
    sd_bus_message_open_container(message, 'r', "oayays");
    sd_bus_message_append(message, "o", kSession);
    sd_bus_message_append_array(message, 'y', "", 0);
    sd_bus_message_append_array(message, 'y', secret.data(), secret.size());
    sd_bus_message_append(message, "s", "text/plain");
    sd_bus_message_close_container(message);
}

int getSecrets(sd_bus_message* message, void*, sd_bus_error*)
{
    if (gMode == SecretServiceStandIn::Mode::SilentOnSecrets)
        return 1;
    sd_bus_message* reply = nullptr;
    sd_bus_message_new_method_return(message, &reply);
    sd_bus_message_open_container(reply, 'a', "{o(oayays)}");
    sd_bus_message_enter_container(message, 'a', "o");
    for (const char* path = nullptr; sd_bus_message_read(message, "o", &path) > 0;) {
        sd_bus_message_open_container(reply, 'e', "o(oayays)");
        sd_bus_message_append(reply, "o", path);
        appendSecret(reply, gItems[path].secret);
        sd_bus_message_close_container(reply);
    }
    sd_bus_message_close_container(reply);
    return send(reply);
}

/// Where a desktop would ask the user, the keychain opens at once: who looks afterwards sees that it was asked.
int unlock(sd_bus_message* message, void*, sd_bus_error*)
{
    gMode = SecretServiceStandIn::Mode::Open;
    sd_bus_message* reply = nullptr;
    sd_bus_message_new_method_return(message, &reply);
    sd_bus_message_copy(reply, message, 1);
    sd_bus_message_append(reply, "o", kNothing);
    return send(reply);
}

Item readItem(sd_bus_message* message)
{
    Item item;
    sd_bus_message_enter_container(message, 'a', "{sv}");
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
        const char* property = nullptr;
        sd_bus_message_read(message, "s", &property);
        if (property == std::string("org.freedesktop.Secret.Item.Attributes")) {
            sd_bus_message_enter_container(message, 'v', "a{ss}");
            item.attributes = readAttributes(message);
            sd_bus_message_exit_container(message);
        } else {
            const char* label = nullptr;
            sd_bus_message_read(message, "v", "s", &label);
            item.label = label;
        }
        sd_bus_message_exit_container(message);
    }
    sd_bus_message_exit_container(message);
    const void* secret = nullptr;
    const void* unused = nullptr;
    std::size_t length = 0;
    sd_bus_message_enter_container(message, 'r', "oayays");
    sd_bus_message_skip(message, "o");
    sd_bus_message_read_array(message, 'y', &unused, &length);
    sd_bus_message_read_array(message, 'y', &secret, &length);
    item.secret.assign(static_cast<const char*>(secret), length);
    sd_bus_message_skip(message, "s");
    sd_bus_message_exit_container(message);
    return item;
}

int createItem(sd_bus_message* message, void*, sd_bus_error*)
{
    const Item item = readItem(message);
    int replace = 0;
    sd_bus_message_read(message, "b", &replace);
    std::string path;
    for (const auto& [existingPath, existing] : gItems) {
        if (replace != 0 && existing.attributes == item.attributes)
            path = existingPath;
    }
    if (path.empty())
        path = kItems + ("/" + std::to_string(++gLastItem));
    gItems[path] = item;
    return sd_bus_reply_method_return(message, "oo", path.c_str(), kNothing);
}

int deleteItem(sd_bus_message* message, void*, sd_bus_error*)
{
    gItems.erase(sd_bus_message_get_path(message));
    return sd_bus_reply_method_return(message, "o", kNothing);
}

int findItem(sd_bus*, const char* path, const char*, void*, void** found, sd_bus_error*)
{
    const auto item = gItems.find(path);
    *found = item != gItems.end() ? &item->second : nullptr;
    return item != gItems.end() ? 1 : 0;
}

int getLocked(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*, sd_bus_error*)
{
    return sd_bus_message_append(reply, "b", gMode == SecretServiceStandIn::Mode::Locked ? 1 : 0);
}

int getLabel(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void* item, sd_bus_error*)
{
    return sd_bus_message_append(reply, "s", static_cast<const Item*>(item)->label.c_str());
}

constexpr sd_bus_vtable kServiceMethods[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("OpenSession", "sv", "vo", openSession, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("SearchItems", "a{ss}", "aoao", searchItems, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("GetSecrets", "aoo", "a{o(oayays)}", getSecrets, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("Unlock", "ao", "aoo", unlock, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

constexpr sd_bus_vtable kCollectionMethods[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("CreateItem", "a{sv}(oayays)b", "oo", createItem, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

constexpr sd_bus_vtable kItemMethods[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Delete", "", "o", deleteItem, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_PROPERTY("Locked", "b", getLocked, 0, 0),
    SD_BUS_PROPERTY("Label", "s", getLabel, 0, 0),
    SD_BUS_VTABLE_END,
};

int serve(const std::function<void()>& isReady)
{
    sd_bus* bus = nullptr;
    if (sd_bus_open_user(&bus) < 0
        || sd_bus_add_object_vtable(bus, nullptr, kService, kServiceInterface, kServiceMethods, nullptr) < 0
        || sd_bus_add_object_vtable(bus, nullptr, kDefaultCollection, kCollectionInterface, kCollectionMethods, nullptr)
            < 0
        || sd_bus_add_fallback_vtable(bus, nullptr, kItems, kItemInterface, kItemMethods, findItem, nullptr) < 0
        || sd_bus_request_name(bus, kName, 0) < 0)
        return 1;
    isReady();
    while (sd_bus_process(bus, nullptr) > 0 || sd_bus_wait(bus, UINT64_MAX) >= 0) { }
    return 0;
}

} // namespace

SecretServiceStandIn::SecretServiceStandIn(Mode mode)
    : process_([mode](const std::function<void()>& isReady) {
        gMode = mode;
        return serve(isReady);
    })
{
}
