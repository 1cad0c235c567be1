// libZel_XMLConfigParser.so: the XML back end the front ends load for paths
// holding ".xml". Its reader and writer answer with the same statuses as the
// library's CFG adaptors, so an application sees one set of codes.
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <unistd.h>
#include <unordered_map>

#include "IConfigReader.h"
#include "IConfigWriter.h"
#include "XmlDocument.h"
#include "XmlLog.h"

using zelconfig::xml::XmlDocument;
using zelconfig::xml::XmlError;
using namespace zelconfig::xml;

namespace {

using Document = std::shared_ptr<XmlDocument>;

// The documents this plug-in's readers have handed out through GetDataPtr. A
// writer takes only those, and shares them: a pointer from another back end
// (a CZelConfigParser on "a.xml.inf" reads through the CFG engine but writes
// through this plug-in) is refused, and a document lives until both its
// reader and every writer given it let go, in whichever order.
std::mutex g_lentMutex;

// Never destroyed: a reader held by an application's static object may let
// its document go after this library's own statics are gone, at exit.
std::unordered_map<const void*, std::weak_ptr<XmlDocument>>& Lent()
{
    static auto* lent = new std::unordered_map<const void*, std::weak_ptr<XmlDocument>>;
    return *lent;
}

void* Lend(const Document& document)
{
    std::lock_guard<std::mutex> lock(g_lentMutex);
    Lent()[document.get()] = document;
    return document.get();
}

void Unlend(const Document& document)
{
    if (document) {
        std::lock_guard<std::mutex> lock(g_lentMutex);
        Lent().erase(document.get());
    }
}

Document Borrow(void* pData)
{
    std::lock_guard<std::mutex> lock(g_lentMutex);
    const auto lent = Lent().find(pData);
    return lent != Lent().end() ? lent->second.lock() : Document();
}

// A new document loaded from strPath, or null with the failure logged and
// its status in iStatus.
Document Load(const std::string& strPath, int& iStatus)
{
    XML_LOG(kLogTrace, "ParseFile", "+");
    XML_LOG(kLogParams, "ParseFile", "File Path %s", strPath.c_str());
    Document doc(new (std::nothrow) XmlDocument);
    XmlError error;
    iStatus = doc ? doc->LoadFile(strPath, error) : 22;
    switch (iStatus) {
    case 0:
        break;
    case -2:
        XML_LOG(kLogError, "ParseFile", "Error Opening File: %s", error.description.c_str());
        break;
    case -1:
        XML_LOG(kLogError, "ParseFile", "XML error at byte %zu: %s", error.offset, error.description.c_str());
        break;
    default:
        XML_LOG(kLogError, "ParseFile", "Memory allocation error for the XML document");
        break;
    }
    if (iStatus != 0) {
        doc.reset();
    }
    XML_LOG(kLogTrace, "ParseFile", "-");
    return doc;
}

class CXMLReader : public IConfigReader
{
public:
    explicit CXMLReader(const char* pszPath) : m_strFilePath(pszPath != nullptr ? pszPath : "") {}
    ~CXMLReader() override { Unlend(m_pDocument); }

    int ParseFile(const std::string& strPath) override
    {
        m_strFilePath = strPath;
        Unlend(m_pDocument);
        int iStatus;
        m_pDocument = Load(strPath, iStatus);
        return iStatus;
    }

    std::string GetValue(const std::string& strKey) override
    {
        std::string value;
        if (m_pDocument && !strKey.empty()) {
            m_pDocument->Find(strKey, value);
        }
        return value;
    }

    int GetValue(const std::string& strKey, std::string& strValue) override
    {
        XML_LOG(kLogTrace, "GetValue", "+");
        int iResult;
        if (!m_pDocument) {
            XML_LOG(kLogError, "GetValue", "XML document is NULL");
            iResult = 22;
        } else if (strKey.empty()) {
            XML_LOG(kLogError, "GetValue", "Invalid Key");
            iResult = 7;
        } else {
            iResult = m_pDocument->Find(strKey, strValue);
        }
        XML_LOG(kLogTrace, "GetValue", "-");
        return iResult;
    }

    // The document, for this plug-in's writer only.
    void* GetDataPtr() override { return m_pDocument ? Lend(m_pDocument) : nullptr; }

private:
    std::string m_strFilePath;
    Document m_pDocument;
};

class CXMLWriter : public IConfigWriter
{
public:
    explicit CXMLWriter(const char* pszPath) : m_strFilePath(pszPath != nullptr ? pszPath : "") {}

    int ParseFile(const std::string& strPath) override
    {
        m_strFilePath = strPath;
        int iStatus;
        m_pDocument = Load(strPath, iStatus);
        return iStatus;
    }

    int SetValue(const std::string& strKey, std::string strValue) override
    {
        if (!m_pDocument || strKey.empty()) {
            return 7;
        }
        return m_pDocument->Set(strKey, strValue);
    }

    int SaveData() override
    {
        if (!m_pDocument) {
            return 22;
        }
        // As the CFG writer: only an existing, writable file is saved to.
        if (::access(m_strFilePath.c_str(), W_OK) != 0) {
            return -2;
        }
        XmlError error;
        const int iResult = m_pDocument->Save(m_strFilePath, error);
        if (iResult != 0) {
            XML_LOG(kLogError, "SaveData", "Cannot save %s: %s", m_strFilePath.c_str(),
                    error.description.c_str());
        }
        return iResult;
    }

    int SetPath(const std::string& strPath) override
    {
        if (strPath.empty()) {
            return 7;
        }
        m_strFilePath = strPath;
        return 0;
    }

    // A document of this plug-in's reader, shared with it; NULL detaches.
    void SetDataPtr(void* pData) override
    {
        m_pDocument.reset();
        if (pData == nullptr) {
            XML_LOG(kLogError, "SetDataPtr", "Data Pointer not set in xml writer");
            return;
        }
        m_pDocument = Borrow(pData);
        if (!m_pDocument) {
            XML_LOG(kLogError, "SetDataPtr", "Data Pointer is not an XML document");
        }
    }

private:
    std::string m_strFilePath;
    Document m_pDocument;
};

} // namespace

// The three factories, the plug-in's only exports.
#define XML_PLUGIN_API extern "C" __attribute__((visibility("default")))

XML_PLUGIN_API IConfigReader* GetCXMLReaderObject(const char* pszPath)
{
    return new (std::nothrow) CXMLReader(pszPath);
}

XML_PLUGIN_API IConfigWriter* GetCXMLWriterObject(const char* pszPath)
{
    return new (std::nothrow) CXMLWriter(pszPath);
}

XML_PLUGIN_API IConfigWriter* GetCXMLWriterObjectNoParam()
{
    return new (std::nothrow) CXMLWriter(nullptr);
}
