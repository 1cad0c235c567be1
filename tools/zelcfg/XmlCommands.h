#ifndef ZELCONFIG_TOOLS_XMLCOMMANDS_H
#define ZELCONFIG_TOOLS_XMLCOMMANDS_H

#include <string>

#include "Zelcfg.h"

namespace zelcfg {

// set and list on an XML file, and a refusal for the commands that have no
// meaning there; set goes through the front end and the plug-in.
int RunXmlCommand(const Invocation& invocation);

// Why a front end's Parse of an XML file failed, in words.
std::string XmlParseFailure(int status, bool bHasBackEnd);

} // namespace zelcfg

#endif
