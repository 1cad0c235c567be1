#include "XmlEscape.h"

#include <algorithm>

namespace zelconfig::xml {

namespace {

// The parser's blanks: a text of these only is dropped as indentation.
bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

} // namespace

std::string EscapeText(const std::string& value)
{
    std::string out;
    out.reserve(value.size());
    for (char c : value) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '\r': out += "&#13;"; break; // a raw one would be read as a line end
        default: out += c; break;
        }
    }
    // A text of blanks only would be dropped on reading: spell its first one.
    if (!value.empty() && std::all_of(value.begin(), value.end(), IsBlank) && value[0] != '\r') {
        out.replace(0, 1, "&#" + std::to_string(static_cast<int>(value[0])) + ";");
    }
    return out;
}

bool Holdable(const std::string& value)
{
    return std::none_of(value.begin(), value.end(), [](char c) {
        return static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r';
    });
}

std::string EscapeAttribute(const std::string& value, char quote)
{
    // Raw tabs and line ends in an attribute are read as spaces: spell them.
    std::string out;
    out.reserve(value.size());
    for (char c : value) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '\t': out += "&#9;"; break;
        case '\n': out += "&#10;"; break;
        case '\r': out += "&#13;"; break;
        default:
            if (c == quote) {
                out += quote == '"' ? "&quot;" : "&apos;";
            } else {
                out += c;
            }
            break;
        }
    }
    return out;
}

} // namespace zelconfig::xml
