#include "Lint.h"

#include <algorithm>
#include <locale>
#include <map>

#include "TypedValues.h"
#include "Internals.h"

namespace zelcfg {

using zelconfig::CFGFate;
using zelconfig::CFGLine;
using zelconfig::CFGLineKind;
using zelconfig::CFGReport;

namespace {

const std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// "line 4" or "lines 4-6", for messages about runs of lines.
std::string LineRange(size_t first, size_t last)
{
    return first == last ? "line " + std::to_string(first)
                         : "lines " + std::to_string(first) + "-" + std::to_string(last);
}

// The blanks the engine keeps in block mode and lint warns about.
bool IsBlank(char c)
{
    return c == ' ' || c == '\t';
}

// Whether a name or value starts or ends with a blank, which is easy to miss.
bool BlankAtAnEnd(std::string_view text)
{
    return !text.empty() && (IsBlank(text.front()) || IsBlank(text.back()));
}

// The facet the engine trims anonymous-mode names and values with: the
// global locale's, which the tool leaves classic.
const std::ctype<char>& Ctype()
{
    return std::use_facet<std::ctype<char>>(std::locale());
}

// The text without the white space that anonymous mode trims.
std::string_view Trimmed(std::string_view text)
{
    return zelconfig::CFGTrimAnonymous(text, Ctype());
}

// The text without one carriage return at its end.
std::string_view WithoutCr(std::string_view text)
{
    return !text.empty() && text.back() == '\r' ? text.substr(0, text.size() - 1) : text;
}

// A text in quotes, so that blanks at its ends show in a message.
std::string Quoted(std::string_view text)
{
    return "'" + std::string(text) + "'";
}

// Listens to the engine's reading of the text and notes what it loses or
// changes: the engine decides, lint words it.
class Linter
{
public:
    Linter(bool anonymous, ValueType type) : m_anonymous(anonymous), m_type(type) {}

    // The engine's question whether a header's name is new; each name's
    // first header line is kept for the repeats' messages.
    bool ClaimBlock(std::string_view name, std::string_view /*comment*/)
    {
        return m_headers.emplace(std::string(name), m_line + 1).second;
    }

    // Every line is reported, in order, so the reports count the lines.
    void Report(const CFGReport& report)
    {
        const size_t number = ++m_line;
        CheckIndent(number, report);
        switch (report.fate) {
        case CFGFate::kComment:
            if (m_commentLines++ == 0) {
                m_commentFirst = number;
            }
            m_commentLast = number;
            return;
        case CFGFate::kStopUnterminated:
            Add(number, "block header without ']': reading stops here and the rest of the file is lost");
            break;
        case CFGFate::kStopOutsideBlock:
            Add(number, "entry above the first block header: reading stops here and the rest of the file is lost");
            break;
        case CFGFate::kBlockOpened:
        case CFGFate::kBlockRepeated:
            Header(number, report);
            break;
        case CFGFate::kEntryKept:
            Entry(number, report);
            break;
        case CFGFate::kEntryDropped:
            ++m_repeatEntries;
            break;
        case CFGFate::kIgnored:
            if (!m_indentReported && !Trimmed(report.text).empty()) {
                Add(number, "line without '=': it is ignored and a save drops it");
            }
            return;
        }
        TakeComment(report);
    }

    // The end of the reading: what is still open is settled.
    std::vector<LintFinding> Finish()
    {
        EndRepeatedBlock();
        if (m_commentLines > 0) {
            Add(m_commentFirst, "comment " + LineRange(m_commentFirst, m_commentLast)
                                    + " at the end of the file: a save drops "
                                    + (m_commentLines > 1 ? "them" : "it"));
        }
        std::stable_sort(m_findings.begin(), m_findings.end(),
                         [](const LintFinding& a, const LintFinding& b) { return a.line < b.line; });
        return std::move(m_findings);
    }

