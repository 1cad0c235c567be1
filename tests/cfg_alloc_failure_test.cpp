// Allocations whose failure is reported as a status: the block map, the
// adaptors' parsers, the front ends' back ends. This program replaces the
// non-throwing operator new to fail on demand.
#include <cerrno>
#include <functional>
#include <new>

#include "CCFGParser.h"
#include "CCFGReader.h"
#include "CCFGWriter.h"
#include "CZelConfigReader.h"
#include "CZelConfigWriter.h"
#include "CaptureLog.h"
#include "TestFiles.h"

namespace {
bool g_failNothrowNew = false;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    if (g_failNothrowNew) {
        return nullptr;
    }
    try {
        return ::operator new(size); // the sanitizers' allocator, so deletes still match
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

TEST(AllocationFailure, MapAllocationIsReportedAndOldModelReleased)
{
    TempDir dir;
    const std::string path = dir.Write("a.cfg", "[A]\nk=1\n");
    CCFGParser parser(path);
    capture_log::Reset();
    g_failNothrowNew = true;
    const int status = parser.CFGParseFile(path);
    g_failNothrowNew = false;
    EXPECT_EQ(status, EINVAL);
    EXPECT_EQ(parser.m_pmCFGData, nullptr); // LeakSanitizer: the old model was freed
    EXPECT_EQ(capture_log::Text(), "9 CFGParseFile: m_pmCFGData is NULL\n");
    EXPECT_EQ(parser.CFGParseFile(path), 0);
    EXPECT_EQ(parser.CFGGetData("A.k"), "1");
}

// The adaptors and the front ends report a failed allocation of their parser
// or back end as EINVAL; only the adaptors log it.
TEST(AllocationFailure, ParsersAndBackEndsThatCannotBeAllocated)
{
    TempDir dir;
    const std::string path = dir.Write("a.cfg", "[A]\nk=1\n");
    CCFGReader reader;
    CCFGWriter writer;
    CZelConfigReader frontReader;
    CZelConfigWriter frontWriter;
    struct Row { const char* name; std::function<int()> call; const char* log; };
    const Row rows[] = {
        {"CCFGReader::ParseFile", [&] { return reader.ParseFile(path); },
         "9 ParseFile: Memory allocation error for m_pCFGParser\n"},
        {"CCFGWriter::ParseFile", [&] { return writer.ParseFile(path); },
         "9 ParseFile: Memory allocation error for m_pCFGParser\n"},
        {"CZelConfigReader::Parse", [&] { return frontReader.Parse(path); }, ""},
        {"CZelConfigWriter::Parse", [&] { return frontWriter.Parse(path); }, ""},
        {"CZelConfigWriter::Create", [&] { return frontWriter.Create(path); }, ""},
    };
    for (const Row& row : rows) {
        capture_log::Reset(1u << 9);
        g_failNothrowNew = true;
        const int status = row.call();
        g_failNothrowNew = false;
        EXPECT_EQ(status, EINVAL) << row.name;
        EXPECT_EQ(capture_log::Text(), row.log) << row.name;
    }
    EXPECT_EQ(reader.GetDataPtr(), nullptr);
    EXPECT_EQ(writer.SaveData(), EINVAL) << "no parser";
    EXPECT_EQ(frontReader.GetDataPtr(), nullptr);
    EXPECT_EQ(frontWriter.Save(), EINVAL) << "no back end";
}
