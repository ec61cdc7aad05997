#include "AllCommands.h"

#include "Console.h"
#include "DocumentLock.h"
#include "ExitStatus.h"
#include "Json.h"
#include "LockHolder.h"
#include "LockHolderText.h"
#include "NSURL.h"
#include "TimeText.h"

#include <nlohmann/json.hpp>

#include <cerrno>
#include <cstring>
#include <optional>

namespace {

const char* nameOf(HolderState state)
{
    switch (state) {
    case HolderState::Lives: return "lives";
    case HolderState::Gone: return "gone";
    case HolderState::OnAnotherHost: return "another-host";
    case HolderState::Unknown: break;
    }
    return "unknown";
}

nlohmann::ordered_json jsonOf(const LockHolder& holder)
{
    nlohmann::ordered_json json;
    json["state"] = nameOf(stateOf(holder));
    json["since"] = utcTimeText(holder.since);
    json["owner"] = jsonText(holder.owner);
    if (!holder.hasNote)
        return json;
    json["program"] = jsonText(holder.program);
    json["process"] = holder.process;
    json["started"] = utcTimeText(holder.started);
    json["host"] = jsonText(holder.host);
    return json;
}

class UnlockCommand final : public Command {
public:
    CommandPage page() override
    {
        CommandPage page;
        page.name = "unlock";
        page.summary = "say who holds a vault's write lock, and break it";
        page.operands = { { "FILE", "the vault, not its lock", &file_ } };
        page.options = { { "--force", "", "", "break the lock also if its holder lives, or nobody knows", &force_ },
            { "--json", "", "", "tell it to programs", &json_ } };
        page.description = {
            "A program that writes a vault holds its write lock: a folder beside it, with a dot in front of the "
            "vault's name. The lock of a program that crashed stays until somebody breaks it.",
            "The note in the lock tells which process of which host took it. If that process is gone, the lock is "
            "broken. It is left alone, and the exit status is 2, if the process lives, if it belongs to another host, "
            "where nobody can be asked, or if there is no note. With --force it is broken nevertheless: be sure that "
            "no program is about to write the vault.",
            "Anything but a folder with nothing but a note in it, or an empty file, is no lock, and is never removed.",
        };
        page.examples
            = { { "vellorin unlock ~/vault.vlr", "say who holds the lock, and break it if that process is gone" },
                  { "vellorin unlock --force /media/nas/vault.vlr", "break a lock that was taken on another host" } };
        return page;
    }

    int run(Console& console) override
    {
        const std::string path = NSURL::fileURLWithPath(file_).path();
        lock_ = lockOf(path);
        const std::optional<LockHolder> holder = look();
        if (!holder)
            return report(console, std::nullopt, "there is no lock on " + printable(file_));
        const std::string held = printable(file_) + " is locked by " + printable(describe(*holder));
        if (const std::string objection = objectionTo(*holder); !objection.empty()) {
            report(console, holder, held);
            throw CommandFailure(kRefused, objection);
        }
        breakLockOf(path, *holder);
        broken_ = true;
        return report(console, holder, held + "\nthe lock is broken");
    }

private:
    /// The lock's path. A name like ".." would make other things than locks of it.
    std::string lockOf(const std::string& path) const
    {
        const std::string name = path.substr(path.rfind('/') + 1);
        if (name.empty() || name == "." || name == "..")
            throw CommandFailure(kRefused, "\"" + file_ + "\" names no file");
        return *DocumentLock::lockPath(path);
    }

    std::optional<LockHolder> look() const
    {
        std::optional<LockHolder> holder = holderOfLock(lock_);
        if (!holder && errno != ENOENT && errno != ENOTDIR)
            throw CommandFailure(kFailed, "can't look at the lock " + lock_ + ": " + std::strerror(errno));
        return holder;
    }

    /// Why the lock is to stay; empty if it may be broken.
    std::string objectionTo(const LockHolder& holder) const
    {
        if (!holder.isPlainLock)
            return lock_ + " is no lock that this program knows, and stays: look at it, and remove it by hand";
        if (force_)
            return {};
        switch (stateOf(holder)) {
        case HolderState::Gone: break;
        case HolderState::Lives: return "the lock's holder lives, so the lock stays (--force breaks it)";
        case HolderState::OnAnotherHost:
            return "the lock was taken on another host, which can't be asked, so the lock stays (--force breaks it)";
        case HolderState::Unknown:
            return "nobody knows whether the lock's holder lives, so the lock stays (--force breaks it)";
        }
        return {};
    }

    void breakLockOf(const std::string& path, const LockHolder& expected)
    {
        if (look() != expected)
            throw CommandFailure(kRefused, "the lock has another holder by now, and stays: " + lock_);
        LinuxLockSystem locks;
        DocumentLock(locks).overrideWriteLockForDocument(path);
        if (look() == expected)
            throw CommandFailure(kFailed, "the lock could not be removed: " + lock_);
    }

    int report(Console& console, const std::optional<LockHolder>& holder, const std::string& words) const
    {
        if (broken_)
            console.workIsDone();
        if (!json_) {
            console.data(words + "\n");
            return kDone;
        }
        nlohmann::ordered_json document = jsonDocument("unlock");
        document["file"] = jsonText(file_);
        document["lock"] = jsonText(lock_);
        document["holder"] = holder ? jsonOf(*holder) : nlohmann::ordered_json();
        document["broken"] = broken_;
        printJson(console, document);
        return kDone;
    }

    std::string file_;
    bool force_ = false;
    bool json_ = false;
    std::string lock_;
    bool broken_ = false;
};

} // namespace

std::unique_ptr<Command> unlockCommand()
{
    return std::make_unique<UnlockCommand>();
}
