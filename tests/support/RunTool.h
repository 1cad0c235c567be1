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
// quoted; `shellPrefix` goes in front unquoted, e.g. "ulimit -f 1; ".
ToolResult RunTool(const std::string& dir, const std::vector<std::string>& args,
                   const std::string& shellPrefix = "");

#endif
