// Construction, refused copying and destruction of the engine object.
#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include "CCFGParser.h"
#include "CaptureLog.h"
#include "TestFiles.h"

namespace {

TEST(Lifecycle, ConstructorsSetModeAndParse)
{
    TempDir dir;
    const std::string path = dir.Write("x.cfg", "[A]\nk=1\n");
    struct Row
    {
        const char* name;
        CCFGParser parser;
        unsigned mode;
        std::string model;
    };
    const Row rows[] = {
        {"default", CCFGParser(), 0, "(null)"},
        {"mode", CCFGParser(7u), 7, "(null)"},
        {"path", CCFGParser(path), 0, "[A]\n  k=1\n"},
        {"path and mode", CCFGParser(path, 1), 1, "[A]\n[anonymous]\n  k=1\n"},
        {"missing path", CCFGParser(dir.Path() + "/none.cfg"), 0, ""},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.parser.m_uiAnonymousMode, row.mode) << row.name;
        EXPECT_EQ(DumpModel(row.parser), row.model) << row.name;
    }
}

TEST(Lifecycle, CopyConstructionIsRefused)
{
    TempDir dir;
    CCFGParser source(dir.Write("x.inf", "k=1\n"), 1);
    capture_log::Reset();

    CCFGParser copy(source);
    EXPECT_EQ(copy.m_uiAnonymousMode, 0u);
    EXPECT_EQ(copy.m_pmCFGData, nullptr);
    EXPECT_EQ(copy.CFGGetData("anonymous.k"), "");
    EXPECT_EQ(source.CFGGetData("k"), "1") << "the source is untouched";

    const auto log = capture_log::Entries();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].level, 8);
    EXPECT_EQ(log[0].function, "CCFGParser");
    EXPECT_EQ(log[0].message, " Creating object using Copy constructor is not supported ");
}

TEST(Lifecycle, AssignmentEmptiesTheTarget)
{
    TempDir dir;
    CCFGParser source(dir.Write("a.cfg", "[A]\nk=1\n"));
    CCFGParser target(dir.Write("b.inf", "k=2\n"), 1);
    capture_log::Reset();

    CCFGParser& result = (target = source);
    EXPECT_EQ(&result, &target);
    EXPECT_EQ(target.m_uiAnonymousMode, 0u);
    EXPECT_EQ(target.m_pmCFGData, nullptr);
    EXPECT_EQ(target.CFGGetData("A.k"), "");
    EXPECT_EQ(target.CFGSaveData(dir.Path() + "/c.cfg"), EINVAL);
    EXPECT_EQ(source.CFGGetData("A.k"), "1");

    const auto log = capture_log::Entries();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0].level, 8);
    EXPECT_EQ(log[0].function, "operator=");
    EXPECT_EQ(log[0].message, " Assignment of objects is Not supported ");
    EXPECT_EQ(log[1].message, "m_pmCFGData is NULL");
}

TEST(Lifecycle, SelfAssignmentEmptiesToo)
{
    TempDir dir;
    CCFGParser parser(dir.Write("a.cfg", "[A]\nk=1\n"));
    CCFGParser& alias = parser;
    parser = alias;
    EXPECT_EQ(parser.m_pmCFGData, nullptr);
}

TEST(Lifecycle, RefusalsAreSilentWhenLevelEightIsOff)
{
    capture_log::Reset(~(1u << 8));
    CCFGParser a;
    CCFGParser b(a);
    b = a;
    EXPECT_TRUE(capture_log::Entries().empty());
    EXPECT_EQ(b.m_pmCFGData, nullptr);
}

TEST(Lifecycle, DestructionSkipsNullBlocks)
{
    TempDir dir;
    auto* parser = new CCFGParser(dir.Write("a.cfg", "[A]\nk=1\n[C]\nj=2\n"));
    (*parser->m_pmCFGData)["B"] = nullptr;
    // LeakSanitizer checks that blocks A and C are freed.
    delete parser;
}

} // namespace
