#include "TypedValues.h"

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <strings.h>

#include "Internals.h"

namespace zelcfg {

namespace {

// Shortest text that reads back as the same number.
template <class T>
std::string NumberText(T value)
{
    char text[64];
    for (int digits = std::numeric_limits<T>::digits10; digits <= std::numeric_limits<T>::max_digits10;
         ++digits) {
        std::snprintf(text, sizeof text, "%.*g", digits, static_cast<double>(value));
        if (static_cast<T>(std::strtod(text, nullptr)) == value || std::isnan(value)) {
            break;
        }
    }
    return text;
}

// "an int", "a float": how messages name a value of the type.
std::string Article(ValueType type)
{
    return std::string(type == ValueType::kInt ? "an " : "a ") + TypeName(type);
}

} // namespace

const char* TypeName(ValueType type)
{
    switch (type) {
    case ValueType::kInt:
        return "int";
    case ValueType::kFloat:
        return "float";
    case ValueType::kDouble:
        return "double";
    case ValueType::kBool:
        return "bool";
    case ValueType::kString:
        break;
    }
    return "string";
}

int ConvertTyped(ValueType type, const std::string& raw, std::string& text)
{
    int status = 0;
    switch (type) {
    case ValueType::kString:
        status = zelconfig::ConvertString(raw, text);
        break;
    case ValueType::kInt: {
        int value = 0;
        status = zelconfig::ConvertInt(raw, value);
        text = std::to_string(value);
        break;
    }
    case ValueType::kFloat: {
        float value = 0;
        status = zelconfig::ConvertFloat(raw, value);
        text = NumberText(value);
        break;
    }
    case ValueType::kDouble: {
        double value = 0;
        status = zelconfig::ConvertDouble(raw, value);
        text = NumberText(value);
        break;
    }
    case ValueType::kBool: {
        unsigned int value = 0;
        status = zelconfig::ConvertBool(raw, value);
        text = value != 0 ? "true" : "false";
        break;
    }
    }
    return status;
}

bool TypedValue(ValueType type, const std::string& raw, std::string& value, std::string& error)
{
    if (type == ValueType::kString) {
        value = raw;
        return true;
    }
    if (type == ValueType::kBool) {
        if (strcasecmp(raw.c_str(), "true") == 0 || raw == "1") {
            value = zelconfig::FormatBool(true);
        } else if (strcasecmp(raw.c_str(), "false") == 0 || raw == "0") {
            value = zelconfig::FormatBool(false);
        } else {
            error = "'" + raw + "' is no bool (true, false, 1 or 0)";
            return false;
        }
        return true;
    }
    errno = 0;
    char* end = nullptr;
    std::string written; // as the library's setters write it
    if (type == ValueType::kInt) {
        // Decimal or hexadecimal, as the getter reads, but within an int.
        const long number = std::strtol(raw.c_str(), &end, zelconfig::IsHexInt(raw) ? 16 : 10);
        if (errno == 0 && number >= INT32_MIN && number <= INT32_MAX) {
            written = zelconfig::FormatNumber(static_cast<int>(number));
        }
    } else {
        // strtof reports what does not fit a float, as the getter does; the
        // setters write a float as a double.
        const double number = type == ValueType::kFloat ? std::strtof(raw.c_str(), &end)
                                                        : std::strtod(raw.c_str(), &end);
        if (errno == 0) {
            written = zelconfig::FormatNumber(number);
        }
    }
    if (raw.empty() || end == nullptr || *end != '\0' || written.empty()) {
        error = "'" + raw + "' is no " + (type == ValueType::kInt ? "int" : "number") + " in range";
        return false;
    }
    value = written;
    return true;
}

bool ValueToSet(const Invocation& invocation, const std::function<std::string()>& where, std::string& value,
                int& status)
{
    const std::string& raw = invocation.operands.back();
    std::string error;
    if (!TypedValue(invocation.type, raw, value, error)) {
        status = Fail(kExitFailure, where(), error);
        return false;
    }
    const std::string loss = LossyWrite(invocation.type, raw, value);
    if (!loss.empty() && invocation.Has(kOptionStrict)) {
        status = Fail(kExitConversion, where(), loss);
        return false;
    }
    if (!loss.empty()) {
        Report(where(), "warning: " + loss);
    }
    return true;
}

std::string LossyWrite(ValueType type, const std::string& raw, const std::string& written)
{
    bool same = true;
    if (type == ValueType::kFloat) {
        const float given = std::strtof(raw.c_str(), nullptr), read = std::strtof(written.c_str(), nullptr);
        same = given == read || (std::isnan(given) && std::isnan(read));
    } else if (type == ValueType::kDouble) {
        const double given = std::strtod(raw.c_str(), nullptr), read = std::strtod(written.c_str(), nullptr);
        same = given == read || (std::isnan(given) && std::isnan(read));
    }
    if (same) {
        return "";
    }
    return "'" + raw + "' is written as '" + written + "', which reads back as another " + TypeName(type)
           + " (the library's setters keep six significant digits)";
}

std::string PartialRead(ValueType type, const std::string& raw)
{
    if (type == ValueType::kString) {
        return "";
    }
    std::string ignored;
    const std::string text = zelconfig::TrimLineEnds(raw);
    // The getters read a C string: a NUL ends what they see.
    const std::string seen = text.substr(0, text.find('\0'));
    if (type == ValueType::kBool) {
        if (ConvertTyped(type, raw, ignored) != 0) {
            return "'" + text + "' is neither true nor false";
        }
        return seen.size() == text.size() ? "" : Article(type) + " reads only '" + seen + "' of '" + text + "'";
    }
    if (text.empty()) {
        return std::string("the value is empty: ") + Article(type) + " reads it as 0";
    }
    // The getters' own parse, with the end it reached and the range it had.
    const char* begin = text.c_str();
    char* end = nullptr;
    errno = 0;
    bool inRange = true;
    if (type == ValueType::kInt) {
        // Hexadecimal after "0x" is a 32-bit pattern (0xffffffff is -1);
        // decimal must fit an int.
        if (zelconfig::IsHexInt(text)) {
            inRange = std::strtoull(begin, &end, 16) <= UINT32_MAX;
        } else {
            const long long number = std::strtoll(begin, &end, 10);
            inRange = number >= INT_MIN && number <= INT_MAX;
        }
    } else if (type == ValueType::kFloat) {
        std::strtof(begin, &end);
    } else {
        std::strtod(begin, &end);
    }
    if (end == begin) {
        return "'" + text + "' holds no number: " + Article(type) + " reads it as 0";
    }
    if (errno == ERANGE || !inRange) {
        return "'" + text + "' is out of range for " + Article(type);
    }
    if (end != begin + text.size()) {
        return Article(type) + " reads only '" + std::string(begin, static_cast<const char*>(end)) + "' of '" + text + "'";
    }
    return "";
}

} // namespace zelcfg
