#include "DocumentState.h"

#include <cerrno>
#include <cstring>

namespace zelconfig {

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
    // A block whose name is a longer prefix of the key is most likely what
    // was meant: adding beside it would write where no reader looks.
    if (s.WhollyRead()
        && CFGCheckWritable(name.parts.block, name.parts.entry, value, nullptr) == CFGWritable::kWritable) {
        const std::string dotted = s.DottedBlockText(name);
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
        // The whole text of each of its sections goes, lines the engine
        // ignores included, up to the next header; of the comment lines
        // directly above a header, no blank line between, those above one of
        // the block's own headers go and those above another header stay.
        bool inside = s.Ini() && name.empty() && !EntryNames("").empty(); // the text above the first header
        std::vector<Line> comments; // the comment lines directly above the current line
        s.ReadLines(0, kNone, [&](const Line& line, const CFGReport& report) {
            if (report.line.kind == CFGLineKind::kComment) {
                comments.push_back(line);
                return;
            }
            if (report.line.kind == CFGLineKind::kHeader) {
                inside = report.line.name == name;
            }
            if (inside) {
                removed.insert(removed.end(), comments.begin(), comments.end());
                removed.push_back(line);
            }
            comments.clear();
        });
        if (inside) {
            removed.insert(removed.end(), comments.begin(), comments.end());
        }
    }
    if (removed.empty()) {
        s.error = "no block " + name + LookalikeText(name, "", Lookalikes(name, ""));
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
