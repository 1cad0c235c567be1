// The XML plug-in's document: parse, lint, look up every key it lists and the
// input's lines, change every listed key, and render. An unchanged render is
// the input itself; a changed one parses again and reads exactly what the
// changed document read in memory. Then the library's XML document's edits,
// one at a time on a fresh copy: removing what an indexed key names, adding
// an element and an attribute under one; each result parses, differs from
// the input in one place only (every other byte stayed), and the same
// document reads what was added.
#include <cctype>
#include <cerrno>
#include <cstring>

#include "FuzzSupport.h"
#include "XmlDocument.h"
#include "ZelConfigXmlDocument.h"

using zelconfig::xml::KeyStyle;
using zelconfig::xml::XmlDocument;
using zelconfig::xml::XmlError;

namespace {

// How many bytes of `before` one contiguous change to it replaced.
size_t ReplacedBytes(const std::string& before, const std::string& after)
{
    size_t prefix = 0, suffix = 0;
    while (prefix < before.size() && prefix < after.size() && before[prefix] == after[prefix]) {
        ++prefix;
    }
    while (suffix < before.size() - prefix && suffix < after.size() - prefix
           && before[before.size() - 1 - suffix] == after[after.size() - 1 - suffix]) {
        ++suffix;
    }
    return before.size() - prefix - suffix;
}

// Whether a '&' stands for itself: the parser takes one that starts no
// reference as text, which a removal may join to text that completes one.
bool BareAmpersand(const std::string& text)
{
    for (size_t at = text.find('&'); at != std::string::npos; at = text.find('&', at + 1)) {
        size_t end = at + 1;
        while (end < text.size() && (std::isalnum(static_cast<unsigned char>(text[end])) != 0
                                     || std::strchr("#_:.-", text[end]) != nullptr
                                     || static_cast<unsigned char>(text[end]) >= 0x80)) {
            ++end;
        }
        if (end == at + 1 || end == text.size() || text[end] != ';') {
            return true;
        }
    }
    return false;
}

// What an edit is to leave: a removal takes bytes away only; an addition of
// what was not there inserts (in place of at most a self-closing tag's
// "/>"), and the key then reads `added` unless that is null.
struct Expected
{
    bool removal, insertion;
    const char* added;
};

// One edit of the library's XML document on a fresh copy of `input`: made
// or refused with a reason; when made, the text parses and differs from the
// input in one place only, as `expected` says, and the same document reads
// what was added.
template <class Edit>
void CheckEdit(const std::string& input, const std::string& key, Edit&& edit, Expected expected)
{
    zelconfig::XmlDocument doc;
    FUZZ_REQUIRE(doc.Parse(input) == 0, "the input loaded before");
    const int status = edit(doc);
    FUZZ_REQUIRE(status == 0 || status == zelconfig::kEditAmbiguous, key + ": " + std::to_string(status));
    if (status != 0) {
        FUZZ_REQUIRE(!doc.Error().empty() && doc.Text() == input, key);
        return;
    }
    const std::string rendered(doc.Text());
    XmlDocument again;
    XmlError error;
    FUZZ_REQUIRE(again.LoadBuffer(rendered.data(), rendered.size(), error) == 0,
                 key + "\n" + rendered + "\n" + error.description);
    const size_t replaced = ReplacedBytes(input, rendered);
    if (expected.removal) {
        FUZZ_REQUIRE(rendered.size() + replaced == input.size(), key + ": a removal added bytes\n" + rendered);
        return;
    }
    FUZZ_REQUIRE(!expected.insertion || (replaced <= 2 && rendered.size() > input.size()),
                 key + ": more than an insertion\n" + rendered);
    std::string value;
    FUZZ_REQUIRE(expected.added == nullptr || (doc.Get(key, value) == 0 && value == expected.added),
                 key + " reads " + value + "\n" + rendered);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    XmlDocument doc;
    XmlError error;
    const int loaded = doc.LoadBuffer(input.data(), input.size(), error);
    FUZZ_REQUIRE(loaded == 0 || loaded == -1, std::to_string(loaded));
    if (loaded != 0) {
        // A line and a column on no more lines and characters than there are bytes.
        FUZZ_REQUIRE(error.offset <= size && !error.description.empty() && error.line > 0 && error.column > 0
                         && error.line + error.column <= error.offset + 2,
                     error.description);
        return 0;
    }
    std::string rendered;
    FUZZ_REQUIRE(doc.Render(input, rendered) && rendered == input, "an unchanged render differs");
    // Lint's findings stand in the file, in its order, each on a line and
    // column no further on than its byte.
    size_t previous = 0;
    for (const zelconfig::xml::XmlFinding& finding : doc.Lint(input)) {
        FUZZ_REQUIRE(finding.offset < size && finding.offset >= previous && finding.line > 0 && finding.column > 0
                         && finding.line + finding.column <= finding.offset + 2 && !finding.message.empty(),
                     finding.message);
        previous = finding.offset;
    }

    std::vector<std::string> keys;
    doc.ForEach([&keys](const std::string& key, const std::string&) {
        if (keys.size() < 64) {
            keys.push_back(key);
        }
    });
    for (const std::string& line : Lines(input, 32)) {
        std::string value;
        const int found = doc.Find(line, value);
        FUZZ_REQUIRE(found == 0 || (found == -2 && value.empty()), line);
        // A miss whose parts, joined, name something reads through the quoted key offered.
        const std::string joined = found == 0 ? std::string() : doc.JoinedKey(line);
        FUZZ_REQUIRE(joined.empty() || doc.Find(joined, value) == 0, line + " -> " + joined);
    }
    // Values that need escaping, blanks only, a CDATA end and line ends.
    const std::string values[] = {"", "  ", "a&b<c>\"d'e", "]]>", "x\r\ny\tz", "\n"};
    for (size_t i = 0; i < keys.size(); ++i) {
        std::string value;
        FUZZ_REQUIRE(doc.Find(keys[i], value) == 0, keys[i]);
        FUZZ_REQUIRE(doc.Set(keys[i], values[i % 6] + std::to_string(i % 3 == 0 ? i : 0)) == 0, keys[i]);
    }
    FUZZ_REQUIRE(doc.Set("x", std::string("\0", 1)) == 7, "a NUL byte is refused");
    FUZZ_REQUIRE(doc.Render(input, rendered), "a changed render fails");
    XmlDocument again;
    FUZZ_REQUIRE(again.LoadBuffer(rendered.data(), rendered.size(), error) == 0,
                 rendered + "\n" + error.description);
    for (const std::string& key : keys) {
        std::string before, after;
        FUZZ_REQUIRE(doc.Find(key, before) == 0 && again.Find(key, after) == 0 && before == after,
                     key + ": " + before + " | " + after + "\n" + rendered);
    }

    std::vector<std::string> indexed;
    doc.SetKeyStyle(KeyStyle::kIndexed);
    doc.ForEach([&indexed](const std::string& key, const std::string&) {
        if (indexed.size() < 8) {
            indexed.push_back(key);
        }
    });
    const bool bare = BareAmpersand(input);
    for (const std::string& key : indexed) {
        if (!bare) {
            CheckEdit(input, key, [&](zelconfig::XmlDocument& edited) { return edited.Remove(key); },
                      Expected{true, false, nullptr});
        }
        const std::string child = key + ".Fz";
        CheckEdit(input, child, [&](zelconfig::XmlDocument& edited) { return edited.Add(child, "v<&"); },
                  Expected{false, true, "v<&"});
        // A child element of that name would shadow the attribute on reading.
        const std::string attribute = key + ".fz";
        std::string there;
        CheckEdit(input, attribute,
                  [&](zelconfig::XmlDocument& edited) { return edited.SetAttribute(attribute, "w\"'"); },
                  Expected{false, doc.Find(attribute, there) != 0, nullptr});
    }
    return 0;
}
