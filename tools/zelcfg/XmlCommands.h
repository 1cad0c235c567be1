#ifndef ZELCONFIG_TOOLS_XMLCOMMANDS_H
#define ZELCONFIG_TOOLS_XMLCOMMANDS_H

#include <string>

#include "Input.h"
#include "Zelcfg.h"
#include "ZelConfigXmlDocument.h"

namespace zelcfg {

// set on an XML file, through the library's XML document: it changes the
// element or attribute the key names, or adds those it names and the file
// lacks (--attribute: an attribute).
int XmlSet(const Invocation& invocation, const Input& input);

// unset on an XML file: removes the elements, or else the attributes, the
// key names.
int XmlUnset(const Invocation& invocation, const Input& input);

// list on an XML file: KEY=VALUE lines, or KEY and VALUE as NUL-terminated
// fields under --null.
int XmlList(const Invocation& invocation, const Input& input);

// lint on an XML file that loads: FILE:LINE:COLUMN: lines for what the
// library's XML document finds (XmlDocument::Lint), exit 1 when it finds
// anything.
int XmlLint(const Invocation& invocation, const Input& input);

// The text of an XML key as the library's string getter reads it, in `raw`,
// with the getter's status in `status`; false after reporting a file that
// cannot be read, with the exit status in `status`.
bool XmlFind(const Input& input, const std::string& key, std::string& raw, int& status);

// The way every XML command reads its file, or standard input: false after
// reporting why it could not, in one wording per cause, with the exit status
// in `exitStatus`.
bool ReadXml(const Input& input, zelconfig::XmlDocument& document, int& exitStatus);

} // namespace zelcfg

#endif
