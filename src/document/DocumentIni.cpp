// The INI dialect's edits: lines written as the file writes its own, and
// the checks that an edit reads back as asked and leaves every other line
// reading as it did.
#include "DocumentState.h"

namespace zelconfig {

namespace {

// "key = value" when the file has no entry to copy: the most common style.
IniStyle DefaultStyle()
{
    return {"", " ", "=", " "};
}

// The leading blanks of a line.
std::string_view Indentation(std::string_view line)
{
    size_t end = 0;
    while (end < line.size() && CFGIniBlank(line[end])) {
        ++end;
    }
    return line.substr(0, end);
}

// A line that can neither end a value nor be one: blank, or a comment.
bool TransparentLine(std::string_view line)
{
    return CFGIniBlankLine(line) || CFGClassifyIniLine(line).kind == CFGLineKind::kComment;
}

// An entry's lines: the first with its key, the value's further lines
// indented by `continuation` (an empty line stays empty), each ended by
// `lineEnd`.
std::string RenderEntry(const IniStyle& style, std::string_view entry, std::string_view value,
                        const std::string& continuation, const char* lineEnd)
{
    std::string lines = style.indent;
    lines.append(entry.data(), entry.size());
    lines += style.before + style.delimiter;
    size_t feed = value.find('\n');
    const std::string_view first = value.substr(0, feed);
    if (!first.empty()) {
        lines += style.after;
        lines.append(first.data(), first.size());
    }
    while (feed != std::string_view::npos) {
        value.remove_prefix(feed + 1);
        feed = value.find('\n');
        const std::string_view next = value.substr(0, feed);
        lines += lineEnd;
        if (!next.empty()) {
            lines += continuation;
            lines.append(next.data(), next.size());
        }
    }
    return lines + lineEnd;
}

// What reading `text` in the INI dialect makes of it: its headers' names and
// its entries, values joined.
struct ReadBack
{
    std::vector<std::string> headers;
    std::vector<std::pair<std::string, std::string>> entries;
    CFGIniValue value;

