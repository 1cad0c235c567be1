#ifndef ZELCONFIG_FRONTEND_VALUECONVERSION_H
#define ZELCONFIG_FRONTEND_VALUECONVERSION_H

#include <sstream>
#include <string>

namespace zelconfig {

// The typed getters' conversions of a value's text. Each returns what a
// two-argument getter returns for it: 0, 1 when a number's conversion set
// errno (logged at level 9 under the getter's name; the value is still
// stored), -1 for a boolean text that is neither "true" nor "false" (the
// value untouched).

// The text without the carriage returns and line feeds at its end.
std::string TrimLineEnds(const std::string& raw);

// Whether an int's text is hexadecimal: "0x" or "0X" and more. There is no
// octal: "010" is ten.
bool IsHexInt(const std::string& text);

// Decimal, or hexadecimal as IsHexInt says; wraps to int.
int ConvertInt(const std::string& raw, int& value);
int ConvertFloat(const std::string& raw, float& value);
int ConvertDouble(const std::string& raw, double& value);
// "true" in any case is 1, "false" 0; trailing CR and LF are ignored.
int ConvertBool(const std::string& raw, unsigned int& value);
int ConvertString(const std::string& raw, std::string& value);

// A number as the setters write it: as a fresh, default-formatted stream
// does, with the global locale's decimal point and grouping, and %g with 6
// digits for a double (a float is written as one).
template <class Number>
std::string FormatNumber(Number value)
{
    std::ostringstream stream;
    stream << value;
    return stream.str();
}

// A boolean as the setters write it: "TRUE" or "FALSE".
const char* FormatBool(bool value);

} // namespace zelconfig

#endif
