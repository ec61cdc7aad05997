#include "FinderServices.h"

#include "AppleEvent.h"
#include "Bus.h"
#include "BusErrors.h"
#include "NSURL.h"

#include <algorithm>
#include <memory>
#include <vector>

#include <gio/gio.h>

namespace {

constexpr int16_t kInputOutputError = -36; // ioErr
constexpr char kFileManager[] = "org.freedesktop.FileManager1";
constexpr char kFileManagerObject[] = "/org/freedesktop/FileManager1";
constexpr char kShowItems[] = "ShowItems";
constexpr char kNoStartupID[] = ""; // by which the desktop would tie the window to the click that asked for it

struct ObjectRelease {
    void operator()(void* object) const { ::g_object_unref(object); }
};

} // namespace

LinuxFinderServices::LinuxFinderServices()
    : LinuxFinderServices(TimeOuts {})
{
}

LinuxFinderServices::LinuxFinderServices(const TimeOuts& timeOuts)
    : timeOuts_(timeOuts)
{
}

int16_t LinuxFinderServices::moveToTrash(const std::string& path)
{
    // The local file system by name: the default one would load plug-ins that talk to the bus and start threads.
    const std::unique_ptr<GFile, ObjectRelease> file(::g_vfs_get_file_for_path(::g_vfs_get_local(), path.c_str()));
    return ::g_file_trash(file.get(), nullptr, nullptr) != FALSE ? int16_t { noErr } : kInputOutputError;
}

bool LinuxFinderServices::isRunning()
{
    Bus bus(timeOuts_.bus);
    if (bus.ownerOf(kFileManager))
        return true;
    const std::vector<std::string> names = bus.activatableNames();
    return std::find(names.begin(), names.end(), kFileManager) != names.end();
}

int16_t LinuxFinderServices::reveal(const std::string& path)
{
    Bus bus(timeOuts_.bus);
    const BusMessage message = bus.newCall(kFileManager, kFileManagerObject, kFileManager, kShowItems);
    const std::string url = NSURL::fileURLWithPath(path).urlString();
    if (!message || busCalls().message_append(message.get(), "ass", 1, url.c_str(), kNoStartupID) < 0)
        return procNotFound;
    busCalls().message_set_auto_start(message.get(), 1);
    const BusAnswer answer = bus.call(message.get(), timeOuts_.reply);
    return answer.reply ? int16_t { noErr } : errorNumberOfBusError(answer.error);
}
