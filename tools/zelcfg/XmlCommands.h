#ifndef ZELCONFIG_TOOLS_XMLCOMMANDS_H
#define ZELCONFIG_TOOLS_XMLCOMMANDS_H

#include <string>

#include "Zelcfg.h"

namespace zelcfg {

// set on an XML file, with the plug-in's own document code: it changes the
// elements or attributes the key names, or adds those it names and the file
// lacks (--attribute: an attribute).
int XmlSet(const Invocation& invocation, const Input& input);

// unset on an XML file: removes the elements, or else the attributes, the
// key names.
int XmlUnset(const Invocation& invocation, const Input& input);

// list on an XML file, with the plug-in's own document code when the tool
// is built with it.
int XmlList(const Invocation& invocation, const Input& input);

// Why a front end's Parse of an XML file failed, in words.
std::string XmlParseFailure(int status);

} // namespace zelcfg

#endif
