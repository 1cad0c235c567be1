#ifndef ZELCONFIG_TOOLS_INPUT_H
#define ZELCONFIG_TOOLS_INPUT_H

#include <string>

#include "ZelConfigDocument.h"
#include "Internals.h"

namespace zelcfg {

struct Invocation;

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

// Chooses how FILE is read: as an option forces; standard input in block
// mode; a name the library reads as the library reads it; any other file as
// XML when its first byte but blanks (after a UTF-8 byte order mark) is '<',
// else in the INI dialect. -v says which and why. False after reporting a
// name --strict-name refuses, with the exit status in `status`.
bool ChooseInput(const Invocation& invocation, Input& input, int& status);
// The same for another operand of the command.
bool ChooseInput(const Invocation& invocation, const std::string& path, Input& input, int& status);

// How FILE is read, as notes say it: "as XML", "in the INI dialect".
std::string ReadingName(const Input& input);

} // namespace zelcfg

#endif
