// Block vectors of the exact size: the parser counts a block's entries ahead
// (within the reader's buffer, or by reading the rest of the file again), so
// a wrong count or a read-ahead that disturbs the reader shows here as a
// capacity that differs from the size or as a wrong model.
#include <map>

#include <gtest/gtest.h>

#include "CCFGParser.h"
#include "TestFiles.h"
#include "cfg/CFGModel.h"

namespace {

// A value long enough to live on the heap, so that a lost or doubled move shows.
std::string Entry(size_t block, size_t entry)
{
    return "entry " + std::to_string(block) + "." + std::to_string(entry) + " of a block";
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
    size_t longValue = 0; // bytes added to entry 1 of block 1: a line longer than the reader's chunks
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
            const std::string entry = "k" + std::to_string(e) + "=" + Entry(b, e)
                                      + std::string(b == 1 && e == 1 ? row.longValue : 0, 'x');
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
    // Held in memory, every block is counted without reading ahead.
    CCFGParser inMemory(row.mode);
    EXPECT_EQ(zelconfig::CFGParseBytes(inMemory, input), row.status);
    EXPECT_TRUE(DumpModel(inMemory) == dump);
    for (const auto& [name, block] : *inMemory.m_pmCFGData) {
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
    ModelCase{"LineLongerThanAnyChunk", 0, {3, 9000, 7}, "", 0, 300 * 1024},
    ModelCase{"LineLongerThanAnyChunkAnonymous", 1, {3, 9000, 7}, "", 0, 300 * 1024},
    // The count ahead stops where the parse does, at the header without ']'.
    ModelCase{"HugeBlockEndsAtBrokenHeader", 0, {10, 2500}, "[Broken\nk=lost\n", -1},
    ModelCase{"HugeAnonymousEndsAtBrokenHeader", 1, {2500}, "[Broken\nk=lost\n", -1},
    // A repeated header ends the block; its entries are counted for nothing.
    ModelCase{"RepeatedHeaderAfterHugeBlock", 0, {2500, 5}, "[B0]\nk=lost\nk=lost\n", 0}),
    RowName());

} // namespace
