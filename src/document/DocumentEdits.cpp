#include "DocumentState.h"

#include <cerrno>
#include <cstring>

namespace zelconfig {

std::string Document::State::DottedBlockText(const Named& name) const
{
    const std::string_view key = name.key;
    if (key.empty() || Anonymous() || !loaded) {
        return "";
    }
    for (size_t i = 0; i < headers.size(); ++i) {
        const std::string_view held = HeaderName(i);
        if (headers[i].first && held.size() > name.parts.block.size() && key.size() > held.size() + 1
            && key.compare(0, held.size(), held.data(), held.size()) == 0 && key[held.size()] == '.') {
            return "; line " + std::to_string(LineNumber(headers[i].at)) + " holds the block '"
                   + std::string(held) + "', whose name holds '.': address its entry as "
                   + Address(std::string(held), std::string(key.substr(held.size() + 1))) + " (BLOCK ENTRY apart)";
        }
    }
    return "";
}

std::string Document::State::NamelessText(const Named& name) const
{
    std::string hint;
    if (Ini() && name.byKey && !name.key.empty()) {
        ForEachEntryOf("", [&](const Line& line, std::string_view key, std::string_view) {
            if (hint.empty() && key == name.key) {
                const std::string held(name.key);
                hint = "; line " + std::to_string(LineNumber(line.begin)) + " holds '" + held
                       + "' above the first section header: address it as '." + held + "'";
            }
        });
    }
    return hint;
}

std::string Document::State::Missing(const Named& name, const std::vector<Document::Lookalike>& lookalikes) const
{
    const std::string block(name.parts.block), entry(name.parts.entry);
    return "no key " + name.Shown() + LookalikeText(block, entry, lookalikes) + DottedBlockText(name)
           + NamelessText(name);
}

const std::vector<Document::Lookalike>& Document::State::EditLookalikes(const Document& document,
                                                                       std::string_view block, std::string_view entry)
{
    if (!remembered.valid || remembered.version != text.Version() || remembered.block != block
        || remembered.entry != entry) {
        remembered = {true, text.Version(), std::string(block), std::string(entry),
                      document.Lookalikes(std::string(block), std::string(entry))};
    }
    return remembered.found;
}

int Document::State::Pick(const Document& document, const Named& name, const std::vector<size_t>& offsets,
                          size_t which)
{
    if (offsets.empty()) {
        error = Missing(name, EditLookalikes(document, name.parts.block, name.parts.entry));
        return kStatusNotFound;
    }
    if ((which == kTheOnly && offsets.size() > 1) || (which != kTheOnly && which > offsets.size())) {
        std::vector<size_t> lines;
        for (size_t at : offsets) {
            lines.push_back(LineNumber(at));
        }
        const std::string count = std::to_string(lines.size()) + (lines.size() == 1 ? " entry" : " entries");
        error = which == kTheOnly ? name.Shown() + " names " + count + " (" + LineList(lines) + ")"
                                  : "no entry " + std::to_string(which) + " of " + name.Shown() + ": it names "
                                        + count + " (" + LineList(lines) + ")";
        return which == kTheOnly ? kEditAmbiguous : kStatusNotFound;
    }
    return 0;
}

int Document::State::SetEntries(const Document& document, const Named& name, size_t which, const std::string& value)
{
    if (!WhollyRead()) {
        return kStatusInvalid;
    }
    if (Ini() ? !IniWritable(name.parts.block, name.parts.entry, value)
              : value.find('\n') != std::string::npos || (Anonymous() && HasSpaceAtEnds(value))) {
        if (!Ini()) {
            error = Anonymous() && HasSpaceAtEnds(value) ? kTrimmedAtEnds : "a value cannot hold a line feed";
        }
        return kStatusInvalid;
    }
    IndexSections();
    std::vector<size_t>& offsets = scratch.offsets;
    std::vector<Splice>& splices = scratch.splices;
    offsets.clear();
    splices.clear();
    ForEachMatch(name.parts, [&](const Line& line, std::string_view, std::string_view stored) {
        offsets.push_back(line.begin);
        const bool taken = which == kEvery || which == kTheOnly || which == offsets.size();
        if (Ini()) {
            if (taken && stored != value) {
                splices.push_back(IniValueSplice(line, value));
            }
            return;
        }
        std::string written = Kept(stored, value, mode != Mode::kBlock);
        if (taken && stored != written) {
            const size_t begin = static_cast<size_t>(stored.data() - text.data());
            splices.push_back({begin, begin + stored.size(), std::move(written)});
        }
    });
    const int picked = Pick(document, name, offsets, which);
    if (picked == 0) {
        Apply(splices);
    }
    return picked;
}

int Document::State::RemoveEntries(const Document& document, const Named& name, size_t which)
{
    if (!WhollyRead()) {
        return kStatusInvalid;
    }
    IndexSections();
    std::vector<size_t> offsets;
    ForEachMatch(name.parts, [&](const Line& line, std::string_view, std::string_view) {
        offsets.push_back(line.begin);
    });
    const int picked = Pick(document, name, offsets, which);
    if (picked != 0) {
        return picked;
    }
    size_t count = 0; // the entries of the key met so far
    std::vector<Line> removed;
    ForEachSectionOf(name.parts.block, [&](size_t from, size_t to) {
        const std::vector<Line> owned = Owned(from, to, [&](const CFGReport& report) {
            return report.line.kind == CFGLineKind::kEntry && report.line.key == name.parts.entry
                   && (++count == which || which == kEvery || which == kTheOnly);
        });
        removed.insert(removed.end(), owned.begin(), owned.end());
    });
    if (Ini() && !IniKeepsLinesBelow(removed)) {
        return kStatusInvalid;
    }
    RemoveLines(removed);
    return 0;
}

int Document::Set(const std::string& key, const std::string& value)
{
    State& s = *m_state;
    return key.empty() ? kStatusInvalid : s.SetEntries(*this, s.Name(key), kTheOnly, value);
}

int Document::Set(const std::string& block, const std::string& entry, const std::string& value)
{
    return m_state->SetEntries(*this, Named{{block, entry}, {}}, kTheOnly, value);
}

int Document::SetAt(const std::string& block, const std::string& entry, size_t index, const std::string& value)
{
    return m_state->SetEntries(*this, Named{{block, entry}, {}}, index, value);
}

int Document::Append(const std::string& block, const std::string& entryName, const std::string& value)
{
    State& s = *m_state;
    if (!s.WhollyRead()) {
        return kStatusInvalid;
    }
    s.IndexSections();
    bool found = false;
    Line last{};
    s.ForEachMatch(CFGKeyParts{block, entryName}, [&](const Line& line, std::string_view, std::string_view) {
        last = line;
        found = true;
    });
    if (!found) {
        return Add(block, entryName, value);
    }
    if (!s.Writable(block, entryName, value)) {
        return kStatusInvalid;
    }
    if (s.Ini()) {
        s.InsertAfter(&last, s.IniEntryLines(s.IniEntryStyle(last), entryName, value), std::strlen(s.LineEnd()),
                      false);
        return 0;
    }
    const std::string lineEnd = s.EntryEnd(value);
    s.InsertAfter(&last, entryName + "=" + value + lineEnd, s.EndDropped(lineEnd), false);
    return 0;
}

int Document::Add(const std::string& key, const std::string& value)
{
    if (key.empty()) {
        return kStatusInvalid;
    }
    State& s = *m_state;
    const Named name = s.Name(key);
    // A block whose name is a longer prefix of the key, or an INI entry
    // above the first header named by the whole key, is most likely what was
    // meant: adding beside it would write where no reader looks.
    if (s.WhollyRead()
        && (s.Ini()
            || CFGCheckWritable(name.parts.block, name.parts.entry, value, nullptr) == CFGWritable::kWritable)) {
        const std::string dotted = s.DottedBlockText(name) + s.NamelessText(name);
        if (!dotted.empty()) {
            s.error = "refusing to add " + key + dotted;
            return kEditAmbiguous;
        }
    }
    return Add(std::string(name.parts.block), std::string(name.parts.entry), value);
}

int Document::Add(const std::string& block, const std::string& entryName, const std::string& value)
{
    State& s = *m_state;
    if (!s.WhollyRead()) {
        return kStatusInvalid;
    }
    s.IndexSections();
    const CFGKeyParts parts{block, entryName};
    // The lines must read back as exactly this block, entry and value.
    if (!s.Writable(parts.block, parts.entry, value)) {
        return kStatusInvalid;
    }
    // A line a reader would take for the entry, which no lookup finds, is
    // most likely what was meant: adding beside it would make two.
    const std::vector<Lookalike>& lookalikes = s.EditLookalikes(*this, block, entryName);
    if (!lookalikes.empty()) {
        s.error = "refusing to add " + Shown(block, entryName) + LookalikeText(block, entryName, lookalikes);
        return kEditAmbiguous;
    }
    if (s.Ini()) {
        return s.IniAdd(block, entryName, value);
    }
    const std::string header = "[" + block + "]";
    const std::string lineEnd = s.EntryEnd(value);
    std::string entry = entryName + "=" + value + lineEnd;

    // After the block's last entry, else after its header; in anonymous mode
    // after the file's last entry. Right after such a line no comment waits.
    bool found = false;
    Line anchor{};
    const size_t section = s.Anonymous() ? kNone : s.FindSection(parts.block);
    if (section != kNone) {
        anchor = s.LineAt(s.headers[section].at);
        found = true;
    }
    if (section != kNone || s.Anonymous()) {
        s.ForEachEntryOf(parts.block, [&](const Line& line, std::string_view, std::string_view) {
            anchor = line;
            found = true;
        });
    }
    if (found) {
        s.InsertAfter(&anchor, std::move(entry), s.EndDropped(lineEnd), false);
        return 0;
    }
    // A new block (in anonymous mode, the first entry) goes after the last
    // header or entry of the file, or first when there is none.
    s.ReadLines(0, kNone, [&](const Line& line, const CFGReport& report) {
        if (report.line.kind == CFGLineKind::kHeader || report.line.kind == CFGLineKind::kEntry) {
            anchor = line;
            found = true;
        }
    });
    std::string lines = s.Anonymous() ? entry : header + s.LineEnd() + entry;
    s.InsertAfter(found ? &anchor : nullptr, std::move(lines), s.EndDropped(lineEnd), !s.Anonymous());
    return 0;
}

int Document::Remove(const std::string& key)
{
    State& s = *m_state;
    return key.empty() ? kStatusInvalid : s.RemoveEntries(*this, s.Name(key), kTheOnly);
}

int Document::Remove(const std::string& block, const std::string& entry)
{
    return m_state->RemoveEntries(*this, Named{{block, entry}, {}}, kTheOnly);
}

int Document::RemoveAt(const std::string& block, const std::string& entry, size_t index)
{
    return m_state->RemoveEntries(*this, Named{{block, entry}, {}}, index);
}

int Document::RemoveBlock(const std::string& name)
{
    State& s = *m_state;
    if (!s.WhollyRead()) {
        return kStatusInvalid;
    }
    if (s.Anonymous() && name == kCFGAnonymousBlock) {
        s.error = "in anonymous mode the block \"anonymous\" holds every entry; remove them one by one";
        return kStatusInvalid;
    }
    std::vector<Line> removed;
    if (s.Anonymous()) {
        // Entries there belong to "anonymous": only the headers go, each
        // with the comment lines that belong to it.
        removed = s.Owned(0, kNone, [&](const CFGReport& report) {
            return report.line.kind == CFGLineKind::kHeader && report.line.name == name;
        });
    } else {
        removed = s.SectionLines([&](std::string_view held) { return held == name; },
                                 s.Ini() && name.empty() && !EntryNames("").empty());
    }
    if (removed.empty()) {
        s.error = "no block " + (name.empty() ? std::string("''") : name) + LookalikeText(name, "", Lookalikes(name, ""));
        return kStatusNotFound;
    }
    if (s.Ini() && !s.IniKeepsLinesBelow(removed)) {
        return kStatusInvalid;
    }
    s.RemoveLines(removed);
    return 0;
}

int Document::Normalise()
{
    State& s = *m_state;
    if (!s.WhollyRead()) {
        return kStatusInvalid;
    }
    if (s.Ini()) {
        s.error = "INI files have no normalised form: each keeps its own";
        return kStatusInvalid;
    }
    std::string normalised;
    if (!s.NormalisedText(normalised)) {
        return kStatusInvalid;
    }
    if (normalised != std::string_view(s.text)) {
        s.text.Assign(normalised);
        s.Index();
        s.changed = true;
    }
    return 0;
}

int Document::Save()
{
    State& s = *m_state;
    // A failed load keeps its own reason.
    return s.HasFile() && !s.WhollyRead() ? kStatusInvalid : s.EditedFile::Save();
}

} // namespace zelconfig
