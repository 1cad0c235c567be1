// Updating values in memory and saving the model in its normalised form.
#include <cerrno>
#include <string>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "CCFGParser.h"
#include "CaptureLog.h"
#include "RowName.h"
#include "TestFiles.h"

namespace {

// Update then save: the saved bytes show what changed and what did not.
struct UpdateCase
{
    const char* name;
    unsigned mode;
    std::string input;
    std::string key;
    std::string value;
    int status;
    std::string saved;
};

class UpdateTable : public testing::TestWithParam<UpdateCase>
{
};

TEST_P(UpdateTable, ChangesExistingEntriesOnly)
{
    const UpdateCase& row = GetParam();
    TempDir dir;
    CCFGParser parser(dir.Write("in.cfg", row.input), row.mode);
    capture_log::Reset();

    EXPECT_EQ(parser.CFGSetData(row.key, row.value), row.status);
    const auto log = capture_log::Entries();
    if (row.status == EINVAL) {
        ASSERT_EQ(log.size(), 1u);
        EXPECT_EQ(log[0].level, 9);
        EXPECT_EQ(log[0].function, "CFGSetData");
        EXPECT_EQ(log[0].message, "m_pmCFGData is NULL");
    } else {
        EXPECT_TRUE(log.empty());
    }
    const std::string out = dir.Path() + "/out.cfg";
    ASSERT_EQ(parser.CFGSaveData(out), 0);
    EXPECT_EQ(ReadFile(out), row.saved);
}

INSTANTIATE_TEST_SUITE_P(
    Keys, UpdateTable,
    testing::Values(
        UpdateCase{"EveryEntryOfTheName", 0, "[Net]\n# c\nPort=1\nPort=2\n", "Net.Port", "9", 0,
                   "[Net]\n# c\nPort=9\nPort=9\n"},
        UpdateCase{"MissingEntryAddsNothing", 0, "[Net]\nPort=1\n", "Net.Missing", "9", -2,
                   "[Net]\nPort=1\n"},
        UpdateCase{"BareKeyNeverMeansAnonymous", 1, "Port=1\n", "Port", "9", -2,
                   "[anonymous]\nPort=1\n"},
        UpdateCase{"AnonymousBlockByItsName", 1, "Port=1\n", "anonymous.Port", "9", 0,
                   "[anonymous]\nPort=9\n"},
        UpdateCase{"BareKeyMeansEmptyNames", 0, "[]\n=1\n", "Port", "9", 0, "[]\n=9\n"},
        UpdateCase{"FurtherDotsBelongToEntry", 0, "[A]\nb.c=1\n", "A.b.c", "2", 0, "[A]\nb.c=2\n"},
        UpdateCase{"EmptyKeyRefused", 0, "[A]\nb=1\n", "", "2", EINVAL, "[A]\nb=1\n"},
        UpdateCase{"ValueStoredAsItStands", 0, "[A]\nb=1\nc=2\n", "A.b", " x\ny=z ", 0,
                   "[A]\nb= x\ny=z \nc=2\n"}),
    RowName());

TEST(Update, WithoutModelIsRefused)
{
    capture_log::Reset();
    CCFGParser parser;
    EXPECT_EQ(parser.CFGSetData("A.b", "1"), EINVAL);
    ASSERT_EQ(capture_log::Entries().size(), 1u);
    EXPECT_EQ(capture_log::Entries()[0].message, "m_pmCFGData is NULL");
}

// Parse, save: the normalised form, byte for byte.
struct SaveCase
{
    const char* name;
    unsigned mode;
    std::string input;
    std::string saved;
};

class SaveTable : public testing::TestWithParam<SaveCase>
{
};

TEST_P(SaveTable, WritesNormalisedForm)
{
    const SaveCase& row = GetParam();
    TempDir dir;
    CCFGParser parser(dir.Write("in.cfg", row.input), row.mode);
    const std::string out = dir.Write("out.cfg", "old content that is longer than the new one\n");
    ASSERT_EQ(parser.CFGSaveData(out), 0);
    EXPECT_EQ(ReadFile(out), row.saved);

    // The normalised form is a fixed point of parse and save.
    CCFGParser again(out, row.mode);
    ASSERT_EQ(again.CFGSaveData(out), 0);
    EXPECT_EQ(ReadFile(out), row.saved);
}

INSTANTIATE_TEST_SUITE_P(
    Files, SaveTable,
    testing::Values(
        SaveCase{"BlocksSortedByName", 0, "[B]\nb=1\n[A]\na=1\n[anonymous]\n", "[A]\na=1\n[B]\nb=1\n[anonymous]\n"},
        SaveCase{"EmptyBlockIsItsHeader", 0, "[Only]\n", "[Only]\n"},
        SaveCase{"EmptyModelIsEmptyFile", 0, "# nothing\n", ""},
        SaveCase{"BareEntriesUnderAnonymous", 1, "k=v\nj = w\n", "[anonymous]\nk=v\nj=w\n"},
        SaveCase{"CommentsKeptJoined", 0, "# a\n; b\n[A]\n#c\n#d\nk=v\n# gone\n",
                 "# a; b\n[A]\n#c#d\nk=v\n"},
        SaveCase{"DroppedAndKeptBytes", 0, "\n[A] trailing\r\n  k = v\r\nnoise\n\n",
                 "[A]\n  k = v\r\n"},
        SaveCase{"EmptyNames", 0, "[]\n=\n", "[]\n=\n"}),
    RowName());

TEST(Save, GoldenFilesOfTheExample)
{
    const std::string data = ZELCONFIG_TEST_DATA;
    TempDir dir;
    for (const unsigned mode : {0u, 1u}) {
        CCFGParser parser(data + "/example.cfg", mode);
        const std::string out = dir.Path() + "/saved.cfg";
        ASSERT_EQ(parser.CFGSaveData(out), 0);
        EXPECT_EQ(ReadFile(out),
                  ReadFile(data + (mode != 0 ? "/example.anonymous.saved" : "/example.block.saved")));
    }
}

TEST(Save, UpdatedValueKeepsCommentAndPosition)
{
    TempDir dir;
    CCFGParser parser(std::string(ZELCONFIG_TEST_DATA) + "/example.cfg");
    ASSERT_EQ(parser.CFGSetData("Net.Host", "192.168.1.1"), 0);
    const std::string out = dir.Path() + "/saved.cfg";
    ASSERT_EQ(parser.CFGSaveData(out), 0);
    EXPECT_EQ(ReadFile(out), "# network\n[Net]\n; address of the server\nHost=192.168.1.1\nPort = 80\n");
}

TEST(Save, FailuresAndTheirMessages)
{
    TempDir dir;
    struct Row
    {
        const char* name;
        bool parsed;
        std::string path;
        int status;
        const char* message;
    };
    const Row rows[] = {
        {"no model", false, dir.Path() + "/a.cfg", EINVAL, "m_pmCFGData is NULL"},
        {"missing directory", true, dir.Path() + "/none/a.cfg", -2, "Cannot Open File"},
        {"directory", true, dir.Path(), -2, "Cannot Open File"},
        {"empty path", true, "", -2, "Cannot Open File"},
        // Write errors are not detected: the save still reports success.
        {"device full", true, "/dev/full", 0, nullptr},
    };
    const std::string input = dir.Write("in.cfg", "[A]\nk=v\n");
    for (const Row& row : rows) {
        CCFGParser parser;
        if (row.parsed) {
            ASSERT_EQ(parser.CFGParseFile(input), 0);
        }
        capture_log::Reset();
        EXPECT_EQ(parser.CFGSaveData(row.path), row.status) << row.name;
        const auto log = capture_log::Entries();
        if (row.message == nullptr) {
            EXPECT_TRUE(log.empty()) << row.name;
        } else {
            ASSERT_EQ(log.size(), 1u) << row.name;
            EXPECT_EQ(log[0].level, 9);
            EXPECT_EQ(log[0].function, "CFGSaveData");
            EXPECT_EQ(log[0].message, row.message) << row.name;
        }
    }
    struct stat status;
    EXPECT_NE(stat((dir.Path() + "/a.cfg").c_str(), &status), 0) << "no file without a model";
}

} // namespace
