#ifndef ZELCONFIG_TOOLS_TYPEDVALUES_H
#define ZELCONFIG_TOOLS_TYPEDVALUES_H

#include <functional>
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

// VALUE of a set command line, as TypedValue writes it for --type; a
// lossy number is warned about on stderr, or refused under --strict, at the
// place `where` gives. False after reporting a refusal, with the exit status
// to give.
bool ValueToSet(const Invocation& invocation, const std::function<std::string()>& where, std::string& value,
                int& status);

// Why `written`, the text TypedValue gave for `raw`, does not read back as
// the number `raw` gives (the library's setters keep six significant
// digits); empty when it does, and for types other than float and double.
std::string LossyWrite(ValueType type, const std::string& raw, const std::string& written);

// Why the typed getter of `type` does not read the whole of `raw` as a value
// of its type (text after the number, no number, an empty value, a number
// out of range, a boolean that is neither "true" nor "false"); empty when
// it does. Line ends at the end are ignored, as the getters ignore them.
std::string PartialRead(ValueType type, const std::string& raw);

} // namespace zelcfg

#endif
