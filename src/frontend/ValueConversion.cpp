#include "ValueConversion.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <strings.h>

#include "platform/ZelLog.h"

namespace zelconfig {

std::string TrimLineEnds(const std::string& raw)
{
    std::string::size_type length = raw.size();
    while (length > 0 && (raw[length - 1] == '\r' || raw[length - 1] == '\n')) {
        --length;
    }
    return raw.substr(0, length);
}

namespace {

// strtoul with the range of a 32-bit unsigned long, as on the ARM targets, so
// that a host with 64-bit longs gives the same values and overflows. strtoul
// reads a sign and a magnitude and negates the magnitude for "-"; it reports
// ERANGE (all ones) exactly when the magnitude does not fit, whatever the sign.
unsigned int StrToU32(const char* text, int base)
{
    const unsigned long value = std::strtoul(text, nullptr, base);
#if ULONG_MAX > UINT_MAX
    if (errno == 0) {
        const char* p = text;
        while (std::isspace(static_cast<unsigned char>(*p))) {
            ++p;
        }
        const bool negative = *p == '-';
        const unsigned long magnitude = negative ? 0ul - value : value;
        if (magnitude > UINT_MAX) {
            errno = ERANGE;
            return UINT_MAX;
        }
        const unsigned int narrow = static_cast<unsigned int>(magnitude);
        return negative ? 0u - narrow : narrow;
    }
#endif
    return static_cast<unsigned int>(value); // ULONG_MAX after ERANGE becomes UINT_MAX
}

} // namespace

bool IsHexInt(const std::string& text)
{
    return text.size() >= 3 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
}

int ConvertInt(const std::string& raw, int& value)
{
    errno = 0;
    // Wrap-around into int is meant: "0xffffffff" and "-1" both give -1.
    value = static_cast<int>(StrToU32(raw.c_str(), IsHexInt(raw) ? 16 : 10));
    const int error = errno;
    if (error != 0) {
        ZEL_LOG(kLogError, "GetInt", "Error converting string %s to int, errno=%d", raw.c_str(),
                error);
        return 1;
    }
    return 0;
}

int ConvertFloat(const std::string& raw, float& value)
{
    errno = 0;
    value = std::strtof(raw.c_str(), nullptr);
    const int error = errno;
    if (error != 0) {
        ZEL_LOG(kLogError, "GetFloat", "Error converting string %s to float, errno=%d",
                raw.c_str(), error);
        return 1;
    }
    return 0;
}

int ConvertDouble(const std::string& raw, double& value)
{
    errno = 0;
    value = std::strtod(raw.c_str(), nullptr);
    const int error = errno;
    if (error != 0) {
        ZEL_LOG(kLogError, "GetDouble", "Error converting string %s to double, errno=%d",
                raw.c_str(), error);
        return 1;
    }
    return 0;
}

// "true" and "false" in any case; anything else leaves value alone, which
// the one-argument GetBool, starting from 0, reads as false.
int ConvertBool(const std::string& raw, unsigned int& value)
{
    const std::string text = TrimLineEnds(raw);
    if (strcasecmp(text.c_str(), "true") == 0) {
        value = 1;
    } else if (strcasecmp(text.c_str(), "false") == 0) {
        value = 0;
    } else {
        return -1;
    }
    return 0;
}

int ConvertString(const std::string& raw, std::string& value)
{
    value = TrimLineEnds(raw);
    return 0;
}

const char* FormatBool(bool value)
{
    return value ? "TRUE" : "FALSE";
}

} // namespace zelconfig
