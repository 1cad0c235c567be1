// Default logging library for hosts: one line per call on stderr. An embedded
// target links its platform's own library instead.
#include <cstdarg>
#include <cstdio>
#include <vector>

#include "../ZelLog.h"

extern "C" {

// Operator-visible levels by default: refusals (8), errors (9), operator failures (31).
TovLogParams g_TovLogParams = {(1u << 8) | (1u << 9) | (1u << 31)};

void ZelLog(int line, int level, const char* function, const char* format, ...)
{
    char small[512];
    std::vector<char> large;
    const char* message = small;

    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(small, sizeof small, format, args);
    va_end(args);
    if (length >= static_cast<int>(sizeof small)) {
        // Long messages are rare: format again into a buffer of the exact size.
        large.resize(static_cast<size_t>(length) + 1);
        std::vsnprintf(large.data(), large.size(), format, again);
        message = large.data();
    } else if (length < 0) {
        message = format;
    }
    va_end(again);

    // One fprintf per call, so that lines from several threads never interleave.
    std::fprintf(stderr, "ZelConfig[%d] %s:%d: %s\n", level, function ? function : "?", line,
                 message);
}

} // extern "C"
