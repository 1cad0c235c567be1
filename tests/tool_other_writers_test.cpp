// zelcfg beside programs that do not take its lock: a file changed while an
// edit holds it is refused, not overwritten; a large file rewritten in place
// keeps every byte; links that another user could have planted, in any part
// of the path, are refused, also while that user flips them.
#include <csignal>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "RunTool.h"
#include "TestFiles.h"

namespace {

const std::string kTool = std::string("'") + ZELCFG_BINARY + "'";

// One edit paused (LD_PRELOAD) at its comparison of the file with what it
// read, or at the flush of the new file after it, while a shell command
// that ignores the lock changes the file.
struct ChangedCase
{
    const char* name;
    const char* pauseAt;
    const char* file;
    std::string before;
    std::string edit;   // the arguments after "zelcfg set"
    std::string change; // shell commands run meanwhile
    std::string after;  // the file afterwards: as the change left it
};
using ChangedTable = testing::TestWithParam<ChangedCase>;

TEST_P(ChangedTable, RefusedAndLeftAsTheOtherProgramLeftIt)
{
    const ChangedCase& row = GetParam();
    TempDir dir;
    const std::string path = dir.Write(row.file, row.before);
    const std::string script = std::string(ZELCONFIG_PRELOAD "='") + ZELCONFIG_PAUSE_LIBRARY
                               + "' ZELCONFIG_PAUSE_AT=" + row.pauseAt + " " + kTool + " set " + row.edit
                               + " 2>err & edit=$!; sleep 0.15; " + row.change + "; wait $edit; echo $?; cat err; ";
    const ToolResult result = RunTool(dir.Path(), {"true"}, script);
    EXPECT_EQ(result.out, std::string("2\nzelcfg: ") + row.file + " changed since it was read; nothing was written\n");
    EXPECT_EQ(ReadFile(path), row.after);
}

const std::string kCfg = "[A]\nk=1\n";
const std::string kXml = "<r><k>1</k></r>";

INSTANTIATE_TEST_SUITE_P(Save, ChangedTable, testing::Values(
    ChangedCase{"Truncated", "pread", "a.cfg", kCfg, "a.cfg A.k 2", ": >a.cfg", ""},
    ChangedCase{"SameSizeWithinATick", "pread", "a.cfg", kCfg, "a.cfg A.k 2", "printf '[A]\\nk=9\\n' >a.cfg",
                "[A]\nk=9\n"},
    ChangedCase{"RenamedOver", "pread", "a.cfg", kCfg, "a.cfg A.k 2", "printf '[B]\\n' >b && mv b a.cfg", "[B]\n"},
    ChangedCase{"InPlaceTruncated", "pread", "a.cfg", kCfg, "--in-place a.cfg A.k 2", ": >a.cfg", ""},
    ChangedCase{"InPlaceSameSize", "pread", "a.cfg", kCfg, "--in-place a.cfg A.k 2", "printf '[A]\\nk=9\\n' >a.cfg",
                "[A]\nk=9\n"},
    ChangedCase{"NewKeySameSize", "pread", "a.cfg", kCfg, "a.cfg A.n 2", "printf '[A]\\nk=9\\n' >a.cfg", "[A]\nk=9\n"},
    ChangedCase{"SameSizeDuringTheFlush", "fsync", "a.cfg", kCfg, "a.cfg A.k 2", "printf '[A]\\nk=9\\n' >a.cfg",
                "[A]\nk=9\n"},
    ChangedCase{"TruncatedDuringTheFlush", "fsync", "a.cfg", kCfg, "a.cfg A.k 2", ": >a.cfg", ""}),
    RowName());

#ifdef ZELCONFIG_TEST_XML
INSTANTIATE_TEST_SUITE_P(XmlSave, ChangedTable, testing::Values(
    ChangedCase{"SameSizeWithinATick", "pread", "a.xml", kXml, "a.xml k 2", "printf '<r><k>9</k></r>' >a.xml",
                "<r><k>9</k></r>"},
    ChangedCase{"BlanksOnly", "pread", "a.xml", kXml, "a.xml k 2", "printf '<r><k>1</k>  </r>' >a.xml",
                "<r><k>1</k>  </r>"},
    ChangedCase{"InPlaceTruncated", "pread", "a.xml", kXml, "--in-place a.xml k 2", ": >a.xml", ""},
    ChangedCase{"SameSizeDuringTheFlush", "fsync", "a.xml", kXml, "a.xml k 2", "printf '<r><k>9</k></r>' >a.xml",
                "<r><k>9</k></r>"}),
    RowName());
#endif

// A file large enough that a save once wrote its unchanged ranges from a
// mapping of the file itself: rewritten in place, the pieces after a grown
// value were read from bytes the rewrite had just overwritten.
struct InPlaceCase
{
    const char* name;
    const char* value;
};
using LargeInPlaceTable = testing::TestWithParam<InPlaceCase>;

TEST_P(LargeInPlaceTable, KeepsEveryOtherByte)
{
    std::string rest;
    for (int i = 0; i < 30000; ++i) {
        char line[32];
        std::snprintf(line, sizeof line, "e%05d=value-%05d\n", i, i);
        rest += line;
    }
    TempDir dir;
    const std::string path = dir.Write("big.cfg", "[A]\nk=short\n" + rest);
    const ToolResult result = RunTool(dir.Path(), {ZELCFG_BINARY, "set", "--in-place", "big.cfg", "A.k",
                                                   GetParam().value});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(ReadFile(path) == "[A]\nk=" + std::string(GetParam().value) + "\n" + rest);
}

INSTANTIATE_TEST_SUITE_P(Save, LargeInPlaceTable, testing::Values(
    InPlaceCase{"Grows", "a-much-longer-value-than-before-XXXXXXXXXXXXXXXXXXXX"},
    InPlaceCase{"Shrinks", "s"}),
    RowName());

// Root's file in a directory only root may enter, and a directory that
// anyone may write, sticky, as /tmp is.
const std::string kRootsFile = "mkdir -m 700 private && printf '[Net]\\nPort=1\\n' >private/app.cfg && "
                               "mkdir -m 1777 shared && ";

// Links in a sticky, world-writable directory, as root: followed when root
// (or the directory's owner) made them, refused when another user did,
// whichever part of the path they are.
struct LinkCase
{
    const char* name;
    std::string setup; // after kRootsFile, in the test's directory
    std::string path;
    int status;
    std::string err;
    std::string privateAfter; // private/app.cfg afterwards
};
using PlantedLinkTable = testing::TestWithParam<LinkCase>;

TEST_P(PlantedLinkTable, OnlyTrustedLinksAreFollowed)
{
    const LinkCase& row = GetParam();
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root, to give a link to another user";
    }
    TempDir dir;
    ASSERT_EQ(::chmod(dir.Path().c_str(), 0755), 0);
    ASSERT_EQ(RunTool(dir.Path(), {"sh", "-c", kRootsFile + row.setup}).status, 0);
    const ToolResult result = RunTool(dir.Path(), {ZELCFG_BINARY, "set", row.path, "Net.Port", "2"});
    EXPECT_EQ(result.status, row.status);
    EXPECT_EQ(result.err, row.err.empty() ? "" : "zelcfg: " + row.path + ": refusing to follow the symbolic link "
                                                      + dir.Path() + row.err);
    EXPECT_EQ(ReadFile(dir.Path() + "/private/app.cfg"), row.privateAfter);
}

