#ifndef ZELCONFIG_DOCUMENT_DOCUMENTSTATE_H
#define ZELCONFIG_DOCUMENT_DOCUMENTSTATE_H

// The CFG document's state, shared by its reads (Document.cpp) and its
// edits (DocumentEdits.cpp): the text over the editing core, the index of
// its headers, and the walks and edits of its lines.

#include "ZelConfigDocument.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <locale>
#include <iterator>
#include <new>
#include <optional>
#include <string_view>
#include <unistd.h>
#include <unordered_set>
#include <utility>

#include "CBlock.h"
#include "EditedFile.h"
#include "cfg/CFGKey.h"
#include "cfg/CFGLine.h"
#include "cfg/CFGModel.h"
#include "cfg/CFGRead.h"
#include "cfg/CFGSavedForm.h"
#include "platform/FileIO.h"
#include "platform/ZelLog.h"

namespace zelconfig {


constexpr size_t kNone = std::string::npos;

constexpr char kTrimmedAtEnds[] = "anonymous mode trims white space at the ends of names and values";

// One line of the text: [begin, end) without its line feed; `next` is where
// the following line begins, kNone for the last line.
struct Line
{
    size_t begin, end, next;
};

// A run of bytes to splice: [begin, end) replaced by `with`.
struct Splice
{
    size_t begin, end;
    std::string with;
};

// A line of white space only: it ends the run of comment lines above it, which
// then belong to nothing below.
inline bool IsBlankLine(std::string_view line)
{
    return line.find_first_not_of(" \t\r\v\f") == std::string_view::npos;
}

// How an entry is shown in messages and walks, into `out` (its room kept
// from one entry to the next): "[a.b]k" where no key reaches it.
inline void ShownInto(std::string& out, std::string_view block, std::string_view entry)
{
    const bool dotted = block.find('.') != std::string_view::npos;
    out.assign(dotted ? "[" : "");
    out.append(block.data(), block.size());
    out.append(dotted ? "]" : ".");
    out.append(entry.data(), entry.size());
}

inline std::string Shown(const std::string& block, const std::string& entry)
{
    std::string shown;
    ShownInto(shown, block, entry);
    return shown;
}

// How to name an entry on zelcfg's command line, quoted: as a KEY, or as
// BLOCK and ENTRY apart for a block whose name holds '.'; a block alone when
// there is no entry.
inline std::string Address(const std::string& block, const std::string& entry)
{
    if (entry.empty()) {
        return "'" + block + "'";
    }
    return block.find('.') == std::string::npos ? "'" + block + "." + entry + "'"
                                                : "'" + block + "' '" + entry + "'";
}

// The look-alikes of an entry, as a tail for a message.
inline std::string LookalikeText(const std::string& block, const std::string& entry,
                          const std::vector<Document::Lookalike>& lookalikes)
{
    std::string hint;
    for (const Document::Lookalike& found : lookalikes) {
        const std::string line = std::to_string(found.line);
        if (!found.block.empty()) {
            hint += "; line " + line + " holds the block '" + found.block
                    + "': blanks around a block name are part of it, so address it as "
                    + Address(found.block, entry) + " (quoted)";
        } else if (found.key.empty()) {
            hint += "; line " + line + " holds it under a repeated header (line "
                    + std::to_string(found.repeatedHeaderLine)
                    + "), which the library does not read: merge the two blocks";
        } else {
            const std::string held = found.key.substr(block.size() + 1);
            hint += "; line " + line + " holds '" + Shown(block, held)
                    + "': blanks around an entry name are part of it in block mode, so address it as "
                    + Address(block, held) + " (quoted)";
        }
    }
    return hint;
}

// "line 3", "lines 2 and 3", "lines 2, 5 and 9", for messages.
inline std::string LineList(const std::vector<size_t>& lines)
{
    std::string text = lines.size() == 1 ? "line " : "lines ";
    for (size_t i = 0; i < lines.size(); ++i) {
        text += (i == 0 ? "" : i + 1 == lines.size() ? " and " : ", ") + std::to_string(lines[i]);
    }
    return text;
}

// An edit's choice among the entries of a key: every one (0), the index-th
// counted from 1, or the one there must be.
constexpr size_t kEvery = 0;
constexpr size_t kTheOnly = static_cast<size_t>(-1);


// An entry as an edit or a lookup names it: by a key (which a dotted block's
// hint needs), or by its block and entry apart.
struct Named
{
    CFGKeyParts parts;
    std::string_view key; // as given (the caller's, as the parts are); empty when named apart
    bool byKey = false;

    std::string Shown() const
    {
        return byKey ? std::string(key) : zelconfig::Shown(std::string(parts.block), std::string(parts.entry));
    }
};

// How an INI file writes an entry: the bytes around its key, delimiter and value.
struct IniStyle
{
    std::string indent, before, delimiter, after;
};

// Hidden: a nested class takes its enclosing exported class's visibility,
// and none of its members is part of the ABI.
struct __attribute__((visibility("hidden"))) Document::State : EditedFile
{
    // A header line, and whether its name is new there: a later header of a
    // taken name opens no block, and its entries are lost to a reader.
    struct Header
    {
        size_t at;
        bool first;
    };

