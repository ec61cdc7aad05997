// A running application as somebody else would write it: straight against the bus library, knowing the hand-off from
// its description alone. Usage: foreign-receiver MODE; prints a line when it is ready and one for each event that it
// hears.
//
//   yes, no      answers so           silent       never answers
//   nothing      an empty reply       error        refuses the event
//   nonsense     a reply of another   quits        says yes to a start and ends
//                kind

#include <systemd/sd-bus.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

std::string mode;
bool ends = false;

void print(uint32_t code)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        std::putchar(static_cast<int>(code >> shift & 0xFF));
}

/// Prints class, ID and, for a list of one file URL as the direct parameter, that URL.
void printEvent(sd_bus_message* message)
{
    uint32_t eventClass = 0, id = 0, keyword = 0, listType = 0, itemType = 0;
    int32_t returnID = 0, transactionID = 0;
    const void* bytes = nullptr;
    std::size_t length = 0;
    sd_bus_message_read(message, "uuii", &eventClass, &id, &returnID, &transactionID);
    sd_bus_message_enter_container(message, 'a', "(u(uv))");
    sd_bus_message_enter_container(message, 'r', "u(uv)");
    sd_bus_message_read(message, "u", &keyword);
    sd_bus_message_enter_container(message, 'r', "uv");
    sd_bus_message_read(message, "u", &listType);
    sd_bus_message_enter_container(message, 'v', "a(uv)");
    sd_bus_message_enter_container(message, 'a', "(uv)");
    sd_bus_message_enter_container(message, 'r', "uv");
    sd_bus_message_read(message, "u", &itemType);
    sd_bus_message_enter_container(message, 'v', "ay");
    sd_bus_message_read_array(message, 'y', &bytes, &length);
    print(eventClass);
    std::putchar(' ');
    print(id);
    std::printf(" %d %d ", returnID, transactionID);
    print(keyword);
    print(listType);
    print(itemType);
    std::printf(" %.*s\n", static_cast<int>(length), static_cast<const char*>(bytes));
    std::fflush(stdout);
}

int answerBoolean(sd_bus_message* message, uint8_t value)
{
    return sd_bus_reply_method_return(message, "a(u(uv))", 1u, 0x2D2D2D2Du, 0x626F6F6Cu, "ay", 1u, unsigned { value });
}

int hear(sd_bus_message* message, void*, sd_bus_error*)
{
    printEvent(message);
    if (mode == "silent")
        return 1;
    if (mode == "nothing")
        return sd_bus_reply_method_return(message, "a(u(uv))", 0u);
    if (mode == "nonsense")
        return sd_bus_reply_method_return(message, "a(u(uv))", 1u, 0x2D2D2D2Du, 0x75746638u, "ay", 3u, 'y', 'e', 's');
    if (mode == "error")
        return sd_bus_reply_method_errorf(message, "org.freedesktop.DBus.Error.UnknownMethod", "not today");
    ends = mode == "quits";
    return answerBoolean(message, mode == "no" ? 0 : 1);
}

const sd_bus_vtable kMethods[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("SendEvent", "uuiia(u(uv))", "a(u(uv))", hear, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

} // namespace

int main(int argc, char** argv)
{
    mode = argc > 1 ? argv[1] : "";
    sd_bus* bus = nullptr;
    if (sd_bus_open_user(&bus) < 0
        || sd_bus_add_object_vtable(
               bus, nullptr, "/com/tarquen/Vellorin", "com.tarquen.Vellorin.Events", kMethods, nullptr)
            < 0
        || sd_bus_request_name(bus, "com.Tarquen.VELLORIN", 0) < 0)
        return 1;
    std::puts("ready");
    std::fflush(stdout);
    while (!ends) {
        if (sd_bus_process(bus, nullptr) == 0)
            sd_bus_wait(bus, UINT64_MAX);
    }
    sd_bus_flush_close_unref(bus);
    return 0;
}
