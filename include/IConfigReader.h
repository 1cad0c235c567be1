#ifndef ZELCONFIG_ICONFIGREADER_H
#define ZELCONFIG_ICONFIGREADER_H

#include <string>

#include "ZelConfigExport.h"
#include "ZelConfigStatus.h"

// What the front end needs from any back end that reads a configuration file:
// the library's own CCFGReader, or the reader an XML plug-in creates.
//
// The order of the virtual operations below is an ABI contract with plug-ins
// built separately against this header: never reorder them, never add one
// ahead of them.
class ZELCONFIG_API IConfigReader
{
public:
    IConfigReader();
    virtual ~IConfigReader();

    // Loads the file at strPath; 0 on success, else the back end's status.
    virtual int ParseFile(const std::string& strPath) = 0;
    // The value stored under strKey, or an empty string.
    virtual std::string GetValue(const std::string& strKey) = 0;
    // Copies the value under strKey into strValue; 0 on success.
    virtual int GetValue(const std::string& strKey, std::string& strValue) = 0;
    // Opaque handle to the loaded data, for a writer of the same back end's
    // SetDataPtr. The reader keeps ownership.
    virtual void* GetDataPtr() = 0;
};

// Factory a plug-in exports as "GetCXMLReaderObject": a new reader for the
// path, owned by the caller and deleted through ~IConfigReader.
extern "C" typedef IConfigReader* (*PFNGetCXMLReaderObject)(const char* pszPath);

#endif
