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
    CCFGParser abandoned; // assignment abandons the target's map: this frees it
    abandoned.m_pmCFGData = target.m_pmCFGData;
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
}

// Assignment abandons the target's map without freeing it: a caller may still
// hold the public m_pmCFGData, or a block from it, and read through it.
struct KeptMapCase
{
    const char* name;
    std::string targetText;
    bool selfAssignment;
    std::string block, value; // the first entry of this block in the kept map
};

using KeptMapTable = testing::TestWithParam<KeptMapCase>;

TEST_P(KeptMapTable, AssignmentLeavesTheTargetMapReadable)
{
    const KeptMapCase& row = GetParam();
    TempDir dir;
    CCFGParser source(dir.Write("s.cfg", "[S]\nk=source\n"));
    CCFGParser target(dir.Write("t.cfg", row.targetText));
    CCFGParser& assigned = row.selfAssignment ? source : target;
    CCFGParser keeper; // frees the abandoned map at the end, as its owner now
    keeper.m_pmCFGData = assigned.m_pmCFGData;
    ASSERT_NE(keeper.m_pmCFGData, nullptr);
    const std::map<std::string, CBlock*>& kept = *keeper.m_pmCFGData;
    const CBlock* block = kept.at(row.block);
    capture_log::Reset(~(1u << 8));
    assigned = source;
    EXPECT_EQ(assigned.m_pmCFGData, nullptr);
    EXPECT_EQ(capture_log::Text(), "") << "level 8 is off";
    ASSERT_EQ(kept.at(row.block), block);
    ASSERT_FALSE(block->m_vecNodes.empty());
    EXPECT_EQ(block->m_vecNodes.front().m_strValue, row.value);
}

INSTANTIATE_TEST_SUITE_P(Lifecycle, KeptMapTable, testing::Values(
    KeptMapCase{"TargetMapKept", "[T]\nk=target value long enough for the heap\n", false, "T",
                "target value long enough for the heap"},
    KeptMapCase{"SelfAssignmentKeepsTheMap", "", true, "S", "source"}),
    RowName());

} // namespace
