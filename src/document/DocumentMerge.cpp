// Comparing and merging CFG and INI documents: their readings for the
// format-neutral rules of Merging.cpp, and the merge's edits made as one set
// of splices over the user's file, read back before they are kept.

#include "DocumentAccess.h"
#include "DocumentState.h"
#include "Merging.h"

#include <algorithm>
#include <charconv>

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

// A document's reading, each value with its line (and, in block and
// anonymous modes, where its bytes stand, for a set).
struct Placed
{
    Reading reading;
    std::vector<Line> lines;
    std::vector<std::string_view> stored; // the value's bytes as held
};

// The names of entries met in the readings of one comparison or merge, each
// numbered once: an id is the number and the occurrence, short enough to be
// held in the string itself, and equal in every reading for the same names.
// Names are views into the documents' texts, which stay as they are while
// the ids are in use. Readings of one file's versions mostly hold the same
// names in the same order, so the name after the last one found is tried
// before the table: mostly a comparison of bytes read in order, instead of
// a look-up in a table as large as the file.
class Names
{
public:
    // A reading's count of each name's occurrences starts again.
    void Restart(size_t expected)
    {
        std::fill(m_seen.begin(), m_seen.end(), 0);
        m_next = 0;
        m_names.reserve(expected);
        m_seen.reserve(expected);
        while (m_slots.size() < 2 * expected) {
            Grow();
        }
    }

    void Identify(Keyed& item, std::string_view block, std::string_view entry)
    {
        size_t number = m_next;
        if (number >= m_names.size() || m_names[number].entry != entry || m_names[number].block != block) {
            number = Number(block, entry);
        }
        m_next = number + 1;
        // The number, then '\0' and the occurrence, as MergedAsPlanned splits ids.
        char digits[48];
        char* end = std::to_chars(digits, digits + 20, number).ptr;
        *end++ = '\0';
        end = std::to_chars(end, digits + sizeof digits, ++m_seen[number]).ptr;
        item.id.assign(digits, static_cast<size_t>(end - digits));
    }

private:
    struct Name
    {
        std::string_view block, entry;
    };
    struct Slot
    {
        size_t hash, number; // number kNoItem: empty
    };

    static size_t Hash(std::string_view block, std::string_view entry)
    {
        const std::hash<std::string_view> hash;
        return hash(block) * 31 ^ hash(entry);
    }

    // The names' number, a new one when they are new: open addressing,
    // each slot with its names' hash.
    size_t Number(std::string_view block, std::string_view entry)
    {
        if (2 * (m_names.size() + 1) > m_slots.size()) {
            Grow();
        }
        const size_t hash = Hash(block, entry), mask = m_slots.size() - 1;
        size_t at = hash & mask;
        for (; m_slots[at].number != kNoItem; at = (at + 1) & mask) {
            const Slot& slot = m_slots[at];
            if (slot.hash == hash && m_names[slot.number].entry == entry && m_names[slot.number].block == block) {
                return slot.number;
            }
        }
        m_slots[at] = Slot{hash, m_names.size()};
        m_names.push_back(Name{block, entry});
        m_seen.push_back(0);
        return m_slots[at].number;
    }

    void Grow()
    {
        std::vector<Slot> slots(std::max<size_t>(1024, 2 * m_slots.size()), Slot{0, kNoItem});
        const size_t mask = slots.size() - 1;
        for (const Slot& slot : m_slots) {
            if (slot.number != kNoItem) {
                size_t at = slot.hash & mask;
                while (slots[at].number != kNoItem) {
                    at = (at + 1) & mask;
                }
                slots[at] = slot;
            }
        }
        m_slots = std::move(slots);
    }

    std::vector<Name> m_names;  // by number
    std::vector<size_t> m_seen; // by number: occurrences in the reading so far
    std::vector<Slot> m_slots;
    size_t m_next = 0; // the number after the last one found
};

