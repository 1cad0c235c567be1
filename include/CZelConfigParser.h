#ifndef ZELCONFIG_CZELCONFIGPARSER_H
#define ZELCONFIG_CZELCONFIGPARSER_H

#include <string>

#include "CZelConfigReader.h"
#include "CZelConfigWriter.h"
#include "ZelConfigExport.h"

// Reads, changes and saves one configuration file with a single loaded copy:
// the writer side edits the very data the reader side loaded, so a value set
// is read back at once, and Save writes it to the file.
class ZELCONFIG_API CZelConfigParser : public CZelConfigReader, public CZelConfigWriter
{
public:
    CZelConfigParser();
    // Loads the file and connects both sides; failures are logged only.
    explicit CZelConfigParser(const std::string& strPath);
    ~CZelConfigParser();

    // Loads strPath through the reader side and connects a new writer back
    // end to it: 0, or the first non-zero status (the reader's or the writer's).
    int Parse(const std::string& strPath);
};

#endif
