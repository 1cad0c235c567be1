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

// What the last call under WithoutNothrowNew logged.
std::string g_failedCallLog;

// Runs `call` while every non-throwing allocation fails.
int WithoutNothrowNew(const std::function<int()>& call)
{
    g_failNothrowNew = true;
    const int status = call();
    g_failNothrowNew = false;
    g_failedCallLog = capture_log::Text();
    return status;
}

TEST(AllocationFailure, MapAllocationIsReportedAndOldModelReleased)
{
    TempDir dir;
    const std::string path = dir.Write("a.cfg", "[A]\nk=1\n");
    CCFGParser parser(path);
    capture_log::Reset();
    EXPECT_EQ(WithoutNothrowNew([&] { return parser.CFGParseFile(path); }), EINVAL);
    EXPECT_EQ(parser.m_pmCFGData, nullptr); // LeakSanitizer: the old model was freed
    EXPECT_EQ(capture_log::Text(), "9 CFGParseFile: m_pmCFGData is NULL\n");
    EXPECT_EQ(parser.CFGParseFile(path), 0);
    EXPECT_EQ(parser.CFGGetData("A.k"), "1");
}

// The writer adaptor and the writer front end report a failed allocation of
// their parser or back end as EINVAL and are left without one; only the
// adaptor logs it. The reader side's are rows of the parser front end's table.
// `run` returns the statuses of the failed call and of a later one.
struct NothrowCase { const char* name; std::function<std::string(const std::string&)> run; const char* log; };
using NothrowTable = testing::TestWithParam<NothrowCase>;

TEST_P(NothrowTable, ParserOrBackEndThatCannotBeAllocated)
{
    TempDir dir;
    capture_log::Reset(1u << 9);
    EXPECT_EQ(GetParam().run(dir.Write("a.cfg", "[A]\nk=1\n")), "22 22");
    EXPECT_EQ(g_failedCallLog, GetParam().log);
}

const char kNoParser[] = "9 ParseFile: Memory allocation error for m_pCFGParser\n";

// The status of `failing` under WithoutNothrowNew, then that of `after`.
std::string Statuses(const std::function<int()>& failing, const std::function<int()>& after)
{
    const int failed = WithoutNothrowNew(failing);
    return std::to_string(failed) + " " + std::to_string(after());
}

INSTANTIATE_TEST_SUITE_P(Rows, NothrowTable, testing::Values(
    NothrowCase{"CCFGWriterParseFile", [](const std::string& path) { CCFGWriter writer;
        return Statuses([&] { return writer.ParseFile(path); }, [&] { return writer.SaveData(); }); },
        kNoParser},
    NothrowCase{"CZelConfigWriterParse", [](const std::string& path) { CZelConfigWriter writer;
        return Statuses([&] { return writer.Parse(path); }, [&] { return writer.Save(); }); }, ""},
    NothrowCase{"CZelConfigWriterCreate", [](const std::string& path) { CZelConfigWriter writer;
        return Statuses([&] { return writer.Create(path); }, [&] { return writer.Save(); }); }, ""}),
    RowName());

// CZelConfigParser::Parse makes four non-throwing allocations in turn: the
// reader back end, its parser, the block map, the writer back end. Failing
// each one in turn gives its own status, message and state.
struct FrontEndCase { const char* name; long failing; int status; const char* log; int value, set; };
using FrontEndTable = testing::TestWithParam<FrontEndCase>;

TEST_P(FrontEndTable, EachAllocationOfTheParserFrontEnd)
{
    const FrontEndCase& row = GetParam();
    TempDir dir;
    const std::string path = dir.Write("a.cfg", "[A]\nk=1\n");
    CZelConfigParser config;
    capture_log::Reset(1u << 9);
    g_nothrowCountdown = row.failing;
    const int status = config.Parse(path);
    g_nothrowCountdown = 0;
    EXPECT_EQ(status, row.status);
    EXPECT_EQ(capture_log::Text(), row.log);
    EXPECT_EQ(config.GetInt("A.k"), row.value);
    capture_log::Reset(1u << 9);
    EXPECT_EQ(config.Set("A.k", 2), row.set);
    EXPECT_EQ(capture_log::Text(), row.set == EINVAL ? "9 Set: Config Writer (m_pWriter) is NULL\n" : "");

    // The path constructor meets the same failures and reports none.
    g_nothrowCountdown = row.failing;
    CZelConfigParser constructed(path);
    g_nothrowCountdown = 0;
    EXPECT_EQ(constructed.GetInt("A.k"), row.value);
}

INSTANTIATE_TEST_SUITE_P(Rows, FrontEndTable, testing::Values(
    FrontEndCase{"ReaderBackEnd", 1, EINVAL, "", 0, EINVAL},
    FrontEndCase{"ReadersParser", 2, EINVAL, kNoParser, 0, EINVAL},
    FrontEndCase{"BlockMap", 3, EINVAL, "9 CFGParseFile: m_pmCFGData is NULL\n", 0, EINVAL},
    FrontEndCase{"WriterBackEnd", 4, EINVAL, "", 1, EINVAL},
    FrontEndCase{"NothingFails", 5, 0, "", 1, 0}),
    RowName());

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