// What a reading holds: `kIds` the ids and values only, which is all that
// is asked of the old defaults; `kEntries` the block and entry names too,
// which results and messages name a value by (its key is made from them
// where one is shown); `kKeys` the key as well, for the read-back, whose
// message names what it finds.
enum class Depth { kIds, kEntries, kKeys };

// One value of a reading into `item`, as `depth` asks (a reused item keeps
// its strings' room). The block is the group: see Keyed.
void Fill(Keyed& item, Names& names, Depth depth, std::string_view block, std::string_view entry,
          std::string_view value)
{
    names.Identify(item, block, entry);
    // As the string getter reads it: no carriage return or line feed at the end.
    size_t length = value.size();
    while (length > 0 && (value[length - 1] == '\r' || value[length - 1] == '\n')) {
        --length;
    }
    item.value.assign(value.data(), length);
    if (depth == Depth::kIds) {
        return;
    }
    item.block.assign(block.data(), block.size());
    item.entry.assign(entry.data(), entry.size());
    if (depth == Depth::kKeys) {
        item.key.reserve(block.size() + entry.size() + 2);
        ShownInto(item.key, block, entry);
    }
}

// About one entry in 40 bytes, for the room a reading is given at first.
size_t ExpectedEntries(const State& s)
{
    return s.text.size() / 40;
}

// A reading; `withLines` with each value's line and stored bytes, for the edits.
Placed ReadingOf(const State& s, Names& names, Depth depth, bool withLines = false)
{
    Placed placed;
    names.Restart(ExpectedEntries(s));
    placed.reading.reserve(ExpectedEntries(s));
    if (withLines) {
        placed.lines.reserve(ExpectedEntries(s));
        placed.stored.reserve(s.Ini() ? 0 : ExpectedEntries(s));
    }
    s.ForEachEntryAt(Document::Order::kFile, [&](const Line& line, std::string_view block, std::string_view entry,
                                                 std::string_view value) {
        Fill(placed.reading.emplace_back(), names, depth, block, entry, value);
        if (withLines) {
            placed.lines.push_back(line);
            placed.stored.push_back(s.Ini() ? std::string_view() : value);
        }
    });
    return placed;
}

