// zelcfg's atomic save: links followed, owner, group, permissions, ACLs and
// attributes kept or the save refused, the original left intact on every
// failure, bounded waits, and concurrent edits taking turns.
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <set>
#include <sstream>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
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

// The extended attribute's value, "-" when the file has none.
std::string Attribute(const std::string& path, const char* name)
{
    char value[512];
    const ssize_t size = ::getxattr(path.c_str(), name, value, sizeof value);
    return size < 0 ? "-" : std::string(value, static_cast<size_t>(size));
}

// Who may do what with the file: owner, group, mode bits, ACL, an attribute.
std::string Metadata(const std::string& path)
{
    struct stat info {};
    ::stat(path.c_str(), &info);
    return std::to_string(info.st_uid) + ":" + std::to_string(info.st_gid) + " " + std::to_string(info.st_mode & 07777)
           + " acl=" + Attribute(path, "system.posix_acl_access") + " origin=" + Attribute(path, "user.origin");
}

// The file's inode: the same after a save in place, a new one after a rename.
ino_t Inode(const std::string& path)
{
    struct stat info {};
    ::stat(path.c_str(), &info);
    return info.st_ino;
}

// A file's text before and after its one value is set to 2.
struct Format
{
    const char* name;
    std::string before, key, after;
};
const Format kCfg{"a.cfg", "[A]\nk=1\n", "A.k", "[A]\nk=2\n"};
const Format kXml{"a.xml", "<r><k>1</k></r>", "k", "<r><k>2</k></r>"};

// One save by user 65534 (a member of group 4) in a directory anyone may
// write.
struct MetadataCase
{
    const char* name;
    bool setgidDirectory; // the directory's group is 4, and new files get it
    uid_t owner;          // of the file
    gid_t group;
    bool acl;             // an ACL entry for user 1, and the attribute user.origin
    Format format;
    std::vector<std::string> options;
    int status; // 0: saved with every piece of metadata kept; 2: refused, untouched
};
using MetadataTable = testing::TestWithParam<MetadataCase>;

TEST_P(MetadataTable, KeptExactlyOrRefused)
{
    const MetadataCase& row = GetParam();
    TempDir dir;
    const std::string asNobody = AsGroupMember(dir.Path(), ZELCFG_BINARY);
    if (asNobody.empty()) {
        GTEST_SKIP() << "needs root, and the tool in another user's reach";
    }
    ASSERT_EQ(::chown(dir.Path().c_str(), 0, row.setgidDirectory ? 4 : 0), 0);
    ASSERT_EQ(::chmod(dir.Path().c_str(), row.setgidDirectory ? 02777 : 0777), 0);
    const std::string path = dir.Write(row.format.name, row.format.before);
    ASSERT_EQ(::chown(path.c_str(), row.owner, row.group), 0);
    ASSERT_EQ(::chmod(path.c_str(), row.owner == 65534 ? 0640 : 0660), 0);
    if (row.acl) {
        ASSERT_EQ(RunTool(dir.Path(), {"setfacl", "-m", "u:1:rw", row.format.name}).status, 0);
        ASSERT_EQ(::setxattr(path.c_str(), "user.origin", "test", 4, 0), 0);
    }
    const std::string before = Metadata(path);
    const ino_t inode = Inode(path);
    std::vector<std::string> args{ZELCFG_BINARY, "set"};
    args.insert(args.end(), row.options.begin(), row.options.end());
    args.insert(args.end(), {row.format.name, row.format.key, "2"});
    const ToolResult result = RunTool(dir.Path(), args, asNobody);
    EXPECT_EQ(result.status, row.status) << result.err;
    EXPECT_EQ(ReadFile(path), row.status == 0 ? row.format.after : row.format.before);
    EXPECT_EQ(Metadata(path), before);
    if (row.status != 0) {
        EXPECT_NE(result.err.find(": --in-place rewrites the file itself (not atomically)\n"), std::string::npos)
            << result.err;
    }
    if (!row.options.empty()) {
        EXPECT_EQ(Inode(path), inode) << "rewritten in place";
    }
    EXPECT_EQ(Listing(dir.Path()), std::string(row.format.name) + " ");
}

