// CCFGParser's construction, copy, assignment and destruction.
#include "CCFGParser.h"

#include "CFGBlockMap.h"
#include "platform/ZelLog.h"

using namespace zelconfig;

static_assert(sizeof(unsigned int) == 4, "m_uiAnonymousMode is a 32-bit field");

CCFGParser::CCFGParser() : m_uiAnonymousMode(0), m_pmCFGData(nullptr) {}

CCFGParser::CCFGParser(unsigned int uiAnonymousMode)
    : m_uiAnonymousMode(uiAnonymousMode), m_pmCFGData(nullptr)
{
}

CCFGParser::CCFGParser(const std::string& strPath) : CCFGParser(strPath, 0) {}

// Delegating, so that the destructor frees the model when the parse throws.
CCFGParser::CCFGParser(const std::string& strPath, unsigned int uiAnonymousMode)
    : CCFGParser(uiAnonymousMode)
{
    CFGParseFile(strPath);
}

CCFGParser::CCFGParser(const CCFGParser& /*other*/) : m_uiAnonymousMode(0), m_pmCFGData(nullptr)
{
    ZEL_LOG(kLogRefused, "CCFGParser", " Creating object using Copy constructor is not supported ");
}

CCFGParser& CCFGParser::operator=(const CCFGParser& /*other*/)
{
    ZEL_LOG(kLogRefused, "operator=", " Assignment of objects is Not supported ");
    // Assignment empties the target but leaves its map alone: m_pmCFGData is
    // public, so a caller may still hold the map or a block of it.
    m_uiAnonymousMode = 0;
    m_pmCFGData = nullptr;
    return *this;
}

CCFGParser::~CCFGParser()
{
    FreeBlockMap(m_pmCFGData);
    m_pmCFGData = nullptr;
}
