// libZel_XMLConfigParser.so: the XML back end the front ends load for paths
// holding ".xml". Its reader and writer answer with the same statuses as the
// library's CFG adaptors, so an application sees one set of codes.
#include <memory>
#include <new>
#include <string>
#include <unistd.h>

#include "IConfigReader.h"
#include "IConfigWriter.h"
#include "XmlDocument.h"
#include "XmlLog.h"

using zelconfig::xml::XmlDocument;
using zelconfig::xml::XmlError;
using namespace zelconfig::xml;

namespace {

// A new document loaded from strPath, or null with the failure logged and
// its status in iStatus.
std::unique_ptr<XmlDocument> Load(const std::string& strPath, int& iStatus)
{
    XML_LOG(kLogTrace, "ParseFile", "+");
    XML_LOG(kLogParams, "ParseFile", "File Path %s", strPath.c_str());
    std::unique_ptr<XmlDocument> doc(new (std::nothrow) XmlDocument);
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

    int ParseFile(const std::string& strPath) override
    {
        m_strFilePath = strPath;
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
    void* GetDataPtr() override { return m_pDocument.get(); }

private:
    std::string m_strFilePath;
    std::unique_ptr<XmlDocument> m_pDocument;
};

class CXMLWriter : public IConfigWriter
{
public:
    explicit CXMLWriter(const char* pszPath) : m_strFilePath(pszPath != nullptr ? pszPath : "") {}

    int ParseFile(const std::string& strPath) override
    {
        m_strFilePath = strPath;
        int iStatus;
        m_pOwn = Load(strPath, iStatus);
        m_pDocument = m_pOwn.get();
        return iStatus;
    }

    int SetValue(const std::string& strKey, std::string strValue) override
    {
        if (m_pDocument == nullptr || strKey.empty()) {
            return 7;
        }
        return m_pDocument->Set(strKey, strValue);
    }

    int SaveData() override
    {
        if (m_pDocument == nullptr) {
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

    // A document of this plug-in's reader, which keeps owning it; a document
    // the writer loaded itself stays its own until the writer goes.
    void SetDataPtr(void* pData) override
    {
        if (pData == nullptr) {
            XML_LOG(kLogError, "SetDataPtr", "Data Pointer not set in xml writer");
        }
        m_pDocument = static_cast<XmlDocument*>(pData);
    }

private:
    std::string m_strFilePath;
    std::unique_ptr<XmlDocument> m_pOwn;
    XmlDocument* m_pDocument = nullptr;
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