    Mode mode;
    std::vector<Header> headers; // in file order
    size_t readEnd = kNone;      // lines from here on were not read (a parse stopped)
    int status = kStatusNotFound; // of the last load
    bool loaded = false;         // a model exists (the file could be read)
    std::locale locale;          // anonymous-mode trimming, as at the load
    const std::ctype<char>* ctype = nullptr;
    struct
    {
        bool valid;
        size_t version; // of the text they were found in
        std::string block, entry;
        std::vector<Document::Lookalike> found;
    } remembered{};
    // Each block name's first header, by name: what a walk of the headers
    // finds, without the walk (a script of edits looks a block up once per
    // command). It holds for the text of `version` only: Apply carries it
    // over an edit that leaves the headers and their lines as they were,
    // InsertAfter over a new block's header; any other change of the text
    // leaves it stale, and it is made anew by the edits (IndexSections).
    struct
    {
        std::vector<std::pair<std::string, size_t>> first; // by name: shorter first, then bytewise
        size_t version = kNone;
        size_t walks = 0; // edits that walked the headers since it last held
    } firstHeaders;
    // Room that a set keeps for the next: a script sets values by the thousand.
    struct
    {
        std::vector<size_t> offsets;
        std::vector<Splice> splices;
    } scratch;

    explicit State(Mode m) : mode(m) {}

    bool Anonymous() const { return mode == Mode::kAnonymous; }
    bool Ini() const { return mode == Mode::kIni; }

    CFGReadMode ReadMode(bool headersOnly) const
    {
        return {Anonymous() ? ctype : nullptr, headersOnly, Ini(), false};
    }

    Line LineAt(size_t begin) const
    {
        const void* feed = std::memchr(text.data() + begin, '\n', text.size() - begin);
        if (feed == nullptr) {
            return {begin, text.size(), kNone};
        }
        const size_t end = static_cast<size_t>(static_cast<const char*>(feed) - text.data());
        return {begin, end, end + 1};
    }

    std::string_view View(const Line& line) const
    {
        return std::string_view(text.data() + line.begin, line.end - line.begin);
    }

    // Whether the header that begins at `at` is the first of its name.
    bool FirstHeaderAt(size_t at) const
    {
        const auto found = std::lower_bound(headers.begin(), headers.end(), at,
                                            [](const Header& header, size_t offset) { return header.at < offset; });
        return found != headers.end() && found->at == at && found->first;
    }

    // Calls visit(line, report) for each line that begins in [from, to), with
    // what the reading made of it: `from` begins a header line, or the file.
    template <typename Visit>
    void ReadLines(size_t from, size_t to, Visit visit) const
    {
        // The names a reading from there would have met are in the index.
        struct Listener
        {
            const State& s;
            const CFGLineReader& reader;
            size_t from, to;
            Visit& visit;
            bool anonymousClaimed = false;
            bool ClaimBlock(std::string_view, std::string_view)
            {
                if ((s.Anonymous() || s.Ini()) && !anonymousClaimed) {
                    return anonymousClaimed = true; // the block either mode makes first
                }
                return s.FirstHeaderAt(from + reader.LineOffset());
            }
            void Report(const CFGReport& report)
            {
                const size_t begin = from + report.offset, end = begin + report.text.size();
                if (begin < to) {
                    visit(Line{begin, end, end < s.text.size() ? end + 1 : kNone}, report);
                }
            }
        };
        to = std::min(to, readEnd);
        if (from > text.size() || from >= to) {
            return;
        }
        CFGLineReader reader;
        reader.OpenBytes(std::string_view(text).substr(from, to - from));
        Listener listener{*this, reader, from, to, visit};
        CFGReadMode readMode = ReadMode(false);
        readMode.midFile = from > 0;
        CFGRead(reader, readMode, listener);
    }

    bool HasSpaceAtEnds(std::string_view bytes) const { return CFGTrimAnonymous(bytes, *ctype).size() != bytes.size(); }

    // Every entry the model keeps, with its block's name: blocks in `order`,
    // each block's entries in file order.
    template <class Visit>
    void ForEachEntry(Document::Order order, Visit visit) const
    {
        if (Ini() && order == Document::Order::kSaved) {
            ForEachIniEntryBySection(visit);
            return;
        }
        ForEachEntryAt(order, [&](const Line&, std::string_view block, std::string_view name,
                                  std::string_view value) { visit(block, name, value); });
    }

    // The same with each entry's line (an INI entry's running to the end of
    // its last continuation line); an INI file's entries in file order.
    template <class Visit>
    void ForEachEntryAt(Document::Order order, Visit visit) const
    {
        if (Ini()) {
            if (loaded) {
                ForEachIniEntryIn(0, kNone, visit);
            }
            return;
        }
        if (Anonymous()) {
            ForEachEntryOf(kCFGAnonymousBlock, [&](const Line& line, std::string_view name, std::string_view value) {
                visit(line, kCFGAnonymousBlock, name, value);
            });
            return;
        }
        for (const auto& section : FirstSections(order)) {
            const size_t header = section.second;
            ReadLines(headers[header].at, SectionEnd(header), [&](const Line& line, const CFGReport& report) {
                if (report.fate == CFGFate::kEntryKept) {
                    visit(line, section.first, report.line.key, report.line.value);
                }
            });
        }
    }

