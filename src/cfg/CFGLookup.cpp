// CCFGParser's lookup and update of values by "block.entry" key.
#include "CCFGParser.h"

#include <string_view>

#include "CFGBlockMap.h"
#include "CFGKey.h"
#include "ZelConfigStatus.h"
#include "platform/ZelLog.h"

using namespace zelconfig;

namespace {

// The block of that name, if it exists and holds entries; the map's own
// search suffices because names are unique keys of the map.
CBlock* FindBlock(CFGBlockMap& blocks, std::string_view name)
{
    // The map's comparator takes only std::string, and block names are often
    // longer than a string holds inline: a name of usual length is copied
    // into a string of this thread that keeps its room, so that a lookup
    // does not allocate; a longer one into a string of its own, so that one
    // long lookup does not keep its room for the thread's life.
    constexpr size_t kKeptRoom = 256;
    thread_local std::string t_name;
    std::string longName;
    std::string& key = name.size() <= kKeptRoom ? t_name : longName;
    key.assign(name.data(), name.size());
    const auto found = blocks.find(key);
    if (found == blocks.end() || found->second == nullptr || found->second->m_vecNodes.empty()) {
        return nullptr;
    }
    return found->second;
}

} // namespace

int CCFGParser::CFGGetData(const std::string& strKey, std::string& strValue)
{
    if (m_pmCFGData == nullptr || strKey.empty()) {
        return kStatusNotFound;
    }
    if (&strKey == &strValue) {
        // The names view into the key, which the values are appended to.
        return CFGGetData(std::string(strKey), strValue);
    }
    const CFGKeyParts parts = CFGSplitKey(strKey, m_uiAnonymousMode != 0);
    const CBlock* block = FindBlock(*m_pmCFGData, parts.block);
    if (block == nullptr) {
        return kStatusNotFound;
    }
    int result = kStatusNotFound;
    for (const CNode& node : block->m_vecNodes) {
        if (node.m_strKey == parts.entry) {
            // The separator depends on what the caller's string holds, not on a count of matches.
            if (!strValue.empty()) {
                strValue += '\n';
            }
            strValue += node.m_strValue;
            result = 0;
        }
    }
    return result;
}

std::string CCFGParser::CFGGetData(const std::string& strKey)
{
    std::string value;
    CFGGetData(strKey, value);
    return value;
}

int CCFGParser::CFGSetData(const std::string& strKey, std::string strValue)
{
    if (m_pmCFGData == nullptr || strKey.empty()) {
        ZEL_LOG(kLogError, "CFGSetData", "m_pmCFGData is NULL");
        return kStatusInvalid;
    }
    // Unlike a lookup, a key without '.' never means the anonymous block.
    CFGKeyParts parts = CFGSplitKey(strKey, false);
    CBlock* block = FindBlock(*m_pmCFGData, parts.block);
    if (block == nullptr) {
        return kStatusNotFound;
    }
    int result = kStatusNotFound;
    std::string entry; // the entry name, once the key is a value about to be overwritten
    for (CNode& node : block->m_vecNodes) {
        if (node.m_strKey == parts.entry) {
            if (&node.m_strValue == &strKey) {
                entry.assign(parts.entry.data(), parts.entry.size());
                parts.entry = entry;
            }
            node.m_strValue = strValue;
            result = 0;
        }
    }
    return result;
}
