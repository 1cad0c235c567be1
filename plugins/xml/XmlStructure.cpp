// Adding and removing elements and attributes: the edits the tool makes
// beyond changing values. Like a changed value, each is kept beside the tree
// and becomes bytes only when the file is rendered, so that every byte the
// edit does not touch stays.
#include <algorithm>
#include <cctype>
#include <cstring>

#include "XmlDocument.h"
#include "XmlLayout.h"
#include "XmlText.h"

namespace zelconfig::xml {

namespace {

using layout::kNone;

// A name a new element or attribute may take: letters, digits and "_:-."
// (no digit, '-' or '.' first) in ASCII, and any byte beyond it (UTF-8).
bool IsXmlName(std::string_view name)
{
    const auto start = [](unsigned char c) { return std::isalpha(c) != 0 || c == '_' || c == ':' || c >= 0x80; };
    const auto next = [&](unsigned char c) { return start(c) || std::isdigit(c) != 0 || c == '-' || c == '.'; };
    if (name.empty() || !start(static_cast<unsigned char>(name[0]))) {
        return false;
    }
    return std::all_of(name.begin() + 1, name.end(), [&](char c) { return next(static_cast<unsigned char>(c)); });
}

// The last element child, skipping comments, instructions and text.
pugi::xml_node LastElementChild(pugi::xml_node parent)
{
    pugi::xml_node child = parent.last_child();
    while (child && child.type() != pugi::node_element) {
        child = child.previous_sibling();
    }
    return child;
}

// One step of the file's indentation: how much deeper the first child that
// starts its own line stands than its parent's line; two spaces in a file
// without one. The walk asks for lines in document order, so a cursor
// answers it in one pass over the text however deep the file is.
std::string_view StepOf(std::string_view text, pugi::xml_node root, const char* base)
{
    layout::LineCursor lines(text);
    for (pugi::xml_node node = root; node; node = NextInOrder(node, root)) {
        const pugi::xml_node child = node.first_child();
        if (child.type() == pugi::node_element) {
            const size_t start = static_cast<size_t>(child.name() - base) - 1;
            const std::string_view outer = lines.Indentation(static_cast<size_t>(node.name() - base));
            const std::string_view inner = lines.Indentation(start);
            if (lines.FirstOnLine(start) && inner.size() > outer.size() && inner.substr(0, outer.size()) == outer) {
                return inner.substr(outer.size());
            }
        }
    }
    return "  ";
}

// New elements as text: the outermost first, each inner one a line deeper.
// The innermost holds `text` or, when `attribute` is given, that attribute.
std::string NewElements(const std::vector<std::string>& names, size_t i, const std::string& indent,
                        std::string_view step, std::string_view lineEnd, const std::string& attribute,
                        const std::string& value)
{
    const std::string& name = names[i];
    if (i + 1 == names.size()) {
        if (!attribute.empty()) {
            return "<" + name + " " + attribute + "=\"" + EscapeAttribute(value, '"') + "\"/>";
        }
        return value.empty() ? "<" + name + "/>" : "<" + name + ">" + EscapeText(value) + "</" + name + ">";
    }
    const std::string inner = indent + std::string(step);
    return "<" + name + ">" + std::string(lineEnd) + inner
        + NewElements(names, i + 1, inner, step, lineEnd, attribute, value) + std::string(lineEnd) + indent + "</"
        + name + ">";
}

// The bytes a removed attribute takes, [from, to): from the blanks before its
// name (at `name`) to the closing quote of its value (at `value`).
bool AttributeRemoval(std::string_view original, size_t name, size_t value, size_t& from, size_t& to)
{
    const size_t close = original.find(original[value - 1], value);
    if (close == kNone) {
        return false;
    }
    from = name;
    while (from > 0 && IsBlank(original[from - 1])) {
        --from;
    }
    to = close + 1;
    return true;
}

// The bytes a removed element (at `start`) takes, [from, to): its whole lines
// when it stands alone on them.
bool ElementRemoval(std::string_view original, size_t start, size_t& from, size_t& to)
{
    const size_t end = layout::ElementEnd(original, start);
    if (end == kNone) {
        return false;
    }
    const size_t lineEnd = layout::BlankToLineEnd(original, end);
    const bool alone = layout::FirstOnLine(original, start) && lineEnd != kNone;
    from = alone ? layout::LineStart(original, start) : start;
    to = alone ? lineEnd : end;
    return true;
}

// Where a new attribute goes: after the last attribute (its value at `value`),
// in its quotes; without one (kNone), after the name. kNone when it cannot.
size_t AttributePlace(std::string_view original, size_t afterName, size_t value, char& quote)
{
    if (value == kNone) {
        return afterName;
    }
    quote = original[value - 1];
    const size_t close = original.find(quote, value);
    return close == kNone ? kNone : close + 1;
}

// Where new elements go, [from, to), and what surrounds them there: `before`,
// then `indent` and the elements, then `after`.
struct Placement
{
    size_t from, to;
    std::string before, indent, after;
};

// After the last element child (at `last`), at its indentation when it starts
// its line; what follows it there (the parent's end tag) gets a line of its own.
bool AfterLastChild(std::string_view original, size_t last, std::string_view lineEnd, const std::string& outer,
                    Placement& place)
{
    const size_t lastEnd = layout::ElementEnd(original, last);
    if (lastEnd == kNone) {
        return false;
    }
    if (layout::FirstOnLine(original, last)) {
        place.indent = std::string(layout::Indentation(original, last));
    }
    place.from = place.to = layout::SkipTrailers(original, lastEnd);
    place.before = std::string(lineEnd);
    place.after = layout::BlankToLineEnd(original, place.from) == kNone ? std::string(lineEnd) + outer : "";
    return true;
}

// Into an element (at `start`) without element children: a self-closing one
// gets an end tag; else before the end tag, on a line of their own.
bool IntoChildless(std::string_view original, size_t start, const char* name, std::string_view lineEnd,
                   const std::string& outer, Placement& place)
{
    bool selfClosing = false;
    const size_t tagEnd = layout::StartTagEnd(original, start, selfClosing);
    if (tagEnd == kNone) {
        return false;
    }
    const std::string newLine(lineEnd);
    if (selfClosing) {
        place = Placement{tagEnd - 2, tagEnd, ">" + newLine, place.indent, newLine + outer + "</" + name + ">"};
        return true;
    }
    const size_t end = layout::ElementEnd(original, start);
    const size_t close = end == kNone ? kNone : original.rfind('<', end - 1);
    if (close == kNone || close < tagEnd) {
        return false;
    }
    if (layout::FirstOnLine(original, close)) {
        const size_t line = layout::LineStart(original, close);
        place = Placement{line, line, "", place.indent, newLine};
    } else {
        place = Placement{close, close, newLine, place.indent, newLine + outer};
    }
    return true;
}

// The indentation `blanks` had under `from` (its base, then steps of
// `fromStep`), as it is under `to`: the same number of steps of `toStep`.
std::string Translated(std::string_view blanks, std::string_view from, std::string_view fromStep,
                       std::string_view to, std::string_view toStep)
{
    std::string out(to);
    if (blanks.substr(0, from.size()) != from) {
        return out; // shallower than the piece's first line: no nesting goes there
    }
    blanks.remove_prefix(from.size());
    while (!fromStep.empty() && blanks.substr(0, fromStep.size()) == fromStep) {
        blanks.remove_prefix(fromStep.size());
        out += toStep;
    }
    out += blanks;
    return out;
}

// A piece copied from another file as this file lays it out: its line ends
// this file's, and the indentation of each line that starts with markup
// after markup, or inside a tag, moved from under the piece's base to under
// `base` in this file's step. Text, attribute values, comments, CDATA
// sections and instructions keep their blanks: they may be values.
std::string Reindented(const XmlDocument::Piece& piece, std::string_view base, std::string_view step,
                       std::string_view lineEnd)
{
    const std::string_view text = piece.text;
    std::string out;
    out.reserve(text.size() + text.size() / 8);
    std::string_view close; // what ends the comment, CDATA section or instruction we are in
    bool inTag = false;
    char quote = 0, solid = 0; // the last byte but a blank outside those
    for (size_t i = 0; i < text.size();) {
        const char c = text[i];
        const bool crlf = c == '\r' && i + 1 < text.size() && text[i + 1] == '\n';
        if (c == '\n' || crlf) {
            out += lineEnd;
            i += crlf ? 2 : 1;
            size_t end = i;
            while (end < text.size() && (text[end] == ' ' || text[end] == '\t')) {
                ++end;
            }
            if (close.empty() && quote == 0 && (inTag || (solid == '>' && end < text.size() && text[end] == '<'))) {
                out += Translated(text.substr(i, end - i), piece.indent, piece.step, base, step);
                i = end;
            }
            continue;
        }
        if (!close.empty()) {
            if (text.substr(i, close.size()) == close) {
                out += close;
                i += close.size();
                close = std::string_view();
                solid = '>';
                continue;
            }
        } else if (inTag) {
            if (quote != 0) {
                quote = c == quote ? 0 : quote;
            } else if (c == '"' || c == '\'') {
                quote = c;
            } else if (c == '>') {
                inTag = false;
            }
        } else if (c == '<') {
            const std::string_view rest = text.substr(i);
            close = rest.substr(0, 4) == "<!--" ? "-->" : rest.substr(0, 9) == "<![CDATA[" ? "]]>"
                  : rest.substr(0, 2) == "<?"   ? "?>" : "";
            if (close.empty()) {
                inTag = true;
            } else {
                const size_t open = close == "-->" ? 4 : close == "]]>" ? 9 : 2;
                out += rest.substr(0, open);
                i += open;
                continue;
            }
        }
        if (c != ' ' && c != '\t') {
            solid = c;
        }
        out += c;
        ++i;
    }
    return out;
}

} // namespace

// Where the element starts, or the first of the comments directly above it:
// each a node of its own, first on its line, with one line end and blanks
// only before the next.
size_t XmlDocument::CommentsAbove(std::string_view original, pugi::xml_node element) const
{
    size_t start = OffsetOf(element.name()) - 1;
    if (!layout::FirstOnLine(original, start)) {
        return start;
    }
    for (pugi::xml_node node = element.previous_sibling(); node && node.type() == pugi::node_comment;
         node = node.previous_sibling()) {
        if (!Inside(node.value()) || OffsetOf(node.value()) < 4) {
            break;
        }
        const size_t begin = OffsetOf(node.value()) - 4;
        const size_t end = original.find("-->", begin + 4);
        if (end == kNone || end + 3 > start || original.substr(begin, 4) != "<!--"
            || !layout::FirstOnLine(original, begin)) {
            break;
        }
        const std::string_view gap = original.substr(end + 3, start - end - 3);
        if (gap.find_first_not_of(" \t\r\n") != kNone || std::count(gap.begin(), gap.end(), '\n') != 1) {
            break;
        }
        start = begin;
    }
    return start;
}

int XmlDocument::SetNode(Node node, const std::string& value)
{
    if (!ValueHoldable(value)) {
        return kStatusNotHoldable;
    }
    m_changed[node.object] = Change{node.attribute, value};
    return 0;
}

int XmlDocument::RemoveNode(Node node, bool withComments, std::string& why)
{
    if (!MarkupEditable(why)) {
        return kEditRefused;
    }
    Structure removal{Structure::kRemove, node.object, node.attribute, {}, {}, {}};
    removal.comments = withComments;
    m_structure.push_back(std::move(removal));
    return 0;
}

bool XmlDocument::PieceOf(std::string_view original, Node node, const std::vector<Node>& without, Piece& piece) const
{
    const pugi::xml_node element(static_cast<pugi::xml_node_struct*>(const_cast<void*>(node.object)));
    if (node.attribute || !element || !Inside(element.name()) || original.size() != m_size) {
        return false;
    }
    const size_t start = OffsetOf(element.name()) - 1;
    const size_t end = layout::ElementEnd(original, start);
    if (end == kNone) {
        return false;
    }
    const size_t first = CommentsAbove(original, element);
    std::vector<std::pair<size_t, size_t>> cuts;
    for (const Node& gone : without) {
        size_t from = 0, to = 0;
        if (gone.attribute) {
            const pugi::xml_attribute attribute(
                static_cast<pugi::xml_attribute_struct*>(const_cast<void*>(gone.object)));
            if (!Inside(attribute.name()) || !Inside(attribute.value())
                || !AttributeRemoval(original, OffsetOf(attribute.name()), OffsetOf(attribute.value()), from, to)) {
                return false;
            }
        } else {
            const pugi::xml_node inner(static_cast<pugi::xml_node_struct*>(const_cast<void*>(gone.object)));
            if (!Inside(inner.name()) || !ElementRemoval(original, OffsetOf(inner.name()) - 1, from, to)) {
                return false;
            }
        }
        cuts.emplace_back(std::max(from, first), std::min(to, end));
    }
    std::sort(cuts.begin(), cuts.end());
    piece.text.clear();
    size_t done = first;
    for (const auto& cut : cuts) {
        if (cut.first >= done) {
            piece.text.append(original.substr(done, cut.first - done));
        }
        done = std::max(done, cut.second);
    }
    piece.text.append(original.substr(done, end - std::min(done, end)));
    piece.indent = std::string(layout::Indentation(original, first));
    if (!m_stepKnown) {
        m_step = std::string(StepOf(original, m_root, m_buffer.get()));
        m_stepKnown = true;
    }
    piece.step = m_step;
    return true;
}

int XmlDocument::Insert(Node at, Where where, std::vector<Piece> pieces, std::string& why)
{
    if (!MarkupEditable(why)) {
        return kEditRefused;
    }
    const pugi::xml_node element(static_cast<pugi::xml_node_struct*>(const_cast<void*>(at.object)));
    if (at.attribute || !element) {
        why = "new elements go beside or into an element";
        return kEditRefused;
    }
    if (where == Where::kInto && HoldsText(element)) {
        why = std::string(element.name()) + " holds text, which a new element beside it would join";
        return kEditRefused;
    }
    Structure change{Structure::kInsert, at.object, false, {}, {}, {}};
    change.where = where;
    change.pieces = std::move(pieces);
    m_structure.push_back(std::move(change));
    return 0;
}

int XmlDocument::InsertAttribute(Node element, Node near, bool after, const std::string& name,
                                 const std::string& value, std::string& why)
{
    if (!ValueHoldable(value)) {
        return kStatusNotHoldable;
    }
    if (!MarkupEditable(why)) {
        return kEditRefused;
    }
    if (element.attribute || !element || !IsXmlName(name) || near.object == element.object) {
        why = name + ": no attribute of an element";
        return kEditRefused;
    }
    Structure change{Structure::kAddAttribute, element.object, false, {}, name, value};
    change.near = near.object;
    change.after = after;
    m_structure.push_back(std::move(change));
    return 0;
}

void XmlDocument::Discard()
{
    m_changed.clear();
    m_structure.clear();
}

// The pieces Insert recorded, as one edit at their place.
bool XmlDocument::PieceEdits(std::string_view original, const Structure& change, std::string_view step,
                             std::vector<Edit>& edits) const
{
    const pugi::xml_node at(static_cast<pugi::xml_node_struct*>(const_cast<void*>(change.node)));
    const size_t start = OffsetOf(at.name()) - 1;
    const std::string_view lineEnd = layout::LineEnd(original);
    std::string text;
    if (change.where == Where::kInto) {
        const std::string outer(layout::Indentation(original, start));
        Placement place{kNone, kNone, {}, outer + std::string(step), {}};
        if (!IntoChildless(original, start, at.name(), lineEnd, outer, place)) {
            return false;
        }
        text = place.before;
        for (size_t i = 0; i < change.pieces.size(); ++i) {
            text += (i > 0 ? std::string(lineEnd) : std::string()) + place.indent;
            text += Reindented(change.pieces[i], place.indent, step, lineEnd);
        }
        edits.push_back(Edit{place.from, place.to, text + place.after});
        return true;
    }
    const bool after = change.where == Where::kAfter;
    const size_t first = after ? start : CommentsAbove(original, at);
    const bool own = layout::FirstOnLine(original, first);
    const std::string base(layout::Indentation(original, first));
    for (const Piece& piece : change.pieces) {
        if (own && after) {
            text += std::string(lineEnd) + base;
        } else if (own) {
            text += base;
        }
        text += Reindented(piece, base, step, lineEnd);
        if (own && !after) {
            text += lineEnd;
        }
    }
    size_t from = first;
    if (after) {
        const size_t end = layout::ElementEnd(original, start);
        if (end == kNone) {
            return false;
        }
        from = own ? layout::SkipTrailers(original, end) : end;
    } else if (own) {
        from = layout::LineStart(original, first);
    }
    edits.push_back(Edit{from, from, text});
    return true;
}

// A new attribute beside the one InsertAttribute named, in its quotes.
bool XmlDocument::AttributeInsertEdits(std::string_view original, const Structure& change,
                                       std::vector<Edit>& edits) const
{
    const pugi::xml_attribute near(static_cast<pugi::xml_attribute_struct*>(const_cast<void*>(change.near)));
    if (!Inside(near.name()) || !Inside(near.value()) || OffsetOf(near.value()) == 0) {
        return false;
    }
    const size_t value = OffsetOf(near.value());
    const char quote = original[value - 1];
    if (quote != '"' && quote != '\'') {
        return false;
    }
    const std::string text = change.name + "=" + quote + EscapeAttribute(change.value, quote) + quote;
    if (!change.after) {
        const size_t at = OffsetOf(near.name());
        edits.push_back(Edit{at, at, text + " "});
        return true;
    }
    const size_t close = original.find(quote, value);
    if (close == kNone) {
        return false;
    }
    edits.push_back(Edit{close + 1, close + 1, " " + text});
    return true;
}

// Whether markup may be added to or removed from the file: not past a NUL
// byte, where the parser stopped reading it.
bool XmlDocument::MarkupEditable(std::string& why) const
{
    if (m_nul != std::string_view::npos) {
        why = "byte " + std::to_string(m_nul) + " is a NUL, where the XML ends; markup cannot be added or removed";
        return false;
    }
    return true;
}

// The start of every edit that may add: the value checked, the key split.
int XmlDocument::StartEdit(const std::string& key, const std::string& value, std::string& scratch,
                           std::vector<KeyPart>& parts, std::string& why) const
{
    if (!ValueHoldable(value)) {
        return kStatusNotHoldable;
    }
    return m_doc && MarkupEditable(why) && SplitKey(key, m_style, scratch, parts, &why) ? 0 : kEditRefused;
}

// Records the missing parts [matched, count) as new elements under the one
// element of `level`, the innermost holding `value` as its text or, when
// `attribute` is given, as that attribute; kEditRefused with the reason when
// they cannot be placed there.
int XmlDocument::AddMissing(std::string_view key, const std::vector<KeyPart>& parts, size_t count, size_t matched,
                            const std::vector<pugi::xml_node>& level, const std::string& attribute,
                            const std::string& value, std::string& why)
{
    const std::string reached(key.substr(0, matched == 0 ? 0 : parts[matched - 1].end));
    for (size_t i = matched; i < count; ++i) {
        if (!IsXmlName(std::string_view(parts[i].name, parts[i].length))) {
            why = std::string(parts[i].name, parts[i].length) + " is no XML name";
            return kEditRefused;
        }
        if (i > matched && parts[i].index > 1) {
            why = std::string(key) + ": a new element is the first of its name; index it [1] or not at all";
            return kEditRefused;
        }
    }
    if (level.size() > 1) {
        why = reached + " names " + std::to_string(level.size()) + " elements; an index, as in " + reached
            + "[1], picks the one to add to";
        return kEditRefused;
    }
    const KeyPart& first = parts[matched];
    const size_t siblings = CountNamed(level[0], KeyPart{first.name, first.length, 0, 0, first.quoted});
    if (first.index > siblings + 1) {
        why = std::string(key) + ": " + (matched == 0 ? std::string("the root element") : reached) + " has "
            + std::to_string(siblings) + " " + std::string(first.name, first.length) + " element"
            + (siblings == 1 ? "" : "s") + "; the next is [" + std::to_string(siblings + 1) + "]";
        return kEditRefused;
    }
    if (HoldsText(level[0])) {
        why = (matched == 0 ? std::string("the root element") : reached)
            + " holds text, which a new element beside it would join";
        return kEditRefused;
    }
    Structure change{Structure::kAddElements, level[0].internal_object(), false, {}, attribute, value};
    for (size_t i = matched; i < count; ++i) {
        change.elements.emplace_back(parts[i].name, parts[i].length);
    }
    m_structure.push_back(std::move(change));
    return 0;
}

int XmlDocument::Add(const std::string& key, const std::string& value, std::string& why)
{
    std::vector<KeyPart> parts;
    std::string scratch;
    const int started = StartEdit(key, value, scratch, parts, why);
    if (started != 0) {
        return started;
    }
    std::vector<pugi::xml_node> level;
    const size_t matched = Reach(parts, parts.size(), level);
    std::string text;
    if (matched == parts.size() || (matched + 1 == parts.size() && Find(key, text) == 0)) {
        why = key + " is there already";
        return kEditRefused;
    }
    if (JoinedRefusal(key, parts, parts.size(), matched, true, why)) {
        return kEditRefused;
    }
    return AddMissing(key, parts, parts.size(), matched, level, std::string(), value, why);
}

int XmlDocument::SetAttribute(const std::string& key, const std::string& value, std::string& why)
{
    std::vector<KeyPart> parts;
    std::string scratch;
    const int started = StartEdit(key, value, scratch, parts, why);
    if (started != 0) {
        return started;
    }
    const KeyPart& attribute = parts.back();
    const std::string name(attribute.name, attribute.length);
    if (attribute.index != 0 || !IsXmlName(name)) {
        why = key + ": " + std::string(key.substr(parts.size() > 1 ? parts[parts.size() - 2].end + 1 : 0))
            + " is no attribute name";
        return kEditRefused;
    }
    const size_t elements = parts.size() - 1;
    std::vector<pugi::xml_node> level;
    const size_t matched = Reach(parts, elements, level);
    if (matched < elements) {
        if (JoinedRefusal(key, parts, elements, matched, false, why)) {
            return kEditRefused;
        }
        return AddMissing(key, parts, elements, matched, level, name, value, why);
    }
    if (level.size() > 1) {
        const std::string path = key.substr(0, parts[elements - 1].end);
        why = path + " names " + std::to_string(level.size()) + " elements; an index, as in " + path
            + "[1], picks one";
        return kEditRefused;
    }
    if (const pugi::xml_attribute existing = level[0].attribute(name.c_str())) {
        m_changed[existing.internal_object()] = Change{true, value};
    } else {
        m_structure.push_back(Structure{Structure::kAddAttribute, level[0].internal_object(), false, {}, name, value});
    }
    return 0;
}

bool XmlDocument::StructureEdits(std::string_view original, const Structure& change, std::string_view& step,
                                 std::vector<Edit>& edits) const
{
    const char* const base = m_buffer.get();
    const auto inside = [&](const char* p) { return p > base && p < base + m_size; };
    size_t from = 0, to = 0;
    if (change.kind == Structure::kRemove && change.attribute) {
        const pugi::xml_attribute attribute(static_cast<pugi::xml_attribute_struct*>(const_cast<void*>(change.node)));
        if (!inside(attribute.name()) || !inside(attribute.value())
            || !AttributeRemoval(original, OffsetOf(attribute.name()), OffsetOf(attribute.value()), from, to)) {
            return false;
        }
        edits.push_back(Edit{from, to, std::string(), true});
        return true;
    }
    const pugi::xml_node element(static_cast<pugi::xml_node_struct*>(const_cast<void*>(change.node)));
    if (!inside(element.name()) || original[OffsetOf(element.name()) - 1] != '<') {
        return false;
    }
    const size_t start = OffsetOf(element.name()) - 1;
    if (change.kind == Structure::kRemove) {
        if (!ElementRemoval(original, start, from, to)) {
            return false;
        }
        const size_t first = change.comments ? CommentsAbove(original, element) : start;
        if (first < start) {
            from = layout::LineStart(original, first);
        }
        edits.push_back(Edit{from, to, std::string(), true});
        return true;
    }
    if (change.kind == Structure::kAddAttribute && change.near != nullptr) {
        return AttributeInsertEdits(original, change, edits);
    }
    if (change.kind == Structure::kAddAttribute) {
        const pugi::xml_attribute last = element.last_attribute();
        char quote = '"';
        const size_t afterName = start + 1 + std::strlen(element.name());
        const size_t at = last && !inside(last.value())
            ? kNone
            : AttributePlace(original, afterName, last ? OffsetOf(last.value()) : kNone, quote);
        if (at == kNone) {
            return false;
        }
        edits.push_back(Edit{at, at, " " + change.name + "=" + quote + EscapeAttribute(change.value, quote) + quote});
        return true;
    }
    // Found once for all the additions of a render: it walks the whole tree.
    if (step.empty()) {
        step = StepOf(original, m_root, base);
    }
    if (change.kind == Structure::kInsert) {
        return PieceEdits(original, change, step, edits);
    }
    // New elements: on a line of their own, after the last element child.
    const std::string_view lineEnd = layout::LineEnd(original);
    const std::string outer(layout::Indentation(original, start));
    Placement place{kNone, kNone, {}, outer + std::string(step), {}};
    const pugi::xml_node last = LastElementChild(element);
    if (!(last ? AfterLastChild(original, OffsetOf(last.name()) - 1, lineEnd, outer, place)
               : IntoChildless(original, start, element.name(), lineEnd, outer, place))) {
        return false;
    }
    const std::string text = NewElements(change.elements, 0, place.indent, step, lineEnd, change.name, change.value);
    edits.push_back(Edit{place.from, place.to, place.before + place.indent + text + place.after});
    return true;
}

// What a key that names several matches says: how many, the first lines,
// and the index that picks one.
std::string XmlDocument::Several(const std::string& key, std::vector<size_t> offsets, bool attributes) const
{
    // The index goes where the key first leads to several elements.
    std::vector<KeyPart> parts;
    std::string scratch;
    SplitKey(key, m_style, scratch, parts, nullptr);
    std::vector<pugi::xml_node> level;
    size_t at = 0;
    while (at + 1 < parts.size() && Reach(parts, at + 1, level) == at + 1 && level.size() < 2) {
        ++at;
    }
    // A few lines tell where; a file of thousands needs no list of them all.
    constexpr size_t kLinesShown = 10;
    const size_t count = offsets.size(), shown = std::min(count, kLinesShown);
    offsets.resize(shown);
    const std::vector<size_t> lines = LinesOf(offsets);
    std::string why = key + " names " + std::to_string(count) + (attributes ? " attributes" : " elements")
                      + ", on lines ";
    for (size_t i = 0; i < shown; ++i) {
        why += (i == 0 ? "" : i + 1 == count ? " and " : ", ") + std::to_string(lines[i]);
    }
    if (shown < count) {
        why += " and " + std::to_string(count - shown) + " more";
    }
    return why + "; an index picks one, as in " + key.substr(0, parts[at].end) + (parts[at].index == 0 ? "[1]" : "")
           + key.substr(parts[at].end);
}

} // namespace zelconfig::xml