INSTANTIATE_TEST_SUITE_P(Save, MetadataTable, testing::Values(
    MetadataCase{"OwnGroup", false, 65534, 65534, false, kCfg, {}, 0},
    MetadataCase{"OwnGroupSetgidDirectory", true, 65534, 65534, false, kCfg, {}, 0},
    MetadataCase{"SharedGroup", false, 65534, 4, false, kCfg, {}, 0},
    MetadataCase{"SharedGroupSetgidDirectory", true, 65534, 4, false, kCfg, {}, 0},
    MetadataCase{"OwnGroupAcl", false, 65534, 65534, true, kCfg, {}, 0},
    MetadataCase{"OwnGroupAclSetgidDirectory", true, 65534, 65534, true, kCfg, {}, 0},
    MetadataCase{"SharedGroupAcl", false, 65534, 4, true, kCfg, {}, 0},
    MetadataCase{"SharedGroupAclSetgidDirectory", true, 65534, 4, true, kCfg, {}, 0},
    MetadataCase{"OthersFileRefused", false, 0, 4, false, kCfg, {}, 2},
    MetadataCase{"OthersFileInPlace", false, 0, 4, true, kCfg, {"--in-place"}, 0}),
    RowName());

#ifdef ZELCONFIG_TEST_XML
INSTANTIATE_TEST_SUITE_P(XmlSave, MetadataTable, testing::Values(
    MetadataCase{"OwnGroupAclSetgidDirectory", true, 65534, 65534, true, kXml, {}, 0},
    MetadataCase{"OthersFileRefused", false, 0, 4, false, kXml, {}, 2},
    MetadataCase{"OthersFileInPlace", true, 0, 4, false, kXml, {"--in-place"}, 0}),
    RowName());
#endif

// set creates a missing file as an editor would, under the umask; the other
// commands need the file.
TEST(AtomicSave, SetCreatesAMissingFileUnsetDoesNot)
{
    TempDir dir;
    const ToolResult unset = RunTool(dir.Path(), {ZELCFG_BINARY, "unset", "new.cfg", "N.P"}, "umask 027; ");
    EXPECT_EQ(unset.status, 2);
    EXPECT_EQ(unset.err, "zelcfg: new.cfg: cannot be read: No such file or directory\n");
    EXPECT_EQ(Listing(dir.Path()), "");
    const ToolResult set = RunTool(dir.Path(), {ZELCFG_BINARY, "set", "new.cfg", "N.P", "1"}, "umask 027; ");
    EXPECT_EQ(set.status, 0) << set.err;
    EXPECT_EQ(ReadFile(dir.Path() + "/new.cfg"), "[N]\nP=1\n");
    EXPECT_EQ(Mode(dir.Path() + "/new.cfg"), 0640u);
    const ToolResult missingDir = RunTool(dir.Path(), {ZELCFG_BINARY, "set", "no/new.cfg", "N.P", "1"});
    EXPECT_EQ(missingDir.status, 2);
    EXPECT_EQ(missingDir.err, "zelcfg: no/new.cfg: cannot reach " + dir.Path() + "/no: No such file or directory\n");
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

// Locks a file the way the tool does; close-on-exec, since a copy of the
// descriptor in a child would keep the lock alive.
int LockExclusively(const std::string& path)
{
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    return fd >= 0 && ::flock(fd, LOCK_EX) == 0 ? fd : -1;
}

// Whether the child is still running after a moment: waiting for a lock.
bool StillWaits(pid_t child)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    int status = 0;
    return ::waitpid(child, &status, WNOHANG) == 0;
}

