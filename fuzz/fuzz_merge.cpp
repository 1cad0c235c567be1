// Merging new defaults into a user's file keeps the upgrade rules: from the
// input, a format (CFG, INI, XML) and OLD, a small file built from the bytes
// (LF or CR LF), or after kControl bytes the input's own text; NEW and FILE are OLD
// with random edits each, made with the documents' own verbs (some to the
// same keys), and with comments and blank lines moved and lines re-spaced.
// MergePromise checks what Merge made of them.
#include <algorithm>
#include <cstdio>
#include <tuple>

#include "FuzzSupport.h"
#include "MergePromise.h"

namespace {

using zelconfig::Document;
using zelconfig::XmlDocument;

constexpr size_t kControl = 40; // control bytes before a literal OLD

// The input's bytes as choices; 0 once they run out.
class Choices
{
public:
    Choices(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}
    unsigned Next() { return m_at < m_size ? m_data[m_at++] : 0; }
    size_t Pick(size_t count) { return count == 0 ? 0 : Next() % count; }
    template <size_t N>
    const char* From(const char* const (&pool)[N]) { return pool[Pick(N)]; }

private:
    const uint8_t* m_data;
    size_t m_size, m_at = 0;
};

const char* const kBlocks[] = {"Net", "Log", "A", "N.x"}; // N.x: a dotted block, which keys name apart only
const char* const kNames[] = {"Port", "Host", "k", "After", "Mode"};
const char* const kValues[] = {"1", "80", "a", "b c", "", "x=y", "2"};
const char* const kComments[] = {"# the port", "; old", "# c", "#"};
const char* const kElements[] = {"port", "host", "s", "net"};
const char* const kAttributes[] = {"id", "mtu"};
const char* const kXmlValues[] = {"1", "80", "a", "b & c", ""};

// Statistics printed at exit: refusals are to stay rare.
struct Counts
{
    unsigned long merges[3] = {}, refusals[3] = {};
    ~Counts()
    {
        std::fprintf(stderr, "fuzz_merge: merges/refusals CFG %lu/%lu INI %lu/%lu XML %lu/%lu\n", merges[0],
                     refusals[0], merges[1], refusals[1], merges[2], refusals[2]);
    }
} counts;

std::string CfgText(Choices& in, bool ini)
{
    std::string text;
    if (ini && in.Pick(4) == 0) {
        text += std::string(in.From(kNames)) + " = " + in.From(kValues) + "\n";
    }
    for (size_t blocks = 1 + in.Pick(3); blocks-- > 0;) {
        text += in.Pick(3) == 0 ? std::string(in.From(kComments)) + "\n" : "";
        text += std::string("[") + in.From(kBlocks) + "]\n";
        for (size_t entries = in.Pick(5); entries-- > 0;) {
            text += in.Pick(3) == 0 ? std::string(in.From(kComments)) + "\n" : "";
            text += std::string(in.From(kNames)) + (ini && in.Pick(2) ? " = " : "=") + in.From(kValues) + "\n";
            text += ini && in.Pick(6) == 0 ? "  more\n" : "";
        }
        text += in.Pick(2) ? "\n" : "";
    }
    return text;
}

// An XML value as text or an attribute's value.
std::string Escaped(const char* value)
{
    const std::string text = value;
    const size_t amp = text.find('&');
    return amp == std::string::npos ? text : text.substr(0, amp) + "&amp;" + text.substr(amp + 1);
}

std::string XmlText(Choices& in)
{
    std::string text = "<c>\n";
    for (size_t children = in.Pick(6); children-- > 0;) {
        text += in.Pick(3) == 0 ? "  <!-- c -->\n" : "";
        const std::string name = in.From(kElements);
        text += "  <" + name;
        for (size_t attributes = in.Pick(3); attributes-- > 0;) {
            text += std::string(" ") + kAttributes[attributes] + "=\"" + Escaped(in.From(kXmlValues)) + "\"";
        }
        if (in.Pick(3) == 0) {
            text += ">\n    <" + name + "i>" + Escaped(in.From(kXmlValues)) + "</" + name + "i>\n  </" + name + ">\n";
        } else {
            text += ">" + Escaped(in.From(kXmlValues)) + "</" + name + ">\n";
        }
    }
    return text + "</c>\n";
}

// A layout edit that keeps every line: a comment line moved, a blank line
// added or dropped, a line re-spaced (INI around its delimiter, XML its
// indentation).
std::string Relaid(const std::string& text, Choices& in, bool ini, bool xml)
{
    std::vector<std::string> lines = Lines(text); // joined again at line feeds: the last piece stays the last
    if (lines.empty()) {
        return text;
    }
    const size_t at = in.Pick(lines.size()), to = in.Pick(lines.size() + 1);
    std::string& line = lines[at];
    const bool comment = xml ? line.find("<!--") != std::string::npos : line.rfind('#', 0) == 0 || line.rfind(';', 0) == 0;
    switch (in.Pick(4)) {
    case 0:
        if (comment) {
            const std::string moved = line;
            lines.erase(lines.begin() + at);
            lines.insert(lines.begin() + std::min(to, lines.size()), moved);
        }
        break;
    case 1:
        lines.insert(lines.begin() + to, "");
        break;
    case 2:
        if (line.empty()) {
            lines.erase(lines.begin() + at);
        }
        break;
    default:
        if (xml && line.find('<') != std::string::npos) {
            line = std::string(in.Pick(5), ' ') + line.substr(line.find('<'));
        } else if (ini && !comment && line.find('=') != std::string::npos && line[0] != '[' && line[0] != ' ') {
            const size_t equals = line.find('='), name = line.find_last_not_of(' ', equals == 0 ? 0 : equals - 1);
            const size_t value = std::min(line.find_first_not_of(' ', equals + 1), line.size());
            line = line.substr(0, name == std::string::npos || equals == 0 ? 0 : name + 1)
                   + (in.Pick(2) ? "  :  " : "=") + line.substr(value);
        }
    }
    std::string relaid;
    for (const std::string& kept : lines) {
        relaid += (&kept == &lines.front() ? "" : "\n") + kept;
    }
    return relaid;
}

// The keys edited so far; edits of the other file pick from them half the time.
using Touched = std::vector<std::pair<std::string, std::string>>;

// One random edit of a CFG or INI document with its own verbs; a refused
// one changes nothing, which is as good a file.
void Edit(Document& doc, Choices& in, Touched& touched, const Touched& theirs)
{
    const std::vector<Document::Entry> entries = doc.Entries(Document::Order::kFile);
    std::string block = in.From(kBlocks), name = in.From(kNames);
    if (!theirs.empty() && in.Pick(2) != 0) {
        std::tie(block, name) = theirs[in.Pick(theirs.size())];
    } else if (!entries.empty() && in.Pick(4) != 0) {
        const Document::Entry& entry = entries[in.Pick(entries.size())];
        block = entry.block;
        name = entry.name;
    }
    const std::string value = in.From(kValues);
    const size_t index = 1 + in.Pick(2);
    touched.emplace_back(block, name);
    switch (in.Pick(7)) {
    case 0:
    case 1:
        doc.SetAt(block, name, index, value);
        break;
    case 2:
        doc.Add(block, name, value);
        break;
    case 3:
        doc.Append(block, name, value);
        break;
    case 4:
        doc.RemoveAt(block, name, index);
        break;
    case 5:
        doc.RemoveBlock(block);
        break;
    default:
        const std::string before(doc.Text());
        if (doc.Parse(Relaid(before, in, doc.GetMode() == Document::Mode::kIni, false)) != 0) {
            doc.Parse(before);
        }
    }
}

// Whether the last part of a key the generator made names an attribute.
bool Attribute(const std::string& key)
{
    const std::string last = key.substr(key.rfind('.') + 1);
    return std::find(std::begin(kAttributes), std::end(kAttributes), last) != std::end(kAttributes);
}

// The same for an XML document: values of keys the reading lists, new
// elements under the root or an element that has children already (one
// with text would hold both), attributes on elements.
void Edit(XmlDocument& doc, Choices& in, Touched& touched, const Touched& theirs)
{
    std::vector<std::string> keys, parents{""};
    for (const XmlDocument::Entry& entry : doc.Entries()) {
        keys.push_back(entry.key);
        if (!Attribute(entry.key) && entry.key.find('.') != std::string::npos) {
            parents.push_back(entry.key.substr(0, entry.key.rfind('.')) + ".");
        }
    }
    std::string key = keys.empty() ? std::string() : keys[in.Pick(keys.size())];
    if (!theirs.empty() && in.Pick(2) != 0) {
        key = theirs[in.Pick(theirs.size())].first;
    }
    const std::string value = in.From(kXmlValues);
    const std::string element = Attribute(key) ? key.substr(0, key.rfind('.')) : key;
    switch (key.empty() ? 2 : in.Pick(6)) {
    case 0:
    case 1:
        doc.Set(key, value);
        break;
    case 2:
        key = parents[in.Pick(parents.size())] + in.From(kElements);
        doc.Add(key, value);
        break;
    case 3:
        key = element + "." + in.From(kAttributes);
        doc.SetAttribute(key, value);
        break;
    case 4:
        doc.Remove(key);
        break;
    default:
        const std::string before(doc.Text());
        if (doc.Parse(Relaid(before, in, false, true)) != 0) {
            doc.Parse(before);
        }
    }
    touched.emplace_back(key, "");
}

// OLD's text edited a few times; Parse(text) must have succeeded before.
template <class Doc>
std::string Edited(const std::string& text, Choices& in, Touched& touched, const Touched& theirs, Doc doc)
{
    doc.Parse(text);
    for (size_t edits = in.Pick(6); edits-- > 0;) {
        Edit(doc, in, touched, theirs);
    }
    return std::string(doc.Text());
}

template <class Make>
void MergeAndCheck(const std::string& oldText, Choices& in, size_t format, Make make)
{
    using Doc = decltype(make());
    Doc old = make(), updated = make(), file = make();
    if (old.Parse(oldText) != 0) {
        return;
    }
    Touched touchedNew, touchedFile;
    const std::string newText = Edited(oldText, in, touchedNew, {}, make());
    const std::string fileText = Edited(oldText, in, touchedFile, touchedNew, make());
    FUZZ_REQUIRE(updated.Parse(newText) == 0 && file.Parse(fileText) == 0, "an edited file reads");

    mergepromise::Run run;
    run.xml = format == 2;
    run.ini = format == 1;
    run.old = mergepromise::ReadingOf(old);
    run.updated = mergepromise::ReadingOf(updated);
    run.file = mergepromise::ReadingOf(file);
    run.fileText = fileText;
    run.oldBlocks = mergepromise::BlocksOf(old);
    run.fileBlocks = mergepromise::BlocksOf(file);
    run.status = zelconfig::Merge(old, updated, file, run.conflicts);
    run.error = file.Error();
    run.changed = file.Changed();
    run.mergedText = std::string(file.Text());
    Doc merged = make();
    FUZZ_REQUIRE(merged.Parse(run.mergedText) == 0, "the merged text reads\n" + run.mergedText);
    run.merged = mergepromise::ReadingOf(merged);
    run.againStatus = zelconfig::Merge(old, updated, merged, run.againConflicts);
    run.againText = std::string(merged.Text());

    ++counts.merges[format];
    counts.refusals[format] += run.status != 0 ? 1 : 0;
    if (run.status != 0 && std::getenv("FUZZ_MERGE_REFUSALS") != nullptr) {
        std::fprintf(stderr, "refused: %s\n--- OLD\n%s--- NEW\n%s--- FILE\n%s", run.error.c_str(), oldText.c_str(),
                     newText.c_str(), fileText.c_str());
    }
    const std::string broken = mergepromise::Check(run);
    const char* dump = std::getenv("FUZZ_MERGE_DUMP"); // a directory: the three files and the merged one, to replay
    if (dump != nullptr && !broken.empty()) {
        const std::string names[] = {"OLD", "NEW", "FILE", "merged"}, texts[] = {oldText, newText, fileText, run.mergedText};
        for (size_t i = 0; i < 4; ++i) {
            WriteFile(std::string(dump) + "/" + names[i], texts[i]);
        }
    }
    FUZZ_REQUIRE(broken.empty(), broken + "\n--- OLD\n" + oldText + "--- NEW\n" + newText + "--- FILE\n" + fileText
                                     + "--- merged (" + std::to_string(run.status) + ")\n" + run.mergedText);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0) {
        return 0;
    }
    const size_t format = (data[0] & 0x3f) % 3;
    const bool literal = (data[0] & 0x80) != 0 && size > kControl;
    Choices in(data + 1, literal ? kControl - 1 : size - 1);
    std::string text = literal ? std::string(reinterpret_cast<const char*>(data) + kControl, size - kControl)
                       : format == 2 ? XmlText(in)
                                     : CfgText(in, format == 1);
    for (size_t at = text.find('\n'); !literal && (data[0] & 0x40) != 0 && at != std::string::npos;
         at = text.find('\n', at + 2)) {
        text.insert(at, "\r"); // CR LF line ends, which added lines are to keep
    }
    if (format == 2) {
        MergeAndCheck(text, in, format, [] { return XmlDocument(); });
    } else {
        const Document::Mode mode = format == 1 ? Document::Mode::kIni : Document::Mode::kBlock;
        MergeAndCheck(text, in, format, [mode] { return Document(mode); });
    }
    return 0;
}
