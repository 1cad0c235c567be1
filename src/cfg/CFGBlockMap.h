#ifndef ZELCONFIG_CFG_CFGBLOCKMAP_H
#define ZELCONFIG_CFG_CFGBLOCKMAP_H

#include <map>
#include <string>

#include "CBlock.h"
#include "ZelConfigExport.h"

namespace zelconfig {

// The model a CCFGParser owns: its blocks by name.
using CFGBlockMap = std::map<std::string, CBlock*>;

// The block that anonymous mode reads every entry into, and that a lookup of
// a key without '.' searches in that mode.
constexpr char kCFGAnonymousBlock[] = "anonymous";

// Frees a block map and every block in it; the map may hold NULL blocks.
// Defined beside the reading in libZelConfig, and exported with it for the
// document library, which reads models of its own.
ZELCONFIG_API void FreeBlockMap(CFGBlockMap* blocks);

} // namespace zelconfig

#endif