    // Whether the lines an edit writes read back as exactly this block,
    // entry and value; false with why not.
    bool Writable(std::string_view block, std::string_view entry, std::string_view value)
    {
        if (Ini()) {
            return IniWritable(block, entry, value);
        }
        switch (CFGCheckWritable(block, entry, value, ReadMode(false).anonymous)) {
        case CFGWritable::kWritable:
            return true;
        case CFGWritable::kBadBlockName:
            error = "a block name cannot hold ']' or a line feed";
            break;
        case CFGWritable::kBadEntry:
            error = "an entry name cannot hold '=' or a line feed, nor begin with '#', ';' or '['; "
                    "a value cannot hold a line feed";
            break;
        case CFGWritable::kNotAnonymousBlock:
            error = "in anonymous mode every entry is in the block \"anonymous\"";
            break;
        case CFGWritable::kSpaceAtEnds:
            error = kTrimmedAtEnds;
            break;
        }
        return false;
    }

    // Builds the header index from the reading of the headers alone: the
    // parse's status, with the engine's messages.
    int Index()
    {
        struct Listener
        {
            State& s;
            std::unordered_set<std::string_view> names;
            int status = 0;
            bool ClaimBlock(std::string_view name, std::string_view) { return names.insert(name).second; }
            void Report(const CFGReport& report)
            {
                switch (report.fate) {
                case CFGFate::kBlockOpened:
                case CFGFate::kBlockRepeated:
                    s.headers.push_back({report.offset, report.fate == CFGFate::kBlockOpened});
                    break;
                case CFGFate::kStopUnterminated:
                    ZEL_LOG(kLogError, "Load", "End Tag missing");
                    s.Stop(report.offset, "a block header has no ']'");
                    break;
                case CFGFate::kStopOutsideBlock:
                    ZEL_LOG(kLogError, "Load", "l_pBlock is NULL");
                    s.Stop(report.offset, "an entry stands above the first block header");
                    break;
                default:
                    break;
                }
            }
        } listener{*this, {}};
        headers.clear();
        firstHeaders.version = kNone;
        readEnd = kNone;
        CFGLineReader reader;
        reader.OpenBytes(text);
        return CFGRead(reader, ReadMode(true), listener);
    }

    // The text of `parsed`, a state of this mode whose Start found nothing
    // wrong, as an edit of this one, with its index: a text just read is
    // not copied or read again.
    void TakeIndexed(State& parsed)
    {
        text.Take(parsed.text);
        headers = std::move(parsed.headers);
        firstHeaders.version = kNone;
        readEnd = kNone;
    }

    // Ends the parse at the line that begins at `at`, with the line's number
    // and what is wrong with it in `error`.
    void Stop(size_t at, const char* what)
    {
        readEnd = at;
        error = "line " + std::to_string(LineNumber(at)) + ": " + what;
    }

    // Indexes the bytes just read.
    int Start()
    {
        locale = std::locale();
        ctype = &std::use_facet<std::ctype<char>>(locale);
        loaded = true;
        changed = false;
        status = Index();
        // The mark's bytes make the first line neither header nor comment,
        // which the line named above does not show.
        if (status != 0 && std::string_view(text).substr(0, 3) == "\xEF\xBB\xBF") {
            error += " (a byte-order mark: its three bytes start the first line, which is therefore no header "
                     "or comment)";
        }
        return status;
    }

    std::string_view HeaderName(size_t index) const
    {
        const std::string_view line = View(LineAt(headers[index].at));
        return (Ini() ? CFGClassifyIniLine(line) : CFGClassifyLine(line)).name;
    }

    // Each block name's first section (the block a lookup finds): by name
    // (bytewise) or in the order of the headers in the file.
    std::vector<std::pair<std::string_view, size_t>> FirstSections(Document::Order order) const
    {
        std::vector<std::pair<std::string_view, size_t>> sections;
        for (size_t i = 0; i < headers.size(); ++i) {
            if (headers[i].first) {
                sections.emplace_back(HeaderName(i), i);
            }
        }
        if (order == Document::Order::kSaved) {
            std::sort(sections.begin(), sections.end());
        }
        return sections;
    }

    // Where the section of header `index` ends.
    size_t SectionEnd(size_t index) const { return index + 1 < headers.size() ? headers[index + 1].at : kNone; }

    // The first header of that name: the block a lookup finds. kNone if none.
    size_t FindSection(std::string_view name) const
    {
        if (SectionsHold()) {
            const auto found = std::lower_bound(firstHeaders.first.begin(), firstHeaders.first.end(), name,
                                                [](const auto& held, std::string_view wanted) {
                                                    return NameBefore(held.first, wanted);
                                                });
            return found != firstHeaders.first.end() && found->first == name ? found->second : kNone;
        }
        for (size_t i = 0; i < headers.size(); ++i) {
            if (headers[i].first && HeaderName(i) == name) {
                return i;
            }
        }
        return kNone;
    }

    bool SectionsHold() const { return firstHeaders.version == text.Version(); }

