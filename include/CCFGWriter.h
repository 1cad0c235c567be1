#ifndef ZELCONFIG_CCFGWRITER_H
#define ZELCONFIG_CCFGWRITER_H

#include <string>

#include "IConfigWriter.h"
#include "ZelConfigExport.h"

class CCFGParser;

// IConfigWriter for CFG files: changes and saves the data of one CCFGParser,
// either loaded by the writer itself or handed over from a CCFGReader through
// SetDataPtr. Parsers it makes itself are in block mode.
//
// The destructor frees whatever parser the writer holds, also one it was
// handed: detach with SetDataPtr(NULL) before destroying a sharing writer.
class ZELCONFIG_API CCFGWriter : public IConfigWriter
{
public:
    CCFGWriter();
    // Parse at once; the status is not kept.
    explicit CCFGWriter(const std::string& strPath);
    // Shares other's parser, which both then hold.
    CCFGWriter(const CCFGWriter& other);
    // Frees the parser this writer holds, then shares other's. No self test.
    CCFGWriter& operator=(const CCFGWriter& other);
    ~CCFGWriter() override;

    // Loads the file into a new parser: the engine's status, or 22 when the
    // parser cannot be allocated. A parser held before is not freed.
    int ParseFile(const std::string& strPath) override;
    // The engine's update status; 7 without parser or with an empty key.
    int SetValue(const std::string& strKey, std::string strValue) override;
    // Rewrites the file at the writer's path: 22 without parser, -2 when the
    // path is not an existing writable file, else the engine's status.
    int SaveData() override;
    // 0, or 7 for an empty path (which keeps the old one).
    int SetPath(const std::string& strPath) override;
    // Holds pData (a CCFGReader's GetDataPtr) from now on, without freeing
    // the parser held before; NULL detaches and logs that it did.
    void SetDataPtr(void* pData) override;

private:
    std::string m_strFilePath;
    CCFGParser* m_pCFGParser;
};

#endif
