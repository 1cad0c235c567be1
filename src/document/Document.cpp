#include "ZelConfigDocument.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <locale>
#include <new>
#include <string_view>
#include <unistd.h>
#include <unordered_set>
#include <utility>

#include "CBlock.h"
#include "cfg/CFGKey.h"
#include "cfg/CFGLine.h"
#include "cfg/CFGModel.h"
#include "cfg/CFGRead.h"
#include "cfg/CFGSavedForm.h"
#include "platform/FileIO.h"
#include "platform/ZelLog.h"

namespace zelconfig {

namespace {

constexpr size_t kNone = std::string::npos;

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
bool IsBlankLine(std::string_view line)
{
    return line.find_first_not_of(" \t\r\v\f") == std::string_view::npos;
}

// Memory for a file's bytes that no other process can change: the
// process's own memory, never a mapping of the file, which another program
// could shorten (SIGBUS) or rewrite under an edit; huge pages for large
// blocks, as ReadToEnd reads into.
class Memory
{
public:
    // At least `size` bytes, not zeroed by this code; the old contents go.
    // Throws std::bad_alloc as any allocation that runs out does.
    void Allocate(size_t size)
    {
        m_bytes.reset(AllocateBytes(size, m_capacity));
        if (!m_bytes) {
            throw std::bad_alloc();
        }
    }
    // The bytes of `fd` to its end (ReadToEnd): 0, or an errno value with
    // nothing kept. Running out of memory throws, as Allocate does.
    int Read(int fd, size_t& size)
    {
        const int status = ReadToEnd(fd, m_bytes, size);
        if (status == ENOMEM) {
            throw std::bad_alloc();
        }
        if (status != 0) {
            m_bytes.reset();
            size = 0;
        }
        m_capacity = size;
        return status;
    }
    char* get() const { return m_bytes.get(); }
    size_t capacity() const { return m_capacity; }
    explicit operator bool() const { return m_bytes != nullptr; }

private:
    std::unique_ptr<char, void (*)(void*)> m_bytes{nullptr, std::free};
    size_t m_capacity = 0;
};

// The file's bytes as loaded (or last saved), which a save compares with the
// file before it replaces it, and the edits made since. An edit that comes
// before every edit kept so far (an edit's splices come back to front) is
// kept beside the loaded bytes; any other, or a read of the text, settles
// them into a buffer of the text's own. A save then writes the loaded bytes'
// unchanged ranges and the splices' bytes, so that no copy of a large file
// is made for an edit of one value.
class Bytes
{
public:
    // Never NULL, for memchr. Reading settles the splices into a buffer.
    const char* data() const
    {
        Rebase();
        Settle();
        return m_text ? m_text.get() : m_loaded ? m_loaded.get() : "";
    }
    size_t size() const { return m_size; }
    bool empty() const { return m_size == 0; }
    char operator[](size_t at) const { return data()[at]; }
    char back() const { return data()[m_size - 1]; }
    operator std::string_view() const { return std::string_view(data(), m_size); }

    // What the file held when it was read or last saved.
    std::string_view Loaded() const
    {
        Rebase();
        return std::string_view(m_loaded ? m_loaded.get() : "", m_loadedSize);
    }

    // Replaces the whole text with bytes from elsewhere (never from this
    // text), kept as an edit: the loaded bytes stay what they were.
    void Assign(std::string_view bytes)
    {
        Rebase();
        m_splices.clear();
        m_text.Allocate(std::max<size_t>(bytes.size() + bytes.size() / 8, 4096));
        if (!bytes.empty()) {
            std::memcpy(m_text.get(), bytes.data(), bytes.size());
        }
        m_size = bytes.size();
    }

    // Makes bytes held in memory the loaded text, as if a file held them.
    void Load(std::string_view bytes)
    {
        Assign(bytes);
        Saved();
    }

    // [begin, end) becomes `with`; the bytes after it move.
    void Replace(size_t begin, size_t end, std::string_view with)
    {
        Rebase();
        if (!m_text && (m_splices.empty() || end <= m_splices.front().begin)) {
            m_splices.insert(m_splices.begin(), Spliced{begin, end, std::string(with)});
            m_size = m_size - (end - begin) + with.size();
            return;
        }
        Own();
        const size_t size = m_size - (end - begin) + with.size();
        if (size > m_text.capacity()) {
            Memory larger;
            larger.Allocate(size + size / 8);
            std::memcpy(larger.get(), m_text.get(), m_size);
            m_text = std::move(larger);
        }
        if (end < m_size) {
            std::memmove(m_text.get() + begin + with.size(), m_text.get() + end, m_size - end);
        }
        if (!with.empty()) {
            std::memcpy(m_text.get() + begin, with.data(), with.size());
        }
        m_size = size;
    }

