#include "XmlLayout.h"

namespace zelconfig::xml::layout {

namespace {

// Blanks inside a line: a line end is not one.
bool IsInlineBlank(char c)
{
    return c == ' ' || c == '\t';
}

// Just past the first `close` from `from`, or kNone.
size_t Past(std::string_view text, std::string_view close, size_t from)
{
    const size_t at = text.find(close, from);
    return at == kNone ? kNone : at + close.size();
}

// Just past the comment, CDATA section or processing instruction at `p`;
// `p` itself when none starts there.
size_t SkipUnparsed(std::string_view text, size_t p)
{
    const std::string_view rest = text.substr(p);
    if (rest.substr(0, 4) == "<!--") {
        return Past(text, "-->", p + 4);
    }
    if (rest.substr(0, 9) == "<![CDATA[") {
        return Past(text, "]]>", p + 9);
    }
    if (rest.substr(0, 2) == "<?") {
        return Past(text, "?>", p + 2);
    }
    return p;
}

} // namespace

size_t StartTagEnd(std::string_view text, size_t start, bool& selfClosing)
{
    // A '>' may stand in a quoted attribute value.
    char quote = 0;
    for (size_t p = start + 1; p < text.size(); ++p) {
        const char c = text[p];
        if (quote != 0) {
            quote = c == quote ? 0 : quote;
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (c == '>') {
            selfClosing = text[p - 1] == '/';
            return p + 1;
        }
    }
    return kNone;
}

size_t ElementEnd(std::string_view text, size_t start)
{
    // Markup in comments, CDATA sections and instructions does not count.
    size_t depth = 0;
    for (size_t p = text.find('<', start); p != kNone; p = text.find('<', p)) {
        const size_t skipped = SkipUnparsed(text, p);
        if (skipped != p) {
            p = skipped;
        } else if (text.substr(p, 2) == "</") {
            p = Past(text, ">", p);
            if (p == kNone || --depth == 0) {
                return p;
            }
        } else {
            bool selfClosing = false;
            p = StartTagEnd(text, p, selfClosing);
            if (p == kNone || (selfClosing && depth == 0)) {
                return p;
            }
            depth += selfClosing ? 0 : 1;
        }
        if (p == kNone) {
            return kNone;
        }
    }
    return kNone;
}

size_t LineStart(std::string_view text, size_t offset)
{
    const size_t feed = offset == 0 ? kNone : text.rfind('\n', offset - 1);
    return feed == kNone ? 0 : feed + 1;
}

std::string_view Indentation(std::string_view text, size_t offset)
{
    const size_t start = LineStart(text, offset);
    size_t end = start;
    while (end < text.size() && IsInlineBlank(text[end])) {
        ++end;
    }
    return text.substr(start, end - start);
}

bool FirstOnLine(std::string_view text, size_t offset)
{
    return LineStart(text, offset) + Indentation(text, offset).size() >= offset;
}

size_t BlankToLineEnd(std::string_view text, size_t offset)
{
    size_t p = offset;
    while (p < text.size() && IsInlineBlank(text[p])) {
        ++p;
    }
    if (p == text.size()) {
        return p;
    }
    if (text.substr(p, 2) == "\r\n") {
        return p + 2;
    }
    return text[p] == '\n' ? p + 1 : kNone;
}

size_t SkipTrailers(std::string_view text, size_t offset)
{
    size_t p = offset;
    for (;;) {
        while (p < text.size() && IsInlineBlank(text[p])) {
            ++p;
        }
        const size_t skipped = p < text.size() && text[p] == '<' ? SkipUnparsed(text, p) : p;
        // A CDATA section is text, and a comment may span lines: both end the run.
        if (skipped == p || skipped == kNone || text.substr(p, 3) == "<!["
            || text.substr(p, skipped - p).find('\n') != kNone) {
            return p;
        }
        p = skipped;
    }
}

std::string_view LineEnd(std::string_view text)
{
    const size_t feed = text.find('\n');
    return feed != kNone && feed > 0 && text[feed - 1] == '\r' ? "\r\n" : "\n";
}

void LineCursor::MoveTo(size_t offset)
{
    if (offset < m_at) {
        m_lineStart = LineStart(m_text, offset);
        m_indentEnd = kNone;
    } else {
        // Only the bytes since the last offset can hold a newer line start.
        const size_t feed = m_text.substr(m_at, offset - m_at).rfind('\n');
        if (feed != kNone) {
            m_lineStart = m_at + feed + 1;
            m_indentEnd = kNone;
        }
    }
    m_at = offset;
}

std::string_view LineCursor::Indentation(size_t offset)
{
    MoveTo(offset);
    if (m_indentEnd == kNone) {
        m_indentEnd = m_lineStart;
        while (m_indentEnd < m_text.size() && IsInlineBlank(m_text[m_indentEnd])) {
            ++m_indentEnd;
        }
    }
    return m_text.substr(m_lineStart, m_indentEnd - m_lineStart);
}

bool LineCursor::FirstOnLine(size_t offset)
{
    const size_t blanks = Indentation(offset).size();
    return m_lineStart + blanks >= offset;
}

} // namespace zelconfig::xml::layout
