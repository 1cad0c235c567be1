#include "CZelConfigWriter.h"

#include <new>
#include <sstream>

#include "CCFGWriter.h"
#include "IConfigWriter.h"
#include "frontend/Backend.h"
#include "platform/ZelLog.h"

using namespace zelconfig;

std::atomic<void*> CZelConfigWriter::m_hZelXMLLibHandle{nullptr};

CZelConfigWriter::CZelConfigWriter() : m_pWriter(nullptr) {}

CZelConfigWriter::CZelConfigWriter(const std::string& strPath, unsigned int /*uiMode*/)
    : m_pWriter(nullptr)
{
    ZEL_LOG(kLogTrace, "CZelConfigWriter", "File Path %s", strPath.c_str());
    Create(strPath);
}

CZelConfigWriter::CZelConfigWriter(const std::string& strPath) : m_pWriter(nullptr)
{
    ZEL_LOG(kLogTrace, "CZelConfigWriter", "File Path %s", strPath.c_str());
    Parse(strPath);
}

CZelConfigWriter::~CZelConfigWriter()
{
    ZEL_LOG(kLogTrace, "~CZelConfigWriter", "Destructor");
    delete m_pWriter;
    m_pWriter = nullptr;
}

int CZelConfigWriter::Create(const std::string& strPath)
{
    return Bind(strPath, true);
}

int CZelConfigWriter::Parse(const std::string& strPath)
{
    return Bind(strPath, false);
}

// Makes the XML plug-in's writer: without a path for a file to create, with
// one for a file to parse. NULL when the plug-in cannot make one.
static IConfigWriter* CreateXmlWriter(const std::string& strPath, bool bCreate,
                                      std::atomic<void*>& xmlLibrary)
{
    const char* pszFunction = bCreate ? "Create" : "Parse";
    void* pFactory = LoadPluginFactory(
        xmlLibrary, bCreate ? PluginFactory::kWriterNoParam : PluginFactory::kWriter, pszFunction);
    if (pFactory == nullptr) {
        return nullptr;
    }
    if (bCreate) {
        return reinterpret_cast<PFNGetCXMLWriterObjectNoParam>(pFactory)();
    }
    return reinterpret_cast<PFNGetCXMLWriterObject>(pFactory)(strPath.c_str());
}

int CZelConfigWriter::Bind(const std::string& strPath, bool bCreate)
{
    delete m_pWriter;
    m_pWriter = nullptr;

    switch (ChooseBackend(strPath.c_str(), BackendUse::kWrite)) {
    case Backend::kCfgBlock:
        m_pWriter = new (std::nothrow) CCFGWriter();
        break;
    case Backend::kXml:
        m_pWriter = CreateXmlWriter(strPath, bCreate, m_hZelXMLLibHandle);
        break;
    case Backend::kCfgAnonymous: // not chosen for writers
    case Backend::kNone:
        ZEL_LOG(kLogError, bCreate ? "Create" : "Parse", "Neither XML nor CFG");
        break;
    }
    if (m_pWriter == nullptr) {
        return 22;
    }
    // The back end stays bound even when this fails.
    return bCreate ? m_pWriter->SetPath(strPath) : m_pWriter->ParseFile(strPath);
}

// What every setter and Save answer without a back end.
static int NoWriter(const char* pszFunction)
{
    ZEL_LOG(kLogError, pszFunction, "Config Writer (m_pWriter) is NULL");
    return 22;
}

// A number as a fresh, default-formatted stream writes it: the global
// locale's decimal point and grouping, %g with 6 digits for floating point.
template <class T>
static std::string FormatNumber(T value)
{
    std::stringstream stream;
    stream << value;
    return stream.str();
}

int CZelConfigWriter::Set(const std::string& strKey, const std::string& strValue)
{
    return m_pWriter != nullptr ? m_pWriter->SetValue(strKey, strValue) : NoWriter("Set");
}

int CZelConfigWriter::Set(const std::string& strKey, int iValue)
{
    return m_pWriter != nullptr ? m_pWriter->SetValue(strKey, FormatNumber(iValue))
                                : NoWriter("Set");
}

int CZelConfigWriter::Set(const std::string& strKey, float fValue)
{
    return m_pWriter != nullptr ? m_pWriter->SetValue(strKey, FormatNumber(static_cast<double>(fValue)))
                                : NoWriter("Set");
}

int CZelConfigWriter::Set(const std::string& strKey, double dValue)
{
    return m_pWriter != nullptr ? m_pWriter->SetValue(strKey, FormatNumber(dValue))
                                : NoWriter("Set");
}

int CZelConfigWriter::SetBool(const std::string& strKey, unsigned int uiValue)
{
    if (m_pWriter == nullptr) {
        return NoWriter("SetBool");
    }
    if (uiValue > 1) {
        ZEL_LOG(kLogError, "SetBool", "received bool value is not proper:: %d",
                static_cast<int>(uiValue));
        return 7;
    }
    return m_pWriter->SetValue(strKey, uiValue == 1 ? "TRUE" : "FALSE");
}

int CZelConfigWriter::Save()
{
    return m_pWriter != nullptr ? m_pWriter->SaveData() : NoWriter("Save");
}

void CZelConfigWriter::SetDataPtr(void* pData)
{
    if (m_pWriter == nullptr) {
        ZEL_LOG(kLogError, "SetDataPtr", "m_pWriter is NULL");
        return;
    }
    m_pWriter->SetDataPtr(pData);
}
