// Stands in for the XML plug-in: its reader and writer keep values in a small
// map and note every call they receive in a journal, which the tests read
// through RecordingPluginTakeJournal.
#include <map>
#include <mutex>
#include <string>

#include "IConfigReader.h"
#include "IConfigWriter.h"

namespace {

using Values = std::map<std::string, std::string>;

// Locked, so that threads may share the plug-in as they share the real one.
std::mutex g_journalMutex;
std::string g_journal;

void Note(const std::string& line)
{
    std::lock_guard<std::mutex> lock(g_journalMutex);
    g_journal += line + "\n";
}

class RecordingReader : public IConfigReader
{
public:
    explicit RecordingReader(const char* pszPath) { Note(std::string("reader created ") + pszPath); }
    ~RecordingReader() override { Note("reader deleted"); }

    int ParseFile(const std::string& strPath) override
    {
        Note("reader ParseFile " + strPath);
        m_values["X.n"] = "42";
        return 0;
    }
    std::string GetValue(const std::string& strKey) override
    {
        std::string value;
        GetValue(strKey, value);
        return value;
    }
    int GetValue(const std::string& strKey, std::string& strValue) override
    {
        const auto found = m_values.find(strKey);
        if (found == m_values.end()) {
            return -2;
        }
        strValue = found->second;
        return 0;
    }
    void* GetDataPtr() override { return &m_values; }

private:
    Values m_values;
};

class RecordingWriter : public IConfigWriter
{
public:
    explicit RecordingWriter(const char* pszPath) : m_pValues(nullptr)
    {
        Note(std::string("writer created ") + (pszPath != nullptr ? pszPath : "without path"));
    }
    ~RecordingWriter() override { Note("writer deleted"); }

    int ParseFile(const std::string& strPath) override
    {
        Note("writer ParseFile " + strPath);
        m_pValues = &m_own;
        return 0;
    }
    int SetValue(const std::string& strKey, std::string strValue) override
    {
        Note("writer SetValue " + strKey + "=" + strValue);
        if (m_pValues == nullptr) {
            return 7;
        }
        (*m_pValues)[strKey] = strValue;
        return 0;
    }
    int SaveData() override
    {
        Note("writer SaveData");
        return 0;
    }
    int SetPath(const std::string& strPath) override
    {
        Note("writer SetPath " + strPath);
        return 0;
    }
    void SetDataPtr(void* pData) override
    {
        Note(pData != nullptr ? "writer SetDataPtr data" : "writer SetDataPtr NULL");
        m_pValues = static_cast<Values*>(pData);
    }

private:
    Values m_own;
    Values* m_pValues;
};

} // namespace

extern "C" {

IConfigReader* GetCXMLReaderObject(const char* pszPath)
{
    return new RecordingReader(pszPath);
}

IConfigWriter* GetCXMLWriterObject(const char* pszPath)
{
    return new RecordingWriter(pszPath);
}

IConfigWriter* GetCXMLWriterObjectNoParam()
{
    return new RecordingWriter(nullptr);
}

// Hands the journal over and starts a new one; the caller frees the text.
char* RecordingPluginTakeJournal()
{
    std::lock_guard<std::mutex> lock(g_journalMutex);
    char* text = new char[g_journal.size() + 1];
    g_journal.copy(text, g_journal.size());
    text[g_journal.size()] = '\0';
    g_journal.clear();
    return text;
}

} // extern "C"
