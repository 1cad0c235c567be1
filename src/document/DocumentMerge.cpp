// Comparing and merging CFG and INI documents: their readings for the
// format-neutral rules of Merging.cpp, and the merge's edits made as one set
// of splices over the user's file, read back before they are kept.

#include "DocumentAccess.h"
#include "DocumentState.h"
#include "Merging.h"

#include <algorithm>
#include <cstring>
#include <unordered_map>
#include <unordered_set>

namespace zelconfig {

DocumentAccess::State& DocumentAccess::Of(Document& document)
{
    return *document.m_state;
}

const DocumentAccess::State& DocumentAccess::Of(const Document& document)
{
    return *document.m_state;
}

namespace {

using State = DocumentAccess::State;

// A document's reading and, for the edits, where each value stands: a CFG
// entry by where its line begins (it is one line) and the bytes its stored
// value holds beyond the value read (a carriage return), an INI entry by its
// lines (continuation lines included). A few words a value, as large files
// hold a million.
struct Placed
{
    Reading reading;
    std::vector<size_t> begins;   // CFG
    std::vector<uint32_t> beyond; // CFG
    std::vector<Line> lines;      // INI

    Line LineOf(const State& s, size_t i) const { return s.Ini() ? lines[i] : s.LineAt(begins[i]); }
    size_t Begin(const State& s, size_t i) const { return s.Ini() ? lines[i].begin : begins[i]; }
    // A CFG value's bytes as held, which a set replaces.
    std::string_view Stored(size_t i) const
    {
        return {reading[i].value.data(), reading[i].value.size() + beyond[i]};
    }
};

// One value of a reading into `item`. The block is the group: see Keyed.
const Keyed& Fill(Keyed& item, Naming& naming, const State& s, std::string_view block, std::string_view entry,
          std::string_view value)
{
    naming.Identify(item, entry, block);
    // As the string getter reads it: no carriage return or line feed at the end.
    size_t length = value.size();
    while (length > 0 && (value[length - 1] == '\r' || value[length - 1] == '\n')) {
        --length;
    }
    value = value.substr(0, length);
    // A view into the text where the value stands there as it reads; an INI
    // value joined from continuation lines is kept apart.
    const std::string_view text = s.text;
    const bool inText = value.data() >= text.data() && value.data() + value.size() <= text.data() + text.size();
    item.value = inText ? value : naming.Keep(value);
    return item;
}

// About one entry in 40 bytes, for the room a reading is given at first.
size_t ExpectedEntries(const State& s)
{
    return s.text.size() / 40;
}

// A reading; `withLines` with each value's line and stored bytes, for the edits.
Placed ReadingOf(const State& s, Naming& naming, bool withLines = false)
{
    Placed placed;
    naming.Restart(ExpectedEntries(s));
    placed.reading.reserve(ExpectedEntries(s));
    if (withLines && s.Ini()) {
        placed.lines.reserve(ExpectedEntries(s));
    } else if (withLines) {
        placed.begins.reserve(ExpectedEntries(s));
        placed.beyond.reserve(ExpectedEntries(s));
    }
    s.ForEachEntryAt(Document::Order::kFile, [&](const Line& line, std::string_view block, std::string_view entry,
                                                 std::string_view value) {
        const Keyed& item = Fill(placed.reading.emplace_back(), naming, s, block, entry, value);
        if (withLines && s.Ini()) {
            placed.lines.push_back(line);
        } else if (withLines) {
            placed.begins.push_back(line.begin);
            placed.beyond.push_back(static_cast<uint32_t>(value.size() - item.value.size()));
        }
    });
    return placed;
}

// Where the comment lines that belong to each line `takes` accepts begin,
// by where the line begins: those an edit that removes it removes. The
// lines are among those that begin at `near`, which are all that is read about.
template <typename Takes>
std::unordered_map<size_t, size_t> CommentsBegin(const State& s, std::vector<size_t> near, Takes takes)
{
    std::sort(near.begin(), near.end());
    std::unordered_map<size_t, size_t> begins;
    s.OwnedNear(near, takes, [&](const Line& line, size_t begin) { begins.emplace(line.begin, begin); });
    return begins;
}

// The lines [begin, at) of `from`, ended as `to` ends its lines.
std::string CommentsFor(const State& from, size_t begin, size_t at, const State& to)
{
    const std::string_view text = from.text;
    std::string comments;
    while (begin < at) {
        size_t end = text.find('\n', begin);
        const size_t next = end + 1;
        if (end > begin && text[end - 1] == '\r') {
            --end;
        }
        comments.append(text.substr(begin, end - begin));
        comments += to.LineEnd();
        begin = next;
    }
    return comments;
}

// The names of a document's headers, repeated ones included.
std::unordered_set<std::string_view> HeaderNames(const State& s)
{
    std::unordered_set<std::string_view> names;
    for (size_t i = 0; i < s.headers.size(); ++i) {
        names.insert(s.HeaderName(i));
    }
    return names;
}

// The merge's edits of one file, gathered as splices over its text as loaded.
class MergeEdits
{
public:
    MergeEdits(State& file, const State& updated, const Placed& mine, const Placed& theirs, const MergePlan& plan,
               const Naming& naming)
        : m_file(file), m_updated(updated), m_mine(mine), m_theirs(theirs), m_naming(naming)
    {
        // The comments of what the new defaults add, new blocks' headers
        // included, and of the file's values an add goes before.
        std::unordered_set<size_t> added, before, firstHeaders;
        std::unordered_set<std::string_view> blocks;
        for (const MergePlan::Add& add : plan.adds) {
            added.insert(theirs.Begin(updated, add.updated));
            blocks.insert(naming.Block(theirs.reading[add.updated]));
            if (add.after == kNoItem && add.before != kNoItem) {
                before.insert(mine.Begin(file, add.before));
            }
        }
        // The first header of each block an add is in, which a new block comes with.
        for (size_t i = 0; i < updated.headers.size() && !updated.Anonymous() && !blocks.empty(); ++i) {
            if (updated.headers[i].first && blocks.count(updated.HeaderName(i)) > 0) {
                firstHeaders.insert(updated.headers[i].at);
            }
        }
        std::vector<size_t> near(added.begin(), added.end());
        near.insert(near.end(), firstHeaders.begin(), firstHeaders.end());
        m_theirComments = CommentsBegin(updated, std::move(near), [&](const CFGReport& report) {
            if (report.line.kind == CFGLineKind::kHeader && firstHeaders.count(report.offset) > 0) {
                m_headerOf.emplace(report.line.name, report.offset);
                return true;
            }
            return report.line.kind == CFGLineKind::kEntry && added.count(report.offset) > 0;
        });
        if (!before.empty()) {
            m_myComments = CommentsBegin(file, {before.begin(), before.end()}, [&](const CFGReport& report) {
                return report.line.kind == CFGLineKind::kEntry && before.count(report.offset) > 0;
            });
        }
    }

