#include "frontend/ConnectedBackends.h"

#include <utility>

#include "CCFGParser.h"
#include "adaptors/ParseIntoNewParser.h"

namespace zelconfig {

ConnectedCFGReader::~ConnectedCFGReader()
{
    if (m_pBorrower != nullptr) {
        // Not a detach of the caller's: nothing is logged. The writer
        // answers as one without data until it is given data again.
        m_pBorrower->m_pLender = nullptr;
        m_pBorrower->m_pHeld = nullptr;
        m_pBorrower->m_bLenderGone = true;
    }
}

ConnectedCFGWriter::~ConnectedCFGWriter()
{
    if (m_pLender != nullptr || m_bLenderGone) {
        // The data is the reader's to free, not this writer's.
        SetDataPtr(nullptr);
    }
}

void ConnectedCFGWriter::Unlink()
{
    if (m_pLender != nullptr) {
        m_pLender->m_pBorrower = nullptr;
        m_pLender = nullptr;
    }
}

int ConnectedCFGWriter::ParseFile(const std::string& strPath)
{
    // A front end calls this once, on a writer it has just made: the path
    // is empty before, so SetPath leaves an empty path empty as the
    // inherited ParseFile would; the parser is taken as ours.
    Unlink();
    SetPath(strPath);
    CCFGParser* pParser = nullptr;
    const int iResult = ParseIntoNewParser(strPath, 0u, pParser);
    if (pParser != nullptr) {
        CCFGWriter::SetDataPtr(pParser);
        m_pOwn = pParser;
        m_pHeld = pParser;
    }
    return iResult;
}

int ConnectedCFGWriter::SetValue(const std::string& strKey, std::string strValue)
{
    return m_bLenderGone ? 7 : CCFGWriter::SetValue(strKey, std::move(strValue));
}

int ConnectedCFGWriter::SaveData()
{
    return m_bLenderGone ? 22 : CCFGWriter::SaveData();
}

void ConnectedCFGWriter::SetDataPtr(void* pData)
{
    CCFGParser* pAbandoned = m_pOwn;
    m_pOwn = nullptr;
    Unlink();
    m_bLenderGone = false;
    CCFGWriter::SetDataPtr(pData);
    m_pHeld = static_cast<CCFGParser*>(pData);
    if (pAbandoned != static_cast<CCFGParser*>(pData)) {
        delete pAbandoned;
    }
}

void Connect(IConfigReader* reader, IConfigWriter* writer)
{
    auto* pReader = dynamic_cast<ConnectedCFGReader*>(reader);
    auto* pWriter = dynamic_cast<ConnectedCFGWriter*>(writer);
    if (pReader == nullptr || pWriter == nullptr || pWriter->m_pHeld == nullptr
        || pWriter->m_pHeld != pReader->GetDataPtr()) {
        return;
    }
    if (pReader->m_pBorrower != nullptr) {
        pReader->m_pBorrower->Unlink();
    }
    pWriter->Unlink();
    pReader->m_pBorrower = pWriter;
    pWriter->m_pLender = pReader;
}

bool MustDetachBeforeReplacing(IConfigReader* reader, IConfigWriter* writer)
{
    if (dynamic_cast<ConnectedCFGWriter*>(writer) == nullptr) {
        return writer != nullptr;
    }
    Connect(reader, writer);
    return false;
}

} // namespace zelconfig
