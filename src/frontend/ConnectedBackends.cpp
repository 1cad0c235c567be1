#include "frontend/ConnectedBackends.h"

#include <utility>

#include "CCFGParser.h"
#include "adaptors/ParseIntoNewParser.h"

namespace zelconfig {

ConnectedCFGReader::~ConnectedCFGReader()
{
    if (m_borrower != nullptr) {
        // Not a detach of the caller's: nothing is logged. The writer
        // answers as one without data until it is given data again.
        m_borrower->m_lender = nullptr;
        m_borrower->m_held = nullptr;
        m_borrower->m_lenderGone = true;
    }
}

ConnectedCFGWriter::~ConnectedCFGWriter()
{
    if (m_lender != nullptr || m_lenderGone) {
        // The data is the reader's to free, not this writer's.
        SetDataPtr(nullptr);
    }
}

void ConnectedCFGWriter::Unlink()
{
    if (m_lender != nullptr) {
        m_lender->m_borrower = nullptr;
        m_lender = nullptr;
    }
}

int ConnectedCFGWriter::ParseFile(const std::string& path)
{
    // A front end calls this once, on a writer it has just made: the path
    // is empty before, so SetPath leaves an empty path empty as the
    // inherited ParseFile would; the parser is taken as ours.
    Unlink();
    SetPath(path);
    CCFGParser* parser = nullptr;
    const int result = ParseIntoNewParser(path, 0u, parser);
    if (parser != nullptr) {
        CCFGWriter::SetDataPtr(parser);
        m_own = parser;
        m_held = parser;
    }
    return result;
}

int ConnectedCFGWriter::SetValue(const std::string& key, std::string value)
{
    return m_lenderGone ? 7 : CCFGWriter::SetValue(key, std::move(value));
}

int ConnectedCFGWriter::SaveData()
{
    return m_lenderGone ? 22 : CCFGWriter::SaveData();
}

void ConnectedCFGWriter::SetDataPtr(void* data)
{
    CCFGParser* abandoned = m_own;
    m_own = nullptr;
    Unlink();
    m_lenderGone = false;
    CCFGWriter::SetDataPtr(data);
    m_held = static_cast<CCFGParser*>(data);
    if (abandoned != static_cast<CCFGParser*>(data)) {
        delete abandoned;
    }
}

void Connect(IConfigReader* reader, IConfigWriter* writer)
{
    auto* lender = dynamic_cast<ConnectedCFGReader*>(reader);
    auto* borrower = dynamic_cast<ConnectedCFGWriter*>(writer);
    if (lender == nullptr || borrower == nullptr || borrower->m_held == nullptr
        || borrower->m_held != lender->GetDataPtr()) {
        return;
    }
    if (lender->m_borrower != nullptr) {
        lender->m_borrower->Unlink();
    }
    borrower->Unlink();
    lender->m_borrower = borrower;
    borrower->m_lender = lender;
}

bool MustDetachBeforeReplacing(const IConfigWriter* writer)
{
    return writer != nullptr && dynamic_cast<const ConnectedCFGWriter*>(writer) == nullptr;
}

} // namespace zelconfig
