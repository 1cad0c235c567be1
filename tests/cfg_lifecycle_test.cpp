// Construction, refused copying and destruction of the engine object.
#include <cerrno>

#include <gtest/gtest.h>

#include "CCFGParser.h"
#include "CaptureLog.h"
#include "TestFiles.h"

namespace {

TEST(Lifecycle, ConstructorsStoreTheModeBeforeParsing)
{
    TempDir dir;
    const std::string path = dir.Write("x.inf", "k=1\n");
    EXPECT_EQ(CCFGParser(7u).m_uiAnonymousMode, 7u);
    EXPECT_EQ(CCFGParser(7u).m_pmCFGData, nullptr);
    EXPECT_EQ(CCFGParser(path, 7).CFGGetData("k"), "1");
    EXPECT_EQ(DumpModel(CCFGParser(path)), "") << "block mode: entry above any header";
}

TEST(Lifecycle, CopyingIsRefusedAndEmptiesTheTarget)
{
    TempDir dir;
    CCFGParser source(dir.Write("x.inf", "k=1\n"), 1);
    CCFGParser target(dir.Write("y.inf", "k=2\n"), 1);
    capture_log::Reset();

    CCFGParser copy(source);
    CCFGParser& assigned = (target = source);
    EXPECT_EQ(&assigned, &target);
    for (const CCFGParser* empty : {&copy, &target}) {
        EXPECT_EQ(empty->m_uiAnonymousMode, 0u);
        EXPECT_EQ(empty->m_pmCFGData, nullptr);
    }
    EXPECT_EQ(target.CFGSaveData(dir.Path() + "/z.cfg"), EINVAL);
    EXPECT_EQ(source.CFGGetData("k"), "1") << "the source is untouched";
    EXPECT_EQ(capture_log::Text(),
              "8 CCFGParser:  Creating object using Copy constructor is not supported \n"
              "8 operator=:  Assignment of objects is Not supported \n"
              "9 CFGSaveData: m_pmCFGData is NULL\n");

    capture_log::Reset(~(1u << 8));
    CCFGParser& alias = source;
    source = alias;
    EXPECT_EQ(source.m_pmCFGData, nullptr) << "self-assignment empties too";
    EXPECT_EQ(capture_log::Text(), "") << "level 8 is off";
}

} // namespace
