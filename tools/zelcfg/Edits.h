#ifndef ZELCONFIG_TOOLS_EDITS_H
#define ZELCONFIG_TOOLS_EDITS_H

#include <string>
#include <vector>

#include "Zelcfg.h"

namespace zelcfg {

// One edit command (set, unset or remove-block) of a script, parsed as its
// own command line (its first operand the stand-in "FILE": the edits are
// made on EditAll's `input`), and the number of the line it starts on (with
// -z its number among the commands), which its messages name ("FILE: line 3").
struct ScriptedEdit
{
    Invocation invocation;
    size_t number;
};

// Where the messages of a script's command point, into `where` (its room
// kept): "FILE: line 3", or with `null` (-z) "FILE: command 3".
void ScriptPlace(const std::string& file, bool null, size_t number, std::string& where);

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
