#include "BusErrors.h"

#include "AppleEvent.h"
#include "Bus.h"

namespace {

struct ErrorMapping {
    const char* busError;
    AEError error;
};

constexpr ErrorMapping kErrors[] = {
    { Bus::kTimedOut, errAETimeout },
    { "org.freedesktop.DBus.Error.TimedOut", errAETimeout },
    { "org.freedesktop.DBus.Error.NoReply", procNotFound }, // our own time-out is told apart: the program has ended
    { Bus::kDisconnected, procNotFound },
    { "org.freedesktop.DBus.Error.ServiceUnknown", procNotFound },
    { "org.freedesktop.DBus.Error.NameHasNoOwner", procNotFound },
    { "org.freedesktop.DBus.Error.NoServer", procNotFound },
};

} // namespace

int16_t errorNumberOfBusError(const std::string& busError)
{
    for (const ErrorMapping& mapping : kErrors) {
        if (busError == mapping.busError)
            return mapping.error;
    }
    return errAEEventNotHandled;
}
