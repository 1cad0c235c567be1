// zelcfg edit: set, unset and remove-block commands read from standard
// input, made on FILE in one load under its lock and one save, or none.
#include <cstring>

#include "Edits.h"
#include "Input.h"
#include "Script.h"
#include "Zelcfg.h"

namespace zelcfg {

namespace {

// The commands a script may hold: the edits of one file.
bool IsScriptEdit(std::string_view name)
{
    return name == "set" || name == "unset" || name == "remove-block";
}

// An option of a script's command that concerns the whole file or the whole
// run, which edit's own command line takes instead; empty when there is none.
std::string WholeFileOption(const Invocation& invocation)
{
    if (invocation.request != Request::kCommand) {
        return invocation.request == Request::kHelp ? "--help" : "--version";
    }
    for (const CommandOption option : {kOptionWait, kOptionForce, kOptionInPlace, kOptionNormalise}) {
        if (invocation.Has(option)) {
            return OptionName(option);
        }
    }
    if (invocation.mode != ModeChoice::kByPath) {
        return OptionName(invocation.mode);
    }
    return invocation.verbosity > 0 ? "-v" : invocation.strictName ? "--strict-name" : "";
}

// Takes one command of the script apart as its own command line would be,
// with FILE in its place: false with the reason. The words go to the
// invocation.
bool ParseEdit(ScriptCommand& command, Invocation& invocation, std::string& error)
{
    const std::string& name = command.words.front();
    if (!IsScriptEdit(name)) {
        error = "'" + name + "' is no edit: a script holds set, unset and remove-block commands";
        return false;
    }
    // A stand-in for FILE, which may look like an option; the parser must
    // take it as the operand it is.
    command.words.insert(command.words.begin() + 1, "FILE");
    if (!ParseArguments(command.words, invocation, error)) {
        return false;
    }
    const std::string option = WholeFileOption(invocation);
    if (!option.empty()) {
        error = option + " concerns the whole file: give it to edit itself (zelcfg edit " + option + " FILE)";
        return false;
    }
    return true;
}

} // namespace

void ScriptPlace(const std::string& file, bool null, size_t number, std::string& where)
{
    where.assign(file).append(null ? ": command " : ": line ").append(std::to_string(number));
}

int RunEditScript(const Invocation& invocation, const Input& input)
{
    std::string text, error;
    if (const int failed = zelconfig::ReadAll(0, text)) {
        return Fail(kExitFailure, input.path, std::string("cannot read the script: ") + std::strerror(failed));
    }
    const bool null = invocation.Has(kOptionNull);
    std::vector<ScriptCommand> commands;
    if (!(null ? SplitNullScript(text, commands, error) : SplitScript(text, commands, error))) {
        return Fail(kExitFailure, input.path, error);
    }
    std::vector<ScriptedEdit> edits(commands.size());
    for (size_t i = 0; i < commands.size(); ++i) {
        edits[i].number = commands[i].line;
        if (!ParseEdit(commands[i], edits[i].invocation, error)) {
            std::string where;
            ScriptPlace(input.path, null, commands[i].line, where);
            return Fail(kExitFailure, where, error);
        }
    }
    // All or nothing: a refused command fails the whole script.
    return EditAll(invocation, input, edits) == kExitOk ? kExitOk : kExitFailure;
}

} // namespace zelcfg
