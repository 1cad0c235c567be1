#include "XmlDocument.h"

#include "XmlText.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <new>
#include <type_traits>

namespace zelconfig::xml {

namespace {

// Below this many children a scan is as quick as a lookup table.
const size_t kIndexFrom = 32;

// The parser's searches by name also match processing instructions (their
// target is their name); keys name elements only.
pugi::xml_node NextElement(pugi::xml_node node, const char* name)
{
    while (node && node.type() != pugi::node_element) {
        node = node.next_sibling(name);
    }
    return node;
}

// The first child element of that name, skipping processing instructions.
pugi::xml_node FirstChildElement(pugi::xml_node parent, const char* name)
{
    return NextElement(parent.child(name), name);
}

// The next sibling element of that name, skipping processing instructions.
pugi::xml_node NextSiblingElement(pugi::xml_node node, const char* name)
{
    return NextElement(node.next_sibling(name), name);
}

// Where the document holds text beside the root element or a second
// top-level element, which the parser takes; null when it does not.
const char* OutsideRoot(const pugi::xml_document& doc)
{
    size_t elements = 0;
    for (pugi::xml_node node : doc.children()) {
        if (IsText(node) || (node.type() == pugi::node_element && ++elements > 1)) {
            return node.type() == pugi::node_element ? node.name() : node.value();
        }
    }
    return nullptr;
}

// The part of a key in double quotes at `begin`: the length of its name and
// where it ends (`dot`); else why it cannot be read.
std::string QuotedPart(std::string_view key, size_t begin, KeyStyle style, size_t& length, size_t& dot)
{
    const size_t close = key.find('"', begin + 1);
    if (close == std::string_view::npos) {
        return "a quoted part ends with a '\"': " + std::string(key);
    }
    length = close - begin - 1;
    dot = std::min(key.find('.', close), key.size());
    const std::string_view rest = key.substr(close + 1, dot - close - 1);
    if (!rest.empty() && (style != KeyStyle::kIndexed || rest[0] != '[')) {
        return "a quoted part ends at its closing '\"', before a '.'"
            + std::string(style == KeyStyle::kIndexed ? " or an index" : "") + ": " + std::string(key);
    }
    return std::string();
}

// An element ForEach has yet to visit.
struct Frame
{
    pugi::xml_node element;
    size_t prefix; // the length of the parent's key with its '.'
    size_t index;  // [N] in the indexed style; 0 for none
};

// Of a name among an element's child elements: how many there are, how many
// ForEach has pushed.
using NameCount = std::pair<size_t, size_t>;

// How many child elements, the one when there is one, and whether text is among the children.
bool Survey(pugi::xml_node element, size_t& elements, pugi::xml_node& only)
{
    bool text = false;
    elements = 0;
    for (pugi::xml_node child : element.children()) {
        text = text || IsText(child);
        if (child.type() == pugi::node_element && elements++ == 0) {
            only = child;
        }
    }
    return text;
}

// The count of every name among the `elements` child elements, and each
// child element's count in order (`counts`), so that a child takes one lookup.
void CountNames(pugi::xml_node element, size_t elements, std::unordered_map<std::string_view, NameCount>& names,
                std::vector<NameCount*>& counts)
{
    names.reserve(elements);
    counts.reserve(elements);
    for (pugi::xml_node child : element.children()) {
        if (child.type() == pugi::node_element) {
            counts.push_back(&names[child.name()]);
            ++counts.back()->first;
        }
    }
}

// The child elements onto the stack, the first on top; with `counts` (the
// indexed style), each whose name repeats with its index among those.
void PushChildren(pugi::xml_node element, size_t prefix, const std::vector<NameCount*>* counts,
                  std::vector<Frame>& stack)
{
    const size_t mark = stack.size();
    size_t ordinal = 0; // among the child elements
    for (pugi::xml_node child : element.children()) {
        if (child.type() != pugi::node_element) {
            continue;
        }
        NameCount* const count = counts != nullptr ? (*counts)[ordinal] : nullptr;
        ++ordinal;
        stack.push_back(Frame{child, prefix, count != nullptr && count->first > 1 ? ++count->second : 0});
    }
    std::reverse(stack.begin() + static_cast<std::ptrdiff_t>(mark), stack.end());
}

} // namespace


struct XmlDocument::ChildIndex
{
    struct Entry
    {
        pugi::xml_node first;
        size_t count = 0;
    };
    std::unordered_map<std::string_view, Entry> byName;
};

XmlDocument::XmlDocument() = default;
XmlDocument::~XmlDocument() = default;

// Parses the buffer in place and, on success only, makes it the document.
int XmlDocument::Adopt(std::unique_ptr<char, Buffer> buffer, size_t size, XmlError& error)
{
    error.line = error.column = 0;
    error.unsupported = false;
    // The bytes are read as UTF-8: in a file declared in another encoding
    // only ASCII means the same, and only ASCII may be written to it.
    const std::string_view encoding = DeclaredEncoding(std::string_view(buffer.get(), size));
    const bool asciiOnly = !encoding.empty() && !IsUtf8Name(encoding);
    const char* const nonAscii = asciiOnly ? FirstNonAscii(buffer.get(), size) : buffer.get() + size;
    if (nonAscii != buffer.get() + size) {
        error.offset = static_cast<size_t>(nonAscii - buffer.get());
        error.description = "Text other than ASCII in a file declared in " + std::string(encoding);
        error.unsupported = true;
        return kStatusMalformed;
    }
    // Found before the parse, which writes NUL bytes of its own.
    const char* const firstNul = static_cast<const char*>(std::memchr(buffer.get(), '\0', size));
    const size_t nul = firstNul == nullptr ? std::string_view::npos : static_cast<size_t>(firstNul - buffer.get());
    std::unique_ptr<pugi::xml_document> doc(new (std::nothrow) pugi::xml_document);
    // Only a file with a suspect '&' pays for a second look, at a copy as
    // it stands: the parse below decodes in place. (A suspect may stand in a
    // comment, a CDATA section or the document type, where it is harmless.)
    const char* why = nullptr;
    const bool suspect = doc && FindBadReference(buffer.get(), buffer.get() + size, why) != nullptr;
    const std::unique_ptr<char, Buffer> raw(suspect ? CopyOf(buffer.get(), size) : nullptr);
    if (!doc || (suspect && !raw)) {
        error.description = "out of memory";
        return kStatusInvalid;
    }
    const pugi::xml_parse_result result =
        doc->load_buffer_inplace(buffer.get(), size, kParseOptions, pugi::encoding_utf8);
    if (result.status == pugi::status_out_of_memory) {
        error.description = result.description();
        return kStatusInvalid;
    }
    if (!result) {
        error.offset = static_cast<size_t>(result.offset);
        error.description = result.description();
        return kStatusMalformed;
    }
    if (const char* where = OutsideRoot(*doc)) {
        error.offset = static_cast<size_t>(where - buffer.get());
        error.description = "Content outside the root element";
        return kStatusMalformed;
    }
    const int references = raw ? BadReferenceInValues(raw.get(), size, error) : 0;
    if (references != 0) {
        return references;
    }
    m_index.clear();
    m_changed.clear();
    m_structure.clear();
    m_stepKnown = false;
    m_root = doc->document_element();
    m_doc = std::move(doc);
    m_buffer = std::move(buffer);
    m_size = size;
    m_asciiOnly = asciiOnly;
    m_nul = nul;
    return 0;
}

// The parser's own searches run without a call per node; a parent with many
// children gets a table by name on its first visit (null for a small one).
template <class Visit>
void XmlDocument::ChildrenNamed(pugi::xml_node parent, std::string_view name, Visit&& visit) const
{
    const ParentInfo& info = InfoOf(parent);
    const ChildIndex* const index = info.index.get();
    if (index == nullptr) {
        pugi::xml_node child = FirstChildElement(parent, name.data());
        if (info.unique) {
            if (child) {
                visit(child); // no sibling has the same name
            }
            return;
        }
        for (; child; child = NextSiblingElement(child, name.data())) {
            visit(child);
        }
        return;
    }
    const auto entry = index->byName.find(name);
    if (entry == index->byName.end()) {
        return;
    }
    pugi::xml_node child = entry->second.first;
    visit(child);
    for (size_t left = entry->second.count - 1; left > 0; --left) {
        child = NextSiblingElement(child, name.data());
        visit(child);
    }
}

// What a parent's children are like, found out on its first visit: a table
// by name for many children; for a few, whether their names are unique, so
// that the first match is the only one.
const XmlDocument::ParentInfo& XmlDocument::InfoOf(pugi::xml_node parent) const
{
    auto known = m_index.find(parent.internal_object());
    if (known != m_index.end()) {
        return known->second;
    }
    ParentInfo info;
    std::vector<const char*> names;
    for (pugi::xml_node child = parent.first_child(); child; child = child.next_sibling()) {
        if (child.type() == pugi::node_element && names.size() < kIndexFrom) {
            names.push_back(child.name());
        } else if (child.type() == pugi::node_element) {
            info.index.reset(new ChildIndex);
            break;
        }
    }
    if (info.index) {
        // Sized once: growing a table of many names rehashes it again and again.
        info.index->byName.reserve(static_cast<size_t>(std::count_if(
            parent.begin(), parent.end(), [](pugi::xml_node child) { return child.type() == pugi::node_element; })));
        for (pugi::xml_node child : parent.children()) {
            if (child.type() == pugi::node_element) {
                ChildIndex::Entry& entry = info.index->byName[child.name()];
                if (entry.count++ == 0) {
                    entry.first = child;
                }
            }
        }
    }
    for (size_t i = 0; i < names.size() && info.unique; ++i) {
        for (size_t j = i + 1; j < names.size() && info.unique; ++j) {
            info.unique = std::strcmp(names[i], names[j]) != 0;
        }
    }
    return m_index.emplace(parent.internal_object(), std::move(info)).first->second;
}

// Splits the key at every '.' into parts whose names are C strings in
// `scratch`, for the parser's searches; false (with the reason, when asked)
// for a key that can name nothing. A part in double quotes is one name, dots
// and all: XML names hold dots but never quotes, so no other key reads
// differently for it.
bool XmlDocument::SplitKey(std::string_view key, KeyStyle style, std::string& scratch, std::vector<KeyPart>& parts,
                           std::string* why)
{
    const auto refuse = [why](std::string reason) {
        if (why != nullptr) {
            *why = std::move(reason);
        }
        return false;
    };
    parts.clear();
    if (key.empty()) {
        return refuse("the key is empty");
    }
    if (key.find('\0') != std::string_view::npos) {
        return refuse("a key holds no NUL byte");
    }
    scratch.assign(key.data(), key.size());
    // Most keys hold no quote: their parts need no look for one.
    const bool quotes = key.find('"') != std::string_view::npos;
    for (size_t begin = 0; begin <= key.size();) {
        size_t start = begin, dot = 0, length = 0;
        bool quoted = false;
        if (begin < key.size() && key[begin] == '"') {
            std::string reason = QuotedPart(key, begin, style, length, dot);
            if (!reason.empty()) {
                return refuse(std::move(reason));
            }
            quoted = true;
            start = begin + 1;
        } else {
            dot = std::min(key.find('.', begin), key.size());
            length = dot - begin;
            if (quotes && key.substr(begin, length).find('"') != std::string_view::npos) {
                return refuse("a quote opens a part, and closes it before a '.': " + std::string(key));
            }
        }
        size_t index = 0;
        // The library's keys have no indexes: a '[' is part of a name there.
        const size_t from = quoted ? length + 1 : 0;
        const size_t open = style == KeyStyle::kIndexed ? key.substr(start, dot - start).find('[', from)
                                                        : std::string_view::npos;
        if (open != std::string_view::npos) {
            const std::string_view digits = key.substr(start + open + 1, dot - start - open - 1);
            if ((quoted && open != length + 1) || digits.size() < 2 || digits.back() != ']' || digits[0] == '0'
                || digits.find_first_not_of("0123456789") != digits.size() - 1) {
                return refuse("an index is [N] with N from 1, at the end of a part: " + std::string(key));
            }
            index = std::strtoul(digits.data(), nullptr, 10);
            length = quoted ? length : open;
        }
        if (length == 0) {
            return refuse("an empty part names nothing: " + std::string(key));
        }
        scratch[start + length] = '\0';
        parts.push_back(KeyPart{scratch.data() + start, length, index, dot, quoted});
        begin = dot + 1;
    }
    return true;
}

bool XmlDocument::CheckKey(std::string_view key, KeyStyle style, std::string& why)
{
    std::string scratch;
    std::vector<KeyPart> parts;
    return SplitKey(key, style, scratch, parts, &why);
}

namespace {

// A name as a key part: quoted when it holds a '.', so that it reads back as one.
void AppendKeyName(std::string& key, std::string_view name)
{
    if (name.find('.') == std::string_view::npos) {
        key += name;
    } else {
        key += '"';
        key += name;
        key += '"';
    }
}

// How many lookups a search for a joined reading may make: a key of many
// parts has very many readings.
constexpr size_t kJoinBudget = 1024;

} // namespace

// Depth first from part `at`, which the elements of `level` are reached by:
// each run of parts from there, joined with its dots, as one name. `runs`
// holds the lengths of the runs so far; the furthest reading found goes to
// `best` and `bestRuns`, the first found among equals (shortest runs first,
// so the key as given wins a tie).
void XmlDocument::Deepest(const std::vector<KeyPart>& parts, size_t count, size_t at,
                          const std::vector<pugi::xml_node>& level, bool attributes, size_t& budget,
                          std::vector<size_t>& runs, size_t& best, std::vector<size_t>& bestRuns) const
{
    if (at > best) {
        best = at;
        bestRuns = runs;
    }
    std::string name;
    std::vector<pugi::xml_node> next;
    for (size_t j = at; j < count && budget > 0; ++j) {
        // A quoted part is a whole name, and an index ends one.
        if (j > at && (parts[j].quoted || parts[at].quoted || parts[j - 1].index != 0)) {
            break;
        }
        if (j > at) {
            name += '.';
        }
        name.append(parts[j].name, parts[j].length);
        --budget;
        const KeyPart joined{name.c_str(), name.size(), parts[j].index, parts[j].end, true};
        next.clear();
        for (pugi::xml_node parent : level) {
            NthChildrenNamed(parent, joined, [&next](pugi::xml_node child) { next.push_back(child); });
        }
        runs.push_back(j - at + 1);
        if (!next.empty()) {
            Deepest(parts, count, j + 1, next, attributes, budget, runs, best, bestRuns);
        } else if (attributes && j + 1 == count && joined.index == 0 && count > best
                   && std::any_of(level.begin(), level.end(),
                                  [&](pugi::xml_node parent) { return bool(parent.attribute(joined.name)); })) {
            best = count;
            bestRuns = runs;
        }
        runs.pop_back();
    }
}

size_t XmlDocument::JoinedReading(std::string_view key, const std::vector<KeyPart>& parts, size_t count,
                                  bool attributes, std::string& reading) const
{
    size_t budget = kJoinBudget, best = 0;
    std::vector<size_t> runs, bestRuns;
    Deepest(parts, count, 0, std::vector<pugi::xml_node>(1, m_root), attributes, budget, runs, best, bestRuns);
    reading.clear();
    size_t part = 0;
    for (size_t run : bestRuns) {
        std::string name;
        for (size_t i = part; i < part + run; ++i) {
            name += i > part ? "." : "";
            name.append(parts[i].name, parts[i].length);
        }
        part += run;
        reading += reading.empty() ? "" : ".";
        AppendKeyName(reading, name);
        if (parts[part - 1].index != 0) {
            reading += "[" + std::to_string(parts[part - 1].index) + "]";
        }
    }
    if (part > 0 && part < parts.size()) {
        reading += key.substr(parts[part - 1].end);
    }
    return best;
}

std::string XmlDocument::JoinedKey(const std::string& key) const
{
    std::string scratch, reading;
    std::vector<KeyPart> parts;
    if (!m_doc || !SplitKey(key, m_style, scratch, parts, nullptr)
        || JoinedReading(key, parts, parts.size(), true, reading) < parts.size()) {
        return std::string();
    }
    return reading;
}

bool XmlDocument::JoinedRefusal(std::string_view key, const std::vector<KeyPart>& parts, size_t count,
                                size_t matched, bool attributes, std::string& why) const
{
    std::string reading;
    if (JoinedReading(key, parts, count, attributes, reading) <= matched) {
        return false;
    }
    why = std::string(key) + " names no element here, but " + reading
        + " names what is there: a name that holds dots is quoted";
    return true;
}

// The lines, counted from 1, that bytes of the loaded document stand on, in
// one pass: `offsets` ascend, as matches come in document order.
std::vector<size_t> XmlDocument::Lines(const std::string& key) const
{
    std::vector<size_t> offsets;
    ForEachMatch(key, [&](auto match) { offsets.push_back(OffsetOf(match.name())); });
    return LinesOf(offsets);
}

std::vector<size_t> XmlDocument::LinesOf(const std::vector<size_t>& offsets) const
{
    const std::string_view text = m_hasLoaded ? m_loaded : std::string_view(m_buffer.get(), m_size);
    Position position{0};
    std::vector<size_t> lines;
    for (size_t offset : offsets) {
        position.target = std::max(offset, position.at);
        position.Feed(text.data() + position.at, text.size() - position.at);
        lines.push_back(position.line);
    }
    return lines;
}

// The children a part names: every one of its name, or the one its index picks.
template <class Visit>
void XmlDocument::NthChildrenNamed(pugi::xml_node parent, const KeyPart& part, Visit&& visit) const
{
    const std::string_view name(part.name, part.length);
    if (part.index == 0) {
        ChildrenNamed(parent, name, visit);
        return;
    }
    size_t seen = 0;
    ChildrenNamed(parent, name, [&](pugi::xml_node child) {
        if (++seen == part.index) {
            visit(child);
        }
    });
}

// Out of the template ForEachMatch: the walk down is the same whatever its
// caller visits.
bool XmlDocument::NextLevel(const KeyPart& part, pugi::xml_node& one, bool& several) const
{
    m_next.clear();
    if (!several) {
        pugi::xml_node first;
        NthChildrenNamed(one, part, [&](pugi::xml_node child) {
            if (!first) {
                first = child;
                return;
            }
            if (m_next.empty()) {
                m_next.push_back(first);
            }
            m_next.push_back(child);
        });
        if (!first) {
            return false;
        }
        one = first;
        several = !m_next.empty();
    } else {
        for (pugi::xml_node parent : m_level) {
            NthChildrenNamed(parent, part, [this](pugi::xml_node child) { m_next.push_back(child); });
        }
        if (m_next.empty()) {
            return false;
        }
    }
    if (several) {
        m_level.swap(m_next);
    }
    return true;
}

// Calls visit(element) or visit(attribute) for every match of the key, in
// document order; false when nothing matched.
template <class Visit>
bool XmlDocument::ForEachMatch(std::string_view key, Visit&& visit) const
{
    if (!m_doc || !SplitKey(key, m_style, m_parts, m_keyParts, nullptr)) {
        return false;
    }
    // Level by level: each level's elements stay in document order. Most keys
    // lead through one element a level, which needs no list.
    pugi::xml_node one = m_root;
    bool several = false;
    for (size_t i = 0; i + 1 < m_keyParts.size(); ++i) {
        if (!NextLevel(m_keyParts[i], one, several)) {
            return false;
        }
    }
    // The last part: children of that name, or else the attribute (which
    // takes no index).
    const KeyPart& part = m_keyParts.back();
    const auto last = [&](pugi::xml_node parent) {
        bool child = false;
        NthChildrenNamed(parent, part, [&](pugi::xml_node element) {
            child = true;
            visit(element);
        });
        if (!child && part.index == 0) {
            if (const pugi::xml_attribute attribute = parent.attribute(part.name)) {
                visit(attribute);
                child = true;
            }
        }
        return child;
    };
    if (!several) {
        return last(one);
    }
    bool found = false;
    for (pugi::xml_node parent : m_level) {
        found = last(parent) || found;
    }
    return found;
}

// The elements the first `count` parts name, level by level: `level` ends
// holding the deepest ones found (the root when the first part names none).
// Returns how many parts named them.
size_t XmlDocument::Reach(const std::vector<KeyPart>& parts, size_t count, std::vector<pugi::xml_node>& level) const
{
    level.assign(1, m_root);
    std::vector<pugi::xml_node> next;
    for (size_t matched = 0; matched < count; ++matched) {
        next.clear();
        for (pugi::xml_node parent : level) {
            NthChildrenNamed(parent, parts[matched], [&next](pugi::xml_node child) { next.push_back(child); });
        }
        if (next.empty()) {
            return matched;
        }
        level.swap(next);
    }
    return count;
}

// How many children a part names.
size_t XmlDocument::CountNamed(pugi::xml_node parent, const KeyPart& part) const
{
    size_t count = 0;
    NthChildrenNamed(parent, part, [&count](pugi::xml_node) { ++count; });
    return count;
}

std::string XmlDocument::TextOf(pugi::xml_node element) const
{
    if (!m_changed.empty()) {
        const auto changed = m_changed.find(element.internal_object());
        if (changed != m_changed.end()) {
            return changed->second.value;
        }
    }
    std::string text;
    AppendText(element, text);
    return text;
}

int XmlDocument::Find(const std::string& key, std::string& value) const
{
    // Only matches append, so a miss leaves `value` as it was.
    std::string& joined = value;
    const bool found = ForEachMatch(key, [&](auto match) {
        // The engine's join: a line feed before a value when there is text.
        if (!joined.empty()) {
            joined += '\n';
        }
        const auto changed = m_changed.empty() ? m_changed.end() : m_changed.find(match.internal_object());
        if (changed != m_changed.end()) {
            joined += changed->second.value;
        } else if constexpr (std::is_same_v<decltype(match), pugi::xml_attribute>) {
            joined += match.value();
        } else {
            AppendText(match, joined);
        }
    });
    return found ? 0 : kStatusNotFound;
}

bool XmlDocument::ValueHoldable(const std::string& value) const
{
    return Holdable(value)
        && (!m_asciiOnly || FirstNonAscii(value.data(), value.size()) == value.data() + value.size());
}

int XmlDocument::Set(const std::string& key, const std::string& value)
{
    std::string why;
    return Set(key, value, why, true);
}

int XmlDocument::Set(const std::string& key, const std::string& value, std::string& why, bool all)
{
    if (!ValueHoldable(value)) {
        return kStatusNotHoldable;
    }
    std::vector<std::pair<const void*, bool>> targets;
    std::vector<size_t> offsets;
    ForEachMatch(key, [&](auto match) {
        targets.emplace_back(match.internal_object(),
                             std::is_same_v<decltype(match), pugi::xml_attribute>);
        offsets.push_back(OffsetOf(match.name()));
    });
    if (targets.size() > 1 && !all) {
        why = Several(key, offsets, targets[0].second);
        return kEditSeveral;
    }
    for (const auto& target : targets) {
        m_changed[target.first] = Change{target.second, value};
    }
    return targets.empty() ? kStatusNotFound : 0;
}

int XmlDocument::Remove(const std::string& key, std::string& why, bool all)
{
    if (!MarkupEditable(why)) {
        return kEditRefused;
    }
    std::vector<Structure> removals;
    std::vector<size_t> offsets;
    ForEachMatch(key, [&](auto match) {
        removals.push_back(Structure{Structure::kRemove, match.internal_object(),
                                     std::is_same_v<decltype(match), pugi::xml_attribute>, {}, {}, {}});
        offsets.push_back(OffsetOf(match.name()));
    });
    std::vector<KeyPart> parts;
    std::string scratch;
    if (removals.empty() && m_doc && SplitKey(key, m_style, scratch, parts, nullptr)) {
        std::vector<pugi::xml_node> level;
        if (JoinedRefusal(key, parts, parts.size(), Reach(parts, parts.size(), level), true, why)) {
            return kEditRefused;
        }
    }
    if (removals.size() > 1 && !all) {
        why = Several(key, offsets, removals[0].attribute);
        return kEditSeveral;
    }
    for (Structure& removal : removals) {
        m_structure.push_back(std::move(removal));
    }
    return removals.empty() ? kStatusNotFound : 0;
}

void XmlDocument::ForEach(const std::function<void(const std::string&, const std::string&)>& visit) const
{
    Walk([&visit](const std::string& key, const std::string* value, Node) {
        if (value != nullptr) {
            visit(key, *value);
        }
    });
}

void XmlDocument::ForEachNode(
    const std::function<void(const std::string& key, const std::string* value, Node node)>& visit) const
{
    Walk(visit);
}

// visit(key, value or null, node) for every element and attribute, in ForEach's order.
template <class Visit>
void XmlDocument::Walk(Visit&& visit) const
{
    if (!m_doc) {
        return;
    }
    // Depth first, without recursion: a deep file must not exhaust the stack.
    // One key for the whole walk, which each element's frame cuts back to
    // its parent's key and the '.' before extending it: a key is never
    // copied per level, so a deep file costs what its bytes do.
    std::vector<Frame> stack;
    std::string key;
    const bool indexed = m_style == KeyStyle::kIndexed;
    // Its attributes (those no child element hides), then its children onto
    // the stack, the first on top; `key` holds the element's key and its '.'.
    const auto expand = [&](pugi::xml_node element, size_t elements, pugi::xml_node only) {
        const size_t prefix = key.size();
        // Per name among the child elements: how many there are, how many
        // pushed; made only for several, and per element, so that its cost
        // follows that element's children.
        std::unordered_map<std::string_view, NameCount> names;
        // Each child element's entry, in order: one lookup a child.
        std::vector<NameCount*> counts;
        if (elements > 1 && (indexed || element.first_attribute())) {
            CountNames(element, elements, names, counts);
        }
        const auto hidden = [&](const char* name) {
            return elements == 1 ? std::strcmp(only.name(), name) == 0 : names.count(name) != 0;
        };
        for (pugi::xml_attribute attribute : element.attributes()) {
            if (elements == 0 || !hidden(attribute.name())) {
                const auto changed = m_changed.find(attribute.internal_object());
                key.resize(prefix);
                AppendKeyName(key, attribute.name());
                const std::string value =
                    changed != m_changed.end() ? changed->second.value : std::string(attribute.value());
                visit(key, &value, Node{attribute.internal_object(), true});
            }
        }
        key.resize(prefix);
        PushChildren(element, prefix, indexed && elements > 1 ? &counts : nullptr, stack);
    };
    size_t elements = 0;
    pugi::xml_node only;
    Survey(m_root, elements, only);
    expand(m_root, elements, only);
    while (!stack.empty()) {
        const Frame frame = stack.back();
        stack.pop_back();
        key.resize(frame.prefix);
        AppendKeyName(key, frame.element.name());
        if (frame.index != 0) {
            key += "[" + std::to_string(frame.index) + "]";
        }
        // Elements with text, and empty ones: those a value can be set on.
        const bool text =
            Survey(frame.element, elements, only) || m_changed.count(frame.element.internal_object()) != 0;
        if (text || elements == 0) {
            const std::string value = TextOf(frame.element);
            visit(key, &value, Node{frame.element.internal_object(), false});
        } else {
            visit(key, nullptr, Node{frame.element.internal_object(), false});
        }
        key += '.';
        expand(frame.element, elements, only);
    }
}

} // namespace zelconfig::xml
