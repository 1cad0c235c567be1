#include "ZelConfigXmlDocument.h"

#include <cerrno>

#include "DocumentAccess.h"
#include "EditedFile.h"
#include "XmlDocument.h"

namespace zelconfig {

namespace {

// The tree's refusals, in the statuses every document gives.
int DocumentStatus(int tree)
{
    switch (tree) {
    case xml::kEditRefused:
    case xml::kEditSeveral:
        return kEditAmbiguous;
    case kStatusNotHoldable:
        return kStatusInvalid;
    default:
        return tree;
    }
}

// Why a parse failed, for people: where, and what.
std::string ParseFailure(int status, const xml::XmlError& error)
{
    if (status == 22) {
        return "out of memory";
    }
    const std::string where = error.line > 0
        ? "line " + std::to_string(error.line) + ", column " + std::to_string(error.column)
        : "byte " + std::to_string(error.offset);
    return error.unsupported ? where + ": " + error.description
                             : "not well-formed XML at " + where + ": " + error.description;
}

const char kNotHoldable[] = "an XML file cannot hold a NUL byte or another control character";

} // namespace

// The bytes are the truth: the tree is parsed from them again after an
// edit, when something next reads it, so that reads see the edit; the tree's
// own recording of the edit only makes the new bytes. A program that edits
// and saves pays for no parse after its last edit.
struct XmlDocument::State : EditedFile
{
    xml::XmlDocument tree;
    bool parsed = false; // the text is well-formed XML and the tree reads it
    bool stale = false;  // the text changed since the tree read it

    int Start()
    {
        stale = false;
        xml::XmlError failure;
        // The text stays as it is until an edit, after which the tree reads
        // it again: the tree counts lines in it rather than in a copy.
        const int status = tree.LoadBuffer(text.data(), text.size(), failure, true);
        parsed = status == 0;
        if (!parsed) {
            error = ParseFailure(status, failure);
        }
        // The tool's keys, indexes and all.
        tree.SetKeyStyle(xml::KeyStyle::kIndexed);
        return status;
    }

    // The tree reading the text as it stands: false when it cannot.
    bool Fresh()
    {
        if (stale) {
            Start();
        }
        return parsed;
    }

    // Whether the key can name anything; 22 with why not.
    int CheckKey(const std::string& key)
    {
        if (!Fresh()) {
            error = "nothing loaded";
            return kStatusInvalid;
        }
        return xml::XmlDocument::CheckKey(key, xml::KeyStyle::kIndexed, error) ? 0 : kStatusInvalid;
    }

    // Why the key names nothing: where parts joined with their dots name
    // what is there, that is what was meant.
    std::string Missing(const std::string& key) const
    {
        const std::string joined = tree.JoinedKey(key);
        return "no key " + key
               + (joined.empty() ? "" : "; " + joined + " names what is there: a name that holds dots is quoted");
    }

