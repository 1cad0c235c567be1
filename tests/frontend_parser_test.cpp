// The writer front end's setters and binding, and the parser front end that
// reads, changes and saves one loaded copy of a file.
#include <cerrno>
#include <functional>

#include <gtest/gtest.h>

#include "CZelConfigParser.h"
#include "CZelConfigReader.h"
#include "CZelConfigWriter.h"
#include "CaptureLog.h"
#include "TestFiles.h"

namespace {

const char kFile[] = "# device\n[Net]\nPort=80\n[V]\nk=old\n";

struct SetCase
{
    const char* name;
    std::function<int(CZelConfigWriter&)> set;
    int status;
    std::string text; // what V.k reads afterwards
    std::string log;
};
using SetTable = testing::TestWithParam<SetCase>;

TEST_P(SetTable, FormatsAndStores)
{
    const SetCase& row = GetParam();
    TempDir dir;
    CZelConfigParser parser(dir.Write("a.cfg", kFile));
    capture_log::Reset(1u << 9);
    EXPECT_EQ(row.set(parser), row.status);
    EXPECT_EQ(capture_log::Text(), row.log);
    EXPECT_EQ(parser.GetString("V.k"), row.text);
}

INSTANTIATE_TEST_SUITE_P(Values, SetTable, testing::Values(
    SetCase{"Text", [](CZelConfigWriter& w) { return w.Set("V.k", std::string("a b")); }, 0, "a b", ""},
    SetCase{"NegativeInt", [](CZelConfigWriter& w) { return w.Set("V.k", -42); }, 0, "-42", ""},
    SetCase{"IntWithoutGrouping", [](CZelConfigWriter& w) { return w.Set("V.k", 1234567); }, 0, "1234567", ""},
    SetCase{"DoubleShortest", [](CZelConfigWriter& w) { return w.Set("V.k", 0.1); }, 0, "0.1", ""},
    SetCase{"DoubleSixDigits", [](CZelConfigWriter& w) { return w.Set("V.k", 1234567.0); }, 0, "1.23457e+06", ""},
    SetCase{"DoubleLarge", [](CZelConfigWriter& w) { return w.Set("V.k", 123456789.0); }, 0, "1.23457e+08", ""},
    SetCase{"DoubleSmall", [](CZelConfigWriter& w) { return w.Set("V.k", 0.00001); }, 0, "1e-05", ""},
    SetCase{"DoubleWhole", [](CZelConfigWriter& w) { return w.Set("V.k", 100.0); }, 0, "100", ""},
    SetCase{"FloatWidened", [](CZelConfigWriter& w) { return w.Set("V.k", 3.14159265f); }, 0, "3.14159", ""},
    SetCase{"BoolTrue", [](CZelConfigWriter& w) { return w.SetBool("V.k", 1); }, 0, "TRUE", ""},
    SetCase{"BoolFalse", [](CZelConfigWriter& w) { return w.SetBool("V.k", 0); }, 0, "FALSE", ""},
    SetCase{"BoolOther", [](CZelConfigWriter& w) { return w.SetBool("V.k", 7); }, 7, "old",
            "9 SetBool: received bool value is not proper:: 7\n"},
    SetCase{"MissingKey", [](CZelConfigWriter& w) { return w.Set("V.x", 1); }, -2, "old", ""},
    SetCase{"EmptyKey", [](CZelConfigWriter& w) { return w.Set("", 1.5); }, 7, "old", ""},
    SetCase{"ReaderSideReparsedQuietly", [](CZelConfigWriter& w) {
        return static_cast<CZelConfigParser&>(w).CZelConfigReader::Parse("x.ini"); }, 22, "",
            "9 Parse: Neither XML nor CFG\n"},
    SetCase{"ReparsedWithoutDetach", [](CZelConfigWriter& w) {
        return static_cast<CZelConfigParser&>(w).Parse("x.ini"); }, 22, "", "9 Parse: Neither XML nor CFG\n"}),
    RowName());

TEST(WriterFrontEnd, WithoutBackEndEverythingIsEinval)
{
    CZelConfigWriter writer;
    capture_log::Reset();
    EXPECT_EQ(writer.Set("V.k", std::string("x")), EINVAL);
    EXPECT_EQ(writer.Set("V.k", 1), EINVAL);
    EXPECT_EQ(writer.Set("V.k", 1.0f), EINVAL);
    EXPECT_EQ(writer.Set("V.k", 1.0), EINVAL);
    EXPECT_EQ(writer.SetBool("V.k", 2), EINVAL) << "the back end is tested before the value";
    EXPECT_EQ(writer.Save(), EINVAL);
    writer.SetDataPtr(nullptr);
    EXPECT_EQ(capture_log::Text(), "9 Set: Config Writer (m_pWriter) is NULL\n"
                                   "9 Set: Config Writer (m_pWriter) is NULL\n"
                                   "9 Set: Config Writer (m_pWriter) is NULL\n"
                                   "9 Set: Config Writer (m_pWriter) is NULL\n"
                                   "9 SetBool: Config Writer (m_pWriter) is NULL\n"
                                   "9 Save: Config Writer (m_pWriter) is NULL\n"
                                   "9 SetDataPtr: m_pWriter is NULL\n");
}

TEST(WriterFrontEnd, CreateBindsWithoutLoadingParseLoads)
{
    TempDir dir;
    const std::string path = dir.Write("a.cfg", kFile);
    capture_log::Reset(~0u);
    CZelConfigWriter created(path, 12345); // the mode is ignored: this is Create
    EXPECT_EQ(capture_log::Text(), "11 CZelConfigWriter: File Path " + path + "\n"
                                   "11 IConfigWriter: +\n11 CCFGWriter: +\n");
    EXPECT_EQ(created.Set("V.k", 1), 7) << "bound, but without data";
    EXPECT_EQ(created.Save(), EINVAL);

    CZelConfigWriter parsed(path);
    EXPECT_EQ(parsed.Set("V.k", 1), 0);
    EXPECT_EQ(parsed.Save(), 0);
    EXPECT_EQ(ReadFile(path), "# device\n[Net]\nPort=80\n[V]\nk=1\n");
    EXPECT_EQ(parsed.Parse(dir.Path() + "/missing.cfg"), -2) << "the back end's status";
    EXPECT_EQ(parsed.Set("V.k", 2), -2) << "the new back end stays bound";
    EXPECT_EQ(parsed.Create("x.inf"), EINVAL);
    EXPECT_EQ(parsed.Save(), EINVAL) << "the old back end is gone";
}

// A writer front end that the caller hands a reader front end's CFG data
// follows it as the parser front end's two sides do: a reader that goes
// first leaves it without data, quietly, and the data is freed once.
TEST(WriterFrontEnd, HandedAReadersDataOutlivesTheReader)
{
    TempDir dir;
    const std::string path = dir.Write("a.cfg", kFile);
    CZelConfigWriter writer;
    ASSERT_EQ(writer.Create(path), 0);
    {
        CZelConfigReader reader(path);
        writer.SetDataPtr(reader.GetDataPtr());
        EXPECT_EQ(writer.Set("V.k", 1), 0);
        EXPECT_EQ(reader.GetInt("V.k"), 1) << "one copy of the data";
        capture_log::Reset(1u << 9);
    }
    EXPECT_EQ(writer.Set("V.k", 2), 7);
    EXPECT_EQ(writer.Save(), EINVAL);
    EXPECT_EQ(capture_log::Text(), "");
    EXPECT_EQ(ReadFile(path), kFile);
}

TEST(ParserFrontEnd, ReadChangeSaveAndReadBack)
{
    TempDir dir;
    const std::string path = dir.Write("a.cfg", kFile);
    {
        CZelConfigParser parser(path);
        EXPECT_EQ(parser.GetInt("Net.Port"), 80);
        EXPECT_EQ(parser.Set("Net.Port", 8080), 0);
        EXPECT_EQ(parser.GetInt("Net.Port"), 8080) << "one copy of the data";
        EXPECT_EQ(parser.SetBool("V.k", 1), 0);
        EXPECT_EQ(parser.Save(), 0);
        capture_log::Reset(1u << 9);
    }
    // The data is freed once, by the reader side (AddressSanitizer checks).
    EXPECT_EQ(capture_log::Text(), "9 SetDataPtr: Data Pointer not set in cfg writer\n");
    EXPECT_EQ(ReadFile(path), "# device\n[Net]\nPort=8080\n[V]\nk=TRUE\n");
    CZelConfigReader reader(path);
    EXPECT_EQ(reader.GetBool("V.k"), 1u);
}

TEST(ParserFrontEnd, ParseAgainMovesBothSidesToTheNewFile)
{
    TempDir dir;
    const std::string first = dir.Write("a.cfg", kFile);
    const std::string second = dir.Write("b.cfg", "[V]\nk=second\n");
    CZelConfigParser parser(first);
    EXPECT_EQ(parser.Parse(second), 0);
    EXPECT_EQ(parser.Set("V.k", std::string("changed")), 0);
    EXPECT_EQ(parser.GetString("V.k"), "changed");
    EXPECT_EQ(parser.Save(), 0);
    EXPECT_EQ(ReadFile(second), "[V]\nk=changed\n");
    EXPECT_EQ(ReadFile(first), kFile);

    // A failing Parse leaves the writer side detached, never on freed data.
    EXPECT_EQ(parser.Parse(dir.Path() + "/missing.cfg"), -2);
    EXPECT_EQ(parser.Set("V.k", 1), 7);
    EXPECT_EQ(parser.Parse(dir.Path() + "/c.txt"), EINVAL);
    EXPECT_EQ(parser.Save(), EINVAL);
}

TEST(ParserFrontEnd, ReaderOnlyPaths)
{
    TempDir dir;
    const std::string inf = dir.Write("a.inf", " k = v \n");
    capture_log::Reset(1u << 9);
    {
        CZelConfigParser parser(inf);
        EXPECT_EQ(parser.GetString("k"), "v");
        EXPECT_EQ(parser.Set("k", 1), EINVAL) << "writers take no .inf files";
    }
    EXPECT_EQ(capture_log::Text(), "9 Create: Neither XML nor CFG\n"
                                   "9 SetDataPtr: m_pWriter is NULL\n"
                                   "9 Set: Config Writer (m_pWriter) is NULL\n"
                                   "9 SetDataPtr: m_pWriter is NULL\n");

    CZelConfigParser parser;
    EXPECT_EQ(parser.Parse(dir.Path() + "/missing.cfg"), -2) << "the reader's status";
    EXPECT_EQ(parser.Parse(inf), EINVAL) << "the writer's status";
    EXPECT_EQ(parser.GetString("k"), "v");
    EXPECT_EQ(parser.Save(), EINVAL);

    CZelConfigParser neither(dir.Path() + "/a.ini"); // constructs, with no back end at all
    EXPECT_EQ(neither.GetDataPtr(), nullptr);
}

// The inherited Parse and Create on a connected parser replace one side's
// back end while the other still uses the shared data: nothing is used after
// it is freed or freed twice (AddressSanitizer checks), and what each side
// answers afterwards is what its own back end holds.
struct RouteCase
{
    const char* name;
    std::function<int(CZelConfigParser&, const std::string& path, const std::string& other)> route;
    int status, set;    // the route's, then a Set through the writer side
    const char* read;   // what the reader side reads after the Set
    const char* saved;  // the first file after a Save
};
using RouteTable = testing::TestWithParam<RouteCase>;

TEST_P(RouteTable, InheritedRoutesNeverShareFreedData)
{
    const RouteCase& row = GetParam();
    TempDir dir;
    const std::string path = dir.Write("a.cfg", "[V]\nk=first\n");
    CZelConfigParser parser(path);
    EXPECT_EQ(row.route(parser, path, dir.Write("b.cfg", "[V]\nk=other\n")), row.status);
    EXPECT_EQ(parser.Set("V.k", std::string("set")), row.set);
    EXPECT_EQ(parser.GetString("V.k"), row.read);
    parser.Save();
    EXPECT_EQ(ReadFile(path), row.saved);
    EXPECT_EQ(parser.Parse(path), 0) << "connects again";
    EXPECT_EQ(parser.Set("V.k", std::string("again")), 0);
    EXPECT_EQ(parser.GetString("V.k"), "again");
}

INSTANTIATE_TEST_SUITE_P(Routes, RouteTable, testing::Values(
    RouteCase{"ReaderParse", [](CZelConfigParser& p, const std::string&, const std::string& other) {
        return p.CZelConfigReader::Parse(other); }, 0, 7, "other", "[V]\nk=first\n"},
    RouteCase{"WriterCreate", [](CZelConfigParser& p, const std::string& path, const std::string&) {
        return p.CZelConfigWriter::Create(path); }, 0, 7, "first", "[V]\nk=first\n"},
    RouteCase{"WriterParse", [](CZelConfigParser& p, const std::string& path, const std::string&) {
        return p.CZelConfigWriter::Parse(path); }, 0, 0, "first", "[V]\nk=set\n"}),
    RowName());

} // namespace
