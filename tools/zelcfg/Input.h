#ifndef ZELCONFIG_TOOLS_INPUT_H
#define ZELCONFIG_TOOLS_INPUT_H

#include <string>

#include "ZelConfigDocument.h"
#include "Internals.h"

namespace zelcfg {

// The FILE operand and the back end that reads it.
struct Input
{
    std::string path; // as given; "-" is standard input
    zelconfig::Backend backend;
    bool ini = false; // read in the INI dialect: no back end of the library reads it

    bool Stdin() const { return path == "-"; }
    bool Anonymous() const { return backend == zelconfig::Backend::kCfgAnonymous; }
    zelconfig::Document::Mode Mode() const
    {
        return ini         ? zelconfig::Document::Mode::kIni
               : Anonymous() ? zelconfig::Document::Mode::kAnonymous
                             : zelconfig::Document::Mode::kBlock;
    }
};

} // namespace zelcfg

#endif
