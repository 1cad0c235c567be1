#ifndef ZELCONFIG_CCFGREADER_H
#define ZELCONFIG_CCFGREADER_H

#include <string>

#include "IConfigReader.h"
#include "ZelConfigExport.h"

class CCFGParser;

// IConfigReader for CFG files: a thin adaptor that owns one CCFGParser and
// adds argument checks and diagnostics.
//
// Copies share the parser instead of duplicating it, and every destructor
// frees the parser it holds: only one of the sharing objects may still hold
// it when they are destroyed.
class ZELCONFIG_API CCFGReader : public IConfigReader
{
public:
    CCFGReader();
    // 0 = block mode, anything else = anonymous mode, for the parsers it makes.
    explicit CCFGReader(unsigned int uiAnonymousMode);
    // Parse at once; the status is not kept.
    explicit CCFGReader(const std::string& strPath);
    CCFGReader(const std::string& strPath, unsigned int uiAnonymousMode);
    // Shares other's parser, which both then hold.
    CCFGReader(const CCFGReader& other);
    // Frees the parser this reader holds, then shares other's. No self test.
    CCFGReader& operator=(const CCFGReader& other);
    ~CCFGReader() override;

    // Loads the file into a new parser: the engine's status, or 22 when the
    // parser cannot be allocated. A parser held before is not freed.
    int ParseFile(const std::string& strPath) override;
    // The value under strKey; empty without parser or key. Logs nothing.
    std::string GetValue(const std::string& strKey) override;
    // The engine's lookup status; 22 without parser, 7 for an empty key.
    int GetValue(const std::string& strKey, std::string& strValue) override;
    // The CCFGParser* itself (NULL when empty); the reader keeps ownership.
    void* GetDataPtr() override;

private:
    std::string m_strFilePath;
    CCFGParser* m_pCFGParser;
    unsigned int m_uiAnonymousMode;
};

#endif
