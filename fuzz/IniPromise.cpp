#include "IniPromise.h"

#include <algorithm>

#include "ZelConfigDocument.h"

namespace inipromise {

namespace {

using docpromise::Op;
using zelconfig::Document;

bool Blank(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r') || (c >= '\x1c' && c <= '\x1f');
}

std::string Strip(const std::string& text)
{
    size_t begin = 0, end = text.size();
    while (begin < end && Blank(text[begin])) {
        ++begin;
    }
    while (end > begin && Blank(text[end - 1])) {
        --end;
    }
    return text.substr(begin, end - begin);
}

std::string Shown(const std::vector<Entry>& entries)
{
    std::string shown;
    for (const Entry& entry : entries) {
        shown += "[" + entry.block + "] '" + entry.key + "' = '" + entry.value + "'\n";
    }
    return shown;
}

// The entries of one block, in file order.
std::vector<Entry> Of(const std::vector<Entry>& entries, const std::string& block)
{
    std::vector<Entry> of;
    std::copy_if(entries.begin(), entries.end(), std::back_inserter(of),
                 [&](const Entry& entry) { return entry.block == block; });
    return of;
}

// The block names in order of first appearance.
std::vector<std::string> Blocks(const std::vector<Entry>& entries)
{
    std::vector<std::string> blocks;
    for (const Entry& entry : entries) {
        if (std::find(blocks.begin(), blocks.end(), entry.block) == blocks.end()) {
            blocks.push_back(entry.block);
        }
    }
    return blocks;
}

// Entries compared block by block: an edit may add a block, whose place
// among the others is free, but keeps each block's entries in order.
bool SameByBlock(const std::vector<Entry>& a, const std::vector<Entry>& b)
{
    std::vector<std::string> blocks = Blocks(a), other = Blocks(b);
    std::sort(blocks.begin(), blocks.end());
    std::sort(other.begin(), other.end());
    if (blocks != other) {
        return false;
    }
    return std::all_of(blocks.begin(), blocks.end(),
                       [&](const std::string& block) { return Of(a, block) == Of(b, block); });
}

// The reference reading of what the edit promises, from the entries before.
bool Expected(std::vector<Entry> entries, const docpromise::Edit& edit, std::vector<Entry>& expected)
{
    const size_t dot = edit.key.find('.');
    const std::string block = dot == std::string::npos ? edit.key : edit.key.substr(0, dot);
    const std::string key = dot == std::string::npos ? std::string() : edit.key.substr(dot + 1);
    std::vector<size_t> matches;
    for (size_t i = 0; i < entries.size(); ++i) {
        if (entries[i].block == block && entries[i].key == key) {
            matches.push_back(i);
        }
    }
    const auto picked = [&](size_t n) {
        return edit.op == Op::kSet || edit.op == Op::kRemove || edit.index == 0 || edit.index == n + 1;
    };
    switch (edit.op) {
    case Op::kSet:
    case Op::kSetAt:
        for (size_t n = 0; n < matches.size(); ++n) {
            entries[matches[n]].value = picked(n) ? edit.value : entries[matches[n]].value;
        }
        break;
    case Op::kRemove:
    case Op::kRemoveAt:
        for (size_t n = matches.size(); n-- > 0;) {
            if (picked(n)) {
                entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(matches[n]));
            }
        }
        break;
    case Op::kAdd:
    case Op::kAppend: {
        // After the key's last entry (Append) or the block's; a new block's
        // entry after every other.
        size_t at = entries.size();
        for (size_t i = 0; i < entries.size(); ++i) {
            at = entries[i].block == block ? i + 1 : at;
        }
        at = edit.op == Op::kAppend && !matches.empty() ? matches.back() + 1 : at;
        entries.insert(entries.begin() + static_cast<std::ptrdiff_t>(at), {block, key, edit.value});
        break;
    }
    case Op::kRemoveBlock:
        entries.erase(std::remove_if(entries.begin(), entries.end(),
                                     [&](const Entry& entry) { return entry.block == edit.key; }),
                      entries.end());
        break;
    case Op::kNormalise:
        return false;
    }
    expected = std::move(entries);
    return true;
}

// What the reference made of each line: 'E' an entry's first line (with the
// entry's index), 'C' a continuation line, 'H' a header, 'B' a blank or
// comment line, 'X' any other.
struct LineRead
{
    char kind;
    size_t entry;
};

// Reads the text as the reference does, line by line.
std::vector<Entry> Read(const std::string& input, std::vector<LineRead>* lines);

// Whether the bytes an edit changed lie in the lines of one entry alone,
// the one `edited` (its first line, continuation lines, and the blank and
// comment lines among and above them), or, for an insertion, nowhere.
// The lines of a text, without their line ends: a last line without one
// gains CR LF's carriage return when a line is added below it.
std::vector<std::string> LinesOf(const std::string& text)
{
    std::vector<std::string> lines;
    size_t begin = text.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0; // the mark is no part of the first line
    while (begin < text.size()) {
        size_t end = text.find('\n', begin);
        end = end == std::string::npos ? text.size() : end;
        const size_t cr = end > begin && text[end - 1] == '\r' ? 1 : 0;
        lines.push_back(text.substr(begin, end - begin - cr));
        begin = end + 1;
    }
    return lines;
}

// Whether the lines an edit changed lie in the lines of one entry alone,
// the one `edited` (its first line, continuation lines, and the blank and
// comment lines among and above them), or, for an insertion, nowhere. Where
// repeated lines make the changed run's place ambiguous, any place will do.
bool Local(const std::string& before, const std::string& after, long edited)
{
    const std::vector<std::string> a = LinesOf(before), b = LinesOf(after);
    const size_t shorter = std::min(a.size(), b.size());
    size_t prefix = 0;
    while (prefix < shorter && a[prefix] == b[prefix]) {
        ++prefix;
    }
    std::vector<LineRead> lines;
    Read(before, &lines);
    for (size_t head = 0; head <= prefix; ++head) {
        size_t tail = 0;
        while (tail < shorter - head && a[a.size() - 1 - tail] == b[b.size() - 1 - tail]) {
            ++tail;
        }
        bool ours = true;
        for (size_t n = head; ours && n < a.size() - tail; ++n) {
            ours = edited >= 0 && n < lines.size()
                   && (lines[n].kind == 'B' || lines[n].kind == 'C'
                       || (lines[n].kind == 'E' && lines[n].entry == static_cast<size_t>(edited)));
        }
        if (ours) {
            return true;
        }
    }
    return false;
}

} // namespace

