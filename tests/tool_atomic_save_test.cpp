// zelcfg's atomic save: links followed, permissions kept, the original left
// intact on every failure, and concurrent edits taking turns.
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <set>
#include <sstream>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "RunTool.h"
#include "TestFiles.h"

namespace {

// The names in a directory, sorted, so that a leftover temporary file shows.
std::string Listing(const std::string& dir)
{
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir)) {
        names.insert(entry.path().filename().string());
    }
    std::string text;
    for (const std::string& name : names) {
        text += name + " ";
    }
    return text;
}

mode_t Mode(const std::string& path)
{
    struct stat info {};
    ::stat(path.c_str(), &info);
    return info.st_mode & 07777;
}

TEST(AtomicSave, FollowsLinksAndKeepsPermissions)
{
    for (mode_t mode : {0600, 0640, 0755, 02644}) {
        SCOPED_TRACE(mode);
        TempDir dir;
        const std::string real = dir.Write("real.cfg", "[A]\nk=1\n");
        ASSERT_EQ(::chmod(real.c_str(), mode), 0);
        ASSERT_EQ(::symlink("real.cfg", (dir.Path() + "/link.cfg").c_str()), 0);
        const ToolResult result = RunTool(dir.Path(), {ZELCFG_BINARY, "set", "link.cfg", "A.k", "2"});
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(ReadFile(real), "[A]\nk=2\n");
        EXPECT_EQ(Mode(real), mode);
        char target[64] = {};
        EXPECT_EQ(::readlink((dir.Path() + "/link.cfg").c_str(), target, sizeof target - 1), 8) << "still a link";
        EXPECT_EQ(Listing(dir.Path()), "link.cfg real.cfg ");
    }
}

// Edited by a member of its group, the file keeps its owner and group, or
// the edit is refused when the editor cannot give the new file its owner.
TEST(AtomicSave, KeepsOwnerAndGroupOrRefuses)
{
    TempDir dir;
    ASSERT_EQ(::chmod(dir.Path().c_str(), 0777), 0);
    const std::string asNobody = AsGroupMember(dir.Path(), ZELCFG_BINARY);
    if (asNobody.empty()) {
        GTEST_SKIP() << "needs root, and the tool in another user's reach";
    }
    for (const uid_t owner : {65534u, 0u}) {
        SCOPED_TRACE(owner);
        const std::string path = dir.Write("a.cfg", "[A]\nk=1\n");
        ASSERT_EQ(::chown(path.c_str(), owner, 4), 0);
        ASSERT_EQ(::chmod(path.c_str(), 0664), 0);
        const ToolResult result = RunTool(dir.Path(), {ZELCFG_BINARY, "set", "a.cfg", "A.k", "2"}, asNobody);
        struct stat info {};
        ASSERT_EQ(::stat(path.c_str(), &info), 0);
        EXPECT_EQ(info.st_uid, owner);
        EXPECT_EQ(info.st_gid, 4u);
        EXPECT_EQ(result.status, owner == 0 ? 2 : 0) << result.err;
        EXPECT_EQ(ReadFile(path), owner == 0 ? "[A]\nk=1\n" : "[A]\nk=2\n");
    }
}

// set creates a missing file as an editor would, under the umask; the other
// commands need the file.
TEST(AtomicSave, SetCreatesAMissingFileUnsetDoesNot)
{
    TempDir dir;
    const ToolResult unset = RunTool(dir.Path(), {ZELCFG_BINARY, "unset", "new.cfg", "N.P"}, "umask 027; ");
    EXPECT_EQ(unset.status, 2);
    EXPECT_EQ(unset.err, "zelcfg: new.cfg: No such file or directory\n");
    EXPECT_EQ(Listing(dir.Path()), "");
    const ToolResult set = RunTool(dir.Path(), {ZELCFG_BINARY, "set", "new.cfg", "N.P", "1"}, "umask 027; ");
    EXPECT_EQ(set.status, 0) << set.err;
    EXPECT_EQ(ReadFile(dir.Path() + "/new.cfg"), "[N]\nP=1\n");
    EXPECT_EQ(Mode(dir.Path() + "/new.cfg"), 0640u);
    const ToolResult missingDir = RunTool(dir.Path(), {ZELCFG_BINARY, "set", "no/new.cfg", "N.P", "1"});
    EXPECT_EQ(missingDir.status, 2);
    EXPECT_EQ(missingDir.err, "zelcfg: no/new.cfg: No such file or directory\n");
}

