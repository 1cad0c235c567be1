// Parsing: the grammar in both modes, every status with its message, and
// input that is broken, binary or large.
#include <cerrno>
#include <locale>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "CCFGParser.h"
#include "CaptureLog.h"
#include "RowName.h"
#include "TestFiles.h"

namespace {

const char kExample[] = "# network\n"
                        "[Net]\n"
                        "; address of the server\n"
                        "Host=10.0.0.1\n"
                        "Port = 80\n"
                        "this line has no separator\n"
                        "[Net]\n"
                        "Extra=1\n";

constexpr unsigned kBlock = 0;
constexpr unsigned kAnonymous = 1;

struct ParseCase
{
    const char* name;
    unsigned mode;
    std::string input;
    int status;
    std::string model;   // DumpModel() after the parse
    const char* message; // the one level-9 message expected, or nullptr
};

class ParseTable : public testing::TestWithParam<ParseCase>
{
};

TEST_P(ParseTable, BuildsModelAndStatus)
{
    const ParseCase& row = GetParam();
    TempDir dir;
    const std::string path = dir.Write("input.cfg", row.input);
    capture_log::Reset();

    CCFGParser parser(row.mode);
    EXPECT_EQ(parser.CFGParseFile(path), row.status);
    EXPECT_EQ(DumpModel(parser), row.model);

    const auto log = capture_log::Entries();
    if (row.message == nullptr) {
        EXPECT_TRUE(log.empty()) << log.front().message;
    } else {
        ASSERT_EQ(log.size(), 1u);
        EXPECT_EQ(log[0].level, 9);
        EXPECT_EQ(log[0].function, "CFGParseFile");
        EXPECT_EQ(log[0].message, row.message);
    }
}

const std::string kNul(1, '\0');

INSTANTIATE_TEST_SUITE_P(
    Grammar, ParseTable,
    testing::Values(
        ParseCase{"ExampleBlockMode", kBlock, kExample, 0,
                  "[Net] <# network>\n"
                  "  <; address of the server> Host=10.0.0.1\n"
                  "  Port = 80\n",
                  nullptr},
        ParseCase{"ExampleAnonymousMode", kAnonymous, kExample, 0,
                  "[Net] <# network>\n"
                  "[anonymous]\n"
                  "  <; address of the server> Host=10.0.0.1\n"
                  "  Port=80\n"
                  "  Extra=1\n",
                  nullptr},
        ParseCase{"EmptyFileBlockMode", kBlock, "", 0, "", nullptr},
        ParseCase{"EmptyFileAnonymousMode", kAnonymous, "", 0, "[anonymous]\n", nullptr},
        ParseCase{"CommentsOnlyAreDropped", kBlock, "# a\n; b\n", 0, "", nullptr},
        ParseCase{"CommentsOnlyAnonymous", kAnonymous, "# a\n; b", 0, "[anonymous]\n", nullptr},
        ParseCase{"IndentedHeaderIsIgnored", kBlock, "[A]\n [Net]\nk=1\n", 0, "[A]\n  k=1\n",
                  nullptr},
        ParseCase{"IndentedCommentIsAnEntry", kBlock, "[A]\n # a=b\n", 0, "[A]\n   # a=b\n",
                  nullptr},
        ParseCase{"IndentedCommentTrimmed", kAnonymous, " # a=b\n", 0, "[anonymous]\n  # a=b\n",
                  nullptr},
        ParseCase{"HeaderNames", kBlock, "[a=b]\nx=1\n[a]b]\ny=2\n[[a]\nz=3\n[]\n=e\n", 0,
                  "[]\n  =e\n[[a]\n  z=3\n[a]\n  y=2\n[a=b]\n  x=1\n", nullptr},
        ParseCase{"TextAfterHeaderIgnored", kBlock, "[Net] ; old\r\nk=v\n", 0, "[Net]\n  k=v\n",
                  nullptr},
        ParseCase{"UnterminatedHeaderKeepsEarlierLines", kBlock, "[A]\nk=1\n[B\nk=2\n", -1,
                  "[A]\n  k=1\n", "End Tag missing"},
        ParseCase{"UnterminatedHeaderAnonymous", kAnonymous, "k=1\n[Net\n", -1,
                  "[anonymous]\n  k=1\n", "End Tag missing"},
        ParseCase{"EntryAboveFirstHeader", kBlock, "Key=1\n[A]\nb=2\n", EINVAL, "",
                  "l_pBlock is NULL"},
        ParseCase{"EntryAboveFirstHeaderAnonymous", kAnonymous, "Key=1\n", 0,
                  "[anonymous]\n  Key=1\n", nullptr},
        ParseCase{"HarmlessLinesAboveFirstHeader", kBlock, "# note\nno separator\n\n[A]\nKey=1", 0,
                  "[A] <# note>\n  Key=1\n", nullptr},
        ParseCase{"RepeatedHeaderLosesEntries", kBlock,
                  "[A]\na=1\n# lost\n[A]\nb=2\n[B]\nc=3\n", 0, "[A]\n  a=1\n[B]\n  c=3\n",
                  nullptr},
        ParseCase{"AnonymousHeaderAddsNothing", kAnonymous, "# c\n[anonymous]\nk=v\n[X]\n", 0,
                  "[X]\n[anonymous]\n  k=v\n", nullptr},
        ParseCase{"DuplicateKeysKeptInOrder", kBlock, "[A]\nb=1\nc=2\nb=3\n", 0,
                  "[A]\n  b=1\n  c=2\n  b=3\n", nullptr},
        ParseCase{"SplitAtFirstEquals", kBlock, "[A]\nPath=a=b\n=x\nName=\n", 0,
                  "[A]\n  Path=a=b\n  =x\n  Name=\n", nullptr},
        ParseCase{"CarriageReturnKeptInBlockMode", kBlock, "[A]\r\nKey=Value\r\n", 0,
                  "[A]\n  Key=Value\\r\n", nullptr},
        ParseCase{"CarriageReturnTrimmedInAnonymousMode", kAnonymous, "Key=Value\r\n", 0,
                  "[anonymous]\n  Key=Value\n", nullptr},
        ParseCase{"LastLineWithoutLineFeed", kBlock, "[A]\nKey=1", 0, "[A]\n  Key=1\n", nullptr},
        ParseCase{"CommentsJoinedTrailingDropped", kBlock, "[A]\n# a\n# b\nK=v\n# tail\n", 0,
                  "[A]\n  <# a# b> K=v\n", nullptr},
        ParseCase{"BlanksKeptInBlockMode", kBlock, "[A]\n  Key  =  some value  \n", 0,
                  "[A]\n    Key  =  some value  \n", nullptr},
        ParseCase{"BlanksTrimmedInAnonymousMode", kAnonymous, "  Key  =  some value  \n", 0,
                  "[anonymous]\n  Key=some value\n", nullptr},
        ParseCase{"NulBytesAreOrdinary", kBlock,
                  "[A" + kNul + "]\nk" + kNul + "ey=v" + kNul + "al\n" + kNul + "=x\n", 0,
                  "[A\\x00]\n  k\\x00ey=v\\x00al\n  \\x00=x\n", nullptr},
        ParseCase{"ByteOrderMarkHidesHeader", kBlock, "\xEF\xBB\xBF[Net]\nA=1\n", EINVAL, "",
                  "l_pBlock is NULL"},
        ParseCase{"ByteOrderMarkBeforeComment", kBlock, "\xEF\xBB\xBF# c\n[Net]\nA=1\n", 0,
                  "[Net]\n  A=1\n", nullptr}),
    RowName());

TEST(Parse, UnreadablePathsReportErrorOpeningFile)
{
    TempDir dir;
    const std::string withNul = dir.Path() + "/a.cfg" + kNul + "x";
    dir.Write("a.cfg", "[A]\nk=1\n");
    for (const std::string& path : {dir.Path() + "/missing.cfg", dir.Path(), std::string(), withNul}) {
        for (const unsigned mode : {kBlock, kAnonymous}) {
            capture_log::Reset();
            CCFGParser parser(mode);
            EXPECT_EQ(parser.CFGParseFile(path), -2) << path;
            // A fresh, empty map: not NULL, and without the "anonymous" block.
            EXPECT_EQ(DumpModel(parser), "") << path;
            const auto log = capture_log::Entries();
            ASSERT_EQ(log.size(), 1u);
            EXPECT_EQ(log[0].message, "Error Opening File");
            EXPECT_EQ(log[0].level, 9);
        }
    }
}

TEST(Parse, ReparseReplacesTheModel)
{
    TempDir dir;
    CCFGParser parser;
    ASSERT_EQ(parser.CFGParseFile(dir.Write("1.cfg", "[A]\na=1\n")), 0);
    ASSERT_EQ(parser.CFGParseFile(dir.Write("2.cfg", "[B]\nb=2\n")), 0);
    EXPECT_EQ(DumpModel(parser), "[B]\n  b=2\n");
    EXPECT_EQ(parser.CFGParseFile(dir.Path() + "/missing.cfg"), -2);
    EXPECT_EQ(DumpModel(parser), "");
}

TEST(Parse, StatusDoesNotDependOnLogging)
{
    TempDir dir;
    capture_log::Reset(0);
    CCFGParser parser;
    EXPECT_EQ(parser.CFGParseFile(dir.Write("x.cfg", "[A\n")), -1);
    EXPECT_EQ(parser.CFGParseFile(dir.Write("y.cfg", "k=v\n")), EINVAL);
    EXPECT_EQ(parser.CFGParseFile(dir.Path() + "/missing.cfg"), -2);
    EXPECT_TRUE(capture_log::Entries().empty());
}

// Lines that straddle the reader's chunks, and lines longer than a chunk.
TEST(Parse, LargeFilesAndLongLines)
{
    std::string input;
    std::string expected;
    for (int block = 0; block < 400; ++block) {
        const std::string name = "B" + std::to_string(100000 + block);
        input += "# block " + std::to_string(block) + "\n[" + name + "]\n";
        expected += "[" + name + "] <# block " + std::to_string(block) + ">\n";
        for (int entry = 0; entry < 50; ++entry) {
            const std::string line = "key" + std::to_string(entry) + "=" +
                                     std::string(static_cast<size_t>(block % 37 + entry), 'v');
            input += line + "\n";
            expected += "  " + line + "\n";
        }
    }
    const std::string huge(5 * 1024 * 1024 + 3, 'x');
    input += "[Z]\nlong=" + huge + "\nafter=1";
    expected += "[Z]\n  long=" + huge + "\n  after=1\n";

    TempDir dir;
    CCFGParser parser;
    ASSERT_EQ(parser.CFGParseFile(dir.Write("large.cfg", input)), 0);
    EXPECT_TRUE(DumpModel(parser) == expected);
}

TEST(Parse, BinaryNoiseNeverFails)
{
    TempDir dir;
    std::mt19937 random(12345);
    for (int round = 0; round < 50; ++round) {
        std::string noise(static_cast<size_t>(random() % 20000), '\0');
        for (char& c : noise) {
            // Skewed towards the bytes that matter to the grammar.
            const unsigned pick = random() % 16;
            c = pick < 6 ? "\n[]=#;"[pick] : static_cast<char>(random());
        }
        const std::string path = dir.Write("noise.cfg", noise);
        for (const unsigned mode : {kBlock, kAnonymous}) {
            CCFGParser parser(mode);
            const int status = parser.CFGParseFile(path);
            EXPECT_TRUE(status == 0 || status == -1 || status == EINVAL) << status;
            EXPECT_NE(parser.m_pmCFGData, nullptr);
        }
    }
}

// A ctype facet that also classes '_' as white space.
class UnderscoreIsSpace : public std::ctype<char>
{
public:
    UnderscoreIsSpace() : std::ctype<char>(Table()) {}

private:
    static const mask* Table()
    {
        static mask table[table_size];
        std::copy(classic_table(), classic_table() + table_size, table);
        table[static_cast<unsigned char>('_')] |= space;
        return table;
    }
};

TEST(Parse, AnonymousTrimmingFollowsTheGlobalLocale)
{
    TempDir dir;
    const std::string path = dir.Write("x.inf", "_ Key_= _v_al_ \n");
    const std::locale previous =
        std::locale::global(std::locale(std::locale::classic(), new UnderscoreIsSpace));
    CCFGParser anonymous(path, kAnonymous);
    std::locale::global(previous);
    CCFGParser classic(path, kAnonymous);

    EXPECT_EQ(DumpModel(anonymous), "[anonymous]\n  Key=v_al\n");
    EXPECT_EQ(DumpModel(classic), "[anonymous]\n  _ Key_=_v_al_\n");
}

} // namespace