    bool ClaimBlock(std::string_view, std::string_view) { return true; }
    void Report(const CFGReport& report)
    {
        if (value.Take(report)) {
            entries.back().second = value.Value();
        }
        if (report.fate == CFGFate::kEntryKept) {
            entries.emplace_back(std::string(report.line.key), std::string());
        } else if (report.line.kind == CFGLineKind::kHeader) {
            headers.emplace_back(report.line.name);
        }
    }
    void Close()
    {
        if (value.Finish()) {
            entries.back().second = value.Value();
        }
    }
};

} // namespace

IniStyle Document::State::IniEntryStyle(const Line& entry) const
{
    const std::string_view first = View(LineAt(entry.begin));
    const CFGLine line = CFGClassifyIniLine(first);
    const size_t keyAt = static_cast<size_t>(line.key.data() - first.data());
    const size_t keyEnd = keyAt + line.key.size();
    const size_t delimiter = first.find_first_of("=:", keyEnd);
    IniStyle style{std::string(first.substr(0, keyAt)), std::string(first.substr(keyEnd, delimiter - keyEnd)),
                   std::string(1, first[delimiter]), std::string()};
    if (!line.value.empty()) {
        const size_t valueAt = static_cast<size_t>(line.value.data() - first.data());
        style.after = std::string(first.substr(delimiter + 1, valueAt - delimiter - 1));
    } else {
        style.after = style.before.empty() ? "" : " "; // as wide as the other side
    }
    return style;
}

IniStyle Document::State::IniFileStyle() const
{
    // Before the first entry no line continues a value: each reads alone.
    for (size_t at = MarkSize(); at != kNone && at < text.size();) {
        const Line line = LineAt(at);
        if (CFGClassifyIniLine(View(line)).kind == CFGLineKind::kEntry) {
            return IniEntryStyle(line);
        }
        at = line.next;
    }
    return DefaultStyle();
}

std::string Document::State::IniContinuationIndent(const std::string& entryIndent) const
{
    std::string_view indent;
    bool found = false;
    ReadLines(0, kNone, [&](const Line&, const CFGReport& report) {
        if (!found && report.fate == CFGFate::kContinuation) {
            indent = Indentation(report.text);
            found = true;
        }
    });
    // Deeper than the entry's own key, or it would be no continuation.
    return found && indent.size() > entryIndent.size() ? std::string(indent) : entryIndent + "\t";
}

std::string Document::State::IniEntryLines(const IniStyle& style, std::string_view entry,
                                           std::string_view value) const
{
    const std::string continuation
        = value.find('\n') == std::string_view::npos ? std::string() : IniContinuationIndent(style.indent);
    return RenderEntry(style, entry, value, continuation, LineEnd());
}

std::string Document::State::IniValueLines(std::string_view value, const std::string& indent) const
{
    // The entry's own lines without its key: what follows the delimiter.
    IniStyle bare{"", "", "", ""};
    std::string lines = RenderEntry(bare, {}, value, indent, LineEnd());
    lines.resize(lines.size() - std::strlen(LineEnd()));
    return lines;
}

bool Document::State::IniWritable(std::string_view block, std::string_view entry, std::string_view value)
{
    std::string probe = block.empty() ? std::string() : "[" + std::string(block) + "]\n";
    probe += RenderEntry(DefaultStyle(), entry, value, "\t", "\n");
    ReadBack read;
    CFGLineReader reader;
    reader.OpenBytes(probe);
    CFGReadMode readMode;
    readMode.ini = true;
    CFGRead(reader, readMode, read);
    read.Close();
    if (block.empty() ? !read.headers.empty() : read.headers != std::vector<std::string>{std::string(block)}) {
        error = "a section name cannot hold a line feed";
        return false;
    }
    if (read.entries.size() != 1 || read.entries[0].first != entry || read.entries[0].second != value) {
        error = "an entry name cannot be empty, hold '=', ':' or a line feed, begin with '#', ';' or '[', or "
                "begin or end with a blank; a line of a value cannot begin or end with a blank, the last "
                "cannot be empty, and one after the first cannot begin with '#' or ';'";
        return false;
    }
    return true;
}

Splice Document::State::IniValueSplice(const Line& entry, std::string_view value) const
{
    const Line firstLine = LineAt(entry.begin);
    const std::string_view first = View(firstLine);
    const CFGLine line = CFGClassifyIniLine(first);
    const size_t keyEnd = static_cast<size_t>(line.key.data() - text.data()) + line.key.size();
    size_t begin = static_cast<size_t>(line.value.data() - text.data());
    size_t end = begin + line.value.size();
    if (line.value.empty()) {
        // After the delimiter, up to the carriage return of a CR LF line.
        begin = std::string_view(text).find_first_of("=:", keyEnd) + 1;
        end = std::max(begin, firstLine.end - (text[firstLine.end - 1] == '\r' ? 1 : 0));
    }
    if (entry.end > firstLine.end) {
        end = entry.end; // through its last continuation line, without the blanks after it
        while (end > begin && CFGIniBlank(text[end - 1])) {
            --end;
        }
    }
    const IniStyle style = IniEntryStyle(entry);
    const std::string indent
        = value.find('\n') == std::string_view::npos ? std::string() : IniContinuationIndent(style.indent);
    std::string with = KeepComments(entry, IniValueLines(value, indent));
    const bool firstEmpty = value.empty() || value.front() == '\n';
    if (line.value.empty() && !firstEmpty) {
        with.insert(0, style.after);
    }
    return {begin, end, std::move(with)};
}

std::string Document::State::KeepComments(const Line& entry, const std::string& lines) const
{
    // The comment lines among the old value's lines, each with the number
    // of value lines above it.
    std::vector<std::pair<size_t, std::string_view>> comments;
    size_t above = 1;
    for (size_t at = LineAt(entry.begin).next; at != kNone && at < entry.end;) {
        const Line line = LineAt(at);
        std::string_view bytes = View(line);
        if (CFGClassifyIniLine(bytes).kind == CFGLineKind::kComment) {
            if (!bytes.empty() && bytes.back() == '\r') {
                bytes.remove_suffix(1);
            }
            comments.emplace_back(above, bytes);
        } else {
            ++above;
        }
        at = line.next;
    }
    if (comments.empty()) {
        return lines;
    }
    // Each goes back above the value line it stood above; those below the
    // new value's last line, after it.
    const std::string lineEnd = LineEnd();
    std::string kept;
    size_t from = 0, written = 0;
    auto comment = comments.begin();
    for (;;) {
        const size_t feed = lines.find(lineEnd, from);
        kept.append(lines, from, feed == std::string::npos ? std::string::npos : feed - from);
        ++written;
        if (feed == std::string::npos) {
            break;
        }
        kept += lineEnd;
        for (; comment != comments.end() && comment->first == written; ++comment) {
            kept.append(comment->second);
            kept += lineEnd;
        }
        from = feed + lineEnd.size();
    }
    for (; comment != comments.end(); ++comment) {
        kept += lineEnd;
        kept.append(comment->second);
    }
    return kept;
}

size_t Document::State::IniNextContent(size_t at, const std::vector<Line>& skipped, size_t& indent) const
{
    auto skip = skipped.begin();
    while (at != kNone && at < text.size()) {
        const Line line = LineAt(at);
        while (skip != skipped.end() && skip->begin < line.begin) {
            ++skip;
        }
        const bool gone = skip != skipped.end() && skip->begin == line.begin;
        if (!gone && !TransparentLine(View(line))) {
            indent = Indentation(View(line)).size();
            return line.begin;
        }
        at = line.next;
    }
    return kNone;
}

bool Document::State::IniKeepsLineBelow(size_t at, bool entryOpen, size_t indent)
{
    size_t below = 0;
    const size_t next = IniNextContent(at, {}, below);
    if (next != kNone && entryOpen && below > indent) {
        error = "refusing: line " + std::to_string(LineNumber(next))
                + ", indented deeper than the entry it would then follow, would become part of its value";
        return false;
    }
    return true;
}

bool Document::State::IniKeepsLinesBelow(const std::vector<Line>& removed)
{
    for (size_t i = 0; i < removed.size(); ++i) {
        if (i + 1 < removed.size() && removed[i].next == removed[i + 1].begin) {
            continue; // not the last line of its run
        }
        // What the lines above the run leave open: read from their section's header.
        size_t runBegin = removed[i].begin;
        for (size_t j = i; j > 0 && removed[j - 1].next == removed[j].begin; --j) {
            runBegin = removed[j - 1].begin;
        }
        const auto header = std::lower_bound(headers.begin(), headers.end(), runBegin,
                                             [](const Header& h, size_t offset) { return h.at < offset; });
        const size_t from = header == headers.begin() ? 0 : std::prev(header)->at;
        bool open = false;
        size_t indent = 0;
        ReadLines(from, runBegin, [&](const Line&, const CFGReport& report) {
            if (report.fate == CFGFate::kEntryKept || report.fate == CFGFate::kBlockOpened
                || report.fate == CFGFate::kBlockRepeated
                || (report.fate == CFGFate::kIgnored && !CFGIniBlankLine(report.text))) {
                open = report.fate == CFGFate::kEntryKept;
                indent = Indentation(report.text).size();
            }
        });
        // Bytes of a mark that would then begin the file would be skipped.
        if (runBegin == 0 && removed[i].next != kNone
            && std::string_view(text).substr(removed[i].next, 3) == kCFGByteOrderMark) {
            error = "refusing: line " + std::to_string(LineNumber(removed[i].next))
                    + " would then begin the file with the bytes of a byte order mark, which readers skip";
            return false;
        }
        size_t below = 0;
        const size_t next = IniNextContent(removed[i].next, removed, below);
        if (next != kNone && open && below > indent) {
            error = "refusing: line " + std::to_string(LineNumber(next))
                    + " would then continue the value of the entry above the lines removed";
            return false;
        }
    }
    return true;
}

int Document::State::IniAdd(std::string_view block, std::string_view entry, const std::string& value)
{
    Line last{};
    bool hasEntry = false, held = block.empty();
    size_t firstHeader = kNone;
    ForEachSectionOf(block, [&](size_t from, size_t) {
        held = true;
        if (!block.empty() && firstHeader == kNone) {
            firstHeader = from;
        }
    });
    ForEachEntryOf(block, [&](const Line& line, std::string_view, std::string_view) {
        last = line;
        hasEntry = true;
    });
    IniStyle style = hasEntry ? IniEntryStyle(last) : IniFileStyle();
    if (hasEntry) {
        // After the section's last entry and its continuation lines, before
        // the blank lines that part it from the next.
        if (!IniKeepsLineBelow(last.next, true, style.indent.size())) {
            return kStatusInvalid;
        }
        InsertAfter(&last, IniEntryLines(style, entry, value), std::strlen(LineEnd()), false);
        return 0;
    }
    if (held) {
        // Right below its header (or at the start): indented as what follows,
        // which would otherwise continue the new value.
        const Line header = LineAt(firstHeader == kNone ? 0 : firstHeader);
        size_t below = 0;
        const size_t next = IniNextContent(firstHeader == kNone ? MarkSize() : header.next, {}, below);
        if (next != kNone && below > style.indent.size()) {
            style.indent = std::string(Indentation(View(LineAt(next))));
        }
        InsertAfter(firstHeader == kNone ? nullptr : &header, IniEntryLines(style, entry, value),
                    std::strlen(LineEnd()), false);
        return 0;
    }
    return IniAddSection(block, entry, value, style);
}

Line Document::State::IniLastContent(bool& found, size_t& gap) const
{
    Line anchor{};
    size_t blanks = 0;
    bool content = false; // a header or entry stands above
    found = false;
    gap = 1;
    ReadLines(0, kNone, [&](const Line& line, const CFGReport& report) {
        switch (report.fate) {
        case CFGFate::kBlockOpened:
        case CFGFate::kBlockRepeated:
        case CFGFate::kEntryKept:
        case CFGFate::kEntryDropped: // under a repeated header: no reader sees it, yet it stays
            if (report.line.kind == CFGLineKind::kHeader && content) {
                gap = blanks; // the blank lines above the last header with something above it
            }
            anchor = line;
            found = content = true;
            blanks = 0;
            break;
        case CFGFate::kContinuation:
            anchor.end = line.end;
            anchor.next = line.next;
            blanks = 0;
            break;
        case CFGFate::kIgnored:
            blanks += CFGIniBlankLine(report.text) ? 1 : 0;
            break;
        default:
            break;
        }
    });
    return anchor;
}

int Document::State::IniAddSection(std::string_view block, std::string_view entry, const std::string& value,
                                   const IniStyle& style)
{
    // After the file's last header or entry, parted from it as the file
    // parts its sections.
    bool found = false;
    size_t gap = 1;
    const Line anchor = IniLastContent(found, gap);
    std::string lines;
    for (size_t i = 0; found && i < gap; ++i) {
        lines += LineEnd();
    }
    const size_t headerAt = lines.size();
    lines += "[" + std::string(block) + "]" + LineEnd() + IniEntryLines(style, entry, value);
    if (!IniKeepsLineBelow(found ? anchor.next : MarkSize(), true, style.indent.size())) {
        return kStatusInvalid;
    }
    InsertAfter(found ? &anchor : nullptr, std::move(lines), std::strlen(LineEnd()), true, headerAt);
    return 0;
}

} // namespace zelconfig
