#ifndef ZELCONFIG_TESTS_CAPTURELOG_H
#define ZELCONFIG_TESTS_CAPTURELOG_H

#include <string>
#include <vector>

// The tests' logging library: records every ZelLog call instead of printing it.
struct LogEntry
{
    int line;
    int level;
    std::string function;
    std::string message;
};

namespace capture_log {

// Forgets what was recorded and sets the enable mask (all levels by default).
void Reset(unsigned int mask = ~0u);
std::vector<LogEntry> Entries();

} // namespace capture_log

#endif
