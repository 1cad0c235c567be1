#include "CFGBlockBuilder.h"

#include <iterator>
#include <utility>

namespace zelconfig {

void CFGBlockBuilder::Begin(CBlock& block)
{
    Finish();
    m_pBlock = &block;
    block.m_vecNodes.reserve(m_expected);
}

CNode& CFGBlockBuilder::Append()
{
    std::vector<CNode>& nodes = m_pBlock->m_vecNodes;
    if (m_chunksInUse == 0 && nodes.size() < nodes.capacity()) {
        return nodes.emplace_back();
    }
    if (m_chunksInUse == 0 || m_chunks[m_chunksInUse - 1].size() == m_chunks[m_chunksInUse - 1].capacity()) {
        if (m_chunksInUse == m_chunks.size()) {
            size_t size = kFirstChunkNodes;
            for (size_t i = 0; i < m_chunks.size() && size < kMaxChunkNodes; ++i) {
                size *= 2;
            }
            m_chunks.emplace_back();
            m_chunks.back().reserve(size);
        }
        ++m_chunksInUse;
    }
    if (++m_staged == kCountAfter && !m_bCounted) {
        m_bWantsCount = true;
    }
    return m_chunks[m_chunksInUse - 1].emplace_back();
}

void CFGBlockBuilder::Expect(size_t more)
{
    m_bWantsCount = false;
    m_bCounted = true;
    Gather(m_pBlock->m_vecNodes.size() + m_staged + more);
}

void CFGBlockBuilder::Gather(size_t capacity)
{
    std::vector<CNode>& nodes = m_pBlock->m_vecNodes;
    std::vector<CNode> exact;
    exact.reserve(capacity);
    exact.insert(exact.end(), std::make_move_iterator(nodes.begin()), std::make_move_iterator(nodes.end()));
    for (size_t i = 0; i < m_chunksInUse; ++i) {
        exact.insert(exact.end(), std::make_move_iterator(m_chunks[i].begin()),
                     std::make_move_iterator(m_chunks[i].end()));
        m_chunks[i].clear(); // keeps its room for the next block
    }
    m_chunksInUse = 0;
    m_staged = 0;
    nodes.swap(exact);
}

void CFGBlockBuilder::Finish()
{
    if (m_pBlock == nullptr) {
        return;
    }
    std::vector<CNode>& nodes = m_pBlock->m_vecNodes;
    if (m_chunksInUse > 0 || nodes.size() < nodes.capacity()) {
        Gather(nodes.size() + m_staged);
    }
    m_expected = nodes.size();
    m_pBlock = nullptr;
    m_bWantsCount = false;
    m_bCounted = false;
}

} // namespace zelconfig
