#include "CZelConfigReader.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <new>
#include <strings.h>

#include "CCFGReader.h"
#include "IConfigReader.h"
#include "frontend/Backend.h"
#include "frontend/ConnectedBackends.h"
#include "platform/ZelLog.h"

using namespace zelconfig;

std::atomic<void*> CZelConfigReader::m_hZelXMLLibHandle{nullptr};

CZelConfigReader::CZelConfigReader() : m_pReader(nullptr) {}

// Delegating, so that the destructor frees the back end when the parse throws.
CZelConfigReader::CZelConfigReader(const std::string& strPath) : CZelConfigReader()
{
    ZEL_LOG(kLogTrace, "CZelConfigReader", "File Path %s", strPath.c_str());
    if (Parse(strPath) != 0) {
        ZEL_LOG(kLogOperator, "CZelConfigReader", "Error Parsing file %s", strPath.c_str());
    }
}

CZelConfigReader::~CZelConfigReader()
{
    ZEL_LOG(kLogTrace, "~CZelConfigReader", "Destructor");
    delete m_pReader;
    m_pReader = nullptr;
}

// Makes the back end the path selects; NULL when there is none to make.
static IConfigReader* CreateReader(const std::string& strPath, std::atomic<void*>& xmlLibrary)
{
    switch (ChooseBackend(strPath.c_str(), BackendUse::kRead)) {
    case Backend::kCfgBlock:
        return new (std::nothrow) ConnectedCFGReader();
    case Backend::kCfgAnonymous:
        return new (std::nothrow) ConnectedCFGReader(1u);
    case Backend::kXml:
        if (void* pFactory = LoadPluginFactory(xmlLibrary, PluginFactory::kReader, "Parse")) {
            return reinterpret_cast<PFNGetCXMLReaderObject>(pFactory)(strPath.c_str());
        }
        return nullptr;
    case Backend::kNone:
        break;
    }
    ZEL_LOG(kLogError, "Parse", "Neither XML nor CFG");
    return nullptr;
}

int CZelConfigReader::Parse(const std::string& strPath)
{
    ZEL_LOG(kLogTrace, "Parse", "+");
    ZEL_LOG(kLogParams, "Parse", "File Path %s", strPath.c_str());

    // The old back end goes even when no new one can be made.
    delete m_pReader;
    m_pReader = nullptr;
    m_pReader = CreateReader(strPath, m_hZelXMLLibHandle);

    // A back end whose parse failed is kept: its answers are its business.
    const int iResult = m_pReader != nullptr ? m_pReader->ParseFile(strPath) : 22;
    ZEL_LOG(kLogTrace, "Parse", "-");
    return iResult;
}

int CZelConfigReader::ParseCFG(const std::string& strPath, unsigned int uiAnonymousMode)
{
    ZEL_LOG(kLogTrace, "ParseCFG", "+");
    ZEL_LOG(kLogParams, "ParseCFG", "File Path %s", strPath.c_str());

    delete m_pReader;
    m_pReader = nullptr;
    m_pReader = new (std::nothrow) CCFGReader(uiAnonymousMode);

    const int iResult = m_pReader != nullptr ? m_pReader->ParseFile(strPath) : 22;
    ZEL_LOG(kLogTrace, "ParseCFG", "-");
    return iResult;
}

void* CZelConfigReader::GetDataPtr()
{
    return m_pReader != nullptr ? m_pReader->GetDataPtr() : nullptr;
}

std::string CZelConfigReader::FormatValue(const std::string& strRaw)
{
    std::string::size_type length = strRaw.size();
    while (length > 0 && (strRaw[length - 1] == '\r' || strRaw[length - 1] == '\n')) {
        --length;
    }
    return strRaw.substr(0, length);
}

// --- Conversions. Each returns what a two-argument getter returns for it: 0,
// 1 when a number's conversion set errno (logged; the value is still stored),
// -1 for a boolean text that is neither "true" nor "false" (value untouched).

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

static int ConvertInt(const std::string& strRaw, int& iValue)
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

static int ConvertFloat(const std::string& strRaw, float& fValue)
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

static int ConvertDouble(const std::string& strRaw, double& dValue)
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
static int ConvertBool(const std::string& strRaw, unsigned int& uiValue)
{
    const std::string strText = CZelConfigReader::FormatValue(strRaw);
    if (strcasecmp(strText.c_str(), "true") == 0) {
        uiValue = 1;
    } else if (strcasecmp(strText.c_str(), "false") == 0) {
        uiValue = 0;
    } else {
        return -1;
    }
    return 0;
}

static int ConvertString(const std::string& strRaw, std::string& strValue)
{
    strValue = CZelConfigReader::FormatValue(strRaw);
    return 0;
}

// --- The two shapes every getter takes.

template <class T>
using Conversion = int (*)(const std::string&, T&);

// One-argument form: the converted value, T() when there is none or no back end.
template <class T>
static T GetOne(IConfigReader* pReader, const char* pszFunction, const std::string& strKey,
                Conversion<T> convert)
{
    T value{};
    if (pReader == nullptr) {
        ZEL_LOG(kLogError, pszFunction, "Config Reader (m_pReader) is NULL");
        return value;
    }
    convert(pReader->GetValue(strKey), value);
    return value;
}

// Two-argument form: a status; `value` changes only when there was a text.
template <class T>
static int GetTwo(IConfigReader* pReader, const char* pszFunction, const std::string& strKey,
                  T& value, Conversion<T> convert)
{
    std::string strRaw;
    if (pReader == nullptr) {
        ZEL_LOG(kLogError, pszFunction, "Config Reader (m_pReader) is NULL");
        return 22;
    }
    const int iStatus = pReader->GetValue(strKey, strRaw);
    if (iStatus != 0) {
        return iStatus;
    }
    return convert(strRaw, value);
}

int CZelConfigReader::GetInt(const std::string& strKey)
{
    return GetOne<int>(m_pReader, "GetInt", strKey, ConvertInt);
}

int CZelConfigReader::GetInt(const std::string& strKey, int& iValue)
{
    return GetTwo<int>(m_pReader, "GetInt", strKey, iValue, ConvertInt);
}

float CZelConfigReader::GetFloat(const std::string& strKey)
{
    return GetOne<float>(m_pReader, "GetFloat", strKey, ConvertFloat);
}

int CZelConfigReader::GetFloat(const std::string& strKey, float& fValue)
{
    return GetTwo<float>(m_pReader, "GetFloat", strKey, fValue, ConvertFloat);
}

double CZelConfigReader::GetDouble(const std::string& strKey)
{
    return GetOne<double>(m_pReader, "GetDouble", strKey, ConvertDouble);
}

int CZelConfigReader::GetDouble(const std::string& strKey, double& dValue)
{
    return GetTwo<double>(m_pReader, "GetDouble", strKey, dValue, ConvertDouble);
}

unsigned int CZelConfigReader::GetBool(const std::string& strKey)
{
    return GetOne<unsigned int>(m_pReader, "GetBool", strKey, ConvertBool);
}

int CZelConfigReader::GetBool(const std::string& strKey, unsigned int& uiValue)
{
    return GetTwo<unsigned int>(m_pReader, "GetBool", strKey, uiValue, ConvertBool);
}

std::string CZelConfigReader::GetString(const std::string& strKey)
{
    return GetOne<std::string>(m_pReader, "GetString", strKey, ConvertString);
}

int CZelConfigReader::GetString(const std::string& strKey, std::string& strValue)
{
    return GetTwo<std::string>(m_pReader, "GetString", strKey, strValue, ConvertString);
}
