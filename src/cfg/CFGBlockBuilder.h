#ifndef ZELCONFIG_CFG_CFGBLOCKBUILDER_H
#define ZELCONFIG_CFG_CFGBLOCKBUILDER_H

#include <cstddef>
#include <vector>

#include "CBlock.h"

namespace zelconfig {

// Fills the entries of one block at a time so that each block's vector ends
// up exactly as large as its entries: a grown vector keeps up to half of
// itself unused, and every growth moves and re-touches all of it.
//
// A block's vector is reserved for as many entries as the previous block
// had, since blocks of one file tend to be alike. Entries beyond that wait
// in chunks that are reused from block to block (each twice the size of the
// one before, up to a limit), and move once into a vector of the exact size
// when the block ends. A block that outgrows its guess by a thousand entries
// asks to be told how many more are coming (WantsCount, Expect), so that a
// huge block is not held twice, in chunks and in its vector.
class CFGBlockBuilder
{
public:
    CFGBlockBuilder() = default;
    CFGBlockBuilder(const CFGBlockBuilder&) = delete;
    CFGBlockBuilder& operator=(const CFGBlockBuilder&) = delete;

    // Finishes the current block, if any, and starts filling `block`.
    void Begin(CBlock& block);
    // A new, empty entry at the end of the current block (Begin first).
    CNode& Append();
    // True once the current block has outgrown its guess so far that knowing
    // how many entries are still to come pays for counting them.
    bool WantsCount() const { return m_bWantsCount; }
    // Makes room for `more` entries after those already appended: the block's
    // vector gets its final size now and later entries go straight into it.
    void Expect(size_t more);
    // Gives the current block all its entries; nothing is current after it.
    void Finish();

private:
    // Moves every entry of the current block into a vector of `capacity`.
    void Gather(size_t capacity);

    static constexpr size_t kCountAfter = 1000; // entries held in chunks before WantsCount
    static constexpr size_t kFirstChunkNodes = 16;
    static constexpr size_t kMaxChunkNodes = 1024; // 96 KB: below glibc's mmap threshold

    CBlock* m_pBlock = nullptr;
    size_t m_expected = 0;               // entries of the previous block
    std::vector<std::vector<CNode>> m_chunks; // each reserved for its full size
    size_t m_chunksInUse = 0;
    size_t m_staged = 0;                 // entries in the chunks
    bool m_bWantsCount = false;
    bool m_bCounted = false;             // Expect was called for the current block
};

} // namespace zelconfig

#endif