    bool Set(const MergePlan::Set& set)
    {
        const Keyed& item = m_mine.reading[set.file];
        const std::string value(m_theirs.reading[set.updated].value);
        if (!m_file.Ini()) {
            const std::string_view stored = m_mine.Stored(set.file);
            const size_t begin = static_cast<size_t>(stored.data() - m_file.text.data());
            m_splices.push_back({begin, begin + stored.size(), State::Kept(stored, value, m_file.Anonymous())});
            return true;
        }
        if (!m_file.IniWritable(m_naming.Block(item), m_naming.Entry(item), value)) {
            return false;
        }
        m_splices.push_back(m_file.IniValueSplice(m_mine.LineOf(m_file, set.file), value));
        return true;
    }

    bool Remove(const std::vector<size_t>& removals, const std::vector<std::string>& dropped)
    {
        std::unordered_set<size_t> gone;
        std::vector<size_t> near;
        for (size_t i : removals) {
            gone.insert(m_mine.Begin(m_file, i));
            near.push_back(m_mine.Begin(m_file, i));
        }
        std::sort(near.begin(), near.end());
        std::vector<Line> lines = m_file.OwnedNear(near, [&](const CFGReport& report) {
            return report.line.kind == CFGLineKind::kEntry && gone.count(report.offset) > 0;
        }, [](const Line&, size_t) {});
        const std::unordered_set<std::string_view> blocks = DroppedBlocks(dropped);
        if (!blocks.empty()) {
            const std::vector<Line> sections = m_file.SectionLines(
                [&](std::string_view name) { return blocks.count(name) > 0; }, false);
            lines.insert(lines.end(), sections.begin(), sections.end());
            std::sort(lines.begin(), lines.end(), [](const Line& a, const Line& b) { return a.begin < b.begin; });
            lines.erase(std::unique(lines.begin(), lines.end(),
                                    [](const Line& a, const Line& b) { return a.begin == b.begin; }),
                        lines.end());
        }
        if (m_file.Ini() && !m_file.IniKeepsLinesBelow(lines)) {
            return false;
        }
        for (Splice& splice : m_file.RemovalSplices(lines)) {
            // The file's last lines go, and with them the line feed above
            // them, so that it still ends without one.
            if (splice.end == m_file.text.size() && m_file.text.back() != '\n') {
                m_lastLineFrom = splice.begin;
            }
            m_splices.push_back(std::move(splice));
        }
        return true;
    }

