#include "RunTool.h"

#include <cstdlib>
#include <sys/wait.h>
#include <unistd.h>

#include "TestFiles.h"

namespace {

// Single quotes keep every byte but the quote itself, which is spelled '\''.
std::string Quote(const std::string& arg)
{
    std::string quoted = "'";
    for (char c : arg) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

} // namespace

ToolResult RunTool(const std::string& dir, const std::vector<std::string>& args,
                   const std::string& shellPrefix, const std::string& shellSuffix)
{
    // The braces send the prefix's output, background jobs' included, to the capture too.
    std::string command = "cd " + Quote(dir) + " || exit 125; { " + shellPrefix;
    for (const std::string& arg : args) {
        command += Quote(arg) + " ";
    }
    TempDir capture;
    command += shellSuffix + "; } >" + Quote(capture.Path() + "/out") + " 2>" + Quote(capture.Path() + "/err");
    const int raw = std::system(command.c_str());
    ToolResult result;
    result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
    result.out = ReadFile(capture.Path() + "/out");
    result.err = ReadFile(capture.Path() + "/err");
    return result;
}

std::string AsGroupMember(const std::string& dir, const std::string& program)
{
    const std::string prefix = "setpriv --reuid=65534 --regid=65534 --groups=4 ";
    return ::geteuid() == 0 && RunTool(dir, {program, "--version"}, prefix).status == 0 ? prefix : "";
}
