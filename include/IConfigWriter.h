#ifndef ZELCONFIG_ICONFIGWRITER_H
#define ZELCONFIG_ICONFIGWRITER_H

#include <string>

#include "ZelConfigExport.h"
#include "ZelConfigStatus.h"

// What the front end needs from any back end that changes and saves a
// configuration file: the library's own CCFGWriter, or the writer an XML
// plug-in creates.
//
// The order of the virtual operations below is an ABI contract with plug-ins
// built separately against this header: never reorder them, never add one
// ahead of them.
class ZELCONFIG_API IConfigWriter
{
public:
    IConfigWriter();
    virtual ~IConfigWriter();

    // Loads the file at strPath so that it can be changed and saved.
    virtual int ParseFile(const std::string& strPath) = 0;
    // Stores strValue under strKey, in memory until SaveData.
    virtual int SetValue(const std::string& strKey, std::string strValue) = 0;
    // Writes the data back to the current path.
    virtual int SaveData() = 0;
    // Sets the path SaveData writes to, without reading it.
    virtual int SetPath(const std::string& strPath) = 0;
    // Works on data owned elsewhere (a reader's GetDataPtr), or detaches with
    // NULL. Detach before destroying the writer: it frees what it holds.
    virtual void SetDataPtr(void* pData) = 0;
};

// Factories a plug-in exports as "GetCXMLWriterObject" (for a file to parse)
// and "GetCXMLWriterObjectNoParam" (for a file to create): a new writer,
// owned by the caller and deleted through ~IConfigWriter.
extern "C" typedef IConfigWriter* (*PFNGetCXMLWriterObject)(const char* pszPath);
extern "C" typedef IConfigWriter* (*PFNGetCXMLWriterObjectNoParam)();

#endif
