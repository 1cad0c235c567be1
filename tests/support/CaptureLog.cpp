#include "CaptureLog.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

#include "platform/ZelLog.h"

namespace {

std::mutex g_mutex;
std::vector<LogEntry> g_entries;

} // namespace

extern "C" {

TovLogParams g_TovLogParams = {~0u};

void ZelLog(int line, int level, const char* function, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(nullptr, 0, format, args);
    va_end(args);
    std::string message(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    std::vsnprintf(&message[0], message.size() + 1, format, again);
    va_end(again);

    std::lock_guard<std::mutex> lock(g_mutex);
    g_entries.push_back({line, level, function, message});
}

} // extern "C"

namespace capture_log {

void Reset(unsigned int mask)
{
    std::lock_guard<std::mutex> lock(g_mutex);
    g_entries.clear();
    g_TovLogParams.uiEnableMask = mask;
}

std::vector<LogEntry> Entries()
{
    std::lock_guard<std::mutex> lock(g_mutex);
    return g_entries;
}

} // namespace capture_log
