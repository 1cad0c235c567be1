#ifndef ZELCONFIG_CBLOCK_H
#define ZELCONFIG_CBLOCK_H

#include <string>
#include <vector>

#include "CNode.h"

// One "[name]" block of a CFG file. The name is not stored here: it is the
// block's key in CCFGParser::m_pmCFGData. All inline, like CNode.
class CBlock
{
public:
    std::string m_strComment;     // comment lines that stood above the header
    std::vector<CNode> m_vecNodes; // entries in file order, duplicates kept
};

#endif
