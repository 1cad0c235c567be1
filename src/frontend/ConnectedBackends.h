#ifndef ZELCONFIG_FRONTEND_CONNECTEDBACKENDS_H
#define ZELCONFIG_FRONTEND_CONNECTEDBACKENDS_H

#include <string>

#include "CCFGReader.h"
#include "CCFGWriter.h"

class IConfigReader;
class IConfigWriter;

namespace zelconfig {

class ConnectedCFGWriter;

// The CFG back ends the front ends make. They behave exactly as CCFGReader
// and CCFGWriter; in addition, a reader whose data a CZelConfigParser lent to
// its writer side knows that writer, and the writer knows it, so that
// whichever of the two is destroyed first detaches the writer: the data is
// then neither used after it is freed nor freed twice, whatever the order in
// which the front ends' Parse and Create replace them. A reader that goes
// first leaves its writer without data quietly: only a detach the caller asks
// for is logged.
class ConnectedCFGReader final : public CCFGReader
{
public:
    using CCFGReader::CCFGReader;
    ~ConnectedCFGReader() override;

private:
    friend class ConnectedCFGWriter;
    friend void Connect(IConfigReader*, IConfigWriter*);
    ConnectedCFGWriter* m_borrower = nullptr;
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
    friend class ConnectedCFGReader;
    friend void Connect(IConfigReader*, IConfigWriter*);
    void Unlink();
    ConnectedCFGReader* m_lender = nullptr;
    // The parser this writer's own ParseFile made. When the writer lets it
    // go, nothing else can reach it any more, so it is freed.
    CCFGParser* m_own = nullptr;
    // The parser last handed to CCFGWriter::SetDataPtr; NULL once its lender
    // is gone.
    CCFGParser* m_held = nullptr;
    // The lender was destroyed: the pointer CCFGWriter still holds is freed
    // and must not be used (answers as without data) nor freed again.
    bool m_lenderGone = false;
};

// Records that `reader` lent its data to `writer` (a CZelConfigParser's two
// sides); does nothing unless both are the library's own CFG back ends and
// the writer holds the reader's parser.
void Connect(IConfigReader* reader, IConfigWriter* writer);

// Whether `writer` must be detached before its reader is replaced: only a
// back end of another kind, which may hold the reader's data unseen. A CFG
// writer on the reader's parser learns of its end quietly once connected;
// one on other data (or none) is left as it is.
bool MustDetachBeforeReplacing(const IConfigWriter* writer);

} // namespace zelconfig

#endif