// A set that waited for the lock while another editor renamed a new file into
// place must take the new file's lock before it edits: its old lock guards a
// file nobody reads any more.
TEST(AtomicSave, WaiterRelocksTheFileThatReplacedTheOneItLocked)
{
    TempDir dir;
    const std::string path = dir.Write("a.cfg", "[A]\nold=1\n");
    const int oldLock = LockExclusively(path);
    ASSERT_GE(oldLock, 0);

    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::execl(ZELCFG_BINARY, "zelcfg", "set", path.c_str(), "A.mine", "2", static_cast<char*>(nullptr));
        ::_exit(127);
    }
    EXPECT_TRUE(StillWaits(child)) << "edited without the lock";
    // Another editor renames its file into place and, still editing, holds its lock.
    const std::string replacement = dir.Write("new.cfg", "[A]\nother=3\n");
    ASSERT_EQ(::rename(replacement.c_str(), path.c_str()), 0);
    const int newLock = LockExclusively(path);
    ASSERT_GE(newLock, 0);
    ::close(oldLock);
    // The tool must now wait for the new lock; finishing instead is the fault.
    EXPECT_TRUE(StillWaits(child)) << "edited without the lock of the file it edits";
    ::close(newLock);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(ReadFile(path), "[A]\nother=3\nmine=2\n");
}

// Two sets of different values of one file, the first paused at a step of
// its save (LD_PRELOAD) while the second runs: the lock must make the second
// wait, so that both exit 0 and both changes stay.
struct RaceCase
{
    const char* name;
    Format format; // the second set changes the value "j"
    const char* pauseAt;
};
using RaceTable = testing::TestWithParam<RaceCase>;

