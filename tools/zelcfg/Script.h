#ifndef ZELCONFIG_TOOLS_SCRIPT_H
#define ZELCONFIG_TOOLS_SCRIPT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zelcfg {

// One command of an edit script: its words, and the line it starts on (with
// -z its number among the commands).
struct ScriptCommand
{
    size_t line = 0;
    std::vector<std::string> words;
};

// Splits a script into commands and their words as a POSIX shell splits a
// command line, with nothing expanded: blanks separate words, a line feed
// ends a command; single quotes keep every byte, double quotes let a
// backslash escape only $ ` " \ and a line feed, a backslash outside them
// the byte after it; a quote left open continues onto the next line, a
// backslash before a line feed joins the lines; a word starting with '#'
// begins a comment to the end of the line. `$`, globs and `~` stay as they
// are. False, with `error` ("line 3: ..."), on a quote left open, a backslash
// ending the script, a NUL byte, or an unquoted ; & | < > ( or ), which a
// shell would read as an operator.
bool SplitScript(std::string_view text, std::vector<ScriptCommand>& commands, std::string& error);

// The same for -z: every word ends with a NUL byte, an empty word ends a
// command, and nothing is quoted. False, with `error` ("command 3: ..."),
// when the last word has no NUL byte after it.
bool SplitNullScript(std::string_view text, std::vector<ScriptCommand>& commands, std::string& error);

} // namespace zelcfg

#endif