    // The text as runs to write one after the other: the loaded bytes'
    // unchanged ranges and the splices' bytes; one run for a settled text.
    std::vector<std::string_view> Pieces() const
    {
        if (m_text || m_splices.empty()) {
            return {std::string_view(data(), m_size)};
        }
        std::vector<std::string_view> pieces;
        size_t at = 0;
        for (const Spliced& splice : m_splices) {
            pieces.emplace_back(m_loaded.get() + at, splice.begin - at);
            pieces.emplace_back(splice.with);
            at = splice.end;
        }
        pieces.emplace_back(m_loaded.get() + at, m_loadedSize - at);
        return pieces;
    }

    // The text as it stands is now what the file holds. Made so when next
    // needed, not now: a process that saves and exits pays nothing for it.
    void Saved() { m_savedPending = !m_splices.empty() || m_text; }

    // Reads a descriptor to its end into memory of its own, straight from
    // the file: 0 or an errno value.
    int Read(int fd)
    {
        m_savedPending = false;
        m_splices.clear();
        m_text = Memory();
        const int status = m_loaded.Read(fd, m_loadedSize);
        m_size = m_loadedSize;
        return status;
    }

private:
    // A splice kept beside the loaded bytes: [begin, end) of them becomes `with`.
    struct Spliced
    {
        size_t begin, end;
        std::string with;
    };

    // Makes the text the loaded bytes, after a save.
    void Rebase() const
    {
        if (m_savedPending) {
            m_savedPending = false;
            Own();
            m_loaded = std::move(m_text);
            m_loadedSize = m_size;
        }
    }

    // Applies the kept splices, for a reader of the text.
    void Settle() const
    {
        if (!m_splices.empty()) {
            Own();
        }
    }

    // The text in a buffer of its own, with room for edits; the loaded
    // bytes stay for the save's comparison.
    void Own() const
    {
        if (m_text) {
            return;
        }
        Memory own;
        own.Allocate(m_size + 64 * 1024);
        size_t at = 0;
        for (std::string_view piece : Pieces()) {
            if (!piece.empty()) {
                std::memcpy(own.get() + at, piece.data(), piece.size());
            }
            at += piece.size();
        }
        m_text = std::move(own);
        m_splices.clear();
    }

    // Mutable: a reader's first look after edits settles them, and after a
    // save makes the text the loaded bytes, which changes where the bytes
    // are, not what they are.
    mutable Memory m_loaded;
    mutable size_t m_loadedSize = 0;
    mutable bool m_savedPending = false;
    mutable Memory m_text; // the text, once it is not the loaded bytes with splices
    mutable std::vector<Spliced> m_splices; // in the loaded bytes' offsets, in order
    size_t m_size = 0;
};

} // namespace

struct Document::State
{
    // A header line, and whether its name is new there: a later header of a
    // taken name opens no block, and its entries are lost to a reader.
    struct Header
    {
        size_t at;
        bool first;
    };

    Mode mode;
    Bytes text;
    std::vector<Header> headers; // in file order
    size_t readEnd = kNone;      // lines from here on were not read (a parse stopped)
    int status = -2;             // of the last load
    bool loaded = false;         // a model exists (the file could be read)
    bool changed = false;
    std::locale locale;          // anonymous-mode trimming, as at the load
    const std::ctype<char>* ctype = nullptr;
    bool hasFile = false;
    std::string path;
    std::string error;
    std::unique_ptr<LockedFile> lock; // held from Load to the next Load
    ReplaceOptions saving;            // how the file is locked and saved

    explicit State(Mode m) : mode(m) {}

    bool Anonymous() const { return mode == Mode::kAnonymous; }

    CFGReadMode ReadMode(bool headersOnly) const { return {Anonymous() ? ctype : nullptr, headersOnly}; }

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
    void Walk(size_t from, size_t to, Visit visit) const
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
                if (s.Anonymous() && !anonymousClaimed) {
                    return anonymousClaimed = true; // the block anonymous mode makes first
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
        CFGRead(reader, ReadMode(false), listener);
    }

