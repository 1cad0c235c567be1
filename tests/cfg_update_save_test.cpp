// Updating values in memory and saving the model in its normalised form.
#include <cerrno>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "CCFGParser.h"
#include "CCFGWriter.h"
#include "CZelConfigParser.h"
#include "CaptureLog.h"
#include "TestFiles.h"

namespace {
// When set, every write to a file makes no progress and reports no error.
bool g_stallWrites = false;
} // namespace

// The library's writes come through here; everything else passes straight on.
extern "C" ssize_t write(int fd, const void* data, size_t size)
{
    return g_stallWrites && fd > 2 ? 0 : syscall(SYS_write, fd, data, size);
}

extern "C" ssize_t writev(int fd, const iovec* parts, int count)
{
    return g_stallWrites && fd > 2 ? 0 : syscall(SYS_writev, fd, parts, count);
}

namespace {

const char kNoMap[] = "9 CFGSetData: m_pmCFGData is NULL\n";

// Update, then save over a longer file: the saved bytes show what changed,
// what did not, and the normalised form.
struct UpdateCase
{
    const char* name;
    unsigned mode;
    std::string input, key, value;
    int status;
    std::string saved, log;
};

using UpdateSaveTable = testing::TestWithParam<UpdateCase>;

TEST_P(UpdateSaveTable, ChangesExistingEntriesAndSavesNormalisedForm)
{
    const UpdateCase& row = GetParam();
    TempDir dir;
    CCFGParser parser(dir.Write("in.cfg", row.input), row.mode);
    capture_log::Reset();
    EXPECT_EQ(parser.CFGSetData(row.key, row.value), row.status);
    EXPECT_EQ(capture_log::Text(), row.log);
    const std::string out = dir.Write("out.cfg", "old content, longer than the new one\n");
    ASSERT_EQ(parser.CFGSaveData(out), 0);
    EXPECT_EQ(ReadFile(out), row.saved);
    // The normalised form is a fixed point of parse and save.
    ASSERT_EQ(CCFGParser(out, row.mode).CFGSaveData(out), 0);
    EXPECT_EQ(ReadFile(out), row.saved);
}

INSTANTIATE_TEST_SUITE_P(Rows, UpdateSaveTable, testing::Values(
    UpdateCase{"EveryEntryOfTheName", 0, "[Net]\n# c\nPort=1\nPort=2\n", "Net.Port", "9", 0,
               "[Net]\n# c\nPort=9\nPort=9\n", ""},
    UpdateCase{"MissingEntryAddsNothing", 0, "[Net]\nPort=1\n", "Net.Missing", "9", -2,
               "[Net]\nPort=1\n", ""},
    UpdateCase{"BareKeyNeverMeansAnonymous", 1, "Port=1\n", "Port", "9", -2,
               "[anonymous]\nPort=1\n", ""},
    UpdateCase{"AnonymousBlockByItsName", 1, "k=v\nPort = 1\n", "anonymous.Port", "9", 0,
               "[anonymous]\nk=v\nPort=9\n", ""},
    UpdateCase{"BareKeyMeansEmptyNames", 0, "[]\n=1\n", "Port", "9", 0, "[]\n=9\n", ""},
    UpdateCase{"FurtherDotsBelongToEntry", 0, "[A]\nb.c=1\n", "A.b.c", "2", 0, "[A]\nb.c=2\n", ""},
    UpdateCase{"EmptyKeyRefused", 0, "[A]\nb=1\n", "", "2", EINVAL, "[A]\nb=1\n", kNoMap},
    UpdateCase{"ValueStoredAsItStands", 0, "[A]\nb=1\nc=2\n", "A.b", " x\ny=z ", 0,
               "[A]\nb= x\ny=z \nc=2\n", ""},
    UpdateCase{"BlocksSortedByName", 0, "[B]\nb=1\n[A]\na=1\n[anonymous]\n[Only]\n", "B.b", "2",
               0, "[A]\na=1\n[B]\nb=2\n[Only]\n[anonymous]\n", ""},
    UpdateCase{"EmptyModelIsEmptyFile", 0, "# nothing\n", "A.b", "1", -2, "", ""},
    UpdateCase{"CommentsKeptJoined", 0, "# a\n; b\n[A]\n#c\n#d\nk=v\n# gone\n", "A.k", "w", 0,
               "# a; b\n[A]\n#c#d\nk=w\n", ""},
    UpdateCase{"DroppedAndKeptBytes", 0, "\n[A] trailing\r\n  k = v\r\nnoise\n\n[]\n=\n", ".",
               "e", 0, "[]\n=e\n[A]\n  k = v\r\n", ""}),
    RowName());

TEST(Save, GoldenFilesOfTheExample)
{
    const std::string data = ZELCONFIG_TEST_DATA;
    TempDir dir;
    const std::string out = dir.Path() + "/saved.cfg";
    ASSERT_EQ(CCFGParser(data + "/example.cfg", 0).CFGSaveData(out), 0);
    EXPECT_EQ(ReadFile(out), ReadFile(data + "/example.block.saved"));
    ASSERT_EQ(CCFGParser(data + "/example.cfg", 1).CFGSaveData(out), 0);
    EXPECT_EQ(ReadFile(out), ReadFile(data + "/example.anonymous.saved"));
}

// `path` is under the test's directory unless it is empty or absolute.
struct SaveFailureCase { const char* name; bool parsed; std::string path; int status; std::string log; };
using SaveFailureTable = testing::TestWithParam<SaveFailureCase>;

TEST_P(SaveFailureTable, StatusAndMessage)
{
    const SaveFailureCase& row = GetParam();
    TempDir dir;
    CCFGParser parser;
    EXPECT_EQ(row.parsed ? parser.CFGParseFile(dir.Write("in.cfg", "[A]\nk=v\n")) : 0, 0);
    const std::string path = row.path.empty() || row.path[0] == '/' ? row.path : dir.Path() + "/" + row.path;
    capture_log::Reset();
    EXPECT_EQ(parser.CFGSaveData(path), row.status);
    EXPECT_EQ(capture_log::Text(), row.log);
    EXPECT_TRUE(row.parsed || ::access(path.c_str(), F_OK) != 0) << "no file without a model";
}

const char kCannotOpen[] = "9 CFGSaveData: Cannot Open File\n";

INSTANTIATE_TEST_SUITE_P(Rows, SaveFailureTable, testing::Values(
    SaveFailureCase{"NoModel", false, "a.cfg", EINVAL, "9 CFGSaveData: m_pmCFGData is NULL\n"},
    SaveFailureCase{"MissingDirectory", true, "none/a.cfg", -2, kCannotOpen},
    SaveFailureCase{"Directory", true, ".", -2, kCannotOpen},
    SaveFailureCase{"EmptyPath", true, "", -2, kCannotOpen},
    SaveFailureCase{"WriteErrorsUndetected", true, "/dev/full", 0, ""}),
    RowName());

// A write that makes no progress ends the save (still 0: write errors are
// not reported) instead of looping; a watchdog ends a child that loops.
TEST(Save, WritesThatMakeNoProgressEndTheSave)
{
    TempDir dir;
    const std::string input = dir.Write("in.cfg", "[A]\nk=v\nlong=" + std::string(3000, 'x') + "\n");
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        alarm(10);
        CCFGParser parser(input);
        g_stallWrites = true;
        const int status = parser.CFGSaveData(dir.Path() + "/out.cfg");
        g_stallWrites = false;
        _exit(status == 0 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "wait status " << status;
    EXPECT_EQ(ReadFile(dir.Path() + "/out.cfg"), "");
}

// Paths are C strings: a NUL byte ends the name, for parsing, for saving and
// for the writer's test of the target.
TEST(Save, PathsEndAtTheirFirstNul)
{
    TempDir dir;
    const std::string junk = std::string(1, '\0') + "junk";
    const std::string input = dir.Write("in.cfg", "[A]\nk=v\n"), out = dir.Write("out.cfg", "");
    CCFGParser parser(input + junk);
    EXPECT_EQ(parser.CFGGetData("A.k"), "v");
    EXPECT_EQ(parser.CFGSaveData(out + junk), 0);
    EXPECT_EQ(ReadFile(out), "[A]\nk=v\n");

    CZelConfigParser config(input + junk);
    EXPECT_EQ(config.GetString("A.k"), "v");
    EXPECT_EQ(config.Set("A.k", "w"), 0);
    EXPECT_EQ(config.Save(), 0);
    EXPECT_EQ(ReadFile(input), "[A]\nk=w\n");

    CCFGWriter writer;
    ASSERT_EQ(writer.SetPath(out + junk), 0);
    writer.SetDataPtr(&parser);
    EXPECT_EQ(writer.SaveData(), 0) << "access() sees the file before the NUL";
    writer.SetDataPtr(nullptr);
}

} // namespace
