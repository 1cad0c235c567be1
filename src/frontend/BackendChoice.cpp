// The back-end choice alone, free of logging and loading, so that the
// command-line tool compiles the very same routine as the front ends.
#include "frontend/Backend.h"

#include <cstring>

namespace zelconfig {

Backend ChooseBackend(const char* pszPath, BackendUse use)
{
    // A substring anywhere, not a suffix: "x.cfg.bak" and "a.cfg/b" are CFG.
    if (std::strstr(pszPath, ".cfg") != nullptr) {
        return Backend::kCfgBlock;
    }
    if (use == BackendUse::kRead
        && (std::strstr(pszPath, ".inf") != nullptr || std::strstr(pszPath, ".cksum") != nullptr)) {
        return Backend::kCfgAnonymous;
    }
    if (std::strstr(pszPath, ".xml") != nullptr) {
        return Backend::kXml;
    }
    return Backend::kNone;
}

} // namespace zelconfig