    bool Add(const MergePlan::Add& add);
    bool AddBlocks(const std::vector<size_t>& adds);
    bool Result(State& merged);

private:
    // The blocks that go whole with their sections, as a removal of the
    // block takes them: not where a header stands for no block (anonymous
    // mode, an INI file's text above its first header), nor a block whose
    // header is repeated, whose later sections hold entries no reader sees.
    std::unordered_set<std::string_view> DroppedBlocks(const std::vector<std::string>& dropped) const
    {
        std::unordered_set<std::string_view> blocks;
        if (m_file.Anonymous()) {
            return blocks;
        }
        for (const std::string& block : dropped) {
            if (!block.empty()) {
                blocks.insert(block);
            }
        }
        for (size_t i = 0; i < m_file.headers.size() && !m_file.Ini(); ++i) {
            if (!m_file.headers[i].first) {
                blocks.erase(m_file.HeaderName(i));
            }
        }
        // The new defaults may keep the block with no entries, which their
        // reading does not show.
        if (!blocks.empty()) {
            for (const std::string_view held : HeaderNames(m_updated)) {
                blocks.erase(held);
            }
        }
        return blocks;
    }

    // The lines of an added entry, its comments first, in the file's style
    // (an INI entry's as `near`'s, when given); `lastEnd` the bytes of their
    // last line end.
    std::string EntryLines(size_t updated, const Line* near, size_t& lastEnd) const
    {
        const Keyed& item = m_theirs.reading[updated];
        const size_t at = m_theirs.Begin(m_updated, updated);
        std::string lines = CommentsFor(m_updated, m_theirComments.at(at), at, m_file);
        if (m_file.Ini()) {
            lines += m_file.IniEntryLines(near ? m_file.IniEntryStyle(*near) : m_file.IniFileStyle(),
                                          m_naming.Entry(item), item.value);
            lastEnd = std::strlen(m_file.LineEnd());
        } else {
            const std::string end = m_file.EntryEnd(item.value);
            lines.append(m_naming.Entry(item)).append("=").append(item.value).append(end);
            lastEnd = m_file.EndDropped(end);
        }
        return lines;
    }

    State& m_file;
    const State& m_updated;
    const Placed& m_mine;
    const Placed& m_theirs;
    const Naming& m_naming;
    std::unordered_map<size_t, size_t> m_theirComments, m_myComments; // see CommentsBegin
    // Inserts lines after the line `anchor` (at the start when none), as
    // InsertionSplice does. After the file's last line without a line feed,
    // or the last one the removals leave, the lines are gathered and
    // inserted at once, so that only the last goes without one.
    void Insert(const Line* anchor, std::string lines, size_t lastEnd)
    {
        if (anchor != nullptr && (anchor->next == kNone || anchor->end == m_lastLineFrom)) {
            m_lastLine = Line{anchor->begin, anchor->end, kNone};
            m_afterLastLine += lines;
            m_lastEnd = lastEnd;
            return;
        }
        size_t feed = 0;
        m_splices.push_back(m_file.InsertionSplice(anchor, std::move(lines), lastEnd, feed));
    }

