#include "Sandbox.h"
#include "NSDistributedLock.h"
#include "NSFileItems.h"
#include "NSFileManager.h"
#include "ScratchFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <functional>

namespace {

bool kernelCanRestrict()
{
    return ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION) > 0;
}

/// 0 or the error of opening a file.
int errorOfOpening(const std::string& path, int flags)
{
    const int descriptor = ::open(path.c_str(), flags | O_CLOEXEC, 0600);
    if (descriptor < 0)
        return errno;
    ::close(descriptor);
    return 0;
}

/// The restriction can't be undone: each case has a process of its own. `work` answers 0 or the number of the step that
/// went wrong.
int resultInRestrictedProcess(const std::vector<std::string>& folders, const std::function<int()>& work)
{
    const LinuxLockSystem asksBeforehand;
    const pid_t pid = ::fork();
    if (pid == 0)
        ::_exit(Sandbox::restrictToFolders(folders) ? work() : 100);
    int status = -1;
    ::waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class SandboxOfFolders : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!kernelCanRestrict())
            GTEST_SKIP() << "skipped: this kernel can't restrict a process to folders";
    }

    ScratchFolder inside;
    ScratchFolder outside;
};

TEST_F(SandboxOfFolders, NothingOutsideCanBeOpenedMadeOrRemoved)
{
    const std::string file = outside.write("a", "secret");
    std::filesystem::create_symlink(file, inside.path("link"));
    std::filesystem::create_directory(outside.path("d"));
    EXPECT_EQ(resultInRestrictedProcess({ inside.path("") },
                  [&] {
                      const std::pair<int, int> steps[] = {
                          { errorOfOpening(file, O_RDONLY), EACCES },
                          { errorOfOpening(file, O_WRONLY), EACCES },
                          { errorOfOpening(inside.path("link"), O_RDONLY), EACCES },
                          { errorOfOpening(outside.path("new"), O_WRONLY | O_CREAT), EACCES },
                          { errorOfOpening(outside.path(""), O_RDONLY | O_DIRECTORY), EACCES },
                          { errorOfOpening("/etc/passwd", O_RDONLY), EACCES },
                          { errorOfOpening("/proc/self/stat", O_RDONLY), EACCES },
                          { ::unlink(file.c_str()) == 0 ? 0 : errno, EACCES },
                          { ::mkdir(outside.path("e").c_str(), 0700) == 0 ? 0 : errno, EACCES },
                          { ::rmdir(outside.path("d").c_str()) == 0 ? 0 : errno, EACCES },
                          { ::symlink("a", inside.path("other").c_str()) == 0 ? 0 : errno, EACCES },
                      };
                      int number = 0;
                      for (const auto& [error, expected] : steps) {
                          ++number;
                          if (error != expected)
                              return number;
                      }
                      return 0;
                  }),
        0);
    EXPECT_EQ(outside.listing(), "a d");
}

TEST_F(SandboxOfFolders, FilesInsideAreReplacedCopiedAndLocked)
{
    const std::string file = inside.write("a", "old");
    EXPECT_EQ(
        resultInRestrictedProcess({ inside.path("") },
            [&] {
                LinuxFileManager files;
                LinuxFileItems items;
                LinuxLockSystem locks;
                const auto lock = locks.lockWithPath(inside.path(".a"));
                if (!lock->tryLock())
                    return 1;
                if (!files.dataWithContentsOfFile(file) || !files.writeToFile(NSData::dataWithBytes("new", 3), file))
                    return 2;
                if (!items.copyItemAtPath(file, inside.path("b")))
                    return 3;
                const std::string holder = inside.read(".a/holder");
                if (holder.find("started: 20") == std::string::npos)
                    return 4;
                lock->unlock();
                return 0;
            }),
        0);
    EXPECT_EQ(inside.listing(), "a b");
    EXPECT_EQ(inside.read("a"), "new");
}

TEST_F(SandboxOfFolders, AFolderThatIsNotThereGivesNothingAndHindersNothing)
{
    const std::string file = inside.write("a", "old");
    EXPECT_EQ(resultInRestrictedProcess({ "/none/at/all", inside.path("") },
                  [&] { return errorOfOpening(file, O_RDWR) + errorOfOpening("/", O_RDONLY | O_DIRECTORY) - EACCES; }),
        0);
}

TEST(Sandbox, AFilesFoldersAreThoseOfItsNameAndOfWhatItsLinksLeadTo)
{
    const ScratchFolder folder;
    const std::string real = std::filesystem::canonical(folder.path("")).string();
    std::filesystem::create_directories(folder.path("store/deep"));
    std::filesystem::create_directory(folder.path("links"));
    folder.write("store/deep/vault", "");
    std::filesystem::create_symlink("../store/deep/vault", folder.path("links/middle"));
    std::filesystem::create_symlink("links/middle", folder.path("first"));
    using Folders = std::vector<std::string>;
    EXPECT_EQ(Sandbox::foldersOfFile(real + "/first"), (Folders { real, real + "/store/deep" }));
    EXPECT_EQ(Sandbox::foldersOfFile(real + "/links/none"), (Folders { real + "/links" }));
    EXPECT_EQ(Sandbox::foldersOfFile("/none"), (Folders { "/" }));
}

} // namespace
