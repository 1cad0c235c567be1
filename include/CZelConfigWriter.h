#ifndef ZELCONFIG_CZELCONFIGWRITER_H
#define ZELCONFIG_CZELCONFIGWRITER_H

#include <atomic>
#include <string>

#include "ZelConfigExport.h"
#include "ZelConfigStatus.h"

class IConfigWriter;

// Changes and saves a configuration file without knowing its format. The
// back end is chosen from the path: ".cfg" the CFG engine, ".xml" the XML
// plug-in "libZel_XMLConfigParser.so", loaded on first use. Unlike the
// reader, the writer accepts no ".inf" or ".cksum" paths.
//
// Setters and Save return the back end's status, or 22 without back end.
class ZELCONFIG_API CZelConfigWriter
{
public:
    CZelConfigWriter();
    // Create(strPath); the mode is ignored and the status is not kept.
    CZelConfigWriter(const std::string& strPath, unsigned int uiMode);
    // Parse(strPath); the status is not kept.
    explicit CZelConfigWriter(const std::string& strPath);
    ~CZelConfigWriter();

    CZelConfigWriter(const CZelConfigWriter&) = delete;
    CZelConfigWriter& operator=(const CZelConfigWriter&) = delete;

    // Binds a new back end to strPath without reading the file.
    int Create(const std::string& strPath);
    // Binds a new back end and loads the file at strPath.
    int Parse(const std::string& strPath);

    // Gives every entry of strKey already in the file this value; adds none.
    int Set(const std::string& strKey, const std::string& strValue);
    // Numbers are written as a default-formatted stream writes them, under
    // the global locale: "-42", "0.1", "1.23457e+06".
    int Set(const std::string& strKey, int iValue);
    int Set(const std::string& strKey, float fValue);
    int Set(const std::string& strKey, double dValue);
    // 1 is written as "TRUE", 0 as "FALSE"; anything else is refused with 7.
    int SetBool(const std::string& strKey, unsigned int uiValue);
    // Writes the values back to the file the back end was bound to.
    int Save();
    // Hands pData to the back end's SetDataPtr; NULL detaches.
    void SetDataPtr(void* pData);

private:
    friend class CZelConfigParser; // to detach only a writer that exists, and to connect it

    IConfigWriter* m_pWriter;
    // The XML plug-in, shared by every writer of the process (not with the
    // readers); never closed.
    static std::atomic<void*> m_hZelXMLLibHandle;
};

#endif
