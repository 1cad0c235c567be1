#ifndef ZELCONFIG_TOOLS_XMLCOMMANDS_H
#define ZELCONFIG_TOOLS_XMLCOMMANDS_H

#include <string>

#include "Input.h"
#include "Internals.h"
#include "Zelcfg.h"
#include "ZelConfigXmlDocument.h"

namespace zelcfg {

// lint on an XML file that loads: FILE:LINE:COLUMN: lines for what the
// document code finds (XmlDocument::Lint), exit 1 when it finds anything.
int XmlLint(const Invocation& invocation, const Input& input);

// The way XML lint reads its file, or standard input, with the plug-in's
// document code, handing back the bytes it was
// loaded from, which lint counts lines and columns in.
bool LoadXmlBytes(const Input& input, zelconfig::xml::XmlDocument& document, std::string& bytes, int& exitStatus);
// Reports a failed load of `path` (a status of XmlDocument's loads); the
// exit status to give.
int XmlLoadFailure(const std::string& path, int status, const zelconfig::xml::XmlError& error);

} // namespace zelcfg

#endif