    // Makes an edit of the key: `edit` records it in the tree, returning the
    // tree's status and saying why it refused; then the tree's bytes become
    // the text, which the tree reads from then on.
    template <class Edit>
    int Apply(const std::string& key, Edit edit)
    {
        if (const int checked = CheckKey(key)) {
            return checked;
        }
        std::string why;
        const int status = edit(why);
        if (status != 0) {
            error = status == kStatusNotFound ? Missing(key) : status == kStatusNotHoldable ? kNotHoldable : why;
            return DocumentStatus(status);
        }
        std::string rendered;
        if (!tree.Render(text, rendered)) {
            error = "the edit does not fit the file's bytes";
            Start(); // forgets the recorded edit
            return kStatusInvalid;
        }
        if (rendered != std::string_view(text)) {
            text.Assign(rendered);
            changed = true;
        }
        stale = true; // the recorded edit goes with the next parse
        return 0;
    }
};

XmlDocument::XmlDocument() : m_state(new State) {}
XmlDocument::~XmlDocument() = default;
XmlDocument::XmlDocument(XmlDocument&& other) noexcept = default;
XmlDocument& XmlDocument::operator=(XmlDocument&& other) noexcept = default;

int XmlDocument::Load(const std::string& path, unsigned options)
{
    return Load(path, options, ReplaceOptions());
}

int XmlDocument::Load(const std::string& path, unsigned options, const ReplaceOptions& saving)
{
    State& s = *m_state;
    ReplaceOptions creating = saving;
    creating.create = (options & Document::kCreate) != 0;
    s.parsed = s.stale = false;
    if (s.EditedFile::Load(path, (options & Document::kLock) != 0, creating) != 0) {
        return kStatusNotFound;
    }
    return s.Start();
}

int XmlDocument::Read(int fd)
{
    m_state->parsed = m_state->stale = false;
    return m_state->EditedFile::Read(fd) != 0 ? kStatusNotFound : m_state->Start();
}

int XmlDocument::Parse(std::string_view text)
{
    m_state->EditedFile::Parse(text);
    return m_state->Start();
}

std::string_view XmlDocument::Text() const
{
    return m_state->text;
}

bool XmlDocument::Changed() const
{
    return m_state->changed;
}

const std::string& XmlDocument::Error() const
{
    return m_state->error;
}

int XmlDocument::Get(const std::string& key, std::string& value) const
{
    State& s = *m_state;
    const int checked = s.CheckKey(key);
    return checked != 0 ? checked : s.tree.Find(key, value);
}

std::vector<XmlDocument::Entry> XmlDocument::Entries() const
{
    std::vector<Entry> entries;
    Walk([&](const std::string& key, const std::string& value) { entries.push_back({key, value}); });
    return entries;
}

void XmlDocument::Walk(const std::function<void(const std::string&, const std::string&)>& visit) const
{
    if (m_state->Fresh()) {
        m_state->tree.ForEach(visit);
    }
}

std::vector<size_t> XmlDocument::Lines(const std::string& key) const
{
    return m_state->CheckKey(key) == 0 ? m_state->tree.Lines(key) : std::vector<size_t>();
}

std::string XmlDocument::Missing(const std::string& key) const
{
    State& s = *m_state;
    return s.CheckKey(key) != 0 ? s.error : s.Missing(key);
}

std::vector<Finding> XmlDocument::Lint() const
{
    std::vector<Finding> findings;
    if (m_state->Fresh()) {
        for (xml::XmlFinding& found : m_state->tree.Lint(m_state->text)) {
            findings.push_back({found.line, found.column, std::move(found.message)});
        }
    }
    return findings;
}

int XmlDocument::Set(const std::string& key, const std::string& value)
{
    xml::XmlDocument& tree = m_state->tree;
    return m_state->Apply(key, [&](std::string& why) { return tree.Set(key, value, why, false); });
}

int XmlDocument::SetAll(const std::string& key, const std::string& value)
{
    xml::XmlDocument& tree = m_state->tree;
    return m_state->Apply(key, [&](std::string& why) { return tree.Set(key, value, why, true); });
}

int XmlDocument::SetAttribute(const std::string& key, const std::string& value)
{
    xml::XmlDocument& tree = m_state->tree;
    return m_state->Apply(key, [&](std::string& why) { return tree.SetAttribute(key, value, why); });
}

int XmlDocument::Add(const std::string& key, const std::string& value)
{
    xml::XmlDocument& tree = m_state->tree;
    return m_state->Apply(key, [&](std::string& why) { return tree.Add(key, value, why); });
}

int XmlDocument::Remove(const std::string& key)
{
    xml::XmlDocument& tree = m_state->tree;
    return m_state->Apply(key, [&](std::string& why) { return tree.Remove(key, why, false); });
}

int XmlDocument::RemoveAll(const std::string& key)
{
    xml::XmlDocument& tree = m_state->tree;
    return m_state->Apply(key, [&](std::string& why) { return tree.Remove(key, why, true); });
}

int XmlDocument::Save()
{
    State& s = *m_state;
    if (s.HasFile() && !s.parsed) {
        return kStatusInvalid; // a failed load keeps its reason
    }
    return s.EditedFile::Save();
}

void DocumentAccess::Replace(XmlDocument& document, XmlDocument& parsed)
{
    XmlDocument::State& s = *document.m_state;
    if (std::string_view(parsed.m_state->text) != std::string_view(s.text)) {
        s.text.Take(parsed.m_state->text);
        s.changed = true;
        s.stale = true;
    }
}

bool DocumentAccess::Parsed(const XmlDocument& document)
{
    return document.m_state->Fresh();
}

void DocumentAccess::Fail(XmlDocument& document, const std::string& why)
{
    document.m_state->error = why;
}

xml::XmlDocument& DocumentAccess::Tree(XmlDocument& document)
{
    return document.m_state->tree;
}

const xml::XmlDocument& DocumentAccess::Tree(const XmlDocument& document)
{
    return document.m_state->tree;
}

} // namespace zelconfig
