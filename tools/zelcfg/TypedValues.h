#ifndef ZELCONFIG_TOOLS_TYPEDVALUES_H
#define ZELCONFIG_TOOLS_TYPEDVALUES_H

#include <string>

#include "Zelcfg.h"

namespace zelcfg {

// "int", "float", "double", "bool" or "string", as --type names it.
const char* TypeName(ValueType type);

// A CFG value converted as the library's typed getters convert it: their
// status (0, 1 out of range, -1 no boolean), `text` what to print.
int ConvertTyped(ValueType type, const std::string& raw, std::string& text);

// A value for set, checked against --type and written as the library's
// setters write it; false with the reason.
bool TypedValue(ValueType type, const std::string& raw, std::string& value, std::string& error);

// Why the typed getter of `type` does not read the whole of `raw` as a value
// of its type (text after the number, no number, an empty value, a number
// out of range, a boolean that is neither "true" nor "false"); empty when
// it does. Line ends at the end are ignored, as the getters ignore them.
std::string PartialRead(ValueType type, const std::string& raw);

} // namespace zelcfg

#endif
