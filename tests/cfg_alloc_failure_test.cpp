// The block map is the one allocation whose failure a parse reports as a
// status. This program replaces the non-throwing operator new to fail on demand.
#include <cerrno>
#include <new>

#include "CCFGParser.h"
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
