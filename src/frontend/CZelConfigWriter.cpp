#include "CZelConfigWriter.h"

#include <new>

#include "IConfigWriter.h"
#include "frontend/Backend.h"
#include "frontend/ConnectedBackends.h"
#include "frontend/ValueConversion.h"
#include "platform/ZelLog.h"

using namespace zelconfig;

std::atomic<void*> CZelConfigWriter::m_hZelXMLLibHandle{nullptr};

CZelConfigWriter::CZelConfigWriter() : m_pWriter(nullptr) {}

// Both path constructors delegate, so that the destructor frees the back end
// when what follows throws.
CZelConfigWriter::CZelConfigWriter(const std::string& strPath, unsigned int /*uiMode*/)
    : CZelConfigWriter()
{
    ZEL_LOG(kLogTrace, "CZelConfigWriter", "File Path %s", strPath.c_str());
    Create(strPath);
}

CZelConfigWriter::CZelConfigWriter(const std::string& strPath) : CZelConfigWriter()
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

namespace {

// Makes the back end the path selects: for Create without reading the file
// (the plug-in's factory without a path), for Parse with it. NULL when there
// is none to make.
IConfigWriter* CreateWriter(const std::string& path, bool create, std::atomic<void*>& xmlLibrary)
{
    const char* function = create ? "Create" : "Parse";
    switch (ChooseBackend(path.c_str(), BackendUse::kWrite)) {
    case Backend::kCfgBlock:
        return new (std::nothrow) ConnectedCFGWriter();
    case Backend::kXml:
        if (create) {
            void* factory = LoadPluginFactory(xmlLibrary, PluginFactory::kWriterNoParam, function);
            return factory != nullptr ? reinterpret_cast<PFNGetCXMLWriterObjectNoParam>(factory)()
                                       : nullptr;
        }
        if (void* factory = LoadPluginFactory(xmlLibrary, PluginFactory::kWriter, function)) {
            return reinterpret_cast<PFNGetCXMLWriterObject>(factory)(path.c_str());
        }
        return nullptr;
    case Backend::kCfgAnonymous: // not chosen for writers
    case Backend::kNone:
        break;
    }
    ZEL_LOG(kLogError, function, "Neither XML nor CFG");
    return nullptr;
}

// What Create and Parse share; create picks the factory and the call.
int Bind(IConfigWriter*& writer, std::atomic<void*>& xmlLibrary, const std::string& path, bool create)
{
    delete writer;
    writer = nullptr;
    writer = CreateWriter(path, create, xmlLibrary);
    if (writer == nullptr) {
        return kStatusInvalid;
    }
    // The back end stays bound even when this fails.
    return create ? writer->SetPath(path) : writer->ParseFile(path);
}

} // namespace

int CZelConfigWriter::Create(const std::string& strPath)
{
    return Bind(m_pWriter, m_hZelXMLLibHandle, strPath, true);
}

int CZelConfigWriter::Parse(const std::string& strPath)
{
    return Bind(m_pWriter, m_hZelXMLLibHandle, strPath, false);
}

namespace {

// What every setter and Save answer without a back end.
int NoWriter(const char* function)
{
    ZEL_LOG(kLogError, function, "Config Writer (m_pWriter) is NULL");
    return kStatusInvalid;
}

} // namespace

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
        return kStatusNotBool;
    }
    return m_pWriter->SetValue(strKey, FormatBool(uiValue == 1));
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
