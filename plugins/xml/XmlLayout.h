#ifndef ZELCONFIG_PLUGINS_XML_XMLLAYOUT_H
#define ZELCONFIG_PLUGINS_XML_XMLLAYOUT_H

#include <cstddef>
#include <string_view>

// Facts about the bytes of a well-formed XML text that its tree does not
// keep: where an element ends, where its lines start, how they are indented.
// Adding and removing elements needs them to change only the bytes it must.
namespace zelconfig::xml::layout {

constexpr size_t kNone = std::string_view::npos;

// Just past the start tag that begins at `start` (its '<'); kNone when the
// text ends first. `selfClosing` tells whether it ends with "/>".
size_t StartTagEnd(std::string_view text, size_t start, bool& selfClosing);

// Just past the element whose start tag begins at `start`: past its "/>" or
// its end tag; kNone when the text ends first.
size_t ElementEnd(std::string_view text, size_t start);

// Where the line that holds `offset` starts.
size_t LineStart(std::string_view text, size_t offset);

// The blanks that begin the line holding `offset`.
std::string_view Indentation(std::string_view text, size_t offset);

// Whether only blanks stand between the start of its line and `offset`.
bool FirstOnLine(std::string_view text, size_t offset);

// Just past the line end that follows `offset` across blanks only (the end
// of the text counts as one); kNone when something else stands between.
size_t BlankToLineEnd(std::string_view text, size_t offset);

// After blanks, comments and processing instructions that follow `offset`
// on its line: where the next markup of the line (or the line end) starts.
size_t SkipTrailers(std::string_view text, size_t offset);

// The text's line end: "\r\n" when its first line ends so, else "\n".
std::string_view LineEnd(std::string_view text);

// Indentation and FirstOnLine for offsets asked in increasing order, each
// byte looked at about once: a walk that asks for every element of a file
// stays linear, even when the whole file is one line. An offset below the
// last one asked is answered too, by searching back as the functions do.
class LineCursor
{
public:
    explicit LineCursor(std::string_view text) : m_text(text) {}

    std::string_view Indentation(size_t offset);
    bool FirstOnLine(size_t offset);

private:
    void MoveTo(size_t offset);

    std::string_view m_text;
    size_t m_at = 0;             // the last offset asked
    size_t m_lineStart = 0;      // where its line starts
    size_t m_indentEnd = kNone;  // where that line's blanks end, once found
};

} // namespace zelconfig::xml::layout

#endif
