#include <algorithm>
#include <cctype>
#include <cstring>

#include "Zelcfg.h"

namespace zelcfg {

const char kUsage[] =
    "Usage: zelcfg [OPTION]... COMMAND FILE [ARGUMENT]...\n"
    "Read, change and check a configuration file from the shell.\n"
    "\n"
    "Commands:\n"
    "  get FILE KEY         print the value of KEY (several entries: one line each)\n"
    "  set FILE KEY VALUE   give every entry KEY the value VALUE; when there is none,\n"
    "                       add it at the end of its block, creating the block\n"
    "                       (and the file)\n"
    "  unset FILE KEY       remove every entry KEY, with its comment lines\n"
    "  remove-block FILE BLOCK  remove the block, every header of that name\n"
    "  list FILE            print every entry as BLOCK.ENTRY=VALUE, in saved order\n"
    "  blocks FILE          print the block names, in saved order\n"
    "  format FILE          print the file in the library's normalised form\n"
    "  lint FILE            report what reading or saving the file drops or changes\n"
    "\n"
    "KEY is BLOCK.ENTRY, split at the first '.'. In anonymous mode a KEY without\n"
    "'.' names an entry of the block \"anonymous\".\n"
    "\n"
    "Options:\n"
    "  --type TYPE    int, float, double, bool or string (the default): get\n"
    "                 converts the value as the library's typed getters do; set\n"
    "                 checks VALUE and writes it as the library's setters do\n"
    "  --block        read FILE in block mode, whatever its name\n"
    "  --anonymous    read FILE in anonymous mode, whatever its name\n"
    "  --normalise    set, unset, remove-block: write the whole file in the\n"
    "                 library's normalised form (as format prints it)\n"
    "  -v, -vv        show the library's errors (-v) and its traces too (-vv)\n"
    "  -h, --help     show this help\n"
    "  --version      show the version\n"
    "  --             end of options (for values that begin with '-')\n"
    "\n"
    "Without --block or --anonymous the name decides, as in the library: a name\n"
    "containing \".cfg\" is read in block mode, \".inf\" or \".cksum\" in anonymous\n"
    "mode, \".xml\" through the XML plug-in (get, set of existing keys, list).\n"
    "\n"
    "Edits change only the lines they must and keep every other byte. They\n"
    "save atomically: the new file is written beside the old one,\n"
    "flushed to disk and renamed over it, under a lock that makes concurrent\n"
    "edits take turns. Symbolic links are followed, and the file keeps its\n"
    "permission bits. On any failure the file is left as it was.\n"
    "\n"
    "Exit status: 0 success; 1 no such key or block (get, unset, remove-block) or\n"
    "findings (lint); 2 usage error, a file that cannot be read, parsed or saved,\n"
    "or an edit refused because the file holds the key where the library does\n"
    "not see it; 3 get --type: the value is out of range or not a boolean.\n";

namespace {

struct CommandShape
{
    const char* name;
    size_t operands; // FILE included
};

const CommandShape kCommands[] = {
    {"get", 2},    {"set", 3},    {"unset", 2}, {"remove-block", 2},
    {"list", 1},   {"blocks", 1}, {"format", 1}, {"lint", 1},
};

bool ParseType(const std::string& text, ValueType& type)
{
    static const struct { const char* name; ValueType type; } kTypes[] = {
        {"string", ValueType::kString}, {"int", ValueType::kInt},   {"float", ValueType::kFloat},
        {"double", ValueType::kDouble}, {"bool", ValueType::kBool},
    };
    for (const auto& known : kTypes) {
        if (text == known.name) {
            type = known.type;
            return true;
        }
    }
    return false;
}

// "-5" and "-.5" are values, not options.
bool LooksNumeric(const char* arg)
{
    return arg[0] == '-' && (std::isdigit(static_cast<unsigned char>(arg[1])) || arg[1] == '.');
}

} // namespace

bool ParseCommandLine(int argc, const char* const* argv, Invocation& invocation, std::string& error)
{
    std::vector<std::string> words;
    bool optionsEnded = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (optionsEnded || arg.size() < 2 || arg[0] != '-' || LooksNumeric(argv[i])) {
            words.push_back(arg);
        } else if (arg == "--") {
            optionsEnded = true;
        } else if (arg == "-h" || arg == "--help") {
            invocation.command = "help";
            return true;
        } else if (arg == "--version") {
            invocation.command = "version";
            return true;
        } else if (arg == "-v" || arg == "-vv") {
            invocation.verbosity = std::min(2, invocation.verbosity + static_cast<int>(arg.size()) - 1);
        } else if (arg == "--normalise") {
            invocation.normalise = true;
        } else if (arg == "--block" || arg == "--anonymous") {
            invocation.mode = arg == "--block" ? ModeChoice::kBlock : ModeChoice::kAnonymous;
        } else if (arg == "--type" || arg.compare(0, 7, "--type=") == 0) {
            std::string name;
            if (arg.size() > 6) {
                name = arg.substr(7);
            } else if (i + 1 < argc) {
                name = argv[++i];
            } else {
                error = "--type needs one of int, float, double, bool, string";
                return false;
            }
            if (!ParseType(name, invocation.type)) {
                error = "unknown type '" + name + "' (known: int, float, double, bool, string)";
                return false;
            }
        } else {
            error = "unknown option '" + arg + "'";
            return false;
        }
    }
    if (words.empty()) {
        error = "no command given";
        return false;
    }
    invocation.command = words.front();
    invocation.operands.assign(words.begin() + 1, words.end());
    if (invocation.normalise && invocation.command != "set" && invocation.command != "unset"
        && invocation.command != "remove-block") {
        error = "--normalise goes with set, unset and remove-block";
        return false;
    }
    for (const CommandShape& shape : kCommands) {
        if (invocation.command == shape.name) {
            if (invocation.operands.size() != shape.operands) {
                error = invocation.command + " takes " + std::to_string(shape.operands)
                        + (shape.operands == 1 ? " argument" : " arguments") + ", not "
                        + std::to_string(invocation.operands.size());
                return false;
            }
            return true;
        }
    }
    error = "unknown command '" + invocation.command + "'";
    return false;
}

} // namespace zelcfg
