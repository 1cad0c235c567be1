#include "CaptureLog.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <vector>

#include "platform/ZelLog.h"

namespace {
std::mutex g_mutex;
std::string g_text;
} // namespace

extern "C" {

TovLogParams g_TovLogParams = {~0u};

void ZelLog(int /*line*/, int level, const char* function, const char* format, ...)
{
    // Whole, however long: a message cut short would hide its end from the checks.
    va_list args, copy;
    va_start(args, format);
    va_copy(copy, args);
    const int length = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    std::vector<char> message(length > 0 ? static_cast<size_t>(length) + 1 : 1, '\0');
    std::vsnprintf(message.data(), message.size(), format, args);
    va_end(args);
    std::lock_guard<std::mutex> lock(g_mutex);
    if (g_text.size() < (size_t{1} << 20)) { // bounded, whatever a fuzz input makes the library say
        g_text += std::to_string(level) + " " + function + ": " + message.data() + "\n";
    }
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
