#ifndef ZELCONFIG_ADAPTORS_PARSEINTONEWPARSER_H
#define ZELCONFIG_ADAPTORS_PARSEINTONEWPARSER_H

#include <string>

class CCFGParser;

namespace zelconfig {

// The ParseFile both CFG adaptors share: traces, a new parser in `mode`
// stored in parser (one held before is left to whoever owns it), then the
// engine's parse status, or 22 when the parser cannot be allocated.
int ParseIntoNewParser(const std::string& path, unsigned int mode, CCFGParser*& parser);

} // namespace zelconfig

#endif
