// Default logging library for hosts: one line per call on stderr. An embedded
// target links its platform's own library instead.
//
// Quiet on a normal run. ZELCONFIG_LOG_MASK, read once at start-up, replaces
// the mask: decimal or 0x hexadecimal, bit (1 << level) enabling a level. A
// program that sets g_TovLogParams.uiEnableMask itself has the last word.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "ZelConfigLog.h"

namespace {

// Refusals (8) and failures an operator must see (31). Errors (9) are off:
// the caller gets each as a status already, and one of them comes with every
// normal destruction of a CZelConfigParser.
constexpr unsigned int kDefaultMask = (1u << 8) | (1u << 31);

// Digits only (no sign, blank or second prefix), at most 32 bits.
bool ParseMask(const char* text, unsigned int& mask)
{
    const bool hex = text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const unsigned long long base = hex ? 16 : 10;
    const char* digit = hex ? text + 2 : text;
    if (*digit == '\0') {
        return false;
    }
    unsigned long long value = 0;
    for (; *digit != '\0'; ++digit) {
        const char c = *digit;
        unsigned long long d = base; // not a digit in this base
        if (c >= '0' && c <= '9') {
            d = static_cast<unsigned long long>(c - '0');
        } else if (c >= 'a' && c <= 'f') {
            d = static_cast<unsigned long long>(c - 'a' + 10);
        } else if (c >= 'A' && c <= 'F') {
            d = static_cast<unsigned long long>(c - 'A' + 10);
        }
        if (d >= base) {
            return false;
        }
        value = value * base + d;
        if (value > 0xFFFFFFFFull) {
            return false;
        }
    }
    mask = static_cast<unsigned int>(value);
    return true;
}

} // namespace

extern "C" {

TovLogParams g_TovLogParams = {kDefaultMask};

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

namespace {

// Priority 101, the first open to programs: before the program's own static
// constructors, which may already use the library.
__attribute__((constructor(101))) void ReadMaskFromEnvironment()
{
    const char* text = std::getenv("ZELCONFIG_LOG_MASK");
    if (text == nullptr || text[0] == '\0') {
        return;
    }
    if (!ParseMask(text, g_TovLogParams.uiEnableMask)) {
        std::fprintf(stderr,
                     "ZelConfig: ZELCONFIG_LOG_MASK=%s is not a mask (decimal or 0x hexadecimal); "
                     "keeping 0x%x\n",
                     text, g_TovLogParams.uiEnableMask);
    }
}

} // namespace
