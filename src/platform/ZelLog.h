#ifndef ZELCONFIG_PLATFORM_ZELLOG_H
#define ZELCONFIG_PLATFORM_ZELLOG_H

#include <cerrno>

// The platform's logging library. The library calls ZelLog and reads
// g_TovLogParams but defines neither: the application links an implementation
// (on a host, the ZelLogDefault library; in the tests, a capturing one). The
// declarations are public, for applications that bring their own.
#include "ZelConfigLog.h"

#if defined(__GNUC__) || defined(__clang__)
// Same function, redeclared only so that the compiler checks our format strings.
extern "C" void ZelLog(int line, int level, const char* function, const char* format, ...)
    __attribute__((format(printf, 4, 5)));
#endif

namespace zelconfig {

// Log levels in use, one enable bit each in g_TovLogParams.uiEnableMask.
enum LogLevel : int
{
    kLogRefused = 8,   // refused operations (copying a CCFGParser)
    kLogError = 9,     // failures reported to the caller as a status
    kLogTrace = 11,    // "+" / "-" traces and constructor paths
    kLogParams = 29,   // parameter dumps
    kLogOperator = 31, // failures an operator must see
};

} // namespace zelconfig

// Every diagnostic goes through here: the call, and the formatting it implies,
// happen only when the level's bit is set, and leave errno as they found it,
// so that nothing else depends on whether a call was made.
#define ZEL_LOG(level, function, ...)                                            \
    do {                                                                         \
        if ((g_TovLogParams.uiEnableMask & (1u << static_cast<unsigned>(level))) \
            != 0u) {                                                             \
            const int zelLogErrno = errno;                                       \
            ZelLog(__LINE__, (level), (function), __VA_ARGS__);                  \
            errno = zelLogErrno;                                                 \
        }                                                                        \
    } while (0)

#endif