    bool HasSpaceAtEnds(std::string_view bytes) const { return CFGTrimAnonymous(bytes, *ctype).size() != bytes.size(); }

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
        readEnd = kNone;
        CFGLineReader reader;
        reader.OpenBytes(text);
        return CFGRead(reader, ReadMode(true), listener);
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
        return CFGClassifyLine(View(LineAt(headers[index].at))).name;
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
        for (size_t i = 0; i < headers.size(); ++i) {
            if (headers[i].first && HeaderName(i) == name) {
                return i;
            }
        }
        return kNone;
    }

    // Calls found(line, key, value) for every entry a lookup of the key's
    // names would take, key and value as the model holds them.
    template <typename Found>
    void ForEachMatch(const CFGKeyParts& parts, Found found) const
    {
        ForEachEntryOf(parts.block, [&](const Line& line, std::string_view key, std::string_view value) {
            if (key == parts.entry) {
                found(line, key, value);
            }
        });
    }

    // Every entry of a block as the model holds it, in file order.
    template <typename Found>
    void ForEachEntryOf(std::string_view block, Found found) const
    {
        if (!loaded) {
            return;
        }
        size_t from = 0, to = kNone;
        if (Anonymous()) {
            if (block != kCFGAnonymousBlock) {
                return; // blocks of headers hold no entries in this mode
            }
        } else {
            const size_t section = FindSection(block);
            if (section == kNone) {
                return;
            }
            from = headers[section].at;
            to = SectionEnd(section);
        }
        Walk(from, to, [&](const Line& line, const CFGReport& report) {
            if (report.fate == CFGFate::kEntryKept) {
                found(line, report.line.key, report.line.value);
            }
        });
    }

