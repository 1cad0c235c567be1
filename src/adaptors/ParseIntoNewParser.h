#ifndef ZELCONFIG_ADAPTORS_PARSEINTONEWPARSER_H
#define ZELCONFIG_ADAPTORS_PARSEINTONEWPARSER_H

#include <string>

class CCFGParser;

namespace zelconfig {

// The ParseFile both CFG adaptors share: traces, a new parser in `uiMode`
// stored in pParser (one held before is left to whoever owns it), then the
// engine's parse status, or 22 when the parser cannot be allocated.
int ParseIntoNewParser(const std::string& strPath, unsigned int uiMode, CCFGParser*& pParser);

} // namespace zelconfig

#endif