    // The order of the index of first headers: any order finds a name, and
    // lengths tell most names apart without comparing their bytes.
    static bool NameBefore(std::string_view a, std::string_view b)
    {
        return a.size() != b.size() ? a.size() < b.size() : a < b;
    }

    // Makes the index of first headers by name where it is stale, once
    // edits have walked the headers a few times since it last held: a
    // single edit of a large file walks them once, which costs less than
    // making the index. Block mode only, where a block is its first
    // section. Edits only: reads leave the state as it is.
    void IndexSections()
    {
        if (Anonymous() || Ini() || SectionsHold() || ++firstHeaders.walks < 3) {
            return;
        }
        firstHeaders.first.clear();
        for (size_t i = 0; i < headers.size(); ++i) {
            if (headers[i].first) {
                firstHeaders.first.emplace_back(HeaderName(i), i);
            }
        }
        // Equal names keep their order, so the first header of a name is
        // the one found, as by the walk.
        std::stable_sort(firstHeaders.first.begin(), firstHeaders.first.end(),
                         [](const auto& a, const auto& b) { return NameBefore(a.first, b.first); });
        firstHeaders.version = text.Version();
        firstHeaders.walks = 0;
    }

    // Whether a splice of the text may change what the index of first
    // headers holds: it removes a header, or changes the bytes of a header
    // line, its line feed included, or what precedes the header after it.
    bool SpliceMovesHeaders(const Splice& splice) const
    {
        const auto next = std::lower_bound(headers.begin(), headers.end(), splice.begin,
                                           [](const Header& header, size_t offset) { return header.at < offset; });
        if (next != headers.end() && next->at <= splice.end) {
            // A header right after the splice still begins a line when the
            // bytes before it end with a line feed.
            const bool lineStays
                = next->at == splice.end
                  && (splice.with.empty() ? splice.begin == 0 || text[splice.begin - 1] == '\n'
                                          : splice.with.back() == '\n');
            if (next->at < splice.end || (next->at == splice.end && !lineStays)) {
                return true;
            }
        }
        return next != headers.begin() && splice.begin <= LineAt(std::prev(next)->at).end;
    }

    // Calls found(line, key, value) for every entry a lookup of the key's
    // names would take, key and value as the model holds them.
    template <typename Found>
    void ForEachMatch(const CFGKeyParts& parts, Found found) const
    {
        if (loaded && !Anonymous() && !Ini()) {
            const size_t section = FindSection(parts.block);
            if (section != kNone) {
                ForEachEntryInSection(section, found, parts.entry);
            }
            return;
        }
        ForEachEntryOf(parts.block, [&](const Line& line, std::string_view key, std::string_view value) {
            if (key == parts.entry) {
                found(line, key, value);
            }
        });
    }

    // Calls visit(from, to) for each run of text where lookups read the
    // block's entries: its first section (block mode); every section of its
    // name, or for "" the text above the first header (INI); the whole file
    // for "anonymous" (anonymous mode, where blocks of headers hold none).
    template <typename Visit>
    void ForEachSectionOf(std::string_view block, Visit visit) const
    {
        if (Anonymous()) {
            if (block == kCFGAnonymousBlock) {
                visit(size_t{0}, kNone);
            }
        } else if (!Ini()) {
            const size_t section = FindSection(block);
            if (section != kNone) {
                visit(headers[section].at, SectionEnd(section));
            }
        } else if (block.empty()) {
            visit(size_t{0}, headers.empty() ? kNone : headers.front().at);
        } else {
            for (size_t i = 0; i < headers.size(); ++i) {
                if (HeaderName(i) == block) {
                    visit(headers[i].at, SectionEnd(i));
                }
            }
        }
    }

    // Every entry of a block as the model holds it, in file order. An INI
    // entry's line runs to the end of its last continuation line, and its
    // value is the joined one.
    template <typename Found>
    void ForEachEntryOf(std::string_view block, Found found) const
    {
        if (!loaded) {
            return;
        }
        if (!Anonymous() && !Ini()) {
            const size_t section = FindSection(block);
            if (section != kNone) {
                ForEachEntryInSection(section, found);
            }
            return;
        }
        ForEachSectionOf(block, [&](size_t from, size_t to) {
            if (Ini()) {
                ForEachIniEntryIn(from, to, [&](const Line& line, std::string_view, std::string_view key,
                                                std::string_view value) { found(line, key, value); });
                return;
            }
            ReadLines(from, to, [&](const Line& line, const CFGReport& report) {
                if (report.fate == CFGFate::kEntryKept) {
                    found(line, report.line.key, report.line.value);
                }
            });
        });
    }

