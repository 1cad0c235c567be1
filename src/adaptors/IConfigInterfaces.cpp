// The interfaces' only out-of-line parts: the traces of their constructors and
// destructors, which mark every back end's birth and death in the log.
#include "IConfigReader.h"
#include "IConfigWriter.h"

#include "platform/ZelLog.h"

using namespace zelconfig;

IConfigReader::IConfigReader()
{
    ZEL_LOG(kLogTrace, "IConfigReader", "+");
}

// "+" on leaving too: the destructor's trace has always read so.
IConfigReader::~IConfigReader()
{
    ZEL_LOG(kLogTrace, "~IConfigReader", "+");
}

IConfigWriter::IConfigWriter()
{
    ZEL_LOG(kLogTrace, "IConfigWriter", "+");
}

IConfigWriter::~IConfigWriter()
{
    ZEL_LOG(kLogTrace, "~IConfigWriter", "+");
}
