#ifndef ZELCONFIG_CFG_CFGLINE_H
#define ZELCONFIG_CFG_CFGLINE_H

#include <string_view>

#include "ZelConfigExport.h"

namespace zelconfig {

// What a line of a CFG file is. Decided by its first byte alone: blanks are
// not skipped, so an indented "[a]" or "# x" is no header and no comment.
enum class CFGLineKind
{
    kComment,            // first byte '#' or ';'
    kHeader,             // "[name]" followed by anything
    kUnterminatedHeader, // '[' without any ']': ends the parse
    kEntry,              // any other line holding '='
    kIgnored,            // any other line, the empty one included
    kContinuation,       // INI dialect: an indented line under an entry, which continues its value
};

struct CFGLine
{
    CFGLineKind kind;
    std::string_view name;  // Header: bytes between '[' and the first ']'
    std::string_view key;   // Entry: bytes before the first '='
    std::string_view value; // Entry: bytes after it
};

// The first byte of every header line, terminated or not: a scan for
// headers alone needs to classify only the lines that begin with it.
constexpr char kCFGHeaderOpen = '[';

inline bool CFGStartsHeader(std::string_view line)
{
    return !line.empty() && line.front() == kCFGHeaderOpen;
}

// The one classifier of CFG lines; the parser and any checker of files share
// it so that they can never disagree. Embedded NUL bytes are ordinary bytes.
// Defined in libZelConfig and exported for the project's own binaries (the
// document library, zelcfg, the tests); this header stays internal.
ZELCONFIG_API CFGLine CFGClassifyLine(std::string_view line);

// The INI dialect's classifier for a line read on its own, with no entry
// above it whose value it could continue: a header's name or an entry's
// key and value, the blanks around them dropped.
ZELCONFIG_API CFGLine CFGClassifyIniLine(std::string_view line);

} // namespace zelconfig

#endif
