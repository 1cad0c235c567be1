#ifndef ZELCONFIG_PLUGINS_XML_XMLLOG_H
#define ZELCONFIG_PLUGINS_XML_XMLLOG_H

// The plug-in logs as the library does: through the platform's ZelLog, gated
// by g_TovLogParams, both declared by the library's public ZelConfigLog.h and
// defined by the application (or its platform library).
// The levels and the macro repeat the library's own (src/platform/ZelLog.h),
// which is not installed: the plug-in also builds on its own against an
// installed ZelConfig, seeing the public headers only.
#include "ZelConfigLog.h"

#if defined(__GNUC__) || defined(__clang__)
// Redeclared only so that the compiler checks the format strings.
extern "C" void ZelLog(int line, int level, const char* function, const char* format, ...)
    __attribute__((format(printf, 4, 5)));
#endif

namespace zelconfig::xml {

// The library's levels: errors, traces, parameter dumps.
enum LogLevel : int
{
    kLogError = 9,
    kLogTrace = 11,
    kLogParams = 29,
};

} // namespace zelconfig::xml

// One call per diagnostic, made only when the level's bit is set.
#define XML_LOG(level, function, ...)                                            \
    do {                                                                         \
        if ((g_TovLogParams.uiEnableMask & (1u << static_cast<unsigned>(level))) \
            != 0u) {                                                             \
            ZelLog(__LINE__, (level), (function), __VA_ARGS__);                  \
        }                                                                        \
    } while (0)

#endif
