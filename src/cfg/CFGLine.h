#ifndef ZELCONFIG_CFG_CFGLINE_H
#define ZELCONFIG_CFG_CFGLINE_H

#include <cstring>
#include <string_view>

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
inline CFGLine CFGClassifyLine(std::string_view line)
{
    CFGLine result{CFGLineKind::kIgnored, {}, {}, {}};
    if (line.empty()) {
        return result;
    }
    const char first = line.front();
    if (first == '#' || first == ';') {
        result.kind = CFGLineKind::kComment;
        return result;
    }
    if (CFGStartsHeader(line)) {
        const void* close = std::memchr(line.data(), ']', line.size());
        if (close == nullptr) {
            result.kind = CFGLineKind::kUnterminatedHeader;
            return result;
        }
        const size_t end = static_cast<size_t>(static_cast<const char*>(close) - line.data());
        result.kind = CFGLineKind::kHeader;
        result.name = line.substr(1, end - 1);
        return result;
    }
    const void* equals = std::memchr(line.data(), '=', line.size());
    if (equals != nullptr) {
        const size_t at = static_cast<size_t>(static_cast<const char*>(equals) - line.data());
        result.kind = CFGLineKind::kEntry;
        result.key = line.substr(0, at);
        result.value = line.substr(at + 1);
    }
    return result;
}

} // namespace zelconfig

#endif
