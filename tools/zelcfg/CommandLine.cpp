#include <algorithm>
#include <cctype>
#include <iterator>

#include "TypedValues.h"
#include "Zelcfg.h"

namespace zelcfg {

namespace {

// The options some commands refuse, with the names they are given by.
const struct
{
    CommandOption option;
    const char* name;
} kOptionNames[] = {
    {kOptionType, "--type"}, {kOptionStrict, "--strict"},       {kOptionNull, "--null"},
    {kOptionDiff, "--diff"}, {kOptionNormalise, "--normalise"}, {kOptionWait, "--wait"},
    {kOptionForce, "--force"}, {kOptionInPlace, "--in-place"}, {kOptionAttribute, "--attribute"},
    {kOptionAll, "--all"},     {kOptionIndex, "--index"},      {kOptionAdd, "--add"},
    {kOptionDryRun, "--dry-run"},
};

// The options that force a reading of FILE.
const struct
{
    ModeChoice mode;
    const char* name;
} kModeNames[] = {{ModeChoice::kBlock, "--block"},
                  {ModeChoice::kAnonymous, "--anonymous"},
                  {ModeChoice::kXml, "--xml"},
                  {ModeChoice::kIni, "--ini"}};

// The type --type names, by the same names TypeName gives them.
bool ParseType(std::string_view text, ValueType& type)
{
    for (ValueType known : {ValueType::kString, ValueType::kInt, ValueType::kFloat, ValueType::kDouble,
                            ValueType::kBool}) {
        if (text == TypeName(known)) {
            type = known;
            return true;
        }
    }
    return false;
}

// A number of seconds for --wait: digits only, at most a day.
bool ParseSeconds(std::string_view text, unsigned& seconds)
{
    if (text.empty() || text.size() > 5 || text.find_first_not_of("0123456789") != std::string_view::npos) {
        return false;
    }
    seconds = static_cast<unsigned>(std::stoul(std::string(text)));
    return seconds <= 86400;
}

// "-5" and "-.5" are values, not options; "-" alone is standard input.
bool IsOperand(std::string_view arg)
{
    return arg.size() < 2 || arg[0] != '-' || std::isdigit(static_cast<unsigned char>(arg[1])) || arg[1] == '.';
}

// Checks the operands and options against what the command takes.
bool CheckShape(const Command& command, Invocation& invocation, std::string& error)
{
    const size_t count = invocation.operands.size();
    if (count < command.minOperands || count > command.maxOperands) {
        std::string expected = std::to_string(command.minOperands);
        if (command.maxOperands != command.minOperands) {
            expected += " or " + std::to_string(command.maxOperands);
        }
        error = std::string(command.name) + " takes " + expected
                + (command.maxOperands == 1 ? " argument" : " arguments") + ", not " + std::to_string(count);
        return false;
    }
    for (const auto& known : kOptionNames) {
        if (invocation.Has(known.option) && (command.options & known.option) == 0) {
            const CommandOption option = known.option;
            error = std::string(known.name) + " goes with "
                    + CommandNames([option](const Command& other) { return (other.options & option) != 0; });
            return false;
        }
    }
    const unsigned which = invocation.options & (kOptionAll | kOptionIndex | kOptionAdd);
    if ((which & (which - 1)) != 0) {
        error = std::string(command.name == std::string("set") ? "--all, --index and --add" : "--all and --index")
                + " exclude each other";
        return false;
    }
    if (invocation.Has(kOptionStrict) && invocation.type == ValueType::kString) {
        error = "--strict needs --type int, float, double or bool";
        return false;
    }
    if (invocation.operands.front() == "-") {
        if ((command.options & kOptionStdin) == 0) {
            error = std::string(command.name) + " cannot edit standard input; a file named '-' is './-'";
            return false;
        }
        invocation.options |= kOptionStdin;
    }
    return true;
}

// The options that take a value, joined ("--wait=5") or the next word
// (args[++i]): false, with `error`, when it is missing or wrong or the
// option unknown.
bool ParseValueOption(std::string_view arg, const std::vector<std::string>& args, size_t& i, Invocation& invocation,
                      std::string& error)
{
    const size_t argc = args.size();
    if (arg == "--index" || arg.compare(0, 8, "--index=") == 0) {
        const bool joined = arg.size() > 7;
        const std::string text(joined ? arg.substr(8) : i + 1 < argc ? std::string_view(args[++i]) : "");
        if (text.empty() || text.size() > 9 || text.find_first_not_of("0123456789") != std::string::npos
            || std::stoul(text) == 0) {
            error = "--index needs a whole number from 1, the entry's place among the key's in file order";
            return false;
        }
        invocation.index = std::stoul(text);
        invocation.options |= kOptionIndex;
    } else if (arg == "--wait" || arg.compare(0, 7, "--wait=") == 0) {
        const bool joined = arg.size() > 6;
        const bool given = joined || i + 1 < argc;
        if (!given || !ParseSeconds(joined ? arg.substr(7) : std::string_view(args[++i]), invocation.waitSeconds)) {
            error = "--wait needs a whole number of seconds, at most 86400";
            return false;
        }
        invocation.options |= kOptionWait;
    } else if (arg == "--type" || arg.compare(0, 7, "--type=") == 0) {
        std::string name;
        if (arg.size() > 6) {
            name = std::string(arg.substr(7));
        } else if (i + 1 < argc) {
            name = args[++i];
        } else {
            error = "--type needs one of int, float, double, bool, string";
            return false;
        }
        if (!ParseType(name, invocation.type)) {
            error = "unknown type '" + name + "' (known: int, float, double, bool, string)";
            return false;
        }
        invocation.options |= kOptionType;
    } else {
        error = "unknown option '" + std::string(arg) + "'";
        return false;
    }
    return true;
}

// One option but the help, version and verbosity ones: false, with `error`,
// when it is unknown or wrong.
bool ParseOption(std::string_view arg, const std::vector<std::string>& args, size_t& i, Invocation& invocation,
                 std::string& error)
{
    for (const auto& known : kOptionNames) {
        const bool flag = (known.option & (kOptionType | kOptionWait | kOptionIndex)) == 0;
        if (flag && (arg == known.name || (arg == "-z" && known.option == kOptionNull))) {
            invocation.options |= known.option;
            return true;
        }
    }
    if (arg == "--strict-name") {
        invocation.strictName = true;
    } else if (const auto* known = std::find_if(std::begin(kModeNames), std::end(kModeNames),
                                                [&arg](const auto& named) { return arg == named.name; });
               known != std::end(kModeNames)) {
        const ModeChoice mode = known->mode;
        if (invocation.mode != ModeChoice::kByPath && invocation.mode != mode) {
            error = "--block, --anonymous, --xml and --ini exclude each other";
            return false;
        }
        invocation.mode = mode;
    } else {
        return ParseValueOption(arg, args, i, invocation, error);
    }
    return true;
}

} // namespace

const char* OptionName(CommandOption option)
{
    for (const auto& known : kOptionNames) {
        if (known.option == option) {
            return known.name;
        }
    }
    return "";
}

const char* OptionName(ModeChoice mode)
{
    for (const auto& known : kModeNames) {
        if (known.mode == mode) {
            return known.name;
        }
    }
    return "";
}

bool ParseCommandLine(int argc, const char* const* argv, Invocation& invocation, std::string& error)
{
    std::vector<std::string> args(argv + std::min(argc, 1), argv + argc);
    return ParseArguments(args, invocation, error);
}

bool ParseArguments(std::vector<std::string>& args, Invocation& invocation, std::string& error)
{
    size_t words = 0; // the command and operands met, moved to the front of args in turn
    bool optionsEnded = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string_view arg = args[i];
        if (optionsEnded || IsOperand(arg)) {
            if (words != i) {
                args[words] = std::move(args[i]);
            }
            ++words;
        } else if (arg == "--") {
            optionsEnded = true;
        } else if (arg == "-h" || arg == "--help") {
            invocation.request = Request::kHelp;
            return true;
        } else if (arg == "--version") {
            invocation.request = Request::kVersion;
            return true;
        } else if (arg == "-v" || arg == "-vv") {
            invocation.verbosity = std::min(2, invocation.verbosity + static_cast<int>(arg.size()) - 1);
        } else if (!ParseOption(arg, args, i, invocation, error)) {
            return false;
        }
    }
    if (words == 0) {
        error = "no command given";
        return false;
    }
    args.resize(words);
    invocation.command = std::move(args.front());
    args.erase(args.begin());
    invocation.operands = std::move(args);
    for (const Command& command : AllCommands()) {
        if (std::string_view(invocation.command) == command.name) {
            return CheckShape(command, invocation, error);
        }
    }
    error = "unknown command '" + invocation.command + "'";
    return false;
}

} // namespace zelcfg