    // The lines of the headers and entries in [from, to) that `takes`
    // accepts, each with the comment lines that belong to it: those directly
    // above it, with no blank line between. `takes` sees every header and
    // entry in file order. Other lines, blank ones included, are not taken.
    template <typename Takes>
    std::vector<Line> Owned(size_t from, size_t to, Takes takes) const
    {
        std::vector<Line> taken, waiting;
        Walk(from, to, [&](const Line& line, const CFGReport& report) {
            switch (report.fate) {
            case CFGFate::kComment:
                waiting.push_back(line);
                return;
            case CFGFate::kIgnored:
                if (!IsBlankLine(report.text)) {
                    return;
                }
                break;
            case CFGFate::kBlockOpened:
            case CFGFate::kBlockRepeated:
            case CFGFate::kEntryKept:
            case CFGFate::kEntryDropped:
                if (takes(report)) {
                    taken.insert(taken.end(), waiting.begin(), waiting.end());
                    taken.push_back(line);
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
    bool Editable() const { return loaded && status == 0; }

    // The bytes that end a line the edit adds: CR LF where the file uses it
    // and the carriage return cannot become part of a value.
    const char* LineEnd(bool entry) const
    {
        const Line first = LineAt(0);
        const bool crlf = first.next != kNone && first.end > first.begin && text[first.end - 1] == '\r';
        return crlf && (!entry || Anonymous()) ? "\r\n" : "\n";
    }

    // Applies splices that do not overlap, given in any order, and moves the
    // header index along. Headers inside a replaced run are dropped.
    void Apply(std::vector<Splice>& splices)
    {
        std::sort(splices.begin(), splices.end(),
                  [](const Splice& a, const Splice& b) { return a.begin > b.begin; });
        const auto before = [](const Header& header, size_t offset) { return header.at < offset; };
        for (const Splice& splice : splices) {
            if (splice.end == splice.begin && splice.with.empty()) {
                continue;
            }
            text.Replace(splice.begin, splice.end, splice.with);
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
        // empty, which would then be lost with it.
        if (!splices.empty() && splices.back().end == text.size() && splices.back().begin > 1
            && text.back() != '\n' && text[splices.back().begin - 2] != '\n') {
            --splices.back().begin;
        }
        Apply(splices);
    }

    // Inserts lines after the line `anchor` (or at the start when none).
    // `lines` hold their own line ends, the last of which, `lastEnd` bytes,
    // is dropped when the anchor is the file's last line and has none. With
    // `newBlock` the first line is the header of a block the file lacks.
    void InsertAfter(const Line* anchor, std::string lines, size_t lastEnd, bool newBlock)
    {
        size_t at = 0, header = 0;
        if (anchor != nullptr) {
            if (anchor->next == kNone) {
                at = text.size();
                header = at + 1;
                lines.insert(0, "\n");
                lines.resize(lines.size() - lastEnd);
            } else {
                at = header = anchor->next;
            }
        }
        std::vector<Splice> splices{{at, at, std::move(lines)}};
        Apply(splices);
        if (newBlock) {
            const auto after = [](size_t offset, const Header& h) { return offset < h.at; };
            headers.insert(std::upper_bound(headers.begin(), headers.end(), header, after), Header{header, true});
        }
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
};

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
    s.path = path;
    s.hasFile = true;
    s.saving = saving;
    s.saving.create = (options & kCreate) != 0;
    int fd = -1;
    if ((options & kLock) != 0) {
        s.lock.reset(new LockedFile);
        if (s.lock->Lock(path, s.saving, s.error) != kReplaceDone) {
            s.lock.reset();
            ZEL_LOG(kLogError, "Load", "Error Opening File");
            return s.status = -2;
        }
        s.path = s.lock->Path();
        fd = s.lock->Descriptor();
    } else if (path.find('\0') == std::string::npos) {
        const int opened = OpenRegular(path, O_RDONLY, fd);
        if (opened != 0) {
            s.error = opened == kNotRegularFile ? "not a regular file" : std::strerror(opened);
        }
    } else {
        s.error = std::strerror(ENOENT);
    }
    int error = fd < 0 ? -1 : s.text.Read(fd);
    if (fd >= 0 && !s.lock) {
        ::close(fd);
    }
    if (error != 0) {
        if (error > 0) {
            s.error = std::strerror(error);
        }
        ZEL_LOG(kLogError, "Load", "Error Opening File");
        return s.status = -2;
    }
    return s.Start();
}

int Document::Parse(std::string_view text)
{
    State& s = *m_state;
    s = State(s.mode);
    s.text.Load(text);
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
    return std::strcmp(m_state->LineEnd(false), "\r\n") == 0;
}

const std::string& Document::Error() const
{
    return m_state->error;
}

int Document::Get(const std::string& key, std::string& value) const
{
    if (key.empty()) {
        return -2;
    }
    const CFGKeyParts parts = CFGSplitKey(key, m_state->Anonymous());
    return Get(std::string(parts.block), std::string(parts.entry), value);
}

int Document::Get(const std::string& block, const std::string& entry, std::string& value) const
{
    if (&value == &block || &value == &entry) {
        return Get(std::string(block), std::string(entry), value); // the names must not grow while compared
    }
    int result = -2;
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
    const State& s = *m_state;
    std::vector<Entry> entries;
    if (s.Anonymous()) {
        s.ForEachEntryOf(kCFGAnonymousBlock, [&](const Line&, std::string_view name, std::string_view value) {
            entries.push_back({kCFGAnonymousBlock, std::string(name), std::string(value)});
        });
        return entries;
    }
    for (const auto& section : s.FirstSections(order)) {
        s.Walk(s.headers[section.second].at, s.SectionEnd(section.second), [&](const Line&, const CFGReport& report) {
            if (report.fate == CFGFate::kEntryKept) {
                entries.push_back({std::string(section.first), std::string(report.line.key), std::string(report.line.value)});
            }
        });
    }
    return entries;
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
        s.Walk(s.headers[i].at, s.SectionEnd(i), [&](const Line& line, const CFGReport& report) {
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

namespace {

// How an entry is shown in messages: "[a.b]k" where no key reaches it.
std::string Shown(const std::string& block, const std::string& entry)
{
    return block.find('.') == std::string::npos ? block + "." + entry : "[" + block + "]" + entry;
}

// How to name an entry on zelcfg's command line, quoted: as a KEY, or as
// BLOCK and ENTRY apart for a block whose name holds '.'.
std::string Address(const std::string& block, const std::string& entry)
{
    return block.find('.') == std::string::npos ? "'" + block + "." + entry + "'"
                                                : "'" + block + "' '" + entry + "'";
}

// The look-alikes of an entry, as a tail for a message.
std::string LookalikeText(const std::string& block, const std::string& entry,
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

} // namespace

size_t Document::UnreadEntries() const
{
    const State& s = *m_state;
    if (s.Anonymous()) {
        return 0;
    }
    size_t count = 0;
    s.Walk(0, kNone, [&](const Line&, const CFGReport& report) {
        count += report.fate == CFGFate::kEntryDropped ? 1 : 0;
    });
    return count;
}

int Document::Set(const std::string& key, const std::string& value)
{
    if (key.empty()) {
        return EINVAL;
    }
    const CFGKeyParts parts = CFGSplitKey(key, m_state->Anonymous());
    return Set(std::string(parts.block), std::string(parts.entry), value);
}

int Document::Set(const std::string& block, const std::string& entry, const std::string& value)
{
    State& s = *m_state;
    if (!s.Editable() || value.find('\n') != std::string::npos || (s.Anonymous() && s.HasSpaceAtEnds(value))) {
        return EINVAL;
    }
    int result = -2;
    std::vector<Splice> splices;
    s.ForEachMatch(CFGKeyParts{block, entry}, [&](const Line&, std::string_view, std::string_view stored) {
        result = 0;
        if (stored != value) {
            const size_t begin = static_cast<size_t>(stored.data() - s.text.data());
            splices.push_back({begin, begin + stored.size(), value});
        }
    });
    s.Apply(splices);
    return result;
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

int Document::SetAt(const std::string& block, const std::string& entry, size_t index, const std::string& value)
{
    State& s = *m_state;
    if (index == 0) {
        return Set(block, entry, value);
    }
    if (!s.Editable() || value.find('\n') != std::string::npos || (s.Anonymous() && s.HasSpaceAtEnds(value))) {
        return EINVAL;
    }
    size_t count = 0;
    int result = -2;
    std::vector<Splice> splices;
    s.ForEachMatch(CFGKeyParts{block, entry}, [&](const Line&, std::string_view, std::string_view stored) {
        if (++count == index) {
            result = 0;
            if (stored != value) {
                const size_t begin = static_cast<size_t>(stored.data() - s.text.data());
                splices.push_back({begin, begin + stored.size(), value});
            }
        }
    });
    s.Apply(splices);
    return result;
}

int Document::Append(const std::string& block, const std::string& entryName, const std::string& value)
{
    State& s = *m_state;
    if (!s.Editable()) {
        return EINVAL;
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
    if (CFGCheckWritable(block, entryName, value, s.ReadMode(false).anonymous) != CFGWritable::kWritable) {
        return EINVAL;
    }
    const std::string lineEnd = s.LineEnd(true);
    s.InsertAfter(&last, entryName + "=" + value + lineEnd, lineEnd.size(), false);
    return 0;
}

int Document::Add(const std::string& key, const std::string& value)
{
    if (key.empty()) {
        return EINVAL;
    }
    State& s = *m_state;
    const CFGKeyParts parts = CFGSplitKey(key, s.Anonymous());
    // A block whose name is a longer prefix of the key is most likely what
    // was meant: "Net.eth0.Address" with [Net.eth0] held.
    if (!s.Anonymous() && s.Editable()
        && CFGCheckWritable(parts.block, parts.entry, value, nullptr) == CFGWritable::kWritable) {
        for (size_t i = 0; i < s.headers.size(); ++i) {
            const std::string_view held = s.HeaderName(i);
            if (s.headers[i].first && held.size() > parts.block.size() && key.size() > held.size() + 1
                && key.compare(0, held.size(), held.data(), held.size()) == 0 && key[held.size()] == '.') {
                const std::string name(held), entry = key.substr(held.size() + 1);
                s.error = "refusing to add " + key + "; line " + std::to_string(s.LineNumber(s.headers[i].at))
                          + " holds the block '" + name + "', whose name holds '.': address its entry as "
                          + Address(name, entry) + " (BLOCK ENTRY apart)";
                return kEditAmbiguous;
            }
        }
    }
    return Add(std::string(parts.block), std::string(parts.entry), value);
}

int Document::Add(const std::string& block, const std::string& entryName, const std::string& value)
{
    State& s = *m_state;
    if (!s.Editable()) {
        return EINVAL;
    }
    const CFGKeyParts parts{block, entryName};
    // The lines must read back as exactly this block, entry and value.
    if (CFGCheckWritable(parts.block, parts.entry, value, s.ReadMode(false).anonymous) != CFGWritable::kWritable) {
        return EINVAL;
    }
    // A line a reader would take for the entry, which no lookup finds, is
    // most likely what was meant: adding beside it would make two.
    const std::vector<Lookalike> lookalikes = Lookalikes(block, entryName);
    if (!lookalikes.empty()) {
        s.error = "refusing to add " + Shown(block, entryName) + LookalikeText(block, entryName, lookalikes);
        return kEditAmbiguous;
    }
    const std::string header = "[" + block + "]";
    const std::string lineEnd = s.LineEnd(true);
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
        s.InsertAfter(&anchor, std::move(entry), lineEnd.size(), false);
        return 0;
    }
    // A new block (in anonymous mode, the first entry) goes after the last
    // header or entry of the file, or first when there is none.
    s.Walk(0, kNone, [&](const Line& line, const CFGReport& report) {
        if (report.line.kind == CFGLineKind::kHeader || report.line.kind == CFGLineKind::kEntry) {
            anchor = line;
            found = true;
        }
    });
    std::string lines = s.Anonymous() ? entry : header + s.LineEnd(false) + entry;
    s.InsertAfter(found ? &anchor : nullptr, std::move(lines), lineEnd.size(), !s.Anonymous());
    return 0;
}

int Document::Remove(const std::string& key)
{
    if (key.empty()) {
        return EINVAL;
    }
    const CFGKeyParts parts = CFGSplitKey(key, m_state->Anonymous());
    return Remove(std::string(parts.block), std::string(parts.entry));
}

int Document::Remove(const std::string& block, const std::string& entry)
{
    return RemoveAt(block, entry, 0);
}

int Document::RemoveAt(const std::string& block, const std::string& entry, size_t index)
{
    State& s = *m_state;
    if (!s.Editable()) {
        return EINVAL;
    }
    const CFGKeyParts parts{block, entry};
    // The block's first section, or the whole file for "anonymous".
    size_t from = 0, to = kNone;
    if (!s.Anonymous()) {
        const size_t section = s.FindSection(parts.block);
        if (section == kNone) {
            return -2;
        }
        from = s.headers[section].at;
        to = s.SectionEnd(section);
    } else if (parts.block != kCFGAnonymousBlock) {
        return -2;
    }
    size_t count = 0; // the entries of the key met so far
    const std::vector<Line> removed = s.Owned(from, to, [&](const CFGReport& report) {
        return report.line.kind == CFGLineKind::kEntry && report.line.key == parts.entry
               && (++count == index || index == 0);
    });
    if (removed.empty()) {
        return -2;
    }
    s.RemoveLines(removed);
    return 0;
}

int Document::RemoveBlock(const std::string& name)
{
    State& s = *m_state;
    if (!s.Editable() || (s.Anonymous() && name == kCFGAnonymousBlock)) {
        return EINVAL;
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
        bool inside = false;
        std::vector<Line> comments; // the comment lines directly above the current line
        s.Walk(0, kNone, [&](const Line& line, const CFGReport& report) {
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
        return -2;
    }
    s.RemoveLines(removed);
    return 0;
}

int Document::Normalise()
{
    State& s = *m_state;
    if (!s.Editable()) {
        return EINVAL;
    }
    std::string normalised;
    if (!s.NormalisedText(normalised)) {
        return EINVAL;
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
    if (!s.hasFile || !s.Editable()) {
        // A failed load keeps its own reason.
        if (!s.hasFile) {
            s.error = "no file to save to: nothing was loaded from one";
        }
        return EINVAL;
    }
    if (!s.changed) {
        return 0;
    }
    s.error.clear();
    LockedFile briefly;
    LockedFile* file = s.lock.get();
    if (file == nullptr) {
        file = &briefly;
        ReplaceOptions saving = s.saving;
        saving.create = false;
        if (briefly.Lock(s.path, saving, s.error) != kReplaceDone) {
            return kReplaceUntouched;
        }
    }
    // Under the lock, the file must still hold what was loaded: a change
    // made since by a program that ignores the lock, or while a document
    // loaded without it was edited, is refused rather than overwritten.
    const std::vector<std::string_view> pieces = s.text.Pieces();
    const int replaced = file->ReplaceIfUnchanged(s.text.Loaded(), pieces.data(), pieces.size(), s.error);
    // A file rewritten in place only in part holds neither the loaded bytes
    // nor the text, so a later save finds it changed and refuses.
    if (replaced == kReplaceDone || replaced == kReplaceNotFlushed) {
        s.text.Saved();
        s.changed = false;
    }
    return replaced;
}

} // namespace zelconfig
