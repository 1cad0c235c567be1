#ifndef ZELCONFIG_FRONTEND_CONNECTEDBACKENDS_H
#define ZELCONFIG_FRONTEND_CONNECTEDBACKENDS_H

#include <memory>
#include <string>

#include "CCFGReader.h"
#include "CCFGWriter.h"

class IConfigWriter;

namespace zelconfig {

// The CFG back ends the front ends make. They behave exactly as CCFGReader
// and CCFGWriter; in addition, the reader lends its parser through Lending,
// as the XML plug-in lends its documents, and a writer given a lent parser
// holds it weakly: whichever of the two is destroyed first, the data is then
// neither used after it is freed nor freed twice, whatever the order in which
// the front ends' Parse and Create replace them. A reader that goes first
// leaves its writer without data quietly: only a detach the caller asks for
// is logged.
class ConnectedCFGReader final : public CCFGReader
{
public:
    using CCFGReader::CCFGReader;
    ~ConnectedCFGReader() override;
    int ParseFile(const std::string& path) override;

private:
    // The parser as lent. It never frees the parser: CCFGReader does.
    std::shared_ptr<CCFGParser> m_lent;
};

class ConnectedCFGWriter final : public CCFGWriter
{
public:
    ConnectedCFGWriter() = default;
    ~ConnectedCFGWriter() override;
    int ParseFile(const std::string& path) override;
    int SetValue(const std::string& key, std::string value) override;
    int SaveData() override;
    void SetDataPtr(void* data) override;

private:
    // The parser's lender was destroyed: the pointer CCFGWriter still holds
    // is freed and must not be used (answers as without data) nor freed again.
    bool LenderGone() const { return m_borrowed && m_loan.expired(); }
    // The parser this writer's own ParseFile made. When the writer lets it
    // go, nothing else can reach it any more, so it is freed.
    CCFGParser* m_own = nullptr;
    // The lent parser last handed to SetDataPtr, and whether there was one.
    std::weak_ptr<CCFGParser> m_loan;
    bool m_borrowed = false;
};

// Whether `writer` must be detached before its reader is replaced: only a
// back end of another kind, which may hold the reader's data unseen. A CFG
// writer on the reader's parser learns of its end quietly; one on other data
// (or none) is left as it is.
bool MustDetachBeforeReplacing(const IConfigWriter* writer);

} // namespace zelconfig

#endif
