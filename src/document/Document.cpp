#include "DocumentState.h"

#include <cstring>

namespace zelconfig {

Document::Document(Mode mode) : m_state(new State(mode)) {}

Document::~Document() = default;
Document::Document(Document&& other) noexcept = default;
Document& Document::operator=(Document&& other) noexcept = default;

Document::Mode Document::GetMode() const
{
    return m_state->mode;
}

int Document::Load(const std::string& path, unsigned options)
{
    return Load(path, options, ReplaceOptions());
}

int Document::Load(const std::string& path, unsigned options, const ReplaceOptions& saving)
{
    ZEL_LOG(kLogParams, "Load", "File Path %s", path.c_str());
    State& s = *m_state;
    s = State(s.mode);
    ReplaceOptions creating = saving;
    creating.create = (options & kCreate) != 0;
    if (s.EditedFile::Load(path, (options & kLock) != 0, creating) != 0) {
        ZEL_LOG(kLogError, "Load", "Error Opening File");
        return s.status = kStatusNotFound;
    }
    return s.Start();
}

int Document::Read(int fd)
{
    State& s = *m_state;
    s = State(s.mode);
    if (s.EditedFile::Read(fd) != 0) {
        return s.status = kStatusNotFound;
    }
    return s.Start();
}

int Document::Parse(std::string_view text)
{
    State& s = *m_state;
    s = State(s.mode);
    s.EditedFile::Parse(text);
    return s.Start();
}

std::string_view Document::Text() const
{
    return m_state->text;
}

bool Document::Changed() const
{
    return m_state->changed;
}

bool Document::CrlfLineEnds() const
{
    return m_state->Crlf();
}

const std::string& Document::Error() const
{
    return m_state->error;
}

int Document::Get(const std::string& key, std::string& value) const
{
    if (key.empty()) {
        return kStatusNotFound;
    }
    const CFGKeyParts parts = CFGSplitKey(key, m_state->Anonymous());
    return Get(std::string(parts.block), std::string(parts.entry), value);
}

int Document::Get(const std::string& block, const std::string& entry, std::string& value) const
{
    if (&value == &block || &value == &entry) {
        return Get(std::string(block), std::string(entry), value); // the names must not grow while compared
    }
    int result = kStatusNotFound;
    m_state->ForEachMatch(CFGKeyParts{block, entry},
                          [&](const Line&, std::string_view, std::string_view found) {
                              // The separator depends on what the caller's string holds.
                              if (!value.empty()) {
                                  value += '\n';
                              }
                              value.append(found.data(), found.size());
                              result = 0;
                          });
    return result;
}

std::vector<std::string> Document::Values(const std::string& block, const std::string& entry) const
{
    std::vector<std::string> values;
    m_state->ForEachMatch(CFGKeyParts{block, entry}, [&](const Line&, std::string_view, std::string_view found) {
        values.emplace_back(found);
    });
    return values;
}

std::string Document::Get(const std::string& key) const
{
    std::string value;
    Get(key, value);
    return value;
}

std::vector<std::string> Document::EntryNames(const std::string& block) const
{
    std::vector<std::string> names;
    m_state->ForEachEntryOf(block, [&](const Line&, std::string_view key, std::string_view) {
        names.emplace_back(key);
    });
    return names;
}

std::vector<std::string> Document::BlockNames() const
{
    return BlockNames(Order::kSaved);
}

std::vector<std::string> Document::BlockNames(Order order) const
{
    const State& s = *m_state;
    std::vector<std::string> names;
    if (s.Anonymous() && s.loaded) {
        names.emplace_back(kCFGAnonymousBlock); // the engine makes it before reading a line
    }
    if (s.Ini() && !EntryNames("").empty()) {
        names.emplace_back(); // the entries above the first header
    }
    for (const auto& section : s.FirstSections(order)) {
        if (!s.Anonymous() || section.first != kCFGAnonymousBlock) {
            names.emplace_back(section.first);
        }
    }
    if (order == Order::kSaved) {
        std::sort(names.begin(), names.end());
    }
    return names;
}

std::vector<Document::Entry> Document::Entries() const
{
    return Entries(Order::kSaved);
}

std::vector<Document::Entry> Document::Entries(Order order) const
{
    std::vector<Entry> entries;
    m_state->ForEachEntry(order, [&](std::string_view block, std::string_view name, std::string_view value) {
        entries.push_back({std::string(block), std::string(name), std::string(value)});
    });
    return entries;
}

void Document::Walk(const std::function<void(const std::string&, const std::string&)>& visit) const
{
    std::string key, held; // their room kept from one entry to the next
    m_state->ForEachEntry(Order::kFile, [&](std::string_view block, std::string_view name, std::string_view value) {
        ShownInto(key, block, name);
        held.assign(value.data(), value.size());
        visit(key, held);
    });
}

std::vector<Document::Lookalike> Document::Lookalikes(const std::string& key) const
{
    if (key.find('.') == std::string::npos) {
        return {};
    }
    const CFGKeyParts parts = CFGSplitKey(key, false);
    return Lookalikes(std::string(parts.block), std::string(parts.entry));
}

std::vector<Document::Lookalike> Document::Lookalikes(const std::string& block, const std::string& entry) const
{
    const State& s = *m_state;
    std::vector<Lookalike> found;
    if (s.Anonymous() || !s.loaded) {
        return found;
    }
    if (s.Ini()) {
        // Names and keys are read without the blanks around them: only a
        // missing section's name can differ by those from one held.
        bool held = block.empty();
        s.ForEachSectionOf(block, [&](size_t, size_t) { held = true; });
        return held ? found : s.BlockLookalikes(block);
    }
    const CFGKeyParts parts{block, entry};
    const std::string_view wanted = CFGTrimAnonymous(parts.entry, *s.ctype);
    const size_t first = s.FindSection(parts.block);
    if (first == kNone) {
        return s.BlockLookalikes(parts.block);
    }
    // Offsets first: lines are counted only when something was found.
    std::vector<size_t> at, headerAt;
    for (size_t i = first; i < s.headers.size(); ++i) {
        if (i != first && s.HeaderName(i) != parts.block) {
            continue;
        }
        s.ReadLines(s.headers[i].at, s.SectionEnd(i), [&](const Line& line, const CFGReport& report) {
            if (report.line.kind == CFGLineKind::kEntry && CFGTrimAnonymous(report.line.key, *s.ctype) == wanted
                && (i != first || report.line.key != parts.entry)) {
                found.push_back({0, i == first ? std::string(parts.block) + "." + std::string(report.line.key)
                                               : std::string(),
                                 0, {}});
                at.push_back(line.begin);
                headerAt.push_back(i == first ? kNone : s.headers[i].at);
            }
        });
    }
    size_t counted = 0, number = 1;
    const auto lineOf = [&](size_t offset) {
        number += static_cast<size_t>(std::count(s.text.data() + counted, s.text.data() + offset, '\n'));
        counted = offset;
        return number;
    };
    for (size_t i = 0; i < found.size(); ++i) {
        // Several entries under one repeated header share it: counting
        // runs forwards only, so its line is taken from the first of them.
        if (headerAt[i] != kNone) {
            found[i].repeatedHeaderLine = i > 0 && headerAt[i] == headerAt[i - 1] ? found[i - 1].repeatedHeaderLine
                                                                                 : lineOf(headerAt[i]);
        }
        found[i].line = lineOf(at[i]);
    }
    return found;
}


std::string Document::Missing(const std::string& key) const
{
    const Named name = m_state->Name(key);
    return m_state->Missing(name, Lookalikes(std::string(name.parts.block), std::string(name.parts.entry)));
}

std::string Document::Missing(const std::string& block, const std::string& entry) const
{
    return m_state->Missing(Named{{block, entry}, {}}, Lookalikes(block, entry));
}

size_t Document::UnreadEntries() const
{
    const State& s = *m_state;
    if (s.Anonymous()) {
        return 0;
    }
    size_t count = 0;
    s.ReadLines(0, kNone, [&](const Line&, const CFGReport& report) {
        count += report.fate == CFGFate::kEntryDropped ? 1 : 0;
    });
    return count;
}

std::vector<size_t> Document::Lines(const std::string& block, const std::string& entry) const
{
    const State& s = *m_state;
    std::vector<size_t> lines;
    s.ForEachMatch(CFGKeyParts{block, entry}, [&](const Line& line, std::string_view, std::string_view) {
        lines.push_back(line.begin);
    });
    for (size_t& line : lines) {
        line = s.LineNumber(line);
    }
    return lines;
}

} // namespace zelconfig
