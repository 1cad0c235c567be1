#ifndef ZELCONFIG_CCFGPARSER_H
#define ZELCONFIG_CCFGPARSER_H

#include <map>
#include <string>

#include "CBlock.h"
#include "ZelConfigExport.h"
#include "ZelConfigStatus.h"

// The CFG engine: parses a CFG file into a map of blocks, looks values up,
// updates them in memory and writes the whole model back.
//
// Status codes: 0 success, -1 header without ']', -2 file cannot be opened or
// key not found, 22 (EINVAL) a needed object is missing or the key is empty.
// Nothing is thrown on purpose; only a failed ordinary allocation escapes as
// std::bad_alloc.
class ZELCONFIG_API CCFGParser
{
public:
    // 0 = block mode; anything else = anonymous mode, where every entry goes
    // into the block "anonymous" and keys and values are trimmed.
    unsigned int m_uiAnonymousMode;
    // Block name -> block, in byte order; NULL until the first parse. Owned.
    std::map<std::string, CBlock*>* m_pmCFGData;

    // An empty model (m_pmCFGData NULL) in block mode, or in the mode given.
    CCFGParser();
    explicit CCFGParser(unsigned int uiAnonymousMode);
    // Parse at once; the status is not kept (call CFGParseFile to get it).
    explicit CCFGParser(const std::string& strPath);
    CCFGParser(const std::string& strPath, unsigned int uiAnonymousMode);

    // Copying is refused: both log at level 8 and leave the target empty.
    CCFGParser(const CCFGParser& other);
    // Refused like the copy: logs at level 8 and empties this parser.
    CCFGParser& operator=(const CCFGParser& other);

    ~CCFGParser();

    // Replaces the model with the file at strPath: 0, -1, -2 or 22.
    int CFGParseFile(const std::string& strPath);

    // Appends every value stored under "Block.Entry" to strValue, a line feed
    // before each one when strValue is not empty: 0 if found, else -2.
    int CFGGetData(const std::string& strKey, std::string& strValue);
    // The same into a fresh string; empty on any miss.
    std::string CFGGetData(const std::string& strKey);

    // Overwrites the value of every existing entry "Block.Entry": 0, -2 or 22.
    int CFGSetData(const std::string& strKey, std::string strValue);

    // Rewrites the file at strPath from the model, blocks sorted by name: 0, -2 or 22.
    int CFGSaveData(const std::string& strPath);
};

#endif
