// Back-end selection by path, and the reader front end's own traces and
// statuses.
#include <cerrno>

#include <gtest/gtest.h>

#include "CZelConfigReader.h"
#include "CaptureLog.h"
#include "TestFiles.h"
#include "frontend/Backend.h"

namespace {

using zelconfig::Backend;
using zelconfig::BackendUse;

// That the front ends act as the choice says is fuzz_backend's property, on
// these same paths in its corpus.
struct ChoiceCase { const char* name; std::string path; Backend reader, writer; };
using ChoiceTable = testing::TestWithParam<ChoiceCase>;

TEST_P(ChoiceTable, FirstKnownTextAnywhereInThePathWins)
{
    const ChoiceCase& row = GetParam();
    EXPECT_EQ(zelconfig::ChooseBackend(row.path.c_str(), BackendUse::kRead), row.reader);
    EXPECT_EQ(zelconfig::ChooseBackend(row.path.c_str(), BackendUse::kWrite), row.writer);
}

constexpr Backend kBlock = Backend::kCfgBlock, kAnonymous = Backend::kCfgAnonymous, kXml = Backend::kXml,
                  kNone = Backend::kNone;

INSTANTIATE_TEST_SUITE_P(Paths, ChoiceTable, testing::Values(
    ChoiceCase{"Cfg", "/data/x.cfg", kBlock, kBlock},
    ChoiceCase{"CfgNotAsSuffix", "/data/x.cfg.bak", kBlock, kBlock},
    ChoiceCase{"CfgInDirectoryName", "/etc/a.cfg/readme", kBlock, kBlock},
    ChoiceCase{"CfgBeforeXml", "/data/x.xml.cfg", kBlock, kBlock},
    ChoiceCase{"CfgBeforeInf", "x.inf.cfg", kBlock, kBlock},
    ChoiceCase{"Inf", "x.inf", kAnonymous, kNone},
    ChoiceCase{"Cksum", "/boot/image.cksum", kAnonymous, kNone},
    ChoiceCase{"CksumBeforeXml", "backup.xml.cksum", kAnonymous, kXml},
    ChoiceCase{"Xml", "/data/x.xml", kXml, kXml},
    ChoiceCase{"CaseSensitive", "settings.CFG", kNone, kNone},
    ChoiceCase{"NoKnownText", "/data/x.ini", kNone, kNone},
    ChoiceCase{"EmptyPath", "", kNone, kNone}),
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
