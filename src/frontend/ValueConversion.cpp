#include "ValueConversion.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <strings.h>

#include "platform/ZelLog.h"

namespace zelconfig {

std::string TrimLineEnds(const std::string& strRaw)
{
    std::string::size_type length = strRaw.size();
    while (length > 0 && (strRaw[length - 1] == '\r' || strRaw[length - 1] == '\n')) {
        --length;
    }
    return strRaw.substr(0, length);
}

// strtoul with the range of a 32-bit unsigned long, as on the ARM targets, so
// that a host with 64-bit longs gives the same values and overflows. strtoul
// reads a sign and a magnitude and negates the magnitude for "-"; it reports
// ERANGE (all ones) exactly when the magnitude does not fit, whatever the sign.
static unsigned int StrToU32(const char* pszText, int iBase)
{
    const unsigned long ulValue = std::strtoul(pszText, nullptr, iBase);
#if ULONG_MAX > UINT_MAX
    if (errno == 0) {
        const char* p = pszText;
        while (std::isspace(static_cast<unsigned char>(*p))) {
            ++p;
        }
        const bool bNegative = *p == '-';
        const unsigned long ulMagnitude = bNegative ? 0ul - ulValue : ulValue;
        if (ulMagnitude > UINT_MAX) {
            errno = ERANGE;
            return UINT_MAX;
        }
        const unsigned int uiMagnitude = static_cast<unsigned int>(ulMagnitude);
        return bNegative ? 0u - uiMagnitude : uiMagnitude;
    }
#endif
    return static_cast<unsigned int>(ulValue); // ULONG_MAX after ERANGE becomes UINT_MAX
}

int ConvertInt(const std::string& strRaw, int& iValue)
{
    errno = 0;
    // "0x1A" and "0X1a" are hexadecimal; there is no octal, so "010" is ten.
    const bool bHex = strRaw.size() >= 3 && strRaw[0] == '0'
                      && std::toupper(static_cast<unsigned char>(strRaw[1])) == 'X';
    // Wrap-around into int is meant: "0xffffffff" and "-1" both give -1.
    iValue = static_cast<int>(StrToU32(strRaw.c_str(), bHex ? 16 : 10));
    const int iError = errno;
    if (iError != 0) {
        ZEL_LOG(kLogError, "GetInt", "Error converting string %s to int, errno=%d", strRaw.c_str(),
                iError);
        return 1;
    }
    return 0;
}

int ConvertFloat(const std::string& strRaw, float& fValue)
{
    errno = 0;
    fValue = std::strtof(strRaw.c_str(), nullptr);
    const int iError = errno;
    if (iError != 0) {
        ZEL_LOG(kLogError, "GetFloat", "Error converting string %s to float, errno=%d",
                strRaw.c_str(), iError);
        return 1;
    }
    return 0;
}

int ConvertDouble(const std::string& strRaw, double& dValue)
{
    errno = 0;
    dValue = std::strtod(strRaw.c_str(), nullptr);
    const int iError = errno;
    if (iError != 0) {
        ZEL_LOG(kLogError, "GetDouble", "Error converting string %s to double, errno=%d",
                strRaw.c_str(), iError);
        return 1;
    }
    return 0;
}

// "true" and "false" in any case; anything else leaves uiValue alone, which
// the one-argument GetBool, starting from 0, reads as false.
int ConvertBool(const std::string& strRaw, unsigned int& uiValue)
{
    const std::string strText = TrimLineEnds(strRaw);
    if (strcasecmp(strText.c_str(), "true") == 0) {
        uiValue = 1;
    } else if (strcasecmp(strText.c_str(), "false") == 0) {
        uiValue = 0;
    } else {
        return -1;
    }
    return 0;
}

int ConvertString(const std::string& strRaw, std::string& strValue)
{
    strValue = TrimLineEnds(strRaw);
    return 0;
}

} // namespace zelconfig
