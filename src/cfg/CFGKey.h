#ifndef ZELCONFIG_CFG_CFGKEY_H
#define ZELCONFIG_CFG_CFGKEY_H

#include <string_view>

#include "CFGBlockMap.h"

namespace zelconfig {

// A lookup key's block and entry names, both viewing into the key.
struct CFGKeyParts
{
    std::string_view block;
    std::string_view entry;
};

// Splits a key at its first '.', the one separator keys have. A key without
// one names the entry of that name in the block "anonymous" when
// `anonymous`, else the empty names, which are then looked up as such.
inline CFGKeyParts CFGSplitKey(std::string_view key, bool anonymous)
{
    const size_t dot = key.find('.');
    if (dot != std::string_view::npos) {
        return {key.substr(0, dot), key.substr(dot + 1)};
    }
    if (anonymous) {
        return {kCFGAnonymousBlock, key};
    }
    return {};
}

} // namespace zelconfig

#endif
