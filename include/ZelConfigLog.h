#ifndef ZELCONFIG_LOG_H
#define ZELCONFIG_LOG_H

// The logging interface that the library calls but does not define. On the
// target the platform's logging library provides both symbols; on a host,
// link ZelConfig::ZelLogDefault, or define them in the application with these
// declarations. The library reads g_TovLogParams.uiEnableMask before every
// call and calls ZelLog (source line, level, function name, printf-style
// format and its arguments) only when bit (1 << level) is set.
extern "C" {
// The platform's log parameters.
struct TovLogParams
{
    unsigned int uiEnableMask; // bit (1 << level) enables the messages of that level
};
// The one set of log parameters of the process.
extern TovLogParams g_TovLogParams;
// Logs one message: the caller's source line, the level, the caller's
// function name, then a printf format and its arguments.
void ZelLog(int line, int level, const char* function, const char* format, ...);
}

#endif
