#ifndef ZELCONFIG_TESTS_CAPTURELOG_H
#define ZELCONFIG_TESTS_CAPTURELOG_H

#include <string>

// The tests' logging library: records every ZelLog call instead of printing it.
namespace capture_log {

// Forgets what was recorded and sets the enable mask (all levels by default).
void Reset(unsigned int mask = ~0u);
// What was recorded, one "level function: message" line per call.
std::string Text();

} // namespace capture_log

#endif