    // Block mode: the entries of the section of header `index`, the first
    // of its name, as ReadLines reports them kept. The index holds every
    // header the reading met, so below this one up to the section's end no
    // line opens or repeats a block or ends the reading: every line the one
    // classifier takes for an entry is kept, as read. Without the reading's
    // machinery, since an edit script asks this once per command.
    //
    // With `name`, only the entries of that name: in block mode an entry's
    // name is its line's first bytes, so a line that does not begin with
    // them is none of its entries and need not be classified.
    template <typename Found>
    void ForEachEntryInSection(size_t index, Found found, std::optional<std::string_view> name = {}) const
    {
        const std::string_view all = text;
        const size_t to = std::min(SectionEnd(index), readEnd);
        for (size_t feed = all.find('\n', headers[index].at); feed != kNone && feed + 1 < to;) {
            const size_t begin = feed + 1;
            feed = all.find('\n', begin);
            const Line line{begin, feed == kNone ? all.size() : feed, feed == kNone ? kNone : feed + 1};
            const std::string_view bytes(all.data() + begin, line.end - begin);
            // Most lines differ from the name in their first byte.
            if (name
                && (bytes.size() < name->size()
                    || (!name->empty()
                        && (bytes.front() != name->front()
                            || std::memcmp(bytes.data(), name->data(), name->size()) != 0)))) {
                continue;
            }
            const CFGLine read = CFGClassifyLine(bytes);
            if (read.kind == CFGLineKind::kEntry && (!name || read.key == *name)) {
                found(line, read.key, read.value);
            }
        }
    }

    // The INI entries that begin in [from, to), each once its value is
    // whole: found(line, section, key, value), the line running from the
    // entry's first line to the end of its last continuation line.
    template <typename Found>
    void ForEachIniEntryIn(size_t from, size_t to, Found found) const
    {
        CFGIniValue value;
        Line entry{};
        std::string_view section, key;
        ReadLines(from, to, [&](const Line& line, const CFGReport& report) {
            if (value.Take(report)) {
                found(entry, section, key, value.Value());
            }
            if (report.fate == CFGFate::kEntryKept) {
                entry = line;
                key = report.line.key;
            } else if (report.fate == CFGFate::kContinuation) {
                entry.end = line.end;
                entry.next = line.next;
            } else if (report.line.kind == CFGLineKind::kHeader) {
                section = report.line.name;
            }
        });
        if (value.Finish()) {
            found(entry, section, key, value.Value());
        }
    }

    // Every INI entry with its section's name, by section name (bytewise,
    // each name's entries in file order).
    template <class Visit>
    void ForEachIniEntryBySection(Visit visit) const
    {
        if (!loaded) {
            return;
        }
        std::vector<Document::Entry> entries;
        ForEachIniEntryIn(0, kNone, [&](const Line&, std::string_view section, std::string_view key,
                                        std::string_view value) {
            entries.push_back({std::string(section), std::string(key), std::string(value)});
        });
        std::stable_sort(entries.begin(), entries.end(),
                         [](const Document::Entry& a, const Document::Entry& b) { return a.block < b.block; });
        for (const Document::Entry& entry : entries) {
            visit(entry.block, entry.name, entry.value);
        }
    }

    // The lines of the headers and entries in [from, to) that `takes`
    // accepts, each with the comment lines that belong to it: those directly
    // above it, with no blank line between. `takes` sees every header and
    // entry in file order. Other lines, blank ones included, are not taken.
    // A taken INI entry's continuation lines are taken with it, and the
    // blank and comment lines between them.
    template <typename Takes>
    std::vector<Line> Owned(size_t from, size_t to, Takes takes) const
    {
        return Owned(from, to, takes, [](const Line&, size_t) {});
    }

    // The same, telling owner(line, begin) for each line taken where the
    // comment lines that belong to it begin (its own begin when none do).
    template <typename Takes, typename Owner>
    std::vector<Line> Owned(size_t from, size_t to, Takes takes, Owner owner) const
    {
        std::vector<Line> taken, waiting, inside;
        bool extending = false; // the last entry was taken: its continuation lines go too
        ReadLines(from, to, [&](const Line& line, const CFGReport& report) {
            switch (report.fate) {
            case CFGFate::kComment:
                waiting.push_back(line);
                inside.push_back(line);
                return;
            case CFGFate::kContinuation:
                if (extending) {
                    taken.insert(taken.end(), inside.begin(), inside.end());
                    taken.push_back(line);
                }
                inside.clear();
                waiting.clear();
                return;
            case CFGFate::kIgnored:
                if (!(Ini() ? CFGIniBlankLine(report.text) : IsBlankLine(report.text))) {
                    if (!Ini()) {
                        return; // the engine's pending comment stays pending over it
                    }
                    // No INI entry reads on beyond such a line, and the
                    // comments above it are not directly above what follows.
                    extending = false;
                    waiting.clear();
                    inside.clear();
                    return;
                }
                inside.push_back(line);
                break;
            case CFGFate::kBlockOpened:
            case CFGFate::kBlockRepeated:
            case CFGFate::kEntryKept:
            case CFGFate::kEntryDropped:
                extending = false;
                inside.clear();
                if (takes(report)) {
                    owner(line, waiting.empty() ? line.begin : waiting.front().begin);
                    taken.insert(taken.end(), waiting.begin(), waiting.end());
                    taken.push_back(line);
                    extending = report.line.kind == CFGLineKind::kEntry;
                }
                break;
            case CFGFate::kStopUnterminated:
            case CFGFate::kStopOutsideBlock:
                return;
            }
            waiting.clear();
        });
        return taken;
    }

