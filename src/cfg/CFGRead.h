#ifndef ZELCONFIG_CFG_CFGREAD_H
#define ZELCONFIG_CFG_CFGREAD_H

#include <locale>
#include <string>
#include <string_view>

#include "CFGBlockMap.h"
#include "CFGLine.h"
#include "CFGLineReader.h"
#include "ZelConfigExport.h"
#include "ZelConfigStatus.h"

// The reading of the format lives in libZelConfig alone (CFGRead.cpp,
// CFGLineReader.cpp, CFGModel.cpp): what is marked ZELCONFIG_API here is
// exported for the project's own binaries, the document library, zelcfg and
// the tests, so that none of them carries a copy. This header stays internal;
// these symbols are no public API.

namespace zelconfig {

// Anonymous mode drops the white space around a key and its value, as the
// ctype facet given classes it, so that "key = value" reads as "key" and
// "value". Text of white space only gives the empty run at its start, where
// a value set in its place goes (before a carriage return, not after it).
ZELCONFIG_API std::string_view CFGTrimAnonymous(std::string_view text, const std::ctype<char>& ctype);

// Why the lines of a new entry (its header "[block]" and "entry=value")
// would not read back as exactly that block, name and value; kWritable when
// they would. `anonymous` is the facet anonymous mode trims with, null in
// block mode. The document's additions and zelcfg's checks of its operands
// ask this one question.
enum class CFGWritable
{
    kWritable,
    kBadBlockName,         // holds ']' or a line feed
    kBadEntry,             // the name holds '=' or a line feed, or begins like a comment
                           // or header; or the value holds a line feed
    kNotAnonymousBlock,    // anonymous mode keeps every entry in "anonymous"
    kSpaceAtEnds,          // anonymous mode would trim the name or the value
};

ZELCONFIG_API CFGWritable CFGCheckWritable(std::string_view block, std::string_view entry, std::string_view value,
                                         const std::ctype<char>* anonymous);

// What the reading of a file made of one line.
enum class CFGFate
{
    kComment,          // waits for the next header or entry, whose comment it becomes
    kBlockOpened,      // a header of a new name: its block takes the pending comment
    kBlockRepeated,    // a header of a name taken: the first block keeps it, the
                       // pending comment is lost, and in block mode so are the
                       // entries below it, up to the next header
    kEntryKept,        // an entry the model keeps, with the pending comment
    kEntryDropped,     // an entry under a repeated header, lost with its comment
    kIgnored,          // any other line; a pending comment stays pending
    kStopUnterminated, // a header without ']': reading ends with -1
    kStopOutsideBlock, // block mode, an entry above the first header: reading ends with kStatusInvalid
    kContinuation,     // INI dialect: the next line of the last entry's value
};

// One line and what became of it.
struct CFGReport
{
    CFGFate fate;
    CFGLine line;             // the classifier's view of the line, but an entry's key and
                              // value as the model holds them: trimmed in anonymous mode
    std::string_view text;    // its bytes, without the line feed
    size_t offset;            // where it begins in the input
    std::string_view comment; // kBlockOpened, kEntryKept: the comment lines it takes, joined
};

// The bytes the INI dialect takes for white space around a line, a key or a
// value: ASCII's, the carriage return of a CR LF line included.
inline bool CFGIniBlank(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r') || (c >= '\x1c' && c <= '\x1f');
}

// Whether an INI line is blank: of those bytes only, or none.
inline bool CFGIniBlankLine(std::string_view line)
{
    for (char c : line) {
        if (!CFGIniBlank(c)) {
            return false;
        }
    }
    return true;
}

// An INI entry's value as the reading's reports give it: the text after
// the delimiter, then each continuation line on a line of its own, blank
// lines between them kept as empty lines, blank lines after the last
// dropped; comment lines between them are no part of it. Every reader of
// INI values takes the reports through one of these. A value of one line is
// the report's own bytes, not a copy: the reading must be of bytes in memory
// that stay put (CFGLineReader::OpenBytes).
class CFGIniValue
{
public:
    // Takes one report in order: an entry starts a value, a continuation
    // line or a blank line goes on with it, a comment line leaves it be, and
    // any other line ends it. True when the report ended a value, which
    // Value() then holds until the next call.
    bool Take(const CFGReport& report)
    {
        switch (report.fate) {
        case CFGFate::kContinuation:
            if (!m_joined) {
                m_value.assign(m_first.data(), m_first.size());
                m_joined = true;
            }
            m_value.append(m_blanks + 1, '\n');
            m_value.append(report.line.value.data(), report.line.value.size());
            m_blanks = 0;
            return false;
        case CFGFate::kComment:
            return false;
        case CFGFate::kIgnored:
            if (CFGIniBlankLine(report.text)) {
                ++m_blanks; // part of the value only if more of it follows
                return false;
            }
            break;
        default:
            break;
        }
        const bool ended = Finish();
        if (report.fate == CFGFate::kEntryKept) {
            m_first = report.line.value;
            m_joined = false;
            m_blanks = 0;
            m_open = true;
        }
        return ended;
    }
    // The end of the reading: true when a value was still open.
    bool Finish()
    {
        if (!m_open) {
            return false;
        }
        if (m_joined) {
            m_done.swap(m_value);
        }
        m_whole = m_joined ? std::string_view(m_done) : m_first;
        m_open = false;
        return true;
    }
    std::string_view Value() const { return m_whole; }

private:
    std::string_view m_first, m_whole; // the first line's bytes; the value last ended
    std::string m_value, m_done;       // values of several lines, joined
    size_t m_blanks = 0;
    bool m_joined = false, m_open = false;
};

// How to read: `anonymous` is the facet that anonymous mode trims with, null
// in block mode. With `headersOnly`, once entries have a block to go to
// (after the first header; at once in anonymous mode) only the lines that
// begin like a header are read and reported, since no other line can open a
// block or end the reading.
//
// With `ini` the lines are read in the INI dialect instead, as ordinary INI
// files are written: blanks around a line are no part of it, a header is
// "[name]" (name up to the last ']'), an entry is "key = value" or
// "key: value" with the blanks around key and value dropped, a line whose
// first non-blank byte is '#' or ';' is a comment, and an indented line
// under an entry continues its value. Entries above the first header belong
// to the block "" (claimed before the first line), every header of a name
// keeps its entries, no line ends the reading, and a UTF-8 byte order mark
// before the first line is no part of it. With `headersOnly` there, the lines
// read are the first and those whose first byte after blanks is '[', each in
// the context the lines before it set.
struct CFGReadMode
{
    const std::ctype<char>* anonymous = nullptr;
    bool headersOnly = false;
    bool ini = false;
    bool midFile = false; // ini: the first line is no file's first, so no mark precedes it
};

// The bytes of the UTF-8 byte order mark, which the INI dialect skips.
constexpr std::string_view kCFGByteOrderMark = "\xEF\xBB\xBF";


// What a reading tells its caller. The listener keeps the block names (the
// engine's model does), so that a reading holds each once.
class CFGListener
{
public:
    // True when the name is new; `comment` is what its block would take.
    virtual bool ClaimBlock(std::string_view name, std::string_view comment) = 0;
    // One line and what became of it.
    virtual void Report(const CFGReport& report) = 0;

protected:
    ~CFGListener() = default;
};

// The one reading of the format: every line in order, classified, decided
// on and reported. Anonymous mode claims "anonymous" before the first line,
// as its block exists before any header. Returns 0, or the status that ended
// the reading: kStatusMalformed or kStatusInvalid after the report of the
// line, kStatusNotFound when the input could not be read to its end. Nothing
// is logged: each listener logs in its own name.
ZELCONFIG_API int CFGReadLines(CFGLineReader& reader, CFGReadMode mode, CFGListener& listener);

// CFGReadLines for a listener of any type with the two members
//   bool ClaimBlock(std::string_view name, std::string_view comment)
//   void Report(const CFGReport& report)
// which the reading calls through a forwarder, so that the loop itself stays
// in the library.
template <typename Listener>
int CFGRead(CFGLineReader& reader, CFGReadMode mode, Listener& listener)
{
    class Forwarder final : public CFGListener
    {
    public:
        explicit Forwarder(Listener& to) : m_to(to) {}
        bool ClaimBlock(std::string_view name, std::string_view comment) override
        {
            return m_to.ClaimBlock(name, comment);
        }
        void Report(const CFGReport& report) override { m_to.Report(report); }

    private:
        Listener& m_to;
    } forwarder(listener);
    return CFGReadLines(reader, mode, forwarder);
}

} // namespace zelconfig

#endif
