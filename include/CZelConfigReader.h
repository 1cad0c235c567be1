#ifndef ZELCONFIG_CZELCONFIGREADER_H
#define ZELCONFIG_CZELCONFIGREADER_H

#include <atomic>
#include <string>

#include "ZelConfigExport.h"
#include "ZelConfigStatus.h"

class IConfigReader;

// Reads a configuration file without knowing its format. The back end is
// chosen from the path: ".cfg" the CFG engine in block mode, ".inf" or
// ".cksum" in anonymous mode, ".xml" the XML plug-in
// "libZel_XMLConfigParser.so", loaded on first use.
//
// Two-argument getters return 0, 22 when there is no back end, the back
// end's status, 1 when a number's conversion set errno (the converted value
// is still stored) or -1 for a boolean text that is neither "true" nor
// "false". One-argument getters return 0, 0.0 or "" on any failure.
class ZELCONFIG_API CZelConfigReader
{
public:
    CZelConfigReader();
    // Parses at once; a failure is logged, not reported.
    explicit CZelConfigReader(const std::string& strPath);
    ~CZelConfigReader();

    CZelConfigReader(const CZelConfigReader&) = delete;
    CZelConfigReader& operator=(const CZelConfigReader&) = delete;

    // Replaces the back end by one chosen for strPath and parses the file:
    // the back end's status, or 22 when none could be made.
    int Parse(const std::string& strPath);
    // The back end's handle to its data (NULL without back end), for a
    // writer's SetDataPtr.
    void* GetDataPtr();

    // Decimal, or hexadecimal after "0x"/"0X"; wraps to int.
    int GetInt(const std::string& strKey);
    int GetInt(const std::string& strKey, int& iValue);
    // As strtof reads the text under the C library's current locale.
    float GetFloat(const std::string& strKey);
    int GetFloat(const std::string& strKey, float& fValue);
    // As strtod reads the text under the C library's current locale.
    double GetDouble(const std::string& strKey);
    int GetDouble(const std::string& strKey, double& dValue);
    // "true" in any case is 1; trailing CR and LF are ignored.
    unsigned int GetBool(const std::string& strKey);
    int GetBool(const std::string& strKey, unsigned int& uiValue);
    // The value without its trailing CR and LF.
    std::string GetString(const std::string& strKey);
    int GetString(const std::string& strKey, std::string& strValue);

    // strRaw without the carriage returns and line feeds at its end.
    static std::string FormatValue(const std::string& strRaw);

private:
    friend class CZelConfigParser; // to tell the back ends that it connected them

    IConfigReader* m_pReader;
    // The XML plug-in, shared by every reader of the process; never closed.
    static std::atomic<void*> m_hZelXMLLibHandle;
};

#endif
