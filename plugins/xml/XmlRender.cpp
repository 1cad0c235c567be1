// XmlDocument's rendering: the bytes of the loaded file with the changed
// values and the added and removed markup spliced in, every other byte as
// it was.
#include "XmlDocument.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "XmlLayout.h"
#include "XmlText.h"

namespace zelconfig::xml {

namespace {

const std::string_view kCdataOpen = "<![CDATA[";
const std::string_view kCdataClose = "]]>";

} // namespace

namespace {

// Whether the byte at `offset` is `c`; false for an offset past the text.
bool ByteIs(std::string_view text, size_t offset, char c)
{
    return offset < text.size() && text[offset] == c;
}

// A run of blanks between markup belongs to no node (the parser drops it):
// once the CDATA section [from, to) is plain text, such a run would join it,
// so it goes too. Blanks next to text (up to `done`, where the element's
// last text edit ends) are that text's.
void TakeBlanksAround(std::string_view original, size_t done, size_t& from, size_t& to)
{
    size_t before = from;
    while (before > done && IsBlank(original[before - 1])) {
        --before;
    }
    if (before < from && before > 0 && original[before - 1] == '>') {
        from = before;
    }
    size_t after = to;
    while (after < original.size() && IsBlank(original[after])) {
        ++after;
    }
    if (after < original.size() && original[after] == '<') {
        to = after;
    }
}

} // namespace

bool XmlDocument::EditsOf(std::string_view original, const void* target, const Change& change,
                          std::vector<Edit>& edits) const
{
    if (change.attribute) {
        const pugi::xml_attribute attribute(static_cast<pugi::xml_attribute_struct*>(const_cast<void*>(target)));
        return change.value == attribute.value() || AttributeEdits(original, attribute, change.value, edits);
    }
    const pugi::xml_node element(static_cast<pugi::xml_node_struct*>(const_cast<void*>(target)));
    std::string current;
    AppendText(element, current);
    if (current == change.value) {
        return true;
    }
    if (!Inside(element.name())) {
        return false;
    }
    return HoldsText(element) ? TextEdits(original, element, change.value, edits)
                              : InsertEdits(original, element, change.value, edits);
}

// Only the bytes between the quotes change, so the file keeps its quoting.
bool XmlDocument::AttributeEdits(std::string_view original, pugi::xml_attribute attribute, const std::string& value,
                                 std::vector<Edit>& edits) const
{
    const size_t begin = OffsetOf(attribute.value());
    if (!Inside(attribute.value()) || begin == 0
        || !(ByteIs(original, begin - 1, '"') || ByteIs(original, begin - 1, '\''))) {
        return false;
    }
    const size_t end = original.find(original[begin - 1], begin);
    if (end == std::string_view::npos) {
        return false;
    }
    edits.push_back(Edit{begin, end, EscapeAttribute(value, original[begin - 1])});
    return true;
}

// The element's first text child, plain or CDATA, takes the value and the
// others are emptied: the element reads back as the value, and comments and
// child elements between them stay where they are.
bool XmlDocument::TextEdits(std::string_view original, pugi::xml_node element, const std::string& value,
                            std::vector<Edit>& edits) const
{
    bool first = true;
    size_t done = 0; // where the last text edit of this element ends
    for (pugi::xml_node child : element.children()) {
        if (!IsText(child)) {
            continue;
        }
        const std::string text = first ? value : std::string();
        const size_t begin = OffsetOf(child.value());
        if (!Inside(child.value())) {
            return false;
        }
        size_t end;
        if (child.type() == pugi::node_pcdata) {
            end = original.find('<', begin);
            if (end == std::string_view::npos) {
                return false;
            }
            edits.push_back(Edit{begin, end, EscapeText(text)});
        } else {
            end = original.find(kCdataClose, begin);
            if (end == std::string_view::npos || begin < kCdataOpen.size()
                || original.substr(begin - kCdataOpen.size(), kCdataOpen.size()) != kCdataOpen) {
                return false;
            }
            // Kept a CDATA section while the value can be one, as it reads back.
            if (first && text.find(kCdataClose) == std::string::npos && text.find('\r') == std::string::npos) {
                edits.push_back(Edit{begin, end, text});
                end += kCdataClose.size();
            } else {
                size_t from = begin - kCdataOpen.size();
                end += kCdataClose.size();
                TakeBlanksAround(original, done, from, end);
                edits.push_back(Edit{from, end, EscapeText(text)});
            }
        }
        done = end;
        first = false;
    }
    return true;
}

// An element without text gets the value where the blanks after its start
// tag are; a self-closing one gets an end tag to hold it.
bool XmlDocument::InsertEdits(std::string_view original, pugi::xml_node element, const std::string& value,
                              std::vector<Edit>& edits) const
{
    size_t close;
    if (const pugi::xml_attribute last = element.last_attribute()) {
        const size_t at = OffsetOf(last.value());
        if (!Inside(last.value()) || at == 0 || at > original.size()) {
            return false;
        }
        close = original.find(original[at - 1], at);
        close = close == std::string_view::npos ? close : original.find('>', close + 1);
    } else {
        close = original.find('>', OffsetOf(element.name()) + std::strlen(element.name()));
    }
    if (close == std::string_view::npos) {
        return false;
    }
    const std::string text = EscapeText(value);
    if (const pugi::xml_node child = element.first_child()) {
        size_t start;
        switch (child.type()) {
        case pugi::node_element: start = OffsetOf(child.name()) - 1; break;
        case pugi::node_pi: start = OffsetOf(child.name()) - 2; break;
        case pugi::node_comment: start = OffsetOf(child.value()) - 4; break;
        default: return false;
        }
        if (start <= close || !ByteIs(original, start, '<')) {
            return false;
        }
        edits.push_back(Edit{close + 1, start, text});
    } else if (ByteIs(original, close - 1, '/')) {
        edits.push_back(Edit{close - 1, close + 1, ">" + text + "</" + element.name() + ">"});
    } else {
        const size_t end = original.find('<', close + 1);
        if (end == std::string_view::npos) {
            return false;
        }
        edits.push_back(Edit{close + 1, end, text});
    }
    return true;
}

bool XmlDocument::Render(std::string_view original, std::string& out) const
{
    if (!m_doc || original.size() != m_size) {
        return false;
    }
    std::vector<Edit> edits;
    for (const auto& changed : m_changed) {
        if (!EditsOf(original, changed.first, changed.second, edits)) {
            return false;
        }
    }
    std::string_view step;
    for (const Structure& change : m_structure) {
        if (!StructureEdits(original, change, step, edits)) {
            return false;
        }
    }
    // By place; at one place the insertions first, in the order they were
    // asked in, then what replaces or removes bytes there.
    std::stable_sort(edits.begin(), edits.end(), [](const Edit& a, const Edit& b) {
        return a.begin != b.begin ? a.begin < b.begin : (a.end == a.begin) > (b.end == b.begin);
    });
    out.clear();
    out.reserve(original.size());
    size_t done = 0, removed = 0;
    for (const Edit& edit : edits) {
        if (edit.begin < removed && (!edit.removes || edit.end <= removed)) {
            continue; // inside a removed element: an attribute removed with it too
        }
        if (edit.begin < done || edit.end < edit.begin || edit.end > original.size()) {
            return false;
        }
        removed = edit.removes ? edit.end : removed;
        out.append(original.substr(done, edit.begin - done));
        out += edit.text;
        done = edit.end;
    }
    out.append(original.substr(done));
    return true;
}

} // namespace zelconfig::xml
