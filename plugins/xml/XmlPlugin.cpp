// libZel_XMLConfigParser.so: the XML back end the front ends load for paths
// holding ".xml". Its reader and writer answer with the same statuses as the
// library's CFG adaptors, so an application sees one set of codes.
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <new>
#include <string>

#include "IConfigReader.h"
#include "IConfigWriter.h"
#include "XmlDocument.h"
#include "ZelConfigLending.h"
#include "ZelConfigLog.h"

using zelconfig::xml::XmlDocument;
using zelconfig::xml::XmlError;
using namespace zelconfig; // the log levels and the statuses

namespace {

using Document = std::shared_ptr<XmlDocument>;

// The documents this plug-in's readers hand out through GetDataPtr. A writer
// takes only those, and shares them: a pointer of another back end (a
// CZelConfigParser on "a.xml.inf" reads through the CFG engine but writes
// through this plug-in) is refused, and a document lives until both its
// reader and every writer given it let go, in whichever order.
using Lent = zelconfig::Lending<XmlDocument>;

// A new document loaded from `path`, or null with the failure logged and
// its status in `status`.
Document Load(const std::string& path, int& status)
{
    ZELCONFIG_LOG(kLogTrace, "ParseFile", "+");
    ZELCONFIG_LOG(kLogParams, "ParseFile", "File Path %s", path.c_str());
    Document doc(new (std::nothrow) XmlDocument);
    XmlError error;
    status = doc ? doc->LoadFile(path, error) : kStatusInvalid;
    switch (status) {
    case 0:
        break;
    case kStatusNotFound:
        ZELCONFIG_LOG(kLogError, "ParseFile", "Error Opening File: %s", error.description.c_str());
        break;
    case kStatusMalformed:
        ZELCONFIG_LOG(kLogError, "ParseFile", "XML error at byte %zu: %s", error.offset, error.description.c_str());
        break;
    default:
        ZELCONFIG_LOG(kLogError, "ParseFile", "Memory allocation error for the XML document");
        break;
    }
    if (status != 0) {
        doc.reset();
    }
    ZELCONFIG_LOG(kLogTrace, "ParseFile", "-");
    return doc;
}

class XmlReader : public IConfigReader
{
public:
    explicit XmlReader(const char* path) : m_path(path != nullptr ? path : "") {}
    ~XmlReader() override { Lent::Forget(m_document.get()); }

    int ParseFile(const std::string& path) override
    {
        m_path = path;
        Lent::Forget(m_document.get());
        int status;
        m_document = Load(path, status);
        return status;
    }

    std::string GetValue(const std::string& key) override
    {
        std::string value;
        if (m_document && !key.empty()) {
            m_document->Find(key, value);
        }
        return value;
    }

    int GetValue(const std::string& key, std::string& value) override
    {
        ZELCONFIG_LOG(kLogTrace, "GetValue", "+");
        int result;
        if (!m_document) {
            ZELCONFIG_LOG(kLogError, "GetValue", "XML document is NULL");
            result = kStatusInvalid;
        } else if (key.empty()) {
            ZELCONFIG_LOG(kLogError, "GetValue", "Invalid Key");
            result = kStatusEmptyKey;
        } else {
            result = m_document->Find(key, value);
        }
        ZELCONFIG_LOG(kLogTrace, "GetValue", "-");
        return result;
    }

    // The document, for this plug-in's writer only.
    void* GetDataPtr() override { return m_document ? Lent::Lend(m_document) : nullptr; }

private:
    std::string m_path;
    Document m_document;
};

class XmlWriter : public IConfigWriter
{
public:
    explicit XmlWriter(const char* path) : m_path(path != nullptr ? path : "") {}

    int ParseFile(const std::string& path) override
    {
        m_path = path;
        int status;
        m_document = Load(path, status);
        return status;
    }

    int SetValue(const std::string& key, std::string value) override
    {
        if (!m_document || key.empty()) {
            return !m_document ? kStatusNoData : kStatusEmptyKey;
        }
        return m_document->Set(key, value);
    }

    int SaveData() override
    {
        if (!m_document) {
            return kStatusInvalid;
        }
        // As the CFG writer: only an existing, writable file is saved to.
        if (const int cause = MayWrite(AT_FDCWD, m_path); cause != 0) {
            ZELCONFIG_LOG(kLogError, "SaveData", "Cannot save %s: %s", m_path.c_str(), std::strerror(cause));
            return kStatusNotFound;
        }
        XmlError error;
        const int result = m_document->Save(m_path, error);
        if (result != 0) {
            ZELCONFIG_LOG(kLogError, "SaveData", "Cannot save %s: %s", m_path.c_str(),
                          error.description.c_str());
        }
        // The writer's callers know -2 for a file left as it was, whatever
        // the reason; the log line tells them apart.
        return result == zelconfig::kReplaceChanged ? kStatusNotFound : result;
    }

    int SetPath(const std::string& path) override
    {
        if (path.empty()) {
            return kStatusEmptyPath;
        }
        m_path = path;
        return 0;
    }

    // A document of this plug-in's reader, shared with it; NULL detaches.
    void SetDataPtr(void* data) override
    {
        m_document.reset();
        if (data == nullptr) {
            ZELCONFIG_LOG(kLogError, "SetDataPtr", "Data Pointer not set in xml writer");
            return;
        }
        m_document = Lent::Borrow(data);
        if (!m_document) {
            ZELCONFIG_LOG(kLogError, "SetDataPtr", "Data Pointer is not an XML document");
        }
    }

private:
    std::string m_path;
    Document m_document;
};

} // namespace

// The three factories, the plug-in's only exports.
#define XML_PLUGIN_API extern "C" __attribute__((visibility("default")))

XML_PLUGIN_API IConfigReader* GetCXMLReaderObject(const char* path)
{
    return new (std::nothrow) XmlReader(path);
}

XML_PLUGIN_API IConfigWriter* GetCXMLWriterObject(const char* path)
{
    return new (std::nothrow) XmlWriter(path);
}

XML_PLUGIN_API IConfigWriter* GetCXMLWriterObjectNoParam()
{
    return new (std::nothrow) XmlWriter(nullptr);
}
