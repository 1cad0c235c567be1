// Back-end selection by path, and the reader front end's own traces and
// statuses. No XML plug-in can be found in this test's process.
#include <cerrno>

#include <gtest/gtest.h>

#include "CCFGParser.h"
#include "CZelConfigReader.h"
#include "CZelConfigWriter.h"
#include "CaptureLog.h"
#include "TestFiles.h"

namespace {

// What a reader's Parse chose for the path: "block", "anonymous", "xml" or "none".
std::string ReaderChoice(const std::string& path)
{
    CZelConfigReader reader;
    capture_log::Reset((1u << 9) | (1u << 31));
    const int status = reader.Parse(path);
    if (void* data = reader.GetDataPtr()) {
        return static_cast<CCFGParser*>(data)->m_uiAnonymousMode != 0 ? "anonymous" : "block";
    }
    const std::string log = capture_log::Text();
    if (status == EINVAL && log.rfind("31 Parse: Unable to open libZel_XMLConfigParser.so. ", 0) == 0) {
        return "xml";
    }
    return status == EINVAL && log == "9 Parse: Neither XML nor CFG\n" ? "none" : "unexpected: " + log;
}

// What a writer's Create chose: "cfg", "xml" or "none".
std::string WriterChoice(const std::string& path)
{
    CZelConfigWriter writer;
    capture_log::Reset((1u << 9) | (1u << 31));
    const int status = writer.Create(path);
    const std::string log = capture_log::Text();
    if (status == 0 && log.empty()) {
        return "cfg";
    }
    if (status == EINVAL && log.rfind("31 Create: Unable to open libZel_XMLConfigParser.so. ", 0) == 0) {
        return "xml";
    }
    return status == EINVAL && log == "9 Create: Neither XML nor CFG\n" ? "none" : "unexpected: " + log;
}

struct ChoiceCase { const char* name; std::string path; const char* reader; const char* writer; };
using ChoiceTable = testing::TestWithParam<ChoiceCase>;

TEST_P(ChoiceTable, FirstKnownTextAnywhereInThePathWins)
{
    const ChoiceCase& row = GetParam();
    EXPECT_EQ(ReaderChoice(row.path), row.reader);
    EXPECT_EQ(WriterChoice(row.path), row.writer);
}

INSTANTIATE_TEST_SUITE_P(Paths, ChoiceTable, testing::Values(
    ChoiceCase{"Cfg", "/data/x.cfg", "block", "cfg"},
    ChoiceCase{"CfgNotAsSuffix", "/data/x.cfg.bak", "block", "cfg"},
    ChoiceCase{"CfgInDirectoryName", "/etc/a.cfg/readme", "block", "cfg"},
    ChoiceCase{"CfgBeforeXml", "/data/x.xml.cfg", "block", "cfg"},
    ChoiceCase{"CfgBeforeInf", "x.inf.cfg", "block", "cfg"},
    ChoiceCase{"Inf", "x.inf", "anonymous", "none"},
    ChoiceCase{"Cksum", "/boot/image.cksum", "anonymous", "none"},
    ChoiceCase{"CksumBeforeXml", "backup.xml.cksum", "anonymous", "xml"},
    ChoiceCase{"Xml", "/data/x.xml", "xml", "xml"},
    ChoiceCase{"CaseSensitive", "settings.CFG", "none", "none"},
    ChoiceCase{"NoKnownText", "/data/x.ini", "none", "none"},
    ChoiceCase{"EmptyPath", "", "none", "none"}),
    RowName());

TEST(ReaderFrontEnd, ConstructorTracesAndReportsAFailedParse)
{
    TempDir dir;
    const std::string good = dir.Write("a.cfg", "[Net]\nPort=80\n");
    const std::string missing = dir.Path() + "/missing.cfg";
    capture_log::Reset(~0u);
    {
        CZelConfigReader reader(good);
        EXPECT_EQ(reader.GetInt("Net.Port"), 80);
    }
    EXPECT_EQ(capture_log::Text(), "11 CZelConfigReader: File Path " + good + "\n"
                                   "11 Parse: +\n29 Parse: File Path " + good + "\n"
                                   "11 IConfigReader: +\n"
                                   "11 ParseFile: +\n29 ParseFile: File Path " + good + "\n"
                                   "11 ParseFile: -\n11 Parse: -\n"
                                   "11 ~CZelConfigReader: Destructor\n11 ~IConfigReader: +\n");

    capture_log::Reset((1u << 9) | (1u << 31));
    CZelConfigReader reader(missing);
    EXPECT_EQ(capture_log::Text(), "9 CFGParseFile: Error Opening File\n"
                                   "31 CZelConfigReader: Error Parsing file " + missing + "\n");
    EXPECT_NE(reader.GetDataPtr(), nullptr) << "a back end whose parse failed is kept";
    EXPECT_EQ(reader.GetString("Net.Port"), "");
}

TEST(ReaderFrontEnd, ParseReplacesOrDropsTheBackEnd)
{
    TempDir dir;
    CZelConfigReader reader(dir.Write("a.cfg", "[A]\nk=1\n"));
    void* first = reader.GetDataPtr();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(reader.GetDataPtr(), first) << "stable until the next Parse";
    EXPECT_EQ(reader.Parse(dir.Write("b.inf", "k=2\n")), 0);
    EXPECT_EQ(reader.GetInt("k"), 2);
    EXPECT_EQ(reader.Parse(dir.Path() + "/c.txt"), EINVAL);
    EXPECT_EQ(reader.GetDataPtr(), nullptr) << "the old back end is gone";
    EXPECT_EQ(reader.GetInt("k"), 0);
}

} // namespace
