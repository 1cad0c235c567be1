#include "frontend/ConnectedBackends.h"

#include <utility>

#include "CCFGParser.h"
#include "ZelConfigLending.h"
#include "adaptors/ParseIntoNewParser.h"

namespace zelconfig {

ConnectedCFGReader::~ConnectedCFGReader()
{
    // Not a detach of the caller's: nothing is logged. The writer answers as
    // one without data until it is given data again.
    Lending<CCFGParser>::Forget(m_lent.get());
}

int ConnectedCFGReader::ParseFile(const std::string& path)
{
    const int result = CCFGReader::ParseFile(path);
    // Lent at once, so that GetDataPtr stays a plain read, whatever thread calls it.
    if (auto* parser = static_cast<CCFGParser*>(CCFGReader::GetDataPtr())) {
        Lending<CCFGParser>::Forget(m_lent.get());
        m_lent.reset(parser, [](CCFGParser*) {});
        Lending<CCFGParser>::Lend(m_lent);
    }
    return result;
}

ConnectedCFGWriter::~ConnectedCFGWriter()
{
    if (m_borrowed) {
        // The data is the reader's to free, not this writer's.
        SetDataPtr(nullptr);
    }
}

int ConnectedCFGWriter::ParseFile(const std::string& path)
{
    // A front end calls this once, on a writer it has just made: the path
    // is empty before, so SetPath leaves an empty path empty as the
    // inherited ParseFile would; the parser is taken as ours.
    SetPath(path);
    CCFGParser* parser = nullptr;
    const int result = ParseIntoNewParser(path, 0u, parser);
    if (parser != nullptr) {
        CCFGWriter::SetDataPtr(parser);
        m_own = parser;
    }
    return result;
}

int ConnectedCFGWriter::SetValue(const std::string& key, std::string value)
{
    return LenderGone() ? 7 : CCFGWriter::SetValue(key, std::move(value));
}

int ConnectedCFGWriter::SaveData()
{
    return LenderGone() ? 22 : CCFGWriter::SaveData();
}

void ConnectedCFGWriter::SetDataPtr(void* data)
{
    CCFGParser* abandoned = m_own;
    m_own = nullptr;
    m_loan = Lending<CCFGParser>::Borrow(data);
    m_borrowed = !m_loan.expired();
    CCFGWriter::SetDataPtr(data);
    if (abandoned != static_cast<CCFGParser*>(data)) {
        delete abandoned;
    }
}

bool MustDetachBeforeReplacing(const IConfigWriter* writer)
{
    return writer != nullptr && dynamic_cast<const ConnectedCFGWriter*>(writer) == nullptr;
}

} // namespace zelconfig