    // The same over only the sections about the lines that begin at `near`
    // (in order): each one's section and the one above it, which holds the
    // comment lines directly above its header. A run of comment lines ends
    // at every header, so this finds what a reading of the whole text finds,
    // for a reading of a few sections. `takes` sees offsets in the whole text.
    template <typename Takes, typename Owner>
    std::vector<Line> OwnedNear(const std::vector<size_t>& near, Takes takes, Owner owner) const
    {
        std::vector<Line> taken;
        const auto read = [&](size_t from, size_t to) {
            const std::vector<Line> lines = Owned(from, to, [&](const CFGReport& report) {
                CFGReport whole = report;
                whole.offset += from;
                return takes(whole);
            }, owner);
            taken.insert(taken.end(), lines.begin(), lines.end());
        };
        if (Anonymous()) {
            read(0, kNone);
            return taken;
        }
        size_t from = kNone, to = 0;
        for (const size_t at : near) {
            const auto after = std::upper_bound(headers.begin(), headers.end(), at,
                                                [](size_t offset, const Header& header) { return offset < header.at; });
            const size_t k = static_cast<size_t>(after - headers.begin()); // headers at or above `at`
            const size_t begin = k >= 2 ? headers[k - 2].at : 0;
            const size_t end = k < headers.size() ? headers[k].at : kNone;
            if (from != kNone && begin <= to) {
                to = std::max(to, end);
                continue;
            }
            if (from != kNone) {
                read(from, to);
            }
            from = begin;
            to = end;
        }
        if (from != kNone) {
            read(from, to);
        }
        return taken;
    }

    // The lines a block's removal takes: the whole text of each of its
    // sections, lines the engine ignores included, up to the next header;
    // of the comment lines directly above a header, no blank line between,
    // those above one of the block's own headers go and those above another
    // header stay. With `aboveFirst`, the text above the first header is
    // taken as a section of the block. A section that ends the file takes
    // the blank lines that parted it from the text above. `named(name)`
    // tells the block's names, so that one reading serves several blocks.
    template <typename IsOurs>
    std::vector<Line> SectionLines(IsOurs named, bool aboveFirst) const
    {
        std::vector<Line> lines;
        bool inside = aboveFirst;
        std::vector<Line> comments; // the comment lines directly above the current line
        std::vector<Line> blanks, parting; // blank lines above them; those above the last section taken
        size_t lastStart = 0;              // where in `lines` that section begins
        ReadLines(0, kNone, [&](const Line& line, const CFGReport& report) {
            if (report.line.kind == CFGLineKind::kComment) {
                comments.push_back(line);
                return;
            }
            const bool blank = report.line.kind != CFGLineKind::kHeader && IsBlankLine(report.text);
            if (report.line.kind == CFGLineKind::kHeader) {
                const bool ours = named(report.line.name);
                if (ours && !inside) {
                    parting = blanks;
                    lastStart = lines.size();
                }
                inside = ours;
            }
            if (inside) {
                lines.insert(lines.end(), comments.begin(), comments.end());
                lines.push_back(line);
            }
            if (!blank || !comments.empty()) {
                blanks.clear();
            }
            if (blank) {
                blanks.push_back(line);
            }
            comments.clear();
        });
        if (inside) {
            lines.insert(lines.end(), comments.begin(), comments.end());
            // Nothing follows the last section: its parting goes with it.
            lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(lastStart), parting.begin(), parting.end());
        }
        return lines;
    }

    // The line, counted from 1, that begins at `at`.
    size_t LineNumber(size_t at) const
    {
        return 1 + static_cast<size_t>(std::count(text.data(), text.data() + at, '\n'));
    }

    // The blocks a reader could take for `name`, which the file lacks: the
    // first header of each name that differs from it only by white space at
    // its ends.
    std::vector<Document::Lookalike> BlockLookalikes(std::string_view name) const
    {
        std::vector<Document::Lookalike> found;
        const std::string_view wanted = CFGTrimAnonymous(name, *ctype);
        for (size_t i = 0; i < headers.size(); ++i) {
            const std::string_view held = HeaderName(i);
            if (headers[i].first && held != name && CFGTrimAnonymous(held, *ctype) == wanted) {
                found.push_back({LineNumber(headers[i].at), {}, 0, std::string(held)});
            }
        }
        return found;
    }

    // Edits are allowed on a document whose whole file was read.
    bool WhollyRead() const { return loaded && status == 0; }

    // The bytes of the byte order mark the INI dialect skips, or 0.
    size_t MarkSize() const
    {
        return Ini() && std::string_view(text).substr(0, 3) == kCFGByteOrderMark ? 3 : 0;
    }

    // Whether the file's first line ends in CR LF: lines added end so too.
    bool Crlf() const
    {
        const Line first = LineAt(0);
        return first.next != kNone && first.end > first.begin && text[first.end - 1] == '\r';
    }

    // The bytes that end a header line the edit adds.
    const char* LineEnd() const { return Crlf() ? "\r\n" : "\n"; }

    // The bytes that end an entry line the edit adds with `value`: in block
    // mode the carriage return before the line feed is part of the value as
    // the engine reads it, so the line ends in CR LF as its neighbours do
    // unless the value brings its own carriage return.
    const char* EntryEnd(std::string_view value) const
    {
        const bool ownCr = mode == Mode::kBlock && !value.empty() && value.back() == '\r';
        return Crlf() && !ownCr ? "\r\n" : "\n";
    }

