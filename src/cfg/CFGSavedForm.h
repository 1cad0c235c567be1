#ifndef ZELCONFIG_CFG_CFGSAVEDFORM_H
#define ZELCONFIG_CFG_CFGSAVEDFORM_H

#include <map>
#include <string>
#include <string_view>

#include "CBlock.h"

namespace zelconfig {

// The saved form of a model, one line at a time: each call of `emit` gets the
// four pieces of one line, its line feed included (unused pieces empty). The
// file save and every other writer of the normalised form share it, so that
// they can never disagree on a byte.
template <typename Emit>
void ForEachSavedLine(const std::map<std::string, CBlock*>& blocks, Emit emit)
{
    for (const auto& entry : blocks) {
        const CBlock* block = entry.second;
        if (block == nullptr) {
            continue;
        }
        if (!block->m_strComment.empty()) {
            emit(block->m_strComment, "\n", {}, {});
        }
        emit("[", entry.first, "]\n", {});
        for (const CNode& node : block->m_vecNodes) {
            if (!node.m_strComment.empty()) {
                emit(node.m_strComment, "\n", {}, {});
            }
            emit(node.m_strKey, "=", node.m_strValue, "\n");
        }
    }
}

} // namespace zelconfig

#endif
