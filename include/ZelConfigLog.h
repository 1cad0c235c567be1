#ifndef ZELCONFIG_LOG_H
#define ZELCONFIG_LOG_H

#include <cerrno>

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
void ZelLog(int line, int level, const char* function, const char* format, ...)
#if defined(__GNUC__) || defined(__clang__)
    __attribute__((format(printf, 4, 5)))
#endif
    ;
}

namespace zelconfig {

// The levels the library and its XML plug-in log at, one enable bit each in
// g_TovLogParams.uiEnableMask.
enum LogLevel : int
{
    kLogRefused = 8,   // refused operations (copying a CCFGParser)
    kLogError = 9,     // failures reported to the caller as a status
    kLogTrace = 11,    // "+" / "-" traces and constructor paths
    kLogParams = 29,   // parameter dumps
    kLogOperator = 31, // failures an operator must see
};

} // namespace zelconfig

// How the library and its XML plug-in log: the call, and the formatting it
// implies, happen only when the level's bit is set, and leave errno as they
// found it, so that nothing else depends on whether a call was made.
#define ZELCONFIG_LOG(level, function, ...)                                      \
    do {                                                                         \
        if ((g_TovLogParams.uiEnableMask & (1u << static_cast<unsigned>(level))) \
            != 0u) {                                                             \
            const int zelLogErrno = errno;                                       \
            ZelLog(__LINE__, (level), (function), __VA_ARGS__);                  \
            errno = zelLogErrno;                                                 \
        }                                                                        \
    } while (0)

#endif
