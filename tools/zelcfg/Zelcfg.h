#ifndef ZELCONFIG_TOOLS_ZELCFG_H
#define ZELCONFIG_TOOLS_ZELCFG_H

#include <string>
#include <vector>

namespace zelcfg {

// Exit statuses, for shell scripts.
enum ExitStatus : int
{
    kExitOk = 0,
    kExitNotFound = 1,   // no such key; lint: findings
    kExitFailure = 2,    // usage, or a file that cannot be read, parsed or saved
    kExitConversion = 3, // get --type: the value is out of range or no boolean
};

enum class ValueType { kString, kInt, kFloat, kDouble, kBool };

// Which rules read the file: the path's, as the library's front end decides,
// or those the user forces.
enum class ModeChoice { kByPath, kBlock, kAnonymous };

// One command line, taken apart.
struct Invocation
{
    std::string command; // "get", "set", ..., "help" or "version"
    std::vector<std::string> operands;
    ValueType type = ValueType::kString;
    ModeChoice mode = ModeChoice::kByPath;
    int verbosity = 0; // -v 1, -vv 2
    bool normalise = false; // edits write the library's normalised form
};

// False with a message on a usage error.
bool ParseCommandLine(int argc, const char* const* argv, Invocation& invocation, std::string& error);

// Runs a parsed command: its output on stdout, its errors on stderr.
int RunInvocation(const Invocation& invocation);

// The text of --help.
extern const char kUsage[];

} // namespace zelcfg

#endif
