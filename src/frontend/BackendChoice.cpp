// The back-end choice alone, free of logging and loading, so that the
// command-line tool compiles the very same routine as the front ends.
#include "frontend/Backend.h"

#include <cstring>

namespace zelconfig {

Backend ChooseBackend(const char* path, BackendUse use)
{
    // A substring anywhere, not a suffix: "x.cfg.bak" and "a.cfg/b" are CFG.
    if (std::strstr(path, ".cfg") != nullptr) {
        return Backend::kCfgBlock;
    }
    if (use == BackendUse::kRead
        && (std::strstr(path, ".inf") != nullptr || std::strstr(path, ".cksum") != nullptr)) {
        return Backend::kCfgAnonymous;
    }
    if (std::strstr(path, ".xml") != nullptr) {
        return Backend::kXml;
    }
    return Backend::kNone;
}

} // namespace zelconfig