    void Add(size_t line, std::string message) { m_findings.push_back({line, std::move(message)}); }

private:
    // A header or a comment marker behind blanks is not what it looks like.
    void CheckIndent(size_t number, const CFGReport& report)
    {
        const std::string_view text = report.text;
        m_indentReported = false;
        if (text.empty() || !IsBlank(text.front())) {
            return;
        }
        const size_t first = text.find_first_not_of(" \t");
        if (first == std::string_view::npos || std::string_view("[#;").find(text[first]) == std::string_view::npos) {
            return;
        }
        const std::string what = text[first] == '[' ? "indented block header" : "indented comment";
        Add(number, what + ": only a line's first byte counts, so it is "
                        + (report.line.kind == CFGLineKind::kEntry ? "read as an entry" : "ignored"));
        m_indentReported = true;
    }

    // The pending comment lines go with the line that ended them: those a
    // header or entry takes are joined into one line on save; the others
    // are lost with it (or with the rest of the file).
    void TakeComment(const CFGReport& report)
    {
        if (!report.comment.empty() && m_commentLines > 1) {
            Add(m_commentFirst, "comment " + LineRange(m_commentFirst, m_commentLast)
                                    + " are joined into one line, without separators, when saved");
        }
        m_commentLines = 0;
    }

    void Header(size_t number, const CFGReport& report)
    {
        EndRepeatedBlock();
        const std::string_view name = report.line.name;
        const bool opened = report.fate == CFGFate::kBlockOpened;
        // In anonymous mode the entries never go to the header's block anyway.
        if (!opened && !m_anonymous) {
            m_repeatLine = number;
            m_repeatFirst = m_headers.find(std::string(name))->second;
            m_repeatEntries = 0;
        }
        m_block = name;
        // Blanks and a line end after the ']' are harmless; other text is not.
        const std::string_view rest = WithoutCr(report.text.substr(name.size() + 2));
        if (!Trimmed(rest).empty()) {
            Add(number, "text after the block name's first ']': the library's block name is " + Quoted(name)
                            + ", and the rest of the line, " + Quoted(rest) + ", is ignored and a save drops it");
        }
        if (opened && !m_anonymous && Trimmed(name).size() != name.size()) {
            Add(number, "blanks around the block name are part of it: the library's block name is " + Quoted(name));
        }
        if (opened && !m_anonymous && name.find('.') != std::string_view::npos) {
            Add(number, "block name " + Quoted(name) + " holds '.': keys split at the first '.', so no "
                            "BLOCK.ENTRY key reaches its entries, but zelcfg get FILE " + Quoted(name)
                            + " ENTRY does");
        }
    }

    // How messages name an entry: by the key that reads it, or, in a block
    // that no key reaches, by its name and block.
    std::string EntryShown(std::string_view name) const
    {
        if (m_anonymous) {
            return Quoted(name);
        }
        if (m_block.find('.') != std::string::npos) {
            return Quoted(name) + " of the block " + Quoted(m_block);
        }
        return Quoted(m_block + "." + std::string(name));
    }

    // Block mode keeps the bytes around '=': blanks there are part of the
    // name or the value.
    void CheckBlanks(size_t number, const CFGLine& line)
    {
        const std::string_view value = WithoutCr(line.value);
        const bool name = BlankAtAnEnd(line.key), around = BlankAtAnEnd(value);
        if (!name && !around) {
            return;
        }
        const std::string key = m_block.find('.') == std::string::npos
                                    ? "the library's key is " + EntryShown(line.key)
                                    : "the entry is " + EntryShown(line.key);
        const std::string shownValue = "the value is " + Quoted(value);
        if (name && around) {
            Add(number, "blanks around the entry name and around the value are part of them in block mode: " + key
                            + " and " + shownValue);
        } else if (name) {
            Add(number, "blanks around the entry name are part of it in block mode: " + key);
        } else {
            Add(number, "blanks around the value are part of it in block mode: " + shownValue);
        }
    }

