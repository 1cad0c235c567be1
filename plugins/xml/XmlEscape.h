#ifndef ZELCONFIG_PLUGINS_XML_XMLESCAPE_H
#define ZELCONFIG_PLUGINS_XML_XMLESCAPE_H

#include <string>

// How values are written into XML so that they read back unchanged.
namespace zelconfig::xml {

// A value as element text.
std::string EscapeText(const std::string& value);

// A value as an attribute value between `quote`s.
std::string EscapeAttribute(const std::string& value, char quote);

// XML holds no NUL and no other control character but tab and line ends,
// not even as a character reference.
bool Holdable(const std::string& value);

} // namespace zelconfig::xml

#endif
