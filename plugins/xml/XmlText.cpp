#include "XmlText.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "XmlDocument.h"

namespace zelconfig::xml {

namespace {

const char kEntityDeclarations[] = "entity declarations in a DOCTYPE are not supported";

// Bytes that may continue an XML name, so a reference's end is found.
bool IsNameByte(char c)
{
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == ':' || c == '.' || c == '-'
        || static_cast<unsigned char>(c) >= 0x80;
}

// p follows a '&'. The parser decodes the predefined entities and character
// references, and leaves any other reference as it stands, which would then
// read as text: that is what a reference to an entity of the document type,
// or to none, and a reference to a character XML does not allow look like.
// Null when p starts no such reference, else the reason.
const char* BadReference(const char* p, const char* end)
{
    if (p < end && *p == '#') {
        const bool hex = p + 1 < end && p[1] == 'x';
        const char* const first = p + (hex ? 2 : 1);
        const char* digit = first;
        unsigned long code = 0;
        for (; digit < end; ++digit) {
            const unsigned long lower = static_cast<unsigned char>(*digit) | 0x20u;
            unsigned long value;
            if (*digit >= '0' && *digit <= '9') {
                value = static_cast<unsigned long>(*digit - '0');
            } else if (hex && lower >= 'a' && lower <= 'f') {
                value = lower - 'a' + 10;
            } else {
                break;
            }
            code = std::min(code * (hex ? 16 : 10) + value, 0x110000ul);
        }
        const bool allowed = code == 0x9 || code == 0xA || code == 0xD || (code >= 0x20 && code <= 0xD7FF)
            || (code >= 0xE000 && code <= 0xFFFD) || (code >= 0x10000 && code <= 0x10FFFF);
        return digit < end && *digit == ';' && digit > first && allowed
            ? nullptr
            : "Character reference to no character XML allows";
    }
    const char* name = p;
    while (p < end && IsNameByte(*p)) {
        ++p;
    }
    if (p == name || p == end || *p != ';') {
        return nullptr; // a bare '&', which the parser takes as text
    }
    const std::string_view entity(name, static_cast<size_t>(p - name));
    return entity == "lt" || entity == "gt" || entity == "amp" || entity == "apos" || entity == "quot"
        ? nullptr
        : "Reference to an entity other than lt, gt, amp, apos, quot";
}

// The first entity declaration in a document type (the parser's value of
// it), past comments, processing instructions and quoted literals; null
// when it declares none.
const char* EntityDeclaration(const char* doctype)
{
    for (const char* p = doctype; *p != '\0'; ++p) {
        const char* end;
        if (std::strncmp(p, "<!ENTITY", 8) == 0) {
            return p;
        } else if (std::strncmp(p, "<!--", 4) == 0) {
            end = std::strstr(p + 4, "-->");
        } else if (std::strncmp(p, "<?", 2) == 0) {
            end = std::strstr(p + 2, "?>");
        } else if (*p == '"' || *p == '\'') {
            end = std::strchr(p + 1, *p);
        } else {
            continue;
        }
        if (end == nullptr) {
            return nullptr;
        }
        p = end;
    }
    return nullptr;
}

} // namespace

void Position::Feed(const char* p, size_t size)
{
    // Editors show no byte-order mark.
    if (at == 0 && target >= 3 && size >= 3 && std::memcmp(p, "\xEF\xBB\xBF", 3) == 0) {
        p += 3;
        size -= 3;
        at = 3;
    }
    // A line ends at a line feed, a carriage return, or both; a column
    // is a character, which UTF-8's continuation bytes are not.
    for (; size > 0 && at < target; ++p, --size, ++at) {
        const unsigned char c = static_cast<unsigned char>(*p);
        if ((c == '\n' && !afterCarriageReturn) || c == '\r') {
            ++line;
            column = 1;
        } else if (c != '\n' && (c & 0xC0) != 0x80) {
            ++column;
        }
        afterCarriageReturn = c == '\r';
    }
}

void Position::Into(XmlError& error) const
{
    error.line = line;
    error.column = column;
}

bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool IsText(pugi::xml_node node)
{
    return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata;
}

bool HoldsText(pugi::xml_node element)
{
    return std::any_of(element.children().begin(), element.children().end(), IsText);
}

void AppendText(pugi::xml_node element, std::string& out)
{
    for (pugi::xml_node child = element.first_child(); child; child = child.next_sibling()) {
        if (IsText(child)) {
            out += child.value();
        }
    }
}

pugi::xml_node NextInOrder(pugi::xml_node node, pugi::xml_node root)
{
    if (node.first_child()) {
        return node.first_child();
    }
    while (node != root && !node.next_sibling()) {
        node = node.parent();
    }
    return node != root ? node.next_sibling() : pugi::xml_node();
}

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

const char* FindBadReference(const char* p, const char* end, const char*& why)
{
    while ((p = static_cast<const char*>(std::memchr(p, '&', static_cast<size_t>(end - p)))) != nullptr) {
        if ((why = BadReference(++p, end)) != nullptr) {
            return p - 1;
        }
    }
    return nullptr;
}

// Entities are never expanded: a reference to one the document type declares
// is refused as unsupported, at the declaration.
int BadReferenceInValues(char* raw, size_t size, XmlError& error)
{
    pugi::xml_document doc;
    const pugi::xml_parse_result parsed = doc.load_buffer_inplace(
        raw, size, pugi::parse_minimal | pugi::parse_cdata | pugi::parse_doctype, pugi::encoding_utf8);
    if (parsed.status == pugi::status_out_of_memory) {
        error.description = parsed.description();
        return kStatusInvalid;
    }
    if (!parsed) {
        return 0; // the real parse says why
    }
    const char* declaration = nullptr;
    for (pugi::xml_node node = doc.first_child(); node && declaration == nullptr; node = node.next_sibling()) {
        declaration = node.type() == pugi::node_doctype ? EntityDeclaration(node.value()) : nullptr;
    }
    const auto check = [&](const char* value) {
        const char* why = nullptr;
        const char* const at = FindBadReference(value, value + std::strlen(value), why);
        if (at != nullptr && at[1] != '#' && declaration != nullptr) {
            error.offset = static_cast<size_t>(declaration - raw);
            error.description = kEntityDeclarations;
            error.unsupported = true;
        } else if (at != nullptr) {
            error.offset = static_cast<size_t>(at - raw);
            error.description = why;
        }
        return at != nullptr;
    };
    for (pugi::xml_node node = doc.first_child(); node; node = NextInOrder(node, doc)) {
        if (node.type() == pugi::node_pcdata && check(node.value())) {
            return kStatusMalformed;
        }
        for (pugi::xml_attribute attribute : node.attributes()) {
            if (check(attribute.value())) {
                return kStatusMalformed;
            }
        }
    }
    return 0;
}

std::string_view DeclaredEncoding(std::string_view text)
{
    if (text.substr(0, 3) == "\xEF\xBB\xBF") {
        text.remove_prefix(3);
    }
    if (text.substr(0, 5) != "<?xml" || text.size() < 6 || !IsBlank(text[5])) {
        return {};
    }
    text = text.substr(0, text.find("?>"));
    const size_t name = text.find("encoding");
    size_t p = name == std::string_view::npos ? text.size() : name + 8;
    while (p < text.size() && (IsBlank(text[p]) || text[p] == '=')) {
        ++p;
    }
    if (p >= text.size() || (text[p] != '"' && text[p] != '\'')) {
        return {};
    }
    const size_t end = text.find(text[p], p + 1);
    return end == std::string_view::npos ? std::string_view() : text.substr(p + 1, end - p - 1);
}

bool IsUtf8Name(std::string_view name)
{
    std::string folded;
    for (char c : name) {
        if (c != '-') {
            folded += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
    }
    return folded == "utf8";
}

const char* FirstNonAscii(const char* p, size_t size)
{
    return std::find_if(p, p + size, [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
}

size_t FirstInvalidUtf8(const char* p, size_t size)
{
    const auto byte = [p](size_t i) { return static_cast<unsigned char>(p[i]); };
    size_t i = 0;
    while (i < size) {
        const unsigned char lead = byte(i);
        if (lead < 0x80) {
            ++i;
            continue;
        }
        // The length a lead byte announces, and the range its first
        // continuation byte must fall in: narrower after E0, ED, F0 and F4,
        // which would otherwise begin overlong forms, surrogates or code
        // points past U+10FFFF.
        size_t length = 0;
        unsigned char low = 0x80, high = 0xBF;
        if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3;
            low = lead == 0xE0 ? 0xA0 : 0x80;
            high = lead == 0xED ? 0x9F : 0xBF;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4;
            low = lead == 0xF0 ? 0x90 : 0x80;
            high = lead == 0xF4 ? 0x8F : 0xBF;
        }
        if (length == 0 || i + length > size || byte(i + 1) < low || byte(i + 1) > high) {
            return i;
        }
        for (size_t k = 2; k < length; ++k) {
            if ((byte(i + k) & 0xC0) != 0x80) {
                return i;
            }
        }
        i += length;
    }
    return size;
}

} // namespace zelconfig::xml