    // An entry the model keeps, under the name and with the value the
    // engine gives it.
    void Entry(size_t number, const CFGReport& report)
    {
        if (!m_anonymous) {
            CheckBlanks(number, report.line);
        }
        const std::string_view value = report.line.value;
        if (value.find('\r') != std::string_view::npos) {
            Add(number, value.back() == '\r' ? "carriage return kept at the end of the value"
                                             : "carriage return kept in the value");
        }
        // Anonymous mode has one block; block mode the current header's.
        const auto first = m_keys[m_anonymous ? std::string() : m_block].emplace(std::string(report.line.key), number);
        if (!first.second) {
            Add(number, "entry " + EntryShown(report.line.key) + " is also on line " + std::to_string(first.first->second)
                            + ": reads join the values with a line feed, and a set changes all of them");
        }
        if (m_type != ValueType::kString) {
            const std::string partly = PartialRead(m_type, std::string(value));
            if (!partly.empty()) {
                Add(number, std::string("--type ") + TypeName(m_type) + ": " + partly);
            }
        }
    }

    void EndRepeatedBlock()
    {
        if (m_repeatLine != 0 && m_repeatEntries > 0) {
            Add(m_repeatLine, "block header repeats line " + std::to_string(m_repeatFirst) + ": its "
                                  + std::to_string(m_repeatEntries)
                                  + (m_repeatEntries > 1 ? " entries are" : " entry is") + " lost");
        }
        m_repeatLine = 0;
    }

    bool m_anonymous;
    ValueType m_type;
    std::vector<LintFinding> m_findings;
    size_t m_line = 0;                       // lines reported so far
    std::map<std::string, size_t> m_headers; // name -> line of its first header
    std::string m_block;                     // the name of the last header
    // block -> entry name -> line of its first entry (first sections only)
    std::map<std::string, std::map<std::string, size_t>> m_keys;
    bool m_indentReported = false;
    size_t m_commentLines = 0, m_commentFirst = 0, m_commentLast = 0;
    size_t m_repeatLine = 0, m_repeatFirst = 0, m_repeatEntries = 0; // a repeated header's block
};

} // namespace

std::vector<LintFinding> LintCFG(std::string_view text, bool anonymous, ValueType type)
{
    Linter linter(anonymous, type);
    if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
        linter.Add(1, "byte-order mark: its three bytes start the first line, which is therefore no "
                      "header or comment");
    }
    zelconfig::CFGLineReader reader;
    reader.OpenBytes(text);
    zelconfig::CFGReadMode mode;
    mode.anonymous = anonymous ? &Ctype() : nullptr;
    zelconfig::CFGRead(reader, mode, linter);
    return linter.Finish();
}

namespace {

using Lines = std::vector<std::string_view>;

// The lines of a text, each with its line feed; the last may lack one.
Lines SplitLines(std::string_view text)
{
    Lines lines;
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size() - 1) + 1;
        lines.push_back(text.substr(0, end));
        text.remove_prefix(end);
    }
    return lines;
}

// One step of an edit script: keep a[from] (== b[to]), delete a[from] or
// insert b[to].
struct Step
{
    char op; // ' ', '-' or '+'
    size_t from, to;
};

// Every line of a deleted, then every line of b inserted: the script when a
// shortest one would take too much memory to find.
std::vector<Step> ReplaceAll(const Lines& a, const Lines& b)
{
    std::vector<Step> steps;
    for (size_t i = 0; i < a.size(); ++i) {
        steps.push_back({'-', i, 0});
    }
    for (size_t j = 0; j < b.size(); ++j) {
        steps.push_back({'+', a.size(), j});
    }
    return steps;
}

