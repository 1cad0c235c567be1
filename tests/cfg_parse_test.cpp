// Parsing: the grammar in both modes, every status with its message, and
// input that is broken or binary (random input: fuzz_parse_ops; large files:
// cfg_line_reader_test and cfg_hostile_input_test).
#include <algorithm>
#include <cerrno>
#include <locale>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "CCFGParser.h"
#include "CaptureLog.h"
#include "TestFiles.h"
#include "cfg/CFGModel.h"
#include "cfg/CFGRead.h"

namespace {

const std::string kExample = "# network\n[Net]\n; address of the server\nHost=10.0.0.1\n"
                             "Port = 80\nthis line has no separator\n[Net]\nExtra=1\n";
const std::string kNul(1, '\0');

// Mode 0 is block mode, 1 anonymous mode; `model` is DumpModel() and `log`
// capture_log::Text() after the parse.
struct ParseCase { const char* name; unsigned mode; std::string input; int status; std::string model, log; };

using ParseTable = testing::TestWithParam<ParseCase>;

TEST_P(ParseTable, BuildsModelAndStatus)
{
    const ParseCase& row = GetParam();
    TempDir dir;
    capture_log::Reset();
    CCFGParser parser(row.mode);
    EXPECT_EQ(parser.CFGParseFile(dir.Write("input.cfg", row.input)), row.status);
    EXPECT_EQ(DumpModel(parser), row.model);
    EXPECT_EQ(capture_log::Text(), row.log);
    // The same bytes held in memory read the same.
    capture_log::Reset();
    CCFGParser inMemory(row.mode);
    EXPECT_EQ(zelconfig::CFGParseBytes(inMemory, row.input), row.status);
    EXPECT_EQ(DumpModel(inMemory), row.model);
    EXPECT_EQ(capture_log::Text(), row.log);
}

const char kEndTag[] = "9 CFGParseFile: End Tag missing\n";
const char kNoBlock[] = "9 CFGParseFile: l_pBlock is NULL\n";

INSTANTIATE_TEST_SUITE_P(Grammar, ParseTable, testing::Values(
    ParseCase{"ExampleBlockMode", 0, kExample, 0,
              "[Net] <# network>\n  <; address of the server> Host=10.0.0.1\n  Port = 80\n", ""},
    ParseCase{"ExampleAnonymousMode", 1, kExample, 0,
              "[Net] <# network>\n[anonymous]\n  <; address of the server> Host=10.0.0.1\n"
              "  Port=80\n  Extra=1\n", ""},
    ParseCase{"EmptyFile", 0, "", 0, "", ""},
    ParseCase{"EmptyFileAnonymous", 1, "", 0, "[anonymous]\n", ""},
    ParseCase{"CommentsOnlyAreDropped", 1, "# a\n; b", 0, "[anonymous]\n", ""},
    ParseCase{"CommentsOnlyBlockMode", 0, "# a\n; b\n", 0, "", ""},
    ParseCase{"CrlfLinesAnonymous", 1, "[Net]\r\nA=1\r\n", 0, "[Net]\n[anonymous]\n  A=1\n", ""},
    ParseCase{"FirstByteDecides", 0, "[A]\n [Net]\n # a=b\n", 0, "[A]\n   # a=b\n", ""},
    ParseCase{"FirstByteDecidesTrimmed", 1, " # a=b\n", 0, "[anonymous]\n  # a=b\n", ""},
    ParseCase{"HeaderNames", 0, "[a=b]\nx=1\n[a]b]\ny=2\n[[a]\nz=3\n[] ; x\r\n=e\n", 0,
              "[]\n  =e\n[[a]\n  z=3\n[a]\n  y=2\n[a=b]\n  x=1\n", ""},
    ParseCase{"UnterminatedHeader", 0, "[A]\nk=1\n[B\nk=2\n", -1, "[A]\n  k=1\n", kEndTag},
    ParseCase{"UnterminatedHeaderAnonymous", 1, "k=1\n[N\n", -1, "[anonymous]\n  k=1\n", kEndTag},
    ParseCase{"EntryAboveFirstHeader", 0, "Key=1\n[A]\nb=2\n", EINVAL, "", kNoBlock},
    ParseCase{"EntryAboveFirstHeaderAnonymous", 1, "Key=1\n", 0, "[anonymous]\n  Key=1\n", ""},
    ParseCase{"HarmlessLinesAboveFirstHeader", 0, "# note\nno separator\n\n[A]\nKey=1", 0,
              "[A] <# note>\n  Key=1\n", ""},
    ParseCase{"RepeatedHeaderLosesEntries", 0, "[A]\na=1\n# lost\n[A]\nb=2\n[B]\nc=3\n", 0,
              "[A]\n  a=1\n[B]\n  c=3\n", ""},
    ParseCase{"AnonymousHeaderAddsNothing", 1, "# c\n[anonymous]\nk=v\n[X]\n", 0,
              "[X]\n[anonymous]\n  k=v\n", ""},
    ParseCase{"EntriesSplitAtFirstEquals", 0, "[A]\nb=1\nPath=a=b\n=x\nName=\nb=3", 0,
              "[A]\n  b=1\n  Path=a=b\n  =x\n  Name=\n  b=3\n", ""},
    ParseCase{"CommentsJoinedTrailingDropped", 0, "[A]\n# a\n# b\nK=v\n# tail\n", 0,
              "[A]\n  <# a# b> K=v\n", ""},
    ParseCase{"BytesKept", 0, "[A]\r\n  Key  =  some value \r\n", 0,
              "[A]\n    Key  =  some value \r\n", ""},
    ParseCase{"BytesTrimmed", 1, "  Key  =  some value \r\n", 0, "[anonymous]\n  Key=some value\n", ""},
    ParseCase{"NulBytesAreOrdinary", 0, "[A" + kNul + "]\nk" + kNul + "=v" + kNul + "\n" + kNul + "=x",
              0, "[A" + kNul + "]\n  k" + kNul + "=v" + kNul + "\n  " + kNul + "=x\n", ""},
    ParseCase{"ByteOrderMarkHidesHeader", 0, "\xEF\xBB\xBF[Net]\nA=1\n", EINVAL, "", kNoBlock},
    ParseCase{"ByteOrderMarkStaysInAnonymousKey", 1, "\xEF\xBB\xBFk=v\n", 0,
              "[anonymous]\n  \xEF\xBB\xBFk=v\n", ""},
    ParseCase{"ByteOrderMarkHidesComment", 0, "\xEF\xBB\xBF# c\n[Net]\nA=1\n", 0,
              "[Net]\n  A=1\n", ""}),
    RowName());

// What the reading reports for each line: its fate and where it begins, the
// key and value as the model holds them, and the comment a header or entry
// takes. Modes: 'b' block, 'a' anonymous, 'h' block mode reading headers only.
struct ReportCase { const char* name; char mode; std::string input; int status; std::string reports; };

using ReportTable = testing::TestWithParam<ReportCase>;

// Writes each report as "FATE@OFFSET" with "key=value" and "<comment>" when set.
struct Recorder
{
    std::string out;
    std::vector<std::string> names;
    bool ClaimBlock(std::string_view name, std::string_view)
    {
        if (std::find(names.begin(), names.end(), name) != names.end()) {
            return false;
        }
        names.emplace_back(name);
        return true;
    }
    void Report(const zelconfig::CFGReport& report)
    {
        static const char* const kFates[] = {"C", "O", "R", "K", "D", "I", "U", "X"};
        out += std::string(out.empty() ? "" : " ") + kFates[static_cast<int>(report.fate)] + "@"
               + std::to_string(report.offset);
        if (report.line.kind == zelconfig::CFGLineKind::kEntry) {
            out += ":" + std::string(report.line.key) + "=" + std::string(report.line.value);
        }
        if (!report.comment.empty()) {
            out += "<" + std::string(report.comment) + ">";
        }
    }
};

TEST_P(ReportTable, EachLineWithItsFate)
{
    const ReportCase& row = GetParam();
    const std::locale locale;
    zelconfig::CFGReadMode mode;
    mode.anonymous = row.mode == 'a' ? &std::use_facet<std::ctype<char>>(locale) : nullptr;
    mode.headersOnly = row.mode == 'h';
    TempDir dir;
    const std::string path = dir.Write("r.cfg", row.input);
    for (const bool inMemory : {true, false}) {
        zelconfig::CFGLineReader reader;
        if (inMemory) {
            reader.OpenBytes(row.input);
        } else {
            ASSERT_TRUE(reader.Open(path));
        }
        Recorder recorder;
        EXPECT_EQ(zelconfig::CFGRead(reader, mode, recorder), row.status) << inMemory;
        EXPECT_EQ(recorder.out, row.reports) << inMemory;
    }
}

INSTANTIATE_TEST_SUITE_P(Lines, ReportTable, testing::Values(
    ReportCase{"Kinds", 'b', "#c\n[A]\nk=v\nnone\n", 0, "C@0 O@3<#c> K@7:k=v I@11 I@16"},
    ReportCase{"CommentsWaitPastIgnoredLines", 'b', "[A]\n#1\n\n;2\nk=v", 0,
               "O@0 C@4 I@7 C@8 K@11:k=v<#1;2>"},
    ReportCase{"RepeatedHeaderDropsEntriesAndComments", 'b', "[A]\n#c\n[A]\n#d\nk=1\n[B]\nj=2", 0,
               "O@0 C@4 R@7 C@11 D@14:k=1 O@18 K@22:j=2"},
    ReportCase{"RepeatedHeaderAnonymousKeepsEntries", 'a', "[A]\n[A]\n#d\n k = 1 \n[anonymous]\n", 0,
               "O@0 R@4 C@8 K@11:k=1<#d> R@19 I@31"},
    ReportCase{"StopAtUnterminatedHeader", 'b', "[A]\nk=1\n[B\nj=2\n", -1, "O@0 K@4:k=1 U@8"},
    ReportCase{"StopAtEntryAboveHeaders", 'b', "#c\nk=1\n[A]\n", EINVAL, "C@0 X@3:k=1"},
    ReportCase{"HeadersOnlyAfterTheFirst", 'h', "#c\n\n[A]\nk=1\n#d\n [x]\n[B]\n[A]\nk=[\n[C", -1,
               "C@0 I@3 O@4<#c> O@20 R@24 U@32"},
    ReportCase{"HeadersOnlyStillStopsAboveHeaders", 'h', "k=1\n[A]\n", EINVAL, "X@0:k=1"},
    ReportCase{"HeadersOnlyLastLine", 'h', "[A]\nx=[\n[B]", 0, "O@0 O@8"}),
    RowName());

TEST(Parse, UnreadablePathsReportErrorOpeningFile)
{
    TempDir dir;
    dir.Write("a.cfg", "[A]\nk=1\n");
    for (const std::string& path : {dir.Path() + "/missing.cfg", dir.Path(), std::string(),
                                    kNul + dir.Path() + "/a.cfg"}) {
        for (const unsigned mode : {0u, 1u}) {
            capture_log::Reset();
            CCFGParser parser(mode);
            EXPECT_EQ(parser.CFGParseFile(path), -2) << path;
            // A fresh, empty map: not NULL, and without the "anonymous" block.
            EXPECT_EQ(DumpModel(parser), "") << path;
            EXPECT_EQ(capture_log::Text(), "9 CFGParseFile: Error Opening File\n");
        }
    }
}

TEST(Parse, ReparseReplacesTheModelAndStatusIgnoresTheMask)
{
    TempDir dir;
    capture_log::Reset(0);
    CCFGParser parser;
    ASSERT_EQ(parser.CFGParseFile(dir.Write("1.cfg", "[A]\na=" + dir.Write("2.cfg", "[B]\nb=2\n[C\n"))), 0);
    // The path may be a string of the model that the parse replaces.
    ASSERT_EQ(parser.CFGParseFile(parser.m_pmCFGData->at("A")->m_vecNodes[0].m_strValue), -1);
    EXPECT_EQ(DumpModel(parser), "[B]\n  b=2\n");
    EXPECT_EQ(parser.CFGParseFile(dir.Path() + "/missing.cfg"), -2);
    EXPECT_EQ(DumpModel(parser), "");
    EXPECT_EQ(capture_log::Text(), "");
}

TEST(Parse, AnonymousTrimmingFollowsTheGlobalLocale)
{
    // A character classification under which '_' is white space too.
    using Ctype = std::ctype<char>;
    static Ctype::mask table[Ctype::table_size];
    std::copy(Ctype::classic_table(), Ctype::classic_table() + Ctype::table_size, table);
    table[static_cast<unsigned char>('_')] |= Ctype::space;
    TempDir dir;
    const std::string path = dir.Write("x.inf", "_ Key_= _v_al_ \n");
    const std::locale previous = std::locale::global(std::locale(std::locale::classic(), new Ctype(table)));
    CCFGParser underscore(path, 1);
    std::locale::global(previous);
    CCFGParser classic(path, 1);
    EXPECT_EQ(DumpModel(underscore), "[anonymous]\n  Key=v_al\n");
    EXPECT_EQ(DumpModel(classic), "[anonymous]\n  _ Key_=_v_al_\n");
}

} // namespace
