#pragma once

#include "CoreFixture.h"
#include "NSBundle.h"
#include "ScratchFolder.h"
#include "ScriptedHost.h"
#include "VLR_RandomPassword.h"

#include <filesystem>
#include <memory>

inline constexpr char kShortList[] = "RandomWordsDictionaryShort";
inline constexpr char kFullList[] = "RandomWordsDictionary";
inline constexpr char kTable[] = "Phonemes";

/// A program folder for the resources that a test writes.
class Generator : protected FreshHost, public ::testing::Test {
protected:
    Generator() { moveToNewFolder(); }
    ~Generator() override { NSBundle::setMainBundle(before); }

    /// The size of a list is taken once for a path: each list needs a path that nobody has asked for.
    void moveToNewFolder()
    {
        folder = std::make_unique<ScratchFolder>();
        std::filesystem::create_directory(folder->path("resources"));
        NSBundle::setMainBundle(NSBundle(folder->path("")));
    }

    std::string write(const std::string& name, const std::string& content) const
    {
        return folder->write("resources/" + name + ".txt", content);
    }

    static std::string generate(const std::string& pattern, const std::string& soFar = "")
    {
        VLR_String password = S(soFar);
        VLR_RandomPassword::GenerateOnePassword(S(pattern), password);
        return str(password);
    }

private:
    const NSBundle before = NSBundle::mainBundle();
    std::unique_ptr<ScratchFolder> folder;
};
