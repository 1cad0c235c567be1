// What `zelcfg lint` reports of an XML file that loads. The findings come
// from the document's own tree and its own record of the NUL byte, so that
// lint reads the file as every other command does.
#include <algorithm>
#include <cstring>
#include <tuple>
#include <unordered_map>

#include "XmlDocument.h"
#include "XmlText.h"

namespace zelconfig::xml {

namespace {

constexpr size_t kNowhere = std::string_view::npos;
// Up to this many attributes an element's are compared pairwise.
constexpr size_t kPairwiseUpTo = 16;
const char kRefused[] = ": stricter XML readers refuse the file";

// A finding before lines and columns are counted: its message is `text`,
// then, when `also` is set, that offset's place and `tail`.
struct Draft
{
    size_t offset;
    std::string text;
    size_t also = kNowhere;
    std::string tail;
};

// Lines and columns of offsets, counted in one pass over the bytes.
class Places
{
public:
    Places(std::string_view text, std::vector<size_t> offsets) : m_offsets(std::move(offsets))
    {
        std::sort(m_offsets.begin(), m_offsets.end());
        m_offsets.erase(std::unique(m_offsets.begin(), m_offsets.end()), m_offsets.end());
        Position position{0};
        for (const size_t offset : m_offsets) {
            position.target = offset;
            position.Feed(text.data() + position.at, text.size() - position.at);
            m_places.emplace_back(position.line, position.column);
        }
    }

    std::pair<size_t, size_t> Of(size_t offset) const
    {
        const auto at = std::lower_bound(m_offsets.begin(), m_offsets.end(), offset);
        return m_places[static_cast<size_t>(at - m_offsets.begin())];
    }

private:
    std::vector<size_t> m_offsets;
    std::vector<std::pair<size_t, size_t>> m_places;
};

// The name of an attribute of `node` before `attribute` with its name, or
// null: pairwise for a few attributes, through `seen` (name -> where it stands
// first) for many, so that the cost follows the element's attributes.
const char* EarlierOfName(pugi::xml_node node, pugi::xml_attribute attribute, bool pairwise,
                          std::unordered_map<std::string_view, const char*>& seen)
{
    if (!pairwise) {
        const char* first = seen.emplace(attribute.name(), attribute.name()).first->second;
        return first == attribute.name() ? nullptr : first;
    }
    for (pugi::xml_attribute before = node.first_attribute(); before != attribute; before = before.next_attribute()) {
        if (std::strcmp(before.name(), attribute.name()) == 0) {
            return before.name();
        }
    }
    return nullptr;
}

// The finding of the NUL byte at `nul` in `size` bytes: past it no reader looks.
Draft NulDraft(size_t nul, size_t size)
{
    const size_t after = size - nul - 1;
    return Draft{nul, "NUL byte: every reader stops at it"
                          + (after == 0 ? std::string()
                                        : ", so the " + std::to_string(after) + " byte" + (after == 1 ? "" : "s")
                                              + " after it " + (after == 1 ? "is" : "are") + " ignored")
                          + "; set and unset cannot add or remove markup",
                 kNowhere, {}};
}

// The drafts as findings, in the order of the file, their lines and columns
// counted in one pass over `original`.
std::vector<XmlFinding> Findings(std::string_view original, std::vector<Draft>& drafts)
{
    std::stable_sort(drafts.begin(), drafts.end(), [](const Draft& a, const Draft& b) { return a.offset < b.offset; });
    std::vector<size_t> offsets;
    for (const Draft& draft : drafts) {
        offsets.push_back(draft.offset);
        if (draft.also != kNowhere) {
            offsets.push_back(draft.also);
        }
    }
    const Places places(original, std::move(offsets));
    std::vector<XmlFinding> findings;
    for (Draft& draft : drafts) {
        XmlFinding finding;
        finding.offset = draft.offset;
        std::tie(finding.line, finding.column) = places.Of(draft.offset);
        finding.message = std::move(draft.text);
        if (draft.also != kNowhere) {
            const std::pair<size_t, size_t> also = places.Of(draft.also);
            finding.message += "line " + std::to_string(also.first) + ", column " + std::to_string(also.second)
                + draft.tail;
        }
        findings.push_back(std::move(finding));
    }
    return findings;
}

} // namespace

std::vector<XmlFinding> XmlDocument::Lint(std::string_view original) const
{
    if (!m_doc || original.size() != m_size) {
        return {};
    }
    std::vector<Draft> drafts;
    // Bytes [begin, end) of the file that must be UTF-8.
    const auto utf8 = [&](size_t begin, size_t end, const char* what) {
        if (end != kNowhere && begin <= end) {
            const size_t bad = FirstInvalidUtf8(original.data() + begin, end - begin);
            if (bad != end - begin) {
                drafts.push_back(Draft{begin + bad, std::string("invalid UTF-8 in ") + what + kRefused, kNowhere, {}});
            }
        }
    };
    // The value between its quotes, as the file has it: the tree holds it decoded.
    const auto quoted = [&](const char* value) {
        const size_t begin = OffsetOf(value);
        const bool inQuotes = Inside(value) && begin > 0 && (original[begin - 1] == '"' || original[begin - 1] == '\'');
        return inQuotes ? std::make_pair(begin, original.find(original[begin - 1], begin))
                        : std::make_pair(kNowhere, kNowhere);
    };
    for (pugi::xml_node node = m_root; node; node = NextInOrder(node, m_root)) {
        if (IsText(node) && Inside(node.value())) {
            const size_t begin = OffsetOf(node.value());
            const bool cdata = node.type() == pugi::node_cdata;
            utf8(begin, cdata ? original.find("]]>", begin) : original.find('<', begin),
                 cdata ? "a CDATA section" : "text");
        }
        if (node.type() != pugi::node_element || !Inside(node.name())) {
            continue;
        }
        const size_t name = OffsetOf(node.name());
        utf8(name, name + std::strlen(node.name()), "an element name");
        const bool pairwise = std::distance(node.attributes_begin(), node.attributes_end())
            <= static_cast<std::ptrdiff_t>(kPairwiseUpTo);
        // Attribute name -> where it stands first, for many: one table per
        // element, so that its cost follows that element's attributes.
        std::unordered_map<std::string_view, const char*> seen;
        for (pugi::xml_attribute attribute : node.attributes()) {
            if (!Inside(attribute.name())) {
                continue;
            }
            const size_t at = OffsetOf(attribute.name());
            utf8(at, at + std::strlen(attribute.name()), "an attribute name");
            const auto value = quoted(attribute.value());
            utf8(value.first, value.second, "an attribute value");
            // The parser keeps every one; lookups find the first.
            if (const char* first = EarlierOfName(node, attribute, pairwise, seen)) {
                drafts.push_back(Draft{at, "duplicate attribute '" + std::string(attribute.name())
                                               + "': the element has one of that name at ",
                                       OffsetOf(first), " already; XML allows one, and keys read the first"});
            }
        }
    }
    if (m_nul != kNowhere) {
        drafts.push_back(NulDraft(m_nul, m_size));
    }
    return Findings(original, drafts);
}

} // namespace zelconfig::xml