    // How much of an added entry line's end goes when it becomes the last
    // line of a file without a final line feed: the line feed, and the
    // carriage return only where it is no part of the value.
    size_t EndDropped(const std::string& lineEnd) const { return mode == Mode::kBlock ? 1 : lineEnd.size(); }

    // The bytes a value replacing `stored` is written as: in block mode a
    // carriage return the stored value ends in stays, so the line keeps
    // its CR LF.
    static std::string Kept(std::string_view stored, const std::string& value, bool anonymous)
    {
        const bool keepCr = !anonymous && !stored.empty() && stored.back() == '\r'
                            && (value.empty() || value.back() != '\r');
        return keepCr ? value + '\r' : value;
    }

    // Applies splices that do not overlap, given in any order, and moves the
    // header index along. Headers inside a replaced run are dropped.
    void Apply(std::vector<Splice>& splices)
    {
        if (splices.size() > 1) { // a set's one splice needs no sorting
            std::sort(splices.begin(), splices.end(),
                      [](const Splice& a, const Splice& b) { return a.begin > b.begin; });
        }
        const auto before = [](const Header& header, size_t offset) { return header.at < offset; };
        for (const Splice& splice : splices) {
            if (splice.end == splice.begin && splice.with.empty()) {
                continue;
            }
            const bool sectionsStay = SectionsHold() && !SpliceMovesHeaders(splice);
            text.Replace(splice.begin, splice.end, splice.with);
            if (sectionsStay) {
                firstHeaders.version = text.Version();
            }
            const auto delta = static_cast<std::ptrdiff_t>(splice.with.size())
                               - static_cast<std::ptrdiff_t>(splice.end - splice.begin);
            // In order: those before stay, those inside go, those after move.
            const auto first = std::lower_bound(headers.begin(), headers.end(), splice.begin, before);
            const auto last = std::lower_bound(first, headers.end(), splice.end, before);
            for (auto header = last; header != headers.end(); ++header) {
                header->at = static_cast<size_t>(static_cast<std::ptrdiff_t>(header->at) + delta);
            }
            headers.erase(first, last);
            changed = true;
        }
    }

    // Removes whole lines, given by where they begin; `lines` in file order.
    void RemoveLines(const std::vector<Line>& lines)
    {
        std::vector<Splice> splices = RemovalSplices(lines);
        Apply(splices);
    }

    // The splices that remove whole lines, `lines` in file order.
    std::vector<Splice> RemovalSplices(const std::vector<Line>& lines) const
    {
        std::vector<Splice> splices;
        for (const Line& line : lines) {
            const size_t end = line.next == kNone ? text.size() : line.next;
            if (!splices.empty() && splices.back().end == line.begin) {
                splices.back().end = end;
            } else {
                splices.push_back({line.begin, end, {}});
            }
        }
        // The last line had no line feed: the one before it goes instead, so
        // that the file still ends without one; unless the line it ends is
        // empty, which would then be lost with it, or it is the first line,
        // behind a byte order mark.
        if (!splices.empty() && splices.back().end == text.size() && splices.back().begin > 1
            && text.back() != '\n' && text[splices.back().begin - 1] == '\n'
            && text[splices.back().begin - 2] != '\n') {
            --splices.back().begin;
        }
        return splices;
    }

    // Inserts lines after the line `anchor` (or at the start when none, after
    // an INI file's byte order mark). `lines` hold their own line ends, the
    // last of which, `lastEnd` bytes, is dropped when the anchor is the
    // file's last line and has none. With `newBlock` the line `headerAt`
    // bytes into `lines` is the header of a block the file lacks.
    void InsertAfter(const Line* anchor, std::string lines, size_t lastEnd, bool newBlock, size_t headerAt = 0)
    {
        size_t feed = 0;
        std::vector<Splice> splices{InsertionSplice(anchor, std::move(lines), lastEnd, feed)};
        const size_t header = splices.front().begin + feed + headerAt;
        Apply(splices);
        if (newBlock) {
            const auto after = [](size_t offset, const Header& h) { return offset < h.at; };
            const auto at = headers.insert(std::upper_bound(headers.begin(), headers.end(), header, after),
                                           Header{header, true});
            if (SectionsHold()) {
                IndexNewSection(static_cast<size_t>(at - headers.begin()));
            }
        }
    }

    // Takes the header just inserted as `index` into the index of first
    // headers: a block added after every other (as Add adds one) moves none
    // of them; one added before others leaves the index stale.
    void IndexNewSection(size_t index)
    {
        if (index + 1 != headers.size()) {
            firstHeaders.version = kNone;
            return;
        }
        std::string name(HeaderName(index));
        const auto found = std::lower_bound(firstHeaders.first.begin(), firstHeaders.first.end(), name,
                                            [](const auto& held, const std::string& wanted) {
                                                return NameBefore(held.first, wanted);
                                            });
        if (found == firstHeaders.first.end() || found->first != name) {
            firstHeaders.first.emplace(found, std::move(name), index);
        }
    }

