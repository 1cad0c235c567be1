// Construction, refused copying and destruction of the engine object.
#include <cerrno>

#include "CCFGParser.h"
#include "CaptureLog.h"
#include "TestFiles.h"

namespace {

TEST(Lifecycle, ConstructorsSetModeAndParse)
{
    TempDir dir;
    const std::string path = dir.Write("x.cfg", "[A]\nk=1\n");
    const struct { CCFGParser parser; unsigned mode; std::string model; } rows[] = {
        {CCFGParser(), 0, "(null)"},
        {CCFGParser(7u), 7, "(null)"},
        {CCFGParser(path), 0, "[A]\n  k=1\n"},
        {CCFGParser(path, 1), 1, "[A]\n[anonymous]\n  k=1\n"},
        {CCFGParser(dir.Path() + "/none.cfg"), 0, ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.parser.m_uiAnonymousMode, row.mode);
        EXPECT_EQ(DumpModel(row.parser), row.model);
    }
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

TEST(Lifecycle, DestructionSkipsNullBlocks)
{
    TempDir dir;
    auto* parser = new CCFGParser(dir.Write("a.cfg", "[A]\nk=1\n[C]\nj=2\n"));
    (*parser->m_pmCFGData)["B"] = nullptr;
    delete parser; // LeakSanitizer checks that blocks A and C are freed
}

} // namespace
