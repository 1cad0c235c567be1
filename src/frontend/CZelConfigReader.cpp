#include "CZelConfigReader.h"

#include <new>

#include "IConfigReader.h"
#include "frontend/Backend.h"
#include "frontend/ConnectedBackends.h"
#include "frontend/ValueConversion.h"
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

namespace {

// Makes the back end the path selects; NULL when there is none to make.
IConfigReader* CreateReader(const std::string& path, std::atomic<void*>& xmlLibrary)
{
    switch (ChooseBackend(path.c_str(), BackendUse::kRead)) {
    case Backend::kCfgBlock:
        return new (std::nothrow) ConnectedCFGReader();
    case Backend::kCfgAnonymous:
        return new (std::nothrow) ConnectedCFGReader(1u);
    case Backend::kXml:
        if (void* factory = LoadPluginFactory(xmlLibrary, PluginFactory::kReader, "Parse")) {
            return reinterpret_cast<PFNGetCXMLReaderObject>(factory)(path.c_str());
        }
        return nullptr;
    case Backend::kNone:
        break;
    }
    ZEL_LOG(kLogError, "Parse", "Neither XML nor CFG");
    return nullptr;
}

} // namespace

int CZelConfigReader::Parse(const std::string& strPath)
{
    ZEL_LOG(kLogTrace, "Parse", "+");
    ZEL_LOG(kLogParams, "Parse", "File Path %s", strPath.c_str());

    // The old back end goes even when no new one can be made.
    delete m_pReader;
    m_pReader = nullptr;
    m_pReader = CreateReader(strPath, m_hZelXMLLibHandle);

    // A back end whose parse failed is kept: its answers are its business.
    const int result = m_pReader != nullptr ? m_pReader->ParseFile(strPath) : 22;
    ZEL_LOG(kLogTrace, "Parse", "-");
    return result;
}

void* CZelConfigReader::GetDataPtr()
{
    return m_pReader != nullptr ? m_pReader->GetDataPtr() : nullptr;
}

std::string CZelConfigReader::FormatValue(const std::string& strRaw)
{
    return TrimLineEnds(strRaw);
}

// --- The two shapes every getter takes.

namespace {

template <class T>
using Conversion = int (*)(const std::string&, T&);

// One-argument form: the converted value, T() when there is none or no back end.
template <class T>
T GetOne(IConfigReader* reader, const char* function, const std::string& key, Conversion<T> convert)
{
    T value{};
    if (reader == nullptr) {
        ZEL_LOG(kLogError, function, "Config Reader (m_pReader) is NULL");
        return value;
    }
    convert(reader->GetValue(key), value);
    return value;
}

// Two-argument form: a status; `value` changes only when there was a text.
template <class T>
int GetTwo(IConfigReader* reader, const char* function, const std::string& key, T& value, Conversion<T> convert)
{
    std::string raw;
    if (reader == nullptr) {
        ZEL_LOG(kLogError, function, "Config Reader (m_pReader) is NULL");
        return kStatusInvalid;
    }
    const int status = reader->GetValue(key, raw);
    if (status != 0) {
        return status;
    }
    return convert(raw, value);
}

} // namespace

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