// A file that cannot grow: the write of the temporary file fails, the tool
// says so, and the original stays as it was, with nothing left beside it.
TEST(AtomicSave, FileSizeLimitLeavesOriginalIntact)
{
    TempDir dir;
    const std::string original = "[A]\n" + std::string(300, 'k') + "=1\n";
    const std::string path = dir.Write("a.cfg", original);
    // dash counts the limit in blocks of 512 bytes.
    const ToolResult result =
        RunTool(dir.Path(), {ZELCFG_BINARY, "set", "a.cfg", "A.v", std::string(400, 'v')}, "ulimit -f 1; ");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err.rfind("zelcfg: a.cfg: cannot write ", 0), 0u) << result.err;
    EXPECT_NE(result.err.find(": File too large\n"), std::string::npos) << result.err;
    EXPECT_EQ(ReadFile(path), original);
    EXPECT_EQ(Listing(dir.Path()), "a.cfg ");
}

// Without the lock, concurrent sets would read the same old file and all but
// one of their entries would be lost.
TEST(AtomicSave, ConcurrentSetsLoseNoUpdate)
{
    TempDir dir;
    const std::string path = dir.Write("a.cfg", "[A]\n");
    std::ostringstream script;
    const int kWriters = 16;
    for (int i = 0; i < kWriters; ++i) {
        script << "'" << ZELCFG_BINARY << "' set a.cfg A.k" << i << " " << i << " & ";
    }
    script << "wait; ";
    const ToolResult result = RunTool(dir.Path(), {"true"}, script.str());
    EXPECT_EQ(result.err, "");
    const std::string saved = ReadFile(path);
    for (int i = 0; i < kWriters; ++i) {
        EXPECT_NE(saved.find("\nk" + std::to_string(i) + "=" + std::to_string(i) + "\n"), std::string::npos)
            << "k" << i << " lost from:\n" << saved;
    }
    EXPECT_EQ(Listing(dir.Path()), "a.cfg ");
}

// Whether any process waits for a lock on a file; /proc/locks marks waiters with "->".
bool SomeoneWaitsForLock(ino_t inode)
{
    std::istringstream locks(ReadFile("/proc/locks"));
    std::string line;
    const std::string suffix = ":" + std::to_string(inode) + " ";
    while (std::getline(locks, line)) {
        if (line.find("->") != std::string::npos && (line + " ").find(suffix) != std::string::npos) {
            return true;
        }
    }
    return false;
}

// Locks a file the way the tool does; close-on-exec, since a copy of the
// descriptor in a child would keep the lock alive.
int LockExclusively(const std::string& path, ino_t& inode)
{
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat info {};
    if (fd < 0 || ::flock(fd, LOCK_EX) != 0 || ::fstat(fd, &info) != 0) {
        return -1;
    }
    inode = info.st_ino;
    return fd;
}

// A set that waited for the lock while another editor renamed a new file into
// place must take the new file's lock before it edits: its old lock guards a
// file nobody reads any more.
TEST(AtomicSave, WaiterRelocksTheFileThatReplacedTheOneItLocked)
{
    TempDir dir;
    const std::string path = dir.Write("a.cfg", "[A]\nold=1\n");
    ino_t oldInode = 0, newInode = 0;
    const int oldLock = LockExclusively(path, oldInode);
    ASSERT_GE(oldLock, 0);

    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::execl(ZELCFG_BINARY, "zelcfg", "set", path.c_str(), "A.mine", "2", static_cast<char*>(nullptr));
        ::_exit(127);
    }
    // Polls without a time limit of its own: CTest's timeout ends a hung run.
    while (!SomeoneWaitsForLock(oldInode)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    // Another editor renames its file into place and, still editing, holds its lock.
    const std::string replacement = dir.Write("new.cfg", "[A]\nother=3\n");
    ASSERT_EQ(::rename(replacement.c_str(), path.c_str()), 0);
    const int newLock = LockExclusively(path, newInode);
    ASSERT_GE(newLock, 0);
    ::close(oldLock);

    // The tool must now wait for the new lock; finishing instead is the fault.
    int status = 0;
    pid_t done = 0;
    while (!SomeoneWaitsForLock(newInode) && (done = ::waitpid(child, &status, WNOHANG)) == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(done, 0) << "edited without the lock of the file it edits";
    ::close(newLock);
    if (done == 0) {
        ASSERT_EQ(::waitpid(child, &status, 0), child);
    }
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(ReadFile(path), "[A]\nother=3\nmine=2\n");
}

} // namespace