// Where the comment lines that belong to each line `takes` accepts begin,
// by where the line begins: those an edit that removes it removes.
template <typename Takes>
std::unordered_map<size_t, size_t> CommentsBegin(const State& s, Takes takes)
{
    std::unordered_map<size_t, size_t> begins;
    s.Owned(0, kNone, takes, [&](const Line& line, size_t begin) { begins.emplace(line.begin, begin); });
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
    MergeEdits(State& file, const State& updated, const Placed& mine, const Placed& theirs, const MergePlan& plan)
        : m_file(file), m_updated(updated), m_mine(mine), m_theirs(theirs)
    {
        // The comments of what the new defaults add, new blocks' headers
        // included, and of the file's values an add goes before.
        std::unordered_set<size_t> added, before;
        std::unordered_set<std::string_view> blocks;
        for (const MergePlan::Add& add : plan.adds) {
            added.insert(theirs.lines[add.updated].begin);
            blocks.insert(theirs.reading[add.updated].block);
            if (add.after == kNoItem && add.before != kNoItem) {
                before.insert(mine.lines[add.before].begin);
            }
        }
        m_theirComments = CommentsBegin(updated, [&](const CFGReport& report) {
            if (report.fate == CFGFate::kBlockOpened && blocks.count(report.line.name) > 0) {
                m_headerOf.emplace(report.line.name, report.offset);
                return true;
            }
            return report.line.kind == CFGLineKind::kEntry && added.count(report.offset) > 0;
        });
        if (!before.empty()) {
            m_myComments = CommentsBegin(file, [&](const CFGReport& report) {
                return report.line.kind == CFGLineKind::kEntry && before.count(report.offset) > 0;
            });
        }
    }

    bool Set(const MergePlan::Set& set)
    {
        const Keyed& item = m_mine.reading[set.file];
        const std::string& value = m_theirs.reading[set.updated].value;
        if (!m_file.Ini()) {
            const std::string_view stored = m_mine.stored[set.file];
            const size_t begin = static_cast<size_t>(stored.data() - m_file.text.data());
            m_splices.push_back({begin, begin + stored.size(), State::Kept(stored, value, m_file.Anonymous())});
            return true;
        }
        if (!m_file.IniWritable(item.block, item.entry, value)) {
            return false;
        }
        m_splices.push_back(m_file.IniValueSplice(m_mine.lines[set.file], value));
        return true;
    }

    bool Remove(const std::vector<size_t>& removals, const std::vector<std::string>& dropped)
    {
        std::unordered_set<size_t> gone;
        for (size_t i : removals) {
            gone.insert(m_mine.lines[i].begin);
        }
        std::vector<Line> lines = m_file.Owned(0, kNone, [&](const CFGReport& report) {
            return report.line.kind == CFGLineKind::kEntry && gone.count(report.offset) > 0;
        });
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
    bool Result(std::string& merged);

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
        const size_t at = m_theirs.lines[updated].begin;
        std::string lines = CommentsFor(m_updated, m_theirComments.at(at), at, m_file);
        if (m_file.Ini()) {
            lines += m_file.IniEntryLines(near ? m_file.IniEntryStyle(*near) : m_file.IniFileStyle(), item.entry,
                                          item.value);
            lastEnd = std::strlen(m_file.LineEnd());
        } else {
            const std::string end = m_file.EntryEnd(item.value);
            lines += item.entry + "=" + item.value + end;
            lastEnd = m_file.EndDropped(end);
        }
        return lines;
    }

    State& m_file;
    const State& m_updated;
    const Placed& m_mine;
    const Placed& m_theirs;
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
    if (!m_file.Writable(item.block, item.entry, item.value)) {
        return false;
    }
    size_t lastEnd = 0;
    if (add.after != kNoItem) {
        const Line& anchor = m_mine.lines[add.after];
        std::string lines = EntryLines(add.updated, &anchor, lastEnd);
        if (m_file.Ini() && !m_file.IniKeepsLineBelow(anchor.next, true, m_file.IniEntryStyle(anchor).indent.size())) {
            return false;
        }
        Insert(&anchor, std::move(lines), lastEnd);
        return true;
    }
    // Before the file's value it precedes, and the comments that belong to it.
    const Line& next = m_mine.lines[add.before];
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
    std::vector<std::string_view> order;
    std::unordered_map<std::string_view, std::vector<size_t>> byBlock;
    for (size_t updated : adds) {
        std::vector<size_t>& entries = byBlock[m_theirs.reading[updated].block];
        if (entries.empty()) {
            order.push_back(m_theirs.reading[updated].block);
        }
        entries.push_back(updated);
    }
    std::unordered_map<std::string_view, size_t> lastOf; // each block's last entry in the file
    for (size_t i = 0; i < m_mine.reading.size(); ++i) {
        lastOf[m_mine.reading[i].block] = i;
    }
    bool found = false;
    size_t gap = 1;
    const Line end = m_file.IniLastContent(found, gap);
    for (const std::string_view block : order) {
        const auto last = lastOf.find(block);
        const size_t section = m_file.FindSection(block);
        const bool headerless = m_file.Anonymous() || (m_file.Ini() && block.empty());
        Line anchor = last != lastOf.end() ? m_mine.lines[last->second]
                      : section != kNone   ? m_file.LineAt(m_file.headers[section].at)
                                           : Line{};
        const bool anchored = last != lastOf.end() || section != kNone;
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
        for (size_t updated : byBlock[block]) {
            const Keyed& item = m_theirs.reading[updated];
            if (!m_file.Writable(item.block, item.entry, item.value)) {
                return false;
            }
            lines += EntryLines(updated, last != lastOf.end() ? &anchor : nullptr, lastEnd);
        }
        const bool atAnchor = anchored || (!headerless && found);
        if (m_file.Ini() && !m_file.IniKeepsLineBelow(atAnchor ? anchor.next : m_file.MarkSize(), true, 0)) {
            return false;
        }
        Insert(atAnchor ? &anchor : nullptr, std::move(lines), lastEnd);
    }
    return true;
}

