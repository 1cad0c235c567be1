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
    return m_chunks[m_chunksInUse - 1].emplace_back();
}

void CFGBlockBuilder::Finish()
{
    if (m_pBlock == nullptr) {
        return;
    }
    std::vector<CNode>& nodes = m_pBlock->m_vecNodes;
    if (m_chunksInUse > 0 || nodes.size() < nodes.capacity()) {
        size_t total = nodes.size();
        for (size_t i = 0; i < m_chunksInUse; ++i) {
            total += m_chunks[i].size();
        }
        std::vector<CNode> exact;
        exact.reserve(total);
        exact.insert(exact.end(), std::make_move_iterator(nodes.begin()), std::make_move_iterator(nodes.end()));
        for (size_t i = 0; i < m_chunksInUse; ++i) {
            exact.insert(exact.end(), std::make_move_iterator(m_chunks[i].begin()),
                         std::make_move_iterator(m_chunks[i].end()));
            m_chunks[i].clear(); // keeps its room for the next block
        }
        m_chunksInUse = 0;
        nodes.swap(exact);
    }
    m_expected = nodes.size();
    m_pBlock = nullptr;
}

} // namespace zelconfig