std::vector<Entry> ReferenceRead(const std::string& input)
{
    return Read(input, nullptr);
}

namespace {

std::vector<Entry> Read(const std::string& input, std::vector<LineRead>* lines)
{
    const auto note = [&](char kind, size_t entry) {
        if (lines != nullptr) {
            lines->push_back({kind, entry});
        }
    };
    std::string text = input.compare(0, 3, "\xEF\xBB\xBF") == 0 ? input.substr(3) : input;
    std::vector<Entry> entries;
    std::vector<std::vector<std::string>> values;
    std::string section;
    long open = -1;        // the entry whose value goes on, or -1
    size_t indentLevel = 0; // of the last line that was no continuation
    size_t begin = 0;
    while (begin < text.size()) {
        size_t end = text.find('\n', begin);
        end = end == std::string::npos ? text.size() : end;
        const std::string line = text.substr(begin, end - begin);
        begin = end + 1;
        const std::string value = Strip(line);
        if (!value.empty() && (value[0] == '#' || value[0] == ';')) {
            note('B', 0);
            continue;
        }
        if (value.empty()) {
            note('B', 0);
            if (open >= 0) {
                values[static_cast<size_t>(open)].emplace_back();
            }
            continue;
        }
        const size_t indent = line.size() - Strip(line + "x").size() + 1;
        if (open >= 0 && indent > indentLevel) {
            note('C', 0);
            values[static_cast<size_t>(open)].push_back(value);
            continue;
        }
        indentLevel = indent;
        open = -1;
        const size_t close = value.rfind(']');
        if (value[0] == '[' && close != std::string::npos && close >= 2) {
            note('H', 0);
            section = value.substr(1, close - 1);
            continue;
        }
        const size_t delimiter = value.find_first_of("=:");
        if (delimiter == std::string::npos || delimiter == 0) {
            note('X', 0);
            continue;
        }
        note('E', entries.size());
        entries.push_back({section, Strip(value.substr(0, delimiter)), {}});
        values.push_back({Strip(value.substr(delimiter + 1))});
        open = static_cast<long>(entries.size()) - 1;
    }
    for (size_t i = 0; i < entries.size(); ++i) {
        std::string joined;
        for (size_t n = 0; n < values[i].size(); ++n) {
            joined += (n == 0 ? "" : "\n") + values[i][n];
        }
        while (!joined.empty() && (joined.back() == '\n' || Blank(joined.back()))) {
            joined.pop_back();
        }
        entries[i].value = joined;
    }
    return entries;
}

} // namespace

