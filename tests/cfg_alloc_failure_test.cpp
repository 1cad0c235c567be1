// Allocations that fail on demand. The non-throwing ones (the block map, the
// adaptors' parsers, the front ends' back ends) must come back as statuses;
// a failing ordinary allocation may only leave as std::bad_alloc, with the
// objects still usable and, under LeakSanitizer or valgrind, nothing leaked.
// This program replaces every form of operator new and delete for that.
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <new>
#include <set>

#include <gtest/gtest.h>

#include "CCFGParser.h"
#include "CCFGReader.h"
#include "CCFGWriter.h"
#include "CZelConfigParser.h"
#include "CaptureLog.h"
#include "TestFiles.h"

namespace {
bool g_failNothrowNew = false;
// Counts down allocations of each kind: the one that brings it to 0 fails.
long g_nothrowCountdown = 0;
long g_throwingCountdown = 0;
// Once the throwing countdown has run out, every ordinary allocation fails.
bool g_keepFailing = false;
bool g_failing = false;

bool Due(long& countdown)
{
    return countdown > 0 && --countdown == 0;
}

bool ThrowingDue()
{
    if (Due(g_throwingCountdown)) {
        g_failing = g_keepFailing;
        return true;
    }
    return g_failing;
}

void StopFailing()
{
    g_throwingCountdown = 0;
    g_failing = false;
}

void* Allocate(std::size_t size)
{
    return std::malloc(size == 0 ? 1 : size);
}
} // namespace

void* operator new(std::size_t size)
{
    void* p = ThrowingDue() ? nullptr : Allocate(size);
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    return p;
}

void* operator new[](std::size_t size)
{
    return ::operator new(size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return g_failNothrowNew || Due(g_nothrowCountdown) ? nullptr : Allocate(size);
}

void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept
{
    return ::operator new(size, tag);
}

// These operators pair with the replaced operator new above, which g++ cannot
// see once it has inlined them.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }

namespace {

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

// CZelConfigParser::Parse makes four non-throwing allocations in turn: the
// reader back end, its parser, the block map, the writer back end. Failing
// each one in turn gives its own status, message and state.
TEST(AllocationFailure, EachAllocationOfTheParserFrontEnd)
{
    TempDir dir;
    const std::string path = dir.Write("a.cfg", "[A]\nk=1\n");
    struct Row { long failing; int status; const char* log; int value, set; };
    const char kNoWriter[] = "9 Set: Config Writer (m_pWriter) is NULL\n";
    const Row rows[] = {
        {1, EINVAL, "", 0, EINVAL},
        {2, EINVAL, "9 ParseFile: Memory allocation error for m_pCFGParser\n", 0, EINVAL},
        {3, EINVAL, "9 CFGParseFile: m_pmCFGData is NULL\n", 0, EINVAL},
        {4, EINVAL, "", 1, EINVAL},
        {5, 0, "", 1, 0}, // nothing fails
    };
    for (const Row& row : rows) {
        CZelConfigParser config;
        capture_log::Reset(1u << 9);
        g_nothrowCountdown = row.failing;
        const int status = config.Parse(path);
        g_nothrowCountdown = 0;
        EXPECT_EQ(status, row.status) << row.failing;
        EXPECT_EQ(capture_log::Text(), row.log) << row.failing;
        EXPECT_EQ(config.GetInt("A.k"), row.value) << row.failing;
        capture_log::Reset(1u << 9);
        EXPECT_EQ(config.Set("A.k", 2), row.set) << row.failing;
        EXPECT_EQ(capture_log::Text(), row.set == EINVAL ? kNoWriter : "") << row.failing;

        // The path constructor meets the same failures and reports none.
        g_nothrowCountdown = row.failing;
        CZelConfigParser constructed(path);
        g_nothrowCountdown = 0;
        EXPECT_EQ(constructed.GetInt("A.k"), row.value) << row.failing;
    }
}

// True when no block of the model is NULL.
bool NoNullBlock(const CCFGParser& parser)
{
    for (const auto& entry : *parser.m_pmCFGData) {
        if (entry.second == nullptr) {
            return false;
        }
    }
    return true;
}

// Every ordinary allocation of a parse fails in turn, once or from then on:
// the parse either completes or throws std::bad_alloc, and then the model
// holds exactly what the lines read before the failure give (the model of
// some first lines of the file), no NULL block, and can still be looked up,
// saved, parsed again and freed.
TEST(AllocationFailure, OrdinaryAllocationsInTurn)
{
    TempDir dir;
    std::string input = "# c\n[A]\na=1\nb=2\n[B]\n";
    for (int i = 0; i < 40; ++i) { // more entries than the blocks before
        input += "# e\nk" + std::to_string(i) + "=v\n";
    }
    input += "[A]\nlost=1\n[C]\nc=3\n";
    const std::string path = dir.Write("in.cfg", input);
    const std::string out = dir.Path() + "/out.cfg";
    // The models of every first lines of the file, and the empty map of a
    // parse that failed before its first line.
    std::set<std::string> prefixes[2] = {{""}, {""}};
    for (const unsigned mode : {0u, 1u}) {
        for (size_t end = 0; end != std::string::npos; end = input.find('\n', end + 1)) {
            prefixes[mode].insert(DumpModel(CCFGParser(dir.Write("prefix.cfg", input.substr(0, end)), mode)));
        }
    }
    capture_log::Reset(0); // the logger allocates too
    for (const bool keepFailing : {false, true}) {
        long failing = 0;
        bool threw = true;
        while (threw) {
            ++failing;
            threw = false;
            for (const unsigned mode : {0u, 1u}) {
                CCFGParser parser(mode);
                bool thrown = false;
                g_keepFailing = keepFailing;
                g_throwingCountdown = failing;
                try {
                    parser.CFGParseFile(path);
                } catch (const std::bad_alloc&) {
                    thrown = true;
                }
                StopFailing();
                threw = threw || thrown;
                ASSERT_NE(parser.m_pmCFGData, nullptr);
                EXPECT_TRUE(NoNullBlock(parser)) << failing;
                const std::string model = DumpModel(parser);
                EXPECT_EQ(prefixes[mode].count(model), 1u) << failing << " " << keepFailing << "\n" << model;
                parser.CFGGetData("B.k39");
                ASSERT_EQ(parser.CFGSaveData(out), 0) << failing;
                EXPECT_EQ(parser.CFGParseFile(path), 0);
            }
        }
        EXPECT_GT(failing, 10) << "the sweep never reached the parse's allocations";
    }
    g_keepFailing = false;

    // The path constructors, which parse at once, and the front end from
    // construction to saving, the same way.
    const std::string copy = dir.Write("copy.cfg", input);
    bool threw = true;
    for (long failing = 1; threw; ++failing) {
        g_throwingCountdown = failing;
        try {
            const CCFGReader reader(copy, 1u);
            CZelConfigParser config(copy);
            config.Set("C.c", 4);
            config.Save();
            threw = false;
        } catch (const std::bad_alloc&) {
        }
        g_throwingCountdown = 0;
    }
    EXPECT_EQ(CCFGParser(copy).CFGGetData("C.c"), "4");
}

} // namespace