// The text with every splice made: false when two would overlap, which the
// merge does not mean to make.
bool MergeEdits::Result(std::string& merged)
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
    merged.clear();
    merged.reserve(text.size());
    size_t at = 0;
    for (const Splice& splice : m_splices) {
        if (splice.begin < at) {
            m_file.error = "refusing to merge: two edits would meet at line "
                           + std::to_string(m_file.LineNumber(splice.begin));
            return false;
        }
        merged.append(text.substr(at, splice.begin - at));
        merged.append(splice.with);
        at = splice.end;
    }
    merged.append(text.substr(at));
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
    Names names;
    const Placed a = ReadingOf(DocumentAccess::Of(first), names, Depth::kEntries);
    const Placed b = ReadingOf(DocumentAccess::Of(second), names, Depth::kEntries);
    std::vector<Difference> differences = CompareReadings(a.reading, b.reading);
    for (Difference& difference : differences) {
        ShownInto(difference.key, difference.block, difference.entry);
    }
    return differences;
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
    Names names;
    const Placed mine = ReadingOf(file, names, Depth::kEntries, true);
    const Placed theirs = ReadingOf(updated, names, Depth::kEntries, true);
    MergePlan plan = PlanMerge(ReadingOf(old, names, Depth::kIds).reading, theirs.reading, mine.reading);
    conflicts = std::move(plan.conflicts);
    for (Conflict& conflict : conflicts) {
        ShownInto(conflict.key, conflict.block, conflict.entry);
    }
    // A block the user removed, header and all, stays removed: what the new
    // defaults add to it is not added. One the user emptied keeps its header
    // and takes the adds.
    if (!file.Anonymous() && !plan.adds.empty()) {
        const std::unordered_set<std::string_view> inFile = HeaderNames(file), inOld = HeaderNames(old);
        const auto removedByUser = [&](const MergePlan::Add& add) {
            const std::string_view block = theirs.reading[add.updated].block;
            return !block.empty() && inFile.count(block) == 0 && inOld.count(block) > 0;
        };
        plan.adds.erase(std::remove_if(plan.adds.begin(), plan.adds.end(), removedByUser), plan.adds.end());
    }
    if (plan.sets.empty() && plan.removals.empty() && plan.adds.empty()) {
        return 0;
    }
    MergeEdits edits(file, updated, mine, theirs, plan);
    for (const MergePlan::Set& set : plan.sets) {
        if (!edits.Set(set)) {
            return Refuse(file, Shown(mine.reading[set.file].block, mine.reading[set.file].entry) + ": " + file.error);
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
            const Keyed& item = theirs.reading[add.updated];
            return Refuse(file, Shown(item.block, item.entry) + ": " + file.error);
        }
    }
    if (!edits.AddBlocks(unplaced)) {
        return Refuse(file, file.error);
    }
    std::string merged;
    if (!edits.Result(merged)) {
        return kEditAmbiguous;
    }
    // What the edits made must read as the merge promises before it is kept.
    State probe(file.mode);
    probe.EditedFile::Parse(merged);
    if (probe.Start() != 0) {
        return Refuse(file, "the merged text would not read: " + probe.error);
    }
    // Read back value by value, no reading of it kept.
    ReadBack readBack(mine.reading, theirs.reading, plan);
    names.Restart(ExpectedEntries(probe));
    Keyed item;
    probe.ForEachEntryAt(Document::Order::kFile, [&](const Line&, std::string_view block, std::string_view entry,
                                                     std::string_view value) {
        Fill(item, names, Depth::kKeys, block, entry, value);
        readBack.Read(item);
    });
    const std::string wrong = readBack.Result();
    if (!wrong.empty()) {
        return Refuse(file, wrong);
    }
    file.text.Assign(merged);
    file.Index();
    file.changed = true;
    return 0;
}

} // namespace zelconfig