    std::unordered_map<std::string_view, size_t> m_headerOf; // the new defaults' first header of a block
    std::vector<Splice> m_splices;
    size_t m_lastLineFrom = kNone; // where removals of the last lines begin, with the line feed above
    Line m_lastLine{};             // see Insert
    std::string m_afterLastLine;
    size_t m_lastEnd = 0;
};

bool MergeEdits::Add(const MergePlan::Add& add)
{
    const Keyed& item = m_theirs.reading[add.updated];
    if (!m_file.Writable(m_naming.Block(item), m_naming.Entry(item), item.value)) {
        return false;
    }
    size_t lastEnd = 0;
    if (add.after != kNoItem) {
        const Line anchor = m_mine.LineOf(m_file, add.after);
        std::string lines = EntryLines(add.updated, &anchor, lastEnd);
        if (m_file.Ini() && !m_file.IniKeepsLineBelow(anchor.next, true, m_file.IniEntryStyle(anchor).indent.size())) {
            return false;
        }
        Insert(&anchor, std::move(lines), lastEnd);
        return true;
    }
    // Before the file's value it precedes, and the comments that belong to it.
    const Line next = m_mine.LineOf(m_file, add.before);
    const size_t at = m_myComments.at(next.begin);
    m_splices.push_back({at, at, EntryLines(add.updated, &next, lastEnd)});
    return true;
}

// Adds to blocks where the file holds no value the new defaults know: at
// the end of a block the file has (after its last entry, else its header;
// at the start for anonymous mode's and the INI text above the first
// header), as Document::Add places them; a block the file lacks comes with
// its header and the comments above the new defaults' one, after the file's
// last header or entry, parted from it as the file parts its blocks.
bool MergeEdits::AddBlocks(const std::vector<size_t>& adds)
{
    if (adds.empty()) {
        return true;
    }
    std::vector<uint32_t> order; // the blocks, by group number
    std::unordered_map<uint32_t, std::vector<size_t>> byBlock;
    for (size_t updated : adds) {
        const uint32_t block = m_theirs.reading[updated].group;
        std::vector<size_t>& entries = byBlock[block];
        if (entries.empty()) {
            order.push_back(block);
        }
        entries.push_back(updated);
    }
    std::vector<size_t> lastOf(m_naming.GroupCount(), kNoItem); // each block's last entry in the file
    for (size_t i = 0; i < m_mine.reading.size(); ++i) {
        lastOf[m_mine.reading[i].group] = i;
    }
    bool found = false;
    size_t gap = 1;
    const Line end = m_file.IniLastContent(found, gap);
    for (const uint32_t group : order) {
        const std::string_view block = m_naming.Block(m_theirs.reading[byBlock[group].front()]);
        const size_t last = lastOf[group];
        const size_t section = m_file.FindSection(block);
        const bool headerless = m_file.Anonymous() || (m_file.Ini() && block.empty());
        Line anchor = last != kNoItem      ? m_mine.LineOf(m_file, last)
                      : section != kNone ? m_file.LineAt(m_file.headers[section].at)
                                         : Line{};
        const bool anchored = last != kNoItem || section != kNone;
        std::string lines;
        size_t lastEnd = 0;
        if (!anchored && !headerless) {
            for (size_t i = 0; found && i < gap; ++i) {
                lines += m_file.LineEnd();
            }
            const auto header = m_headerOf.find(block);
            if (header != m_headerOf.end()) {
                lines += CommentsFor(m_updated, m_theirComments.at(header->second), header->second, m_file);
            }
            lines += "[" + std::string(block) + "]" + m_file.LineEnd();
            anchor = end;
        }
        for (size_t updated : byBlock[group]) {
            const Keyed& item = m_theirs.reading[updated];
            if (!m_file.Writable(m_naming.Block(item), m_naming.Entry(item), item.value)) {
                return false;
            }
            lines += EntryLines(updated, last != kNoItem ? &anchor : nullptr, lastEnd);
        }
        const bool atAnchor = anchored || (!headerless && found);
        if (m_file.Ini() && !m_file.IniKeepsLineBelow(atAnchor ? anchor.next : m_file.MarkSize(), true, 0)) {
            return false;
        }
        Insert(atAnchor ? &anchor : nullptr, std::move(lines), lastEnd);
    }
    return true;
}

// The text with every splice made, as the text of `merged`, written in
// place: false when two would overlap, which the merge does not mean to make.
bool MergeEdits::Result(State& merged)
{
    if (!m_afterLastLine.empty()) {
        size_t feed = 0;
        m_splices.push_back(m_file.InsertionSplice(&m_lastLine, std::move(m_afterLastLine), m_lastEnd, feed));
    }
    // By place; at one place the insertions first, in the order they were
    // made, then what replaces bytes there.
    std::stable_sort(m_splices.begin(), m_splices.end(), [](const Splice& a, const Splice& b) {
        return a.begin != b.begin ? a.begin < b.begin : (a.end == a.begin) > (b.end == b.begin);
    });
    const std::string_view text = m_file.text;
    size_t at = 0, size = text.size();
    for (const Splice& splice : m_splices) {
        if (splice.begin < at) {
            m_file.error = "refusing to merge: two edits would meet at line "
                           + std::to_string(m_file.LineNumber(splice.begin));
            return false;
        }
        size = size - (splice.end - splice.begin) + splice.with.size();
        at = splice.end;
    }
    char* out = merged.EditedFile::Parse(size);
    const auto put = [&out](std::string_view bytes) {
        if (!bytes.empty()) {
            std::memcpy(out, bytes.data(), bytes.size());
            out += bytes.size();
        }
    };
    at = 0;
    for (const Splice& splice : m_splices) {
        put(text.substr(at, splice.begin - at));
        put(splice.with);
        at = splice.end;
    }
    put(text.substr(at));
    return true;
}

// Refuses the merge, nothing changed, with why.
int Refuse(State& file, const std::string& why)
{
    file.error = "refusing to merge: " + why;
    return kEditAmbiguous;
}

} // namespace

std::vector<Difference> Compare(const Document& first, const Document& second)
{
    Naming naming(false, ShownInto);
    const Placed a = ReadingOf(DocumentAccess::Of(first), naming);
    const Placed b = ReadingOf(DocumentAccess::Of(second), naming);
    return CompareReadings(a.reading, b.reading, naming);
}

int Merge(const Document& oldDefaults, const Document& newDefaults, Document& document,
          std::vector<Conflict>& conflicts)
{
    const State& old = DocumentAccess::Of(oldDefaults);
    const State& updated = DocumentAccess::Of(newDefaults);
    State& file = DocumentAccess::Of(document);
    conflicts.clear();
    if (!old.WhollyRead() || !updated.WhollyRead() || !file.WhollyRead()) {
        file.error = "a document to merge was not wholly read";
        return kStatusInvalid;
    }
    if (old.mode != file.mode || updated.mode != file.mode) {
        file.error = "the documents to merge are read in different modes";
        return kStatusInvalid;
    }
    Naming naming(false, ShownInto);
    const Placed mine = ReadingOf(file, naming, true);
    const Placed theirs = ReadingOf(updated, naming, true);
    MergePlan plan = PlanMerge(ReadingOf(old, naming).reading, theirs.reading, mine.reading, naming);
    conflicts = std::move(plan.conflicts);
    // A block the user removed, header and all, stays removed: what the new
    // defaults add to it is not added. One the user emptied keeps its header
    // and takes the adds.
    if (!file.Anonymous() && !plan.adds.empty()) {
        const std::unordered_set<std::string_view> inFile = HeaderNames(file), inOld = HeaderNames(old);
        const auto removedByUser = [&](const MergePlan::Add& add) {
            const std::string_view block = naming.Block(theirs.reading[add.updated]);
            return !block.empty() && inFile.count(block) == 0 && inOld.count(block) > 0;
        };
        plan.adds.erase(std::remove_if(plan.adds.begin(), plan.adds.end(), removedByUser), plan.adds.end());
    }
    if (plan.sets.empty() && plan.removals.empty() && plan.adds.empty()) {
        return 0;
    }
    MergeEdits edits(file, updated, mine, theirs, plan, naming);
    for (const MergePlan::Set& set : plan.sets) {
        if (!edits.Set(set)) {
            return Refuse(file, naming.Key(mine.reading[set.file]) + ": " + file.error);
        }
    }
    if (!plan.removals.empty() && !edits.Remove(plan.removals, plan.dropped)) {
        return Refuse(file, file.error);
    }
    std::vector<size_t> unplaced;
    for (const MergePlan::Add& add : plan.adds) {
        if (add.after == kNoItem && add.before == kNoItem) {
            unplaced.push_back(add.updated);
        } else if (!edits.Add(add)) {
            return Refuse(file, naming.Key(theirs.reading[add.updated]) + ": " + file.error);
        }
    }
    if (!edits.AddBlocks(unplaced)) {
        return Refuse(file, file.error);
    }
    // What the edits made must read as the merge promises before it is kept.
    State probe(file.mode);
    if (!edits.Result(probe)) {
        return kEditAmbiguous;
    }
    if (probe.Start() != 0) {
        return Refuse(file, "the merged text would not read: " + probe.error);
    }
    // Read back value by value, no reading of it kept.
    ReadBack readBack(mine.reading, theirs.reading, plan, naming);
    naming.Restart(ExpectedEntries(probe));
    Keyed item;
    probe.ForEachEntryAt(Document::Order::kFile, [&](const Line&, std::string_view block, std::string_view entry,
                                                     std::string_view value) {
        Fill(item, naming, probe, block, entry, value);
        readBack.Read(item);
    });
    const std::string wrong = readBack.Result();
    if (!wrong.empty()) {
        return Refuse(file, wrong);
    }
    file.TakeIndexed(probe);
    file.changed = true;
    return 0;
}

} // namespace zelconfig
