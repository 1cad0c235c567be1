// CCFGParser::CFGParseFile: the lines of a file into a fresh model.
#include "CCFGParser.h"

#include <locale>
#include <memory>
#include <new>

#include "CFGBlockMap.h"
#include "CFGLineReader.h"
#include "CFGModel.h"
#include "ZelConfigStatus.h"
#include "platform/FileLock.h"
#include "platform/ZelLog.h"

using namespace zelconfig;

int CCFGParser::CFGParseFile(const std::string& strPath)
{
    // Every parse starts from a fresh map; the previous one is let go (and,
    // since nothing can reach it any more, freed). The path may be a string
    // of the previous map, which is therefore freed only after the opening.
    CFGBlockMap* blocks = new (std::nothrow) CFGBlockMap;
    std::unique_ptr<CFGBlockMap, void (*)(CFGBlockMap*)> previous(m_pmCFGData, FreeBlockMap);
    m_pmCFGData = blocks;
    if (blocks == nullptr) {
        ZEL_LOG(kLogError, "CFGParseFile", "m_pmCFGData is NULL");
        return kStatusInvalid;
    }

    // Under the shared lock of cooperating editors, so that a save of theirs
    // (or of another CCFGParser) is never read half done.
    CFGLineReader reader;
    const bool opened = reader.Open(strPath, kLegacyLockSeconds);
    previous.reset();
    if (!opened) {
        ZEL_LOG(kLogError, "CFGParseFile", "Error Opening File");
        return kStatusNotFound;
    }
    // Anonymous-mode trimming classes white space by the global locale of the moment.
    const std::locale locale;
    return CFGReadModel(reader, m_uiAnonymousMode != 0 ? &std::use_facet<std::ctype<char>>(locale) : nullptr,
                        *blocks);
}
