#include "adaptors/ParseIntoNewParser.h"

#include <new>

#include "CCFGParser.h"
#include "platform/ZelLog.h"

namespace zelconfig {

int ParseIntoNewParser(const std::string& path, unsigned int mode, CCFGParser*& parser)
{
    ZEL_LOG(kLogTrace, "ParseFile", "+");
    ZEL_LOG(kLogParams, "ParseFile", "File Path %s", path.c_str());

    int result;
    parser = new (std::nothrow) CCFGParser(mode);
    if (parser == nullptr) {
        ZEL_LOG(kLogError, "ParseFile", "Memory allocation error for m_pCFGParser");
        result = kStatusInvalid;
    } else {
        result = parser->CFGParseFile(path);
    }
    ZEL_LOG(kLogTrace, "ParseFile", "-");
    return result;
}

} // namespace zelconfig