TEST_P(RaceTable, BothChangesStay)
{
    const RaceCase& row = GetParam();
    TempDir dir;
    const bool xml = std::string(row.format.name) == "a.xml";
    const std::string path = dir.Write(row.format.name, xml ? "<r><k>1</k><j>1</j></r>" : "[A]\nk=1\nj=1\n");
    const std::string tool = std::string("'") + ZELCFG_BINARY + "' set " + row.format.name + " ";
    const std::string script = std::string(ZELCONFIG_PRELOAD "='") + ZELCONFIG_PAUSE_LIBRARY + "' ZELCONFIG_PAUSE_AT="
                               + row.pauseAt + " " + tool + row.format.key + " 2 & first=$!; sleep 0.15; " + tool
                               + (xml ? "j" : "A.j") + " 2; second=$?; wait $first; echo $? $second; ";
    const ToolResult result = RunTool(dir.Path(), {"true"}, script);
    EXPECT_EQ(result.out, "0 0\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(ReadFile(path), xml ? "<r><k>2</k><j>2</j></r>" : "[A]\nk=2\nj=2\n");
    EXPECT_EQ(Listing(dir.Path()), std::string(row.format.name) + " ");
}

INSTANTIATE_TEST_SUITE_P(PauseAt, RaceTable, testing::Values(
    RaceCase{"CfgRead", kCfg, "read"},
    RaceCase{"CfgFsync", kCfg, "fsync"},
    RaceCase{"CfgRename", kCfg, "rename"}),
    RowName());

#ifdef ZELCONFIG_TEST_XML
INSTANTIATE_TEST_SUITE_P(XmlPauseAt, RaceTable, testing::Values(
    RaceCase{"XmlRead", kXml, "read"},
    RaceCase{"XmlFsync", kXml, "fsync"},
    RaceCase{"XmlRename", kXml, "rename"}),
    RowName());
#endif

// One command in a directory that `setup` (shell commands, as root) prepared,
// and what it must leave.
struct GuardCase
{
    const char* name;
    std::string setup;
    bool asNobody; // run as user 65534 in group 4
    std::string env;
    std::vector<std::string> args;
    int status;
    std::string err;             // a part of stderr
    std::string file, saved;     // a file afterwards; no file: not read (a FIFO)
    std::string listing = "";    // the directory afterwards, when given
};
using GuardTable = testing::TestWithParam<GuardCase>;

TEST_P(GuardTable, RefusesOrSavesAsItShould)
{
    const GuardCase& row = GetParam();
    TempDir dir;
    ASSERT_EQ(::chmod(dir.Path().c_str(), 0777), 0);
    std::string prefix = row.env;
    if (row.asNobody) {
        const std::string asNobody = AsGroupMember(dir.Path(), ZELCFG_BINARY);
        if (asNobody.empty()) {
            GTEST_SKIP() << "needs root, and the tool in another user's reach";
        }
        prefix += asNobody;
    }
    ASSERT_EQ(RunTool(dir.Path(), {"sh", "-c", row.setup}).status, 0);
    std::vector<std::string> args{ZELCFG_BINARY};
    args.insert(args.end(), row.args.begin(), row.args.end());
    const auto start = std::chrono::steady_clock::now();
    const ToolResult result = RunTool(dir.Path(), args, prefix);
    // Far below the default wait of 10 s, far above a loaded emulator's start.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << "waited too long";
    EXPECT_EQ(result.status, row.status);
    EXPECT_NE(result.err.find(row.err), std::string::npos) << result.err;
    if (!row.file.empty()) {
        EXPECT_EQ(ReadFile(dir.Path() + "/" + row.file), row.saved);
    }
    if (!row.listing.empty()) {
        EXPECT_EQ(Listing(dir.Path()), row.listing);
    }
}

const std::string kOwnReadOnly = "printf '[A]\\nk=1\\n' >a.cfg; chown 65534:65534 a.cfg; chmod 444 a.cfg";
const std::string kHeldShared = "printf '[A]\\nk=1\\n' >a.cfg; flock -s a.cfg sleep 3 >/dev/null 2>&1 & sleep 0.2";
const std::string kLongName = std::string(251, 'x') + ".xml"; // 255 bytes, the most a name may have
const std::string kNoDirectoryFlush = std::string(ZELCONFIG_PRELOAD "='") + ZELCONFIG_PAUSE_LIBRARY
                                      + "' ZELCONFIG_FAIL_DIRECTORY_FSYNC=1 ";
const std::string kFailGetfl =
    std::string(ZELCONFIG_PRELOAD "='") + ZELCONFIG_PAUSE_LIBRARY + "' ZELCONFIG_FAIL_GETFL=";

INSTANTIATE_TEST_SUITE_P(Save, GuardTable, testing::Values(
    GuardCase{"ReadOnlyFile", kOwnReadOnly, true, "", {"set", "a.cfg", "A.k", "2"}, 2,
              "zelcfg: a.cfg: not writable: Permission denied; --force replaces it", "a.cfg", "[A]\nk=1\n"},
    GuardCase{"ReadOnlyFileForced", kOwnReadOnly, true, "", {"set", "--force", "a.cfg", "A.k", "2"}, 0, "",
              "a.cfg", "[A]\nk=2\n"},
    GuardCase{"FifoGet", "mkfifo a.cfg", false, "", {"get", "a.cfg", "A.k"}, 2,
              "zelcfg: a.cfg: cannot be read: not a regular file\n", "", ""},
    GuardCase{"FifoSet", "mkfifo a.cfg", false, "", {"set", "a.cfg", "A.k", "2"}, 2,
              "zelcfg: a.cfg: not a regular file\n", "", ""},
    GuardCase{"HeldLock", kHeldShared, false, "", {"set", "--wait", "1", "a.cfg", "A.k", "2"}, 2,
              "zelcfg: a.cfg: another process holds the file's lock; gave up after 1 second, nothing changed "
              "(--wait SECONDS waits longer)\n", "a.cfg", "[A]\nk=1\n"},
    GuardCase{"StickyDirectoryOthersLink",
              "chmod 1777 .; printf '[A]\\nk=1\\n' >real.cfg; ln -s real.cfg link.cfg; chown -h 65534 link.cfg",
              false, "", {"set", "link.cfg", "A.k", "2"}, 2,
              "/link.cfg: it is in a sticky, world-writable directory and belongs to neither you nor the "
              "directory's owner\n",
              "real.cfg", "[A]\nk=1\n"},
    GuardCase{"StickyDirectoryOwnLink", "chmod 1777 .; printf '[A]\\nk=1\\n' >real.cfg; ln -s real.cfg link.cfg",
              false, "", {"set", "link.cfg", "A.k", "2"}, 0, "", "real.cfg", "[A]\nk=2\n"},
    GuardCase{"LeftoversOfThisFileGo",
              "printf '[A]\\nk=1\\n' >a.cfg; touch .a.cfg.zelcfg-AAAAAA .b.cfg.zelcfg-BBBBBB "
              ".a.cfg.zelcfg-CCCCCC; flock .a.cfg.zelcfg-CCCCCC sleep 3 >/dev/null 2>&1 & sleep 0.2",
              false, "", {"set", "a.cfg", "A.k", "2"}, 0, "", "a.cfg", "[A]\nk=2\n",
              ".a.cfg.zelcfg-CCCCCC .b.cfg.zelcfg-BBBBBB a.cfg "},
    GuardCase{"DirectoryNotFlushed", "printf '[A]\\nk=1\\n' >a.cfg", false, kNoDirectoryFlush,
              {"set", "a.cfg", "A.k", "2"}, 2, "zelcfg: a.cfg: the file was replaced, but cannot flush ", "a.cfg",
              "[A]\nk=2\n"}),
    RowName());

#ifdef ZELCONFIG_TEST_XML
INSTANTIATE_TEST_SUITE_P(XmlSave, GuardTable, testing::Values(
    GuardCase{"ReadOnlyFile", "printf '<r><k>1</k></r>' >a.xml; chown 65534:65534 a.xml; chmod 444 a.xml", true, "",
              {"set", "a.xml", "k", "2"}, 2, "zelcfg: a.xml: not writable: Permission denied", "a.xml",
              "<r><k>1</k></r>"},
    GuardCase{"FifoSet", "mkfifo a.xml", false, "", {"set", "a.xml", "k", "2"}, 2,
              "zelcfg: a.xml: cannot be read: not a regular file\n", "", ""},
    GuardCase{"FifoList", "mkfifo a.xml", false, "", {"list", "a.xml"}, 2,
              "zelcfg: a.xml: cannot be read: not a regular file\n", "", ""},
    GuardCase{"HeldLock", "printf '<r><k>1</k></r>' >a.xml; flock -s a.xml sleep 3 >/dev/null 2>&1 & sleep 0.2",
              false, "", {"set", "--wait", "0", "a.xml", "k", "2"}, 2,
              "zelcfg: a.xml: another process holds the file's lock; gave up after 0 seconds", "a.xml",
              "<r><k>1</k></r>"},
    GuardCase{"LongName", "printf '<r><k>1</k></r>' >" + kLongName, false, "", {"set", kLongName, "k", "2"}, 0, "",
              kLongName, "<r><k>2</k></r>"},
    GuardCase{"DirectoryNotFlushed", "printf '<r><k>1</k></r>' >a.xml", false, kNoDirectoryFlush,
              {"set", "a.xml", "k", "2"}, 2, "zelcfg: a.xml: the file was replaced, but cannot flush ", "a.xml",
              "<r><k>2</k></r>"},
    // The read turns the descriptor blocking again: an interrupted fcntl is
    // asked again, a failed one reported, never its -1 taken for flags.
    GuardCase{"FlagsInterrupted", "printf '<r><k>1</k></r>' >a.xml", false, kFailGetfl + "EINTR ",
              {"get", "a.xml", "k"}, 0, "", "a.xml", "<r><k>1</k></r>"},
    GuardCase{"FlagsUnreadable", "printf '<r><k>1</k></r>' >a.xml", false, kFailGetfl + "EIO ", {"list", "a.xml"}, 2,
              "zelcfg: a.xml: cannot be read: Input/output error\n", "a.xml", "<r><k>1</k></r>"}),
    RowName());
#endif

} // namespace
