#ifndef ZELCONFIG_TOOLS_ZELCFG_H
#define ZELCONFIG_TOOLS_ZELCFG_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "ZelConfigReplaceFile.h"

namespace zelcfg {

// Exit statuses, for shell scripts.
enum ExitStatus : int
{
    kExitOk = 0,
    kExitNotFound = 1,   // no such key; lint: findings
    kExitFailure = 2,    // usage, or a file that cannot be read, parsed or saved
    kExitConversion = 3, // get --type: the value is out of range, no boolean, or (--strict) not whole;
                         // set --strict: the number written would read back as another
};

enum class ValueType { kString, kInt, kFloat, kDouble, kBool };

// Which rules read the file: those the user forces, or else the path's, as
// the library's front end decides, and for a name it does not read the
// file's first byte's (ChooseInput, Input.h). Not zelconfig::Document::Mode:
// kByPath is no mode but the absence of a forced one, and may end in XML.
enum class ModeChoice { kByPath, kBlock, kAnonymous, kXml, kIni };

// The options that only some commands take, as bits.
enum CommandOption : unsigned
{
    kOptionType = 1u << 0,      // --type
    kOptionStrict = 1u << 1,    // --strict
    kOptionNull = 1u << 2,      // -z, --null
    kOptionDiff = 1u << 3,      // --diff
    kOptionNormalise = 1u << 4, // --normalise
    kOptionStdin = 1u << 5,     // FILE may be '-'
    kOptionWait = 1u << 6,      // --wait SECONDS
    kOptionForce = 1u << 7,     // --force
    kOptionInPlace = 1u << 8,   // --in-place
    kOptionAttribute = 1u << 9, // --attribute
    kOptionAll = 1u << 10,      // --all: every entry of a repeated key
    kOptionIndex = 1u << 11,    // --index N: the Nth entry of a repeated key
    kOptionAdd = 1u << 12,      // --add: another entry of the key
    kOptionDryRun = 1u << 13,   // --dry-run: what would change, as a unified diff
    kOptionsSave = kOptionWait | kOptionForce | kOptionInPlace, // what every edit takes
};

struct Invocation;
struct Input; // the FILE operand and the back end that reads it

// One command: its name, how many operands it takes (FILE included), the
// options it takes, and what runs it on each format's document: one
// implementation, asking each document in its own terms.
struct Command
{
    const char* name;
    size_t minOperands, maxOperands;
    unsigned options; // CommandOption bits
    int (*run)(const Invocation&, const Input&);    // on a CFG file
    int (*runXml)(const Invocation&, const Input&); // on an XML file; null: CFG files only
};

// diff and merge (Upgrade.cpp): one implementation over each format's document.
int DiffFiles(const Invocation& invocation, const Input& input);
int DiffXmlFiles(const Invocation& invocation, const Input& input);
int MergeFiles(const Invocation& invocation, const Input& input);
int MergeXmlFiles(const Invocation& invocation, const Input& input);

// Every command, in the order of --help: the one list of them.
const std::vector<Command>& AllCommands();

// The names of the commands that pass `test`, as a message lists them:
// "get, list and blocks".
std::string CommandNames(const std::function<bool(const Command&)>& test);

// One line on stderr naming the file, for a warning or a failure.
void Report(const std::string& file, const std::string& message);
// Reports a failure; returns the exit status to give.
int Fail(int status, const std::string& file, const std::string& message);

// After the output: kExitOk, or kExitFailure (reported) when stdout could not
// be written.
int Flushed(const std::string& file);

// What a command line asks for: a command of AllCommands(), or --help or
// --version, which take no command.
enum class Request { kCommand, kHelp, kVersion };

// One command line, taken apart.
struct Invocation
{
    Request request = Request::kCommand;
    std::string command; // "get", "set", ...: a name of AllCommands()
    std::vector<std::string> operands;
    ValueType type = ValueType::kString;
    ModeChoice mode = ModeChoice::kByPath;
    int verbosity = 0;       // -v 1, -vv 2
    unsigned options = 0;    // CommandOption bits given on the line (kOptionStdin: FILE is '-')
    bool strictName = false; // --strict-name
    unsigned waitSeconds = 10; // --wait
    size_t index = 0;          // --index, from 1

    bool Has(CommandOption option) const { return (options & option) != 0; }
};

// How an edit locks and saves its file: --wait, --force, --in-place.
zelconfig::ReplaceOptions SaveOptions(const Invocation& invocation);

// The library's reason a lock or a save failed, with the option that helps
// where one does.
std::string SaveFailure(const std::string& message);
// Reports a save that failed with the ReplaceStatus `status`: a file changed
// since it was read is named as the user gave it. kExitFailure.
int SaveFailed(int status, const std::string& file, const std::string& message);

// The name an option is given by ("--wait"); "" for none, as kByPath is.
const char* OptionName(CommandOption option);
const char* OptionName(ModeChoice mode);

// False with a message on a usage error.
bool ParseCommandLine(int argc, const char* const* argv, Invocation& invocation, std::string& error);
// The same for the words after the program's name: the command's name and
// operands are moved out of `args` into `invocation`, the operands keeping
// its room.
bool ParseArguments(std::vector<std::string>& args, Invocation& invocation, std::string& error);

// Runs a parsed command: its output on stdout, its errors on stderr.
int RunInvocation(const Invocation& invocation);

// The text of --help.
extern const char kUsage[];

} // namespace zelcfg

#endif
