#pragma once

#include "AppleEventSystem.h"
#include "CFAbsoluteTime.h"
#include "NSDistributedLock.h"
#include "NSFileManager.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

/// An event system with at most one other program in it, which records what it is sent.
class EventSystemStandIn final : public AppleEventSystem {
public:
    std::vector<std::string> runningBundleIdentifiers() override { return running; }
    std::optional<uint32_t> processID(const std::string&) override { return pid; }
    int16_t AESend(const AppleEvent& event, AppleEvent& reply) override
    {
        ADD_FAILURE() << "sent without options";
        return AESend(event, reply, AESendOptions());
    }
    int16_t AESend(const AppleEvent& event, AppleEvent& reply, const AESendOptions& options) override
    {
        EXPECT_EQ(options, (AESendOptions { 19, 0, -1 })); // waits for the reply, never interacts
        sent.push_back(event);
        reply = answer;
        return error;
    }
    std::optional<NSAppleEventDescriptor> listDescriptor() override
    {
        return failsToMakeList ? std::nullopt : AppleEventSystem::listDescriptor();
    }
    std::optional<NSAppleEventDescriptor> descriptorWithDescriptorType(uint32_t type, const std::string& bytes) override
    {
        return failsToMakeDescriptor ? std::nullopt : AppleEventSystem::descriptorWithDescriptorType(type, bytes);
    }
    int16_t AEPutParamDesc(AppleEvent& event, uint32_t keyword, const NSAppleEventDescriptor& descriptor) override
    {
        if (failsToPut)
            return memFullErr;
        return AppleEventSystem::AEPutParamDesc(event, keyword, descriptor);
    }

    void answers(bool value)
    {
        answer.setDescriptor(NSAppleEventDescriptor::descriptorWithBoolean(value), keyDirectObject);
    }
    std::string sentIDs() const
    {
        std::string ids;
        for (const AppleEvent& event : sent)
            ids += static_cast<char>(event.eventID & 0xFF); // A for start, B for stop
        return ids;
    }

    std::vector<std::string> running { "COM.tarquen.VELLORIN" };
    std::optional<uint32_t> pid = 0x01020304;
    std::vector<AppleEvent> sent;
    AppleEvent answer;
    int16_t error = noErr;
    bool failsToMakeList = false;
    bool failsToMakeDescriptor = false;
    bool failsToPut = false;
};

/// Locks in memory, shared by all lock objects of one system, with a record of what was asked of them.
class LockSystemStandIn final : public LockSystem {
public:
    std::unique_ptr<NSDistributedLock> lockWithPath(const std::string& path) override
    {
        return std::make_unique<Lock>(*this, path);
    }
    uint32_t systemVersion() const override { return version; }

    std::set<std::string> locks;
    std::string asked;
    uint32_t version = 0x100608;

private:
    class Lock final : public NSDistributedLock {
    public:
        Lock(LockSystemStandIn& system, const std::string& path)
            : system(system)
            , path(path)
        {
        }
        bool tryLock() override
        {
            system.asked += "try " + path + "; ";
            return system.locks.insert(path).second;
        }
        void unlock() override
        {
            system.asked += "unlock " + path + "; ";
            system.locks.erase(path);
        }
        void breakLock() override
        {
            system.asked += "break " + path + "; ";
            system.locks.erase(path);
        }

    private:
        LockSystemStandIn& system;
        std::string path;
    };
};

/// A clock that goes on by a step at each look.
class ClockStandIn final : public CFClock {
public:
    CFAbsoluteTime CFAbsoluteTimeGetCurrent() const override { return now += step; }

    mutable CFAbsoluteTime now = 1000;
    CFAbsoluteTime step = 0;
};
