#ifndef ZELCONFIG_CFG_CFGMODEL_H
#define ZELCONFIG_CFG_CFGMODEL_H

#include <locale>
#include <string_view>

#include "CCFGParser.h"
#include "CFGBlockMap.h"
#include "CFGLineReader.h"
#include "ZelConfigExport.h"

namespace zelconfig {

// Builds the engine's model from what the reading reports, into `blocks`,
// which starts empty: 0 or the status that ended the reading, logged as
// CFGParseFile logs it. `anonymous` is the facet anonymous mode trims with,
// null in block mode. Exported, as the rest of the reading, for the
// project's own binaries (the document library, the tests); no public API.
ZELCONFIG_API int CFGReadModel(CFGLineReader& reader, const std::ctype<char>* anonymous, CFGBlockMap& blocks);

// Parses bytes into the parser's model exactly as CFGParseFile parses a file
// holding them, for code that holds its text in memory.
ZELCONFIG_API int CFGParseBytes(CCFGParser& parser, std::string_view bytes);

} // namespace zelconfig

#endif
