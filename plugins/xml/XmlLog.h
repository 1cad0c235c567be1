#ifndef ZELCONFIG_PLUGINS_XML_XMLLOG_H
#define ZELCONFIG_PLUGINS_XML_XMLLOG_H

// The platform's logging interface, declared here as any plug-in declares
// it: the application (or its platform library) defines both symbols, and the
// plug-in logs into the same place as the library that loads it.
extern "C" {
struct TovLogParams { unsigned int uiEnableMask; };
extern TovLogParams g_TovLogParams;
void ZelLog(int line, int level, const char* function, const char* format, ...)
#if defined(__GNUC__) || defined(__clang__)
    __attribute__((format(printf, 4, 5)))
#endif
    ;
}

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