std::string CheckReads(const std::string& text)
{
    Document document(Document::Mode::kIni);
    if (document.Parse(text) != 0) {
        return "the dialect refused a text: " + document.Error();
    }
    std::vector<Entry> read;
    for (const Document::Entry& entry : document.Entries(Document::Order::kFile)) {
        read.push_back({entry.block, entry.name, entry.value});
    }
    const std::vector<Entry> reference = ReferenceRead(text);
    if (read != reference) {
        return "the document reads\n" + Shown(read) + "the reference reads\n" + Shown(reference);
    }
    // Lookups find a block's sections through the index of its headers.
    for (const Entry& entry : reference) {
        std::vector<std::string> values;
        for (const Entry& other : reference) {
            if (other.block == entry.block && other.key == entry.key) {
                values.push_back(other.value);
            }
        }
        if (document.Values(entry.block, entry.key) != values) {
            return "a lookup of [" + entry.block + "] '" + entry.key + "' misses values the reading has";
        }
    }
    return "";
}

std::string CheckEdit(const std::string& text, const docpromise::Edit& edit, docpromise::Outcome& outcome)
{
    Document document(Document::Mode::kIni);
    document.Parse(text);
    const std::string block = edit.key.substr(0, edit.key.find('.'));
    const std::string entry = edit.key.find('.') == std::string::npos ? "" : edit.key.substr(edit.key.find('.') + 1);
    switch (edit.op) {
    case Op::kSet: outcome.status = document.Set(edit.key, edit.value); break;
    case Op::kAdd: outcome.status = document.Add(edit.key, edit.value); break;
    case Op::kRemove: outcome.status = document.Remove(edit.key); break;
    case Op::kRemoveBlock: outcome.status = document.RemoveBlock(edit.key); break;
    case Op::kNormalise: outcome.status = document.Normalise(); break;
    case Op::kSetAt: outcome.status = document.SetAt(block, entry, edit.index, edit.value); break;
    case Op::kRemoveAt: outcome.status = document.RemoveAt(block, entry, edit.index); break;
    case Op::kAppend: outcome.status = document.Append(block, entry, edit.value); break;
    }
    outcome.text = std::string(document.Text());
    if (outcome.status != 0) {
        return outcome.text == text ? "" : "a refused edit changed the text";
    }
    const auto marked = [](const std::string& bytes) { return bytes.compare(0, 3, "\xEF\xBB\xBF") == 0; };
    if (marked(text) != marked(outcome.text)) {
        return "the edit dropped or added a byte order mark";
    }
    std::vector<Entry> expected;
    if (!Expected(ReferenceRead(text), edit, expected)) {
        return "an edit without a promise succeeded";
    }
    const std::vector<Entry> read = ReferenceRead(outcome.text);
    if (!SameByBlock(read, expected)) {
        return "the result reads\n" + Shown(read) + "but the edit promises\n" + Shown(expected);
    }
    // One entry's lines at most: the one a Set or Remove picks (Add and
    // Append insert only).
    long edited = -1;
    const std::vector<Entry> before = ReferenceRead(text);
    const size_t wanted = edit.op == Op::kSetAt || edit.op == Op::kRemoveAt ? edit.index : 1;
    size_t seen = 0;
    for (size_t i = 0; i < before.size(); ++i) {
        if (before[i].block == block && before[i].key == entry && ++seen == wanted) {
            edited = static_cast<long>(i);
        }
    }
    const bool picksOne = edit.op == Op::kSet || edit.op == Op::kRemove
                          || ((edit.op == Op::kSetAt || edit.op == Op::kRemoveAt) && edit.index != 0);
    if (picksOne || edit.op == Op::kAdd || edit.op == Op::kAppend) {
        if (!Local(text, outcome.text, picksOne ? edited : -1)) {
            return "the edit changed lines that are no part of the entry it names";
        }
    }
    return "";
}

} // namespace inipromise
