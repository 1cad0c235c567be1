// Block vectors of the exact size: the reader's read-ahead that tells the
// parser how many entries a block still has to come, and the model built
// with it.
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "CCFGParser.h"
#include "TestFiles.h"
#include "cfg/CFGLineReader.h"

using zelconfig::CFGLineReader;

namespace {

// A value long enough to live on the heap, so that a lost or doubled move shows.
std::string Entry(size_t block, size_t entry)
{
    return "entry " + std::to_string(block) + "." + std::to_string(entry) + " of a block";
}

struct AheadCase { const char* name; std::string bytes; size_t consumed; };

using AheadTable = testing::TestWithParam<AheadCase>;

TEST_P(AheadTable, ReadsTheRestWithoutDisturbingTheSource)
{
    const AheadCase& row = GetParam();
    TempDir dir;
    const std::vector<std::string> lines = Lines(row.bytes);
    CFGLineReader source;
    ASSERT_TRUE(source.Open(dir.Write("f.cfg", row.bytes)));
    std::string_view line;
    for (size_t i = 0; i < row.consumed; ++i) {
        ASSERT_TRUE(source.Next(line));
    }
    std::vector<std::string> ahead;
    {
        CFGLineReader reader;
        ASSERT_TRUE(reader.OpenAhead(source));
        while (reader.Next(line)) {
            ahead.emplace_back(line);
        }
        EXPECT_FALSE(reader.Failed());
    }
    std::vector<std::string> rest;
    while (source.Next(line)) {
        rest.emplace_back(line);
    }
    const std::vector<std::string> expected(lines.begin() + static_cast<long>(row.consumed), lines.end());
    EXPECT_TRUE(ahead == expected) << ahead.size() << " lines ahead, " << expected.size() << " expected";
    EXPECT_TRUE(rest == expected) << rest.size() << " lines left, " << expected.size() << " expected";
}

std::string ManyLines(size_t count, size_t width)
{
    std::string bytes;
    for (size_t i = 0; i < count; ++i) {
        bytes += std::to_string(i) + "=" + std::string(i % width, 'v') + "\n";
    }
    return bytes;
}

const std::string kBig = ManyLines(20000, 61);                                       // ~ 600 KB
const std::string kLongLine = "a\nb=" + std::string(300 * 1024, 'x') + "\nc\nd\n"; // past both chunks

INSTANTIATE_TEST_SUITE_P(Files, AheadTable, testing::Values(
    AheadCase{"FromTheStart", "a\nb\nc", 0},
    AheadCase{"FromTheMiddle", "a\nb\nc\n", 1},
    AheadCase{"OnlyTheEmptyLastLineLeft", "a\nb\n", 2},
    AheadCase{"AfterSeveralRefills", kBig, 15000},
    AheadCase{"BeforeALineLongerThanAnyChunk", kLongLine, 1},
    AheadCase{"AfterALineLongerThanAnyChunk", kLongLine, 2}),
    RowName());

TEST(ReadAhead, RefusedWhereBytesCannotBeReadTwice)
{
    TempDir dir;
    CFGLineReader device;
    ASSERT_TRUE(device.Open("/dev/null"));
    CFGLineReader ahead;
    EXPECT_FALSE(ahead.OpenAhead(device)) << "not a regular file";

    CFGLineReader done;
    ASSERT_TRUE(done.Open(dir.Write("one.cfg", "x")));
    std::string_view line;
    ASSERT_TRUE(done.Next(line));
    ASSERT_FALSE(done.Next(line));
    EXPECT_FALSE(CFGLineReader().OpenAhead(done)) << "nothing left";
}

// Whole parses in both modes over blocks of every size, within the reader's
// buffer and across its refills: each block's vector is exactly as large as
// its entries.
struct ModelCase
{
    const char* name;
    unsigned mode;
    std::vector<size_t> blockSizes;
    std::string tail; // appended after the blocks
    int status;
};

using ModelTable = testing::TestWithParam<ModelCase>;

TEST_P(ModelTable, VectorsHoldExactlyTheirEntries)
{
    const ModelCase& row = GetParam();
    std::string input;
    std::map<std::string, std::string> expected; // block -> its dump, entries in file order
    std::string anonymous;
    for (size_t b = 0; b < row.blockSizes.size(); ++b) {
        const std::string name = "B" + std::to_string(b);
        input += "[" + name + "]\n";
        expected[name] = "[" + name + "]\n";
        for (size_t e = 0; e < row.blockSizes[b]; ++e) {
            const std::string entry = "k" + std::to_string(e) + "=" + Entry(b, e);
            input += (e % 7 == 0 ? "# c\n" + entry : entry) + "\n";
            (row.mode == 0 ? expected[name] : anonymous) += (e % 7 == 0 ? "  <# c> " : "  ") + entry + "\n";
        }
    }
    input += row.tail;
    std::string dump; // block names "B..." sort before "anonymous"
    for (const auto& [name, text] : expected) {
        dump += text;
    }
    if (row.mode != 0) {
        dump += "[anonymous]\n" + anonymous;
    }
    TempDir dir;
    CCFGParser parser(row.mode);
    EXPECT_EQ(parser.CFGParseFile(dir.Write("m.cfg", input)), row.status);
    EXPECT_TRUE(DumpModel(parser) == dump) << DumpModel(parser).substr(0, 200);
    for (const auto& [name, block] : *parser.m_pmCFGData) {
        EXPECT_EQ(block->m_vecNodes.capacity(), block->m_vecNodes.size()) << name;
    }
}

INSTANTIATE_TEST_SUITE_P(Files, ModelTable, testing::Values(
    ModelCase{"AlikeBlocks", 0, {40, 40, 40}, "", 0},
    ModelCase{"EverySize", 0, {1, 1500, 3, 0, 2600, 50, 49, 51}, "", 0},
    ModelCase{"EverySizeAnonymous", 1, {1, 1500, 3, 0, 2600, 50}, "", 0},
    // Past the first read of 256 KB: blocks that end beyond what is buffered.
    ModelCase{"BlocksAcrossRefills", 0, {3, 9000, 7, 9000, 2}, "", 0},
    ModelCase{"BlocksAcrossRefillsAnonymous", 1, {3, 9000, 7, 9000, 2}, "", 0},
    // The count ahead stops where the parse does, at the header without ']'.
    ModelCase{"HugeBlockEndsAtBrokenHeader", 0, {10, 2500}, "[Broken\nk=lost\n", -1},
    ModelCase{"HugeAnonymousEndsAtBrokenHeader", 1, {2500}, "[Broken\nk=lost\n", -1},
    // A repeated header ends the block; its entries are counted for nothing.
    ModelCase{"RepeatedHeaderAfterHugeBlock", 0, {2500, 5}, "[B0]\nk=lost\nk=lost\n", 0}),
    RowName());

} // namespace
