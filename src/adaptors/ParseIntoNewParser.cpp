#include "adaptors/ParseIntoNewParser.h"

#include <new>

#include "CCFGParser.h"
#include "platform/ZelLog.h"

namespace zelconfig {

int ParseIntoNewParser(const std::string& strPath, unsigned int uiMode, CCFGParser*& pParser)
{
    ZEL_LOG(kLogTrace, "ParseFile", "+");
    ZEL_LOG(kLogParams, "ParseFile", "File Path %s", strPath.c_str());

    int iResult;
    pParser = new (std::nothrow) CCFGParser(uiMode);
    if (pParser == nullptr) {
        ZEL_LOG(kLogError, "ParseFile", "Memory allocation error for m_pCFGParser");
        iResult = 22;
    } else {
        iResult = pParser->CFGParseFile(strPath);
    }
    ZEL_LOG(kLogTrace, "ParseFile", "-");
    return iResult;
}

} // namespace zelconfig