const std::string kPlanted = ": it is in a sticky, world-writable directory and belongs to neither you nor the "
                             "directory's owner\n";

INSTANTIATE_TEST_SUITE_P(Save, PlantedLinkTable, testing::Values(
    LinkCase{"OthersDirectoryLink", "ln -s ../private shared/their-dir && chown -h 65534 shared/their-dir",
             "shared/their-dir/app.cfg", 2, "/shared/their-dir" + kPlanted, "[Net]\nPort=1\n"},
    LinkCase{"OthersLinkBehindOwnLink",
             "ln -s ../private shared/their-dir && chown -h 65534 shared/their-dir && ln -s shared/their-dir mine",
             "mine/app.cfg", 2, "/shared/their-dir" + kPlanted, "[Net]\nPort=1\n"},
    LinkCase{"OthersLinkInALinksTarget",
             "ln -s ../private/app.cfg shared/x.cfg && chown -h 65534 shared/x.cfg && ln -s shared/x.cfg mine.cfg",
             "mine.cfg", 2, "/shared/x.cfg" + kPlanted, "[Net]\nPort=1\n"},
    LinkCase{"OwnDirectoryLink", "ln -s ../private shared/my-dir", "shared/my-dir/app.cfg", 0, "",
             "[Net]\nPort=2\n"},
    LinkCase{"DotDotAfterALink", "ln -s ../private shared/my-dir && mkdir private/sub",
             "shared/my-dir/sub/../app.cfg", 0, "", "[Net]\nPort=2\n"}),
    RowName());

// Another user flips a name in /tmp between a file of their own and a link
// to root's file, as fast as they can, while root edits the name: root's
// file must never be the one edited.
TEST(PlantedLink, FlippingRaceNeverEditsTheVictim)
{
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root, to run the flipping as another user";
    }
    TempDir dir;
    ASSERT_EQ(::chmod(dir.Path().c_str(), 0755), 0);
    ASSERT_EQ(RunTool(dir.Path(), {"sh", "-c", kRootsFile + "true"}).status, 0);
    const std::string shared = dir.Path() + "/shared";
    const std::string victim = dir.Path() + "/private/app.cfg";
    const pid_t flipper = ::fork();
    ASSERT_GE(flipper, 0);
    if (flipper == 0) {
        if (::setgid(65534) != 0 || ::setuid(65534) != 0 || ::chdir(shared.c_str()) != 0) {
            ::_exit(1);
        }
        for (;;) {
            const int fd = ::open("file.new", O_WRONLY | O_CREAT | O_TRUNC, 0644);
            if (fd >= 0) {
                const char text[] = "[Net]\nPort=1\n";
                (void)!::write(fd, text, sizeof text - 1);
                ::close(fd);
            }
            ::rename("file.new", "race.cfg");
            (void)!::symlink(victim.c_str(), "link.new");
            ::rename("link.new", "race.cfg");
        }
    }
    const ToolResult runs = RunTool(
        dir.Path(), {"true"},
        "for i in $(seq 1000); do " + kTool + " set --wait 1 shared/race.cfg Net.Port $i 2>/dev/null; done; ");
    ::kill(flipper, SIGKILL);
    ::waitpid(flipper, nullptr, 0);
    EXPECT_EQ(runs.status, 0);
    EXPECT_EQ(ReadFile(victim), "[Net]\nPort=1\n");
}

} // namespace