    // The splice that inserts `lines` after the line `anchor`, as InsertAfter
    // makes it; `feed` is set to the bytes put before them to end an anchor
    // that was the file's last line without a line feed.
    Splice InsertionSplice(const Line* anchor, std::string lines, size_t lastEnd, size_t& feed) const
    {
        feed = 0;
        if (anchor == nullptr) {
            return {MarkSize(), MarkSize(), std::move(lines)};
        }
        if (anchor->next != kNone) {
            return {anchor->next, anchor->next, std::move(lines)};
        }
        // A CFG value keeps a carriage return of its own; an INI line ends
        // as the others do, its own carriage return kept. The anchor is the
        // last line, or the last a merge leaves.
        const bool ownCr = anchor->end > anchor->begin && text[anchor->end - 1] == '\r';
        const char* end = Ini() && !ownCr ? LineEnd() : "\n";
        feed = std::strlen(end);
        lines.insert(0, end);
        lines.resize(lines.size() - lastEnd);
        return {anchor->end, anchor->end, std::move(lines)};
    }

    // The engine's saved form of the model it reads from the text into
    // `out`; false when that would not read back as the same model: in
    // anonymous mode a trimmed name may begin like a comment or a header.
    bool NormalisedText(std::string& out) const
    {
        std::unique_ptr<CFGBlockMap, void (*)(CFGBlockMap*)> model(new CFGBlockMap, FreeBlockMap);
        CFGLineReader reader;
        reader.OpenBytes(text);
        CFGReadModel(reader, Anonymous() ? ctype : nullptr, *model);
        if (Anonymous()) {
            for (const CNode& node : model->at(kCFGAnonymousBlock)->m_vecNodes) {
                if (!node.m_strKey.empty() && std::string_view("#;[").find(node.m_strKey.front()) != std::string_view::npos) {
                    return false;
                }
            }
        }
        ForEachSavedLine(*model, [&out](std::string_view a, std::string_view b, std::string_view c, std::string_view d) {
            for (std::string_view piece : {a, b, c, d}) {
                out.append(piece.data(), piece.size());
            }
        });
        return true;
    }

    // The INI dialect's edits (DocumentIni.cpp): lines written in the
    // file's own style, and the checks that they read back as asked without
    // changing how any other line reads.
    IniStyle IniEntryStyle(const Line& entry) const;
    IniStyle IniFileStyle() const; // the file's first entry's, or the common one
    std::string IniContinuationIndent(const std::string& entryIndent) const;
    std::string IniValueLines(std::string_view value, const std::string& indent) const;
    std::string IniEntryLines(const IniStyle& style, std::string_view entry, std::string_view value) const;
    bool IniWritable(std::string_view block, std::string_view entry, std::string_view value);
    Splice IniValueSplice(const Line& entry, std::string_view value) const;
    // The new value's `lines` with the comment lines that stood among the
    // entry's old ones: a set changes the value, not the comments.
    std::string KeepComments(const Line& entry, const std::string& lines) const;
    size_t IniNextContent(size_t at, const std::vector<Line>& skipped, size_t& indent) const;
    bool IniKeepsLinesBelow(const std::vector<Line>& removed);
    bool IniKeepsLineBelow(size_t at, bool entryOpen, size_t indent);
    int IniAdd(std::string_view block, std::string_view entry, const std::string& value);
    Line IniLastContent(bool& found, size_t& gap) const;
    int IniAddSection(std::string_view block, std::string_view entry, const std::string& value, const IniStyle& style);

    // A key as the mode splits it.
    Named Name(const std::string& key) const { return {CFGSplitKey(key, Anonymous()), key, true}; }

    // The first block whose name holds '.' and is a longer prefix of the
    // key, which is most likely what the key meant ("Net.eth0.Address" with
    // [Net.eth0] held), as a tail for a message; empty when there is none.
    std::string DottedBlockText(const Named& name) const;

    // An INI entry above the first header whose name is the whole key, which
    // the key most likely meant ("net.ipv4.ip_forward" in sysctl.conf), as a
    // tail for a message; empty when there is none.
    std::string NamelessText(const Named& name) const;

    // Why no lookup finds the entry, with what the file holds that the name
    // was probably meant for.
    std::string Missing(const Named& name, const std::vector<Document::Lookalike>& lookalikes) const;

    // The look-alikes of an entry an edit missed, kept until the text
    // changes: the Add that usually follows a missed Set asks again, and each
    // answer is a walk of the whole block. Edits only: reads keep the state
    // as it is, so that they may run side by side.
    const std::vector<Document::Lookalike>& EditLookalikes(const Document& document, std::string_view block,
                                                           std::string_view entry);

    // Whether `which` picks among the key's entries, found at `offsets`: 0,
    // else -2 or kEditAmbiguous with the error saying why.
    int Pick(const Document& document, const Named& name, const std::vector<size_t>& offsets, size_t which);
    // Set, SetAt: the value of the entries `which` picks.
    int SetEntries(const Document& document, const Named& name, size_t which, const std::string& value);
    // Remove, RemoveAt: the entries `which` picks, with their comments.
    int RemoveEntries(const Document& document, const Named& name, size_t which);
};

} // namespace zelconfig

#endif
