#include "Lint.h"

#include <algorithm>
#include <map>

#include "cfg/CFGLine.h"

namespace zelcfg {

using zelconfig::CFGClassifyLine;
using zelconfig::CFGLine;
using zelconfig::CFGLineKind;

namespace {

const std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// "line 4" or "lines 4-6", for messages about runs of lines.
std::string LineRange(size_t first, size_t last)
{
    return first == last ? "line " + std::to_string(first)
                         : "lines " + std::to_string(first) + "-" + std::to_string(last);
}

bool IsBlank(char c)
{
    return c == ' ' || c == '\t';
}

// Walks the lines as the parser does and notes what it would lose.
class Linter
{
public:
    explicit Linter(bool anonymous) : m_anonymous(anonymous) {}

    // False when the parser would stop at this line.
    bool Line(size_t number, std::string_view text)
    {
        const CFGLine line = CFGClassifyLine(text);
        CheckIndent(number, text, line);
        switch (line.kind) {
        case CFGLineKind::Comment:
            if (m_commentLines++ == 0) {
                m_commentFirst = number;
            }
            m_commentLast = number;
            return true;
        case CFGLineKind::UnterminatedHeader:
            Add(number, "block header without ']': reading stops here and the rest of the file is lost");
            m_commentLines = 0;
            return false;
        case CFGLineKind::Header:
            Header(number, line.name);
            return true;
        case CFGLineKind::Entry:
            return Entry(number, line);
        case CFGLineKind::Ignored:
            if (!m_indentReported && TrimAsAnonymous(text).size() > 0) {
                Add(number, "line without '=': it is ignored and a save drops it");
            }
            return true;
        }
        return true;
    }

    // The end of the file: what is still open is settled.
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
    void CheckIndent(size_t number, std::string_view text, const CFGLine& line)
    {
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
                        + (line.kind == CFGLineKind::Entry ? "read as an entry" : "ignored"));
        m_indentReported = true;
    }

    // Comment lines waiting for a header or entry are joined into one line on save.
    void TakeComment(bool kept)
    {
        if (kept && m_commentLines > 1) {
            Add(m_commentFirst, "comment " + LineRange(m_commentFirst, m_commentLast)
                                    + " are joined into one line, without separators, when saved");
        }
        m_commentLines = 0;
    }

    void Header(size_t number, std::string_view name)
    {
        EndRepeatedBlock();
        m_sawHeader = true;
        const auto inserted = m_headers.emplace(std::string(name), number);
        // In anonymous mode the entries never go to the header's block anyway.
        if (!inserted.second && !m_anonymous) {
            m_repeatLine = number;
            m_repeatFirst = inserted.first->second;
            m_repeatEntries = 0;
        }
        TakeComment(inserted.second);
    }

    bool Entry(size_t number, const CFGLine& line)
    {
        if (!m_anonymous && !m_sawHeader) {
            Add(number, "entry above the first block header: reading stops here and the rest of the file is lost");
            m_commentLines = 0;
            return false;
        }
        if (m_repeatLine != 0) {
            ++m_repeatEntries;
            TakeComment(false);
            return true;
        }
        TakeComment(true);
        const std::string_view value = m_anonymous ? TrimAsAnonymous(line.value) : line.value;
        if (value.find('\r') != std::string_view::npos) {
            Add(number, value.back() == '\r' ? "carriage return kept at the end of the value"
                                             : "carriage return kept in the value");
        }
        return true;
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
    std::vector<LintFinding> m_findings;
    std::map<std::string, size_t> m_headers; // name -> line of its first header
    bool m_sawHeader = false;
    bool m_indentReported = false;
    size_t m_commentLines = 0, m_commentFirst = 0, m_commentLast = 0;
    size_t m_repeatLine = 0, m_repeatFirst = 0, m_repeatEntries = 0; // a repeated header's block
};

} // namespace

std::string_view TrimAsAnonymous(std::string_view text)
{
    const auto space = [](char c) { return IsBlank(c) || c == '\n' || c == '\v' || c == '\f' || c == '\r'; };
    while (!text.empty() && space(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && space(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

std::vector<LintFinding> LintCFG(std::string_view text, bool anonymous)
{
    Linter linter(anonymous);
    if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
        linter.Add(1, "byte-order mark: its three bytes start the first line, which is therefore no "
                      "header or comment");
    }
    size_t number = 0;
    size_t start = 0;
    // Lines end at line feeds only; an empty piece after the last one is no line.
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string_view::npos) {
            end = text.size();
        }
        if (!linter.Line(++number, text.substr(start, end - start))) {
            break;
        }
        start = end + 1;
    }
    return linter.Finish();
}

} // namespace zelcfg
