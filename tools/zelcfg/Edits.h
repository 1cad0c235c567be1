#ifndef ZELCONFIG_TOOLS_EDITS_H
#define ZELCONFIG_TOOLS_EDITS_H

#include <string>
#include <vector>

#include "Zelcfg.h"

namespace zelcfg {

// One edit command (set, unset or remove-block) of a script, parsed as its
// own command line, and the place its messages name ("FILE: line 3").
struct ScriptedEdit
{
    Invocation invocation;
    std::string where;
};

// Makes `edits` on the file of `input`, by the very code of the commands on
// their own line, in one load under the lock and one save, as `invocation`
// (edit's own line) says: --wait, --force, --in-place, --normalise. Each
// edit sees the ones before it. The exit status after reporting the first
// refusal, which leaves the file as it was and creates none.
int EditAll(const Invocation& invocation, const Input& input, const std::vector<ScriptedEdit>& edits);

// edit: the commands of a script on standard input (one a line, or with -z
// NUL-separated words), made by EditAll; any refusal exits 2.
int RunEditScript(const Invocation& invocation, const Input& input);

// Why `command`, or an option given it, does not work on a file read as
// `input` is (--attribute on a CFG file, --index on an XML file, a command
// of CFG files on an XML file); empty when it does.
std::string FormatRefusal(const Command& command, const Invocation& invocation, const Input& input);

} // namespace zelcfg

#endif
