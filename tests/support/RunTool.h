#ifndef ZELCONFIG_TESTS_RUNTOOL_H
#define ZELCONFIG_TESTS_RUNTOOL_H

#include <string>
#include <vector>

// What a program run by a test printed and returned.
struct ToolResult
{
    int status; // exit status; 128 + signal number when killed
    std::string out, err;
};

// Runs `args` (the program first) through /bin/sh in `dir`, each argument
// quoted; `shellPrefix` goes in front unquoted, e.g. "ulimit -f 1; ", and
// `shellSuffix` behind, e.g. "<in" or "| xargs -0 printf '<%s>'".
ToolResult RunTool(const std::string& dir, const std::vector<std::string>& args,
                   const std::string& shellPrefix = "", const std::string& shellSuffix = "");

// A prefix for RunTool that runs the program as user 65534 with group 4
// among its groups, in `dir`; "" when this process cannot (not root, or the
// program out of that user's reach).
std::string AsGroupMember(const std::string& dir, const std::string& program);

#endif
