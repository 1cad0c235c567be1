#include "CCFGReader.h"


#include "CCFGParser.h"
#include "adaptors/ParseIntoNewParser.h"
#include "platform/ZelLog.h"

using namespace zelconfig;

CCFGReader::CCFGReader() : m_pCFGParser(nullptr), m_uiAnonymousMode(0) {}

CCFGReader::CCFGReader(unsigned int uiAnonymousMode)
    : m_pCFGParser(nullptr), m_uiAnonymousMode(uiAnonymousMode)
{
}

CCFGReader::CCFGReader(const std::string& strPath)
    : m_strFilePath(strPath), m_pCFGParser(nullptr), m_uiAnonymousMode(0)
{
    ZEL_LOG(kLogTrace, "CCFGReader", "File Path %s", strPath.c_str());
    m_pCFGParser = new CCFGParser(strPath);
    if (m_pCFGParser == nullptr) { // guard kept although the throwing new never yields NULL
        ZEL_LOG(kLogError, "CCFGReader", "Memory allocation error for m_pCFGParser");
    }
}

CCFGReader::CCFGReader(const std::string& strPath, unsigned int uiAnonymousMode)
    : m_strFilePath(strPath), m_pCFGParser(nullptr), m_uiAnonymousMode(uiAnonymousMode)
{
    ZEL_LOG(kLogTrace, "CCFGReader", "File Path %s", strPath.c_str());
    m_pCFGParser = new CCFGParser(strPath, uiAnonymousMode);
    if (m_pCFGParser == nullptr) {
        ZEL_LOG(kLogError, "CCFGReader", "Memory allocation error for m_pCFGParser");
    }
}

// Shallow on purpose: the copy shares the parser (but not the path).
CCFGReader::CCFGReader(const CCFGReader& other)
    : IConfigReader(), m_pCFGParser(other.m_pCFGParser), m_uiAnonymousMode(other.m_uiAnonymousMode)
{
}

CCFGReader& CCFGReader::operator=(const CCFGReader& other)
{
    // No self test: self-assignment frees the parser and leaves none.
    delete m_pCFGParser;
    m_pCFGParser = nullptr;
    m_pCFGParser = other.m_pCFGParser;
    m_uiAnonymousMode = other.m_uiAnonymousMode;
    return *this;
}

CCFGReader::~CCFGReader()
{
    delete m_pCFGParser;
    m_pCFGParser = nullptr;
}

int CCFGReader::ParseFile(const std::string& strPath)
{
    m_strFilePath = strPath;
    // A parser held before is not freed: the front end parses once per reader.
    return ParseIntoNewParser(strPath, m_uiAnonymousMode, m_pCFGParser);
}

std::string CCFGReader::GetValue(const std::string& strKey)
{
    if (m_pCFGParser == nullptr || strKey.empty()) {
        return std::string();
    }
    return m_pCFGParser->CFGGetData(strKey);
}

int CCFGReader::GetValue(const std::string& strKey, std::string& strValue)
{
    ZEL_LOG(kLogTrace, "GetValue", "+");
    int result;
    if (m_pCFGParser == nullptr) {
        ZEL_LOG(kLogError, "GetValue", "Parser object(m_pCFGParser) is NULL");
        result = kStatusInvalid;
    } else if (strKey.empty()) {
        ZEL_LOG(kLogError, "GetValue", "Invalid Key");
        result = kStatusEmptyKey;
    } else {
        result = m_pCFGParser->CFGGetData(strKey, strValue);
    }
    ZEL_LOG(kLogTrace, "GetValue", "-");
    return result;
}

void* CCFGReader::GetDataPtr()
{
    return m_pCFGParser;
}
