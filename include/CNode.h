#ifndef ZELCONFIG_CNODE_H
#define ZELCONFIG_CNODE_H

#include <string>

// One "key=value" entry of a CFG file: a plain value type, copied whole and
// stored by value in its block. Everything is inline, so nothing is exported.
class CNode
{
public:
    std::string m_strComment; // comment lines that stood above the entry, joined as read
    std::string m_strKey;     // bytes before the line's first '='
    std::string m_strValue;   // bytes after it
};

#endif