// A shortest edit script from a to b, by Myers' greedy search. Each round d
// keeps its diagonals' furthest reach for the walk back; the rounds are as
// many as the lines that differ, which a lint of a config file keeps small.
std::vector<Step> EditScript(const Lines& a, const Lines& b)
{
    const long kMaxRounds = 2048; // about 32 MiB of kept reaches
    const long n = static_cast<long>(a.size()), m = static_cast<long>(b.size());
    std::vector<long> reach(static_cast<size_t>(2 * (n + m) + 3), 0);
    const auto at = [&reach, n, m](long k) -> long& { return reach[static_cast<size_t>(k + n + m + 1)]; };
    std::vector<std::vector<long>> rounds; // rounds[d][k + d]: reach before round d
    long d = 0;
    for (;; ++d) {
        if (d > kMaxRounds) {
            // The kept rounds grow with the square of the changes: past a
            // bound, every line of a is replaced by every line of b.
            return ReplaceAll(a, b);
        }
        rounds.emplace_back(&at(-d), &at(d) + 1);
        bool done = false;
        for (long k = -d; k <= d && !done; k += 2) {
            long x = (k == -d || (k != d && at(k - 1) < at(k + 1))) ? at(k + 1) : at(k - 1) + 1;
            long y = x - k;
            while (x < n && y < m && a[static_cast<size_t>(x)] == b[static_cast<size_t>(y)]) {
                ++x;
                ++y;
            }
            at(k) = x;
            done = x >= n && y >= m;
        }
        if (done) {
            break;
        }
    }
    std::vector<Step> steps;
    long x = n, y = m;
    for (; d >= 0; --d) {
        const std::vector<long>& before = rounds[static_cast<size_t>(d)];
        const auto was = [&before, d](long k) { return before[static_cast<size_t>(k + d)]; };
        const long k = x - y;
        // Round d's edit: an insertion (down from diagonal k + 1) or a
        // deletion (right from k - 1); then its snake of kept lines.
        const bool down = d == 0 || k == -d || (k != d && was(k - 1) < was(k + 1));
        const long snakeX = d == 0 ? 0 : down ? was(k + 1) : was(k - 1) + 1;
        while (x > snakeX) {
            --x;
            --y;
            steps.push_back({' ', static_cast<size_t>(x), static_cast<size_t>(y)});
        }
        if (d > 0 && down) {
            --y;
            steps.push_back({'+', static_cast<size_t>(x), static_cast<size_t>(y)});
        } else if (d > 0) {
            --x;
            steps.push_back({'-', static_cast<size_t>(x), static_cast<size_t>(y)});
        }
    }
    std::reverse(steps.begin(), steps.end());
    return steps;
}

// A line of a hunk: its mark, its text, and the note after a last line
// without a line feed.
void PutLine(std::string& out, char op, std::string_view line)
{
    out += op;
    out.append(line.data(), line.size());
    if (line.empty() || line.back() != '\n') {
        out += "\n\\ No newline at end of file\n";
    }
}

// "a,b" of a hunk header: an empty range starts at the line before it.
std::string Range(size_t before, size_t count)
{
    return std::to_string(count == 0 ? before : before + 1) + "," + std::to_string(count);
}

} // namespace

std::string UnifiedDiff(std::string_view from, std::string_view to, const std::string& fromName,
                        const std::string& toName)
{
    const size_t kContext = 3;
    const Lines a = SplitLines(from), b = SplitLines(to);
    const std::vector<Step> steps = EditScript(a, b);
    std::string out;
    size_t i = 0;
    while (true) {
        while (i < steps.size() && steps[i].op == ' ') {
            ++i;
        }
        if (i == steps.size()) {
            break;
        }
        // A hunk: from kContext steps before its first change to kContext
        // after its last, changes less than 2 * kContext + 1 apart joined.
        const size_t begin = i >= kContext ? i - kContext : 0;
        size_t last = i;
        for (size_t j = i + 1; j < steps.size() && j - last <= 2 * kContext; ++j) {
            if (steps[j].op != ' ') {
                last = j;
            }
        }
        const size_t end = std::min(steps.size(), last + 1 + kContext);
        size_t fromCount = 0, toCount = 0;
        for (size_t j = begin; j < end; ++j) {
            fromCount += steps[j].op != '+';
            toCount += steps[j].op != '-';
        }
        if (out.empty()) {
            out = "--- " + fromName + "\n+++ " + toName + "\n";
        }
        out += "@@ -" + Range(steps[begin].from, fromCount) + " +" + Range(steps[begin].to, toCount) + " @@\n";
        for (size_t j = begin; j < end; ++j) {
            PutLine(out, steps[j].op, steps[j].op == '+' ? b[steps[j].to] : a[steps[j].from]);
        }
        i = end;
    }
    return out;
}

} // namespace zelcfg
