#pragma once

#include "NSAlert.h"
#include "NSAutoreleasePool.h"
#include "ScratchFolder.h"
#include "StandIns.h"
#include "SynchronizeFiles.h"

#include <map>
#include <string>
#include <vector>

/// Files whose content is in memory, by the path of a file that exists, and a record of what was done to them.
class FilesInMemory : public NSFileManager {
public:
    bool fileExistsAtPath(const std::string& path) override { return contents.count(path) > 0; }
    std::optional<NSData> dataWithContentsOfFile(const std::string& path) override
    {
        done += "read " + nameOf(path) + "; ";
        if (!readable)
            return std::nullopt;
        return NSData::dataWithBytes(contents[path].data(), contents[path].size());
    }
    bool writeToFile(const NSData& data, const std::string& path, std::string*) override
    {
        done += "write " + nameOf(path) + "; ";
        if (!writable)
            return false;
        contents[path].assign(reinterpret_cast<const char*>(data.bytes()), data.length());
        return true;
    }

    static std::string nameOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

    std::map<std::string, std::string> contents;
    std::string done;
    bool readable = true;
    bool writable = true;
};

class AlertStandIn final : public NSAlertPresenter {
public:
    void runModal(const NSAlert& alert) override { shown.push_back(alert); }
    std::vector<NSAlert> shown;
};

/// One run of the action over stand-ins, on two files.
class RunInMemory {
public:
    RunInMemory() { events.running.clear(); }

    std::string run(const std::string& firstContent, const std::string& secondContent)
    {
        files.contents = { { first, firstContent }, { second, secondContent } };
        return run(bothFiles());
    }

    std::string run(const AMInput& input)
    {
        NSAutoreleasePool pool;
        error = {};
        SynchronizeFiles action({ { events, locks, files, clock }, alerts, [] {} });
        const std::string result = action.runWithInput(input, nullptr, error);
        heldAtTheEnd = locks.locks.size();
        pool.drain();
        return result;
    }

    AMInput bothFiles() const { return AMInput(std::vector<std::string> { first, second }); }

    ScratchFolder folder;
    const std::string first = folder.write("first", "");
    const std::string second = folder.write("second", "");
    EventSystemStandIn events;
    LockSystemStandIn locks;
    FilesInMemory files;
    ClockStandIn clock;
    AlertStandIn alerts;
    AMErrorDictionary error;
    std::size_t heldAtTheEnd = 0;
};
