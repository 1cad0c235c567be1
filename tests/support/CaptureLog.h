#ifndef ZELCONFIG_TESTS_CAPTURELOG_H
#define ZELCONFIG_TESTS_CAPTURELOG_H

#include <string>

// The logging library of the tests and the fuzz harnesses: records every
// ZelLog call, whole, instead of printing it.
namespace capture_log {

// Forgets what was recorded and sets the enable mask (all levels by default).
void Reset(unsigned int mask = ~0u);
// What was recorded, one "level function: message" line per call.
std::string Text();

} // namespace capture_log

#endif
