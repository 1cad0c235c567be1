// CCFGWriter: the CFG engine behind IConfigWriter, one file's model saved over it.
#include "CCFGWriter.h"

#include "CCFGParser.h"
#include "adaptors/ParseIntoNewParser.h"
#include "platform/FileIO.h"
#include "platform/ZelLog.h"

using namespace zelconfig;

CCFGWriter::CCFGWriter() : m_pCFGParser(nullptr)
{
    ZEL_LOG(kLogTrace, "CCFGWriter", "+");
}

CCFGWriter::CCFGWriter(const std::string& strPath) : m_strFilePath(strPath), m_pCFGParser(nullptr)
{
    ZEL_LOG(kLogTrace, "CCFGWriter", "File Path %s", strPath.c_str());
    m_pCFGParser = new CCFGParser(strPath);
    if (m_pCFGParser == nullptr) { // guard kept although the throwing new never yields NULL
        ZEL_LOG(kLogError, "CCFGWriter", "Memory allocation error for m_pCFGParser");
    }
}

// Shallow on purpose: the copy shares the parser (but not the path).
CCFGWriter::CCFGWriter(const CCFGWriter& other) : IConfigWriter(), m_pCFGParser(other.m_pCFGParser)
{
}

CCFGWriter& CCFGWriter::operator=(const CCFGWriter& other)
{
    // No self test: self-assignment frees the parser and leaves none.
    delete m_pCFGParser;
    m_pCFGParser = nullptr;
    m_pCFGParser = other.m_pCFGParser;
    return *this;
}

CCFGWriter::~CCFGWriter()
{
    delete m_pCFGParser;
    m_pCFGParser = nullptr;
}

int CCFGWriter::ParseFile(const std::string& strPath)
{
    m_strFilePath = strPath;
    // A parser held before is not freed: it may be a reader's, handed over.
    return ParseIntoNewParser(strPath, 0u, m_pCFGParser);
}

int CCFGWriter::SetValue(const std::string& strKey, std::string strValue)
{
    if (m_pCFGParser == nullptr || strKey.empty()) {
        return m_pCFGParser == nullptr ? kStatusNoData : kStatusEmptyKey;
    }
    return m_pCFGParser->CFGSetData(strKey, std::move(strValue));
}

int CCFGWriter::SaveData()
{
    if (m_pCFGParser == nullptr) {
        return kStatusInvalid;
    }
    // The writer rewrites existing files only; it never creates one.
    if (MayWrite(AT_FDCWD, m_strFilePath) != 0) {
        return kStatusNotFound;
    }
    return m_pCFGParser->CFGSaveData(m_strFilePath);
}

int CCFGWriter::SetPath(const std::string& strPath)
{
    if (strPath.empty()) {
        return kStatusEmptyPath;
    }
    m_strFilePath = strPath;
    return 0;
}

void CCFGWriter::SetDataPtr(void* pData)
{
    // The parser held before stays with whoever owns it.
    m_pCFGParser = static_cast<CCFGParser*>(pData);
    if (pData == nullptr) {
        ZEL_LOG(kLogError, "SetDataPtr", "Data Pointer not set in cfg writer");
    }
}
