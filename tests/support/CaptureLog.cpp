#include "CaptureLog.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <mutex>

#include "platform/ZelLog.h"

namespace {
std::mutex g_mutex;
std::string g_text;
} // namespace

extern "C" {

TovLogParams g_TovLogParams = {~0u};

void ZelLog(int /*line*/, int level, const char* function, const char* format, ...)
{
    char message[4096];
    va_list args;
    va_start(args, format);
    std::vsnprintf(message, sizeof message, format, args);
    va_end(args);
    std::lock_guard<std::mutex> lock(g_mutex);
    g_text += std::to_string(level) + " " + function + ": " + message + "\n";
    // A platform's logger may well change errno; the library must not let it show.
    errno = EILSEQ;
}

} // extern "C"

void capture_log::Reset(unsigned int mask)
{
    std::lock_guard<std::mutex> lock(g_mutex);
    g_text.clear();
    g_TovLogParams.uiEnableMask = mask;
}

std::string capture_log::Text()
{
    std::lock_guard<std::mutex> lock(g_mutex);
    return g_text;
}
