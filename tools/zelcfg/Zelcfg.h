#ifndef ZELCONFIG_TOOLS_ZELCFG_H
#define ZELCONFIG_TOOLS_ZELCFG_H

#include <cstddef>
#include <string>
#include <vector>

namespace zelcfg {

// Exit statuses, for shell scripts.
enum ExitStatus : int
{
    kExitOk = 0,
    kExitNotFound = 1,   // no such key; lint: findings
    kExitFailure = 2,    // usage, or a file that cannot be read, parsed or saved
    kExitConversion = 3, // get --type: the value is out of range, no boolean, or (--strict) not whole
};

enum class ValueType { kString, kInt, kFloat, kDouble, kBool };

// Which rules read the file: the path's, as the library's front end decides,
// or those the user forces.
enum class ModeChoice { kByPath, kBlock, kAnonymous };

// The options that only some commands take, as bits.
enum CommandOption : unsigned
{
    kOptionType = 1u << 0,      // --type
    kOptionStrict = 1u << 1,    // --strict
    kOptionNull = 1u << 2,      // -z, --null
    kOptionDiff = 1u << 3,      // --diff
    kOptionNormalise = 1u << 4, // --normalise
    kOptionStdin = 1u << 5,     // FILE may be '-'
};

struct Invocation;
struct Input; // the FILE operand and the back end that reads it

// One command: its name, how many operands it takes (FILE included), the
// options it takes, and what runs it.
struct Command
{
    const char* name;
    size_t minOperands, maxOperands;
    unsigned options; // CommandOption bits
    int (*run)(const Invocation&, const Input&);
};

// Every command, in the order of --help.
const std::vector<Command>& AllCommands();

// One command line, taken apart.
struct Invocation
{
    std::string command; // "get", "set", ..., "help" or "version"
    std::vector<std::string> operands;
    ValueType type = ValueType::kString;
    ModeChoice mode = ModeChoice::kByPath;
    int verbosity = 0;       // -v 1, -vv 2
    unsigned options = 0;    // CommandOption bits given on the line (kOptionStdin: FILE is '-')
    bool strictName = false; // --strict-name

    bool Has(CommandOption option) const { return (options & option) != 0; }
};

// False with a message on a usage error.
bool ParseCommandLine(int argc, const char* const* argv, Invocation& invocation, std::string& error);

// Runs a parsed command: its output on stdout, its errors on stderr.
int RunInvocation(const Invocation& invocation);

// The text of --help.
extern const char kUsage[];

} // namespace zelcfg

#endif
