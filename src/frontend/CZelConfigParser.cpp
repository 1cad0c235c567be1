#include "CZelConfigParser.h"

#include "frontend/ConnectedBackends.h"
#include "platform/ZelLog.h"

using namespace zelconfig;

CZelConfigParser::CZelConfigParser() = default;

CZelConfigParser::CZelConfigParser(const std::string& strPath)
    : CZelConfigReader(strPath), CZelConfigWriter(strPath, 1u)
{
    ZEL_LOG(kLogTrace, "CZelConfigParser", "File Path %s", strPath.c_str());
    // Lent even after a failed parse: the writer then gets what there is.
    CZelConfigWriter::SetDataPtr(CZelConfigReader::GetDataPtr());
}

CZelConfigParser::~CZelConfigParser()
{
    ZEL_LOG(kLogTrace, "~CZelConfigParser", "Destructor");
    // The reader side owns the data: the writer side must not free it too.
    CZelConfigWriter::SetDataPtr(nullptr);
}

int CZelConfigParser::Parse(const std::string& strPath)
{
    ZEL_LOG(kLogTrace, "Parse", "+");
    ZEL_LOG(kLogParams, "Parse", "File Path %s", strPath.c_str());

    // The reader's Parse frees the data the writer back end may still hold:
    // nothing may be freed twice or used after it is gone. The CFG back ends
    // see to it themselves; a writer of any other kind is detached first.
    if (MustDetachBeforeReplacing(m_pWriter)) {
        CZelConfigWriter::SetDataPtr(nullptr);
    }
    int result = CZelConfigReader::Parse(strPath);
    if (result == 0) {
        result = CZelConfigWriter::Create(strPath);
        if (result == 0) {
            CZelConfigWriter::SetDataPtr(CZelConfigReader::GetDataPtr());
        }
    }
    ZEL_LOG(kLogTrace, "Parse", "-");
    return result;
}
