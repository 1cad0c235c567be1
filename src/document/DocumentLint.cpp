// Document::Lint: what the engine's reading of a CFG text drops or changes
// silently, in words. The engine decides what each line is and what becomes
// of it; this only listens and says so.
#include "DocumentState.h"

#include <map>

namespace zelconfig {

namespace {

using ValueCheck = std::function<std::string(const std::string& value)>;

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
    // `ctype` trims as anonymous mode does; `checkValue` may be empty.
    Linter(bool anonymous, const std::ctype<char>& ctype, const ValueCheck& checkValue)
        : m_anonymous(anonymous), m_ctype(ctype), m_checkValue(checkValue)
    {
    }

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
        case CFGFate::kContinuation:
            return;
        case CFGFate::kIgnored:
            if (!m_indentReported && !Trimmed(report.text).empty()) {
                Add(number, "line without '=': it is ignored and a save drops it");
            }
            return;
        }
        TakeComment(report);
    }

    // The end of the reading: what is still open is settled.
    std::vector<Finding> Finish()
    {
        EndRepeatedBlock();
        if (m_commentLines > 0) {
            Add(m_commentFirst, "comment " + LineRange(m_commentFirst, m_commentLast)
                                    + " at the end of the file: a save drops "
                                    + (m_commentLines > 1 ? "them" : "it"));
        }
        std::stable_sort(m_findings.begin(), m_findings.end(),
                         [](const Finding& a, const Finding& b) { return a.line < b.line; });
        return std::move(m_findings);
    }

    void Add(size_t line, std::string message) { m_findings.push_back({line, 0, std::move(message)}); }

private:
    // The text without the white space that anonymous mode trims.
    std::string_view Trimmed(std::string_view text) const { return CFGTrimAnonymous(text, m_ctype); }

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
                            "BLOCK.ENTRY key reaches its entries: address them as " + Quoted(name)
                            + " ENTRY (BLOCK ENTRY apart)");
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
        if (m_checkValue) {
            std::string said = m_checkValue(std::string(value));
            if (!said.empty()) {
                Add(number, std::move(said));
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
    const std::ctype<char>& m_ctype;
    const ValueCheck& m_checkValue;
    std::vector<Finding> m_findings;
    size_t m_line = 0;                       // lines reported so far
    std::map<std::string, size_t> m_headers; // name -> line of its first header
    std::string m_block;                     // the name of the last header
    // block -> entry name -> line of its first entry (first sections only)
    std::map<std::string, std::map<std::string, size_t>> m_keys;
    bool m_indentReported = false;
    size_t m_commentLines = 0, m_commentFirst = 0, m_commentLast = 0;
    size_t m_repeatLine = 0, m_repeatFirst = 0, m_repeatEntries = 0; // a repeated header's block
};

// Listens to the INI dialect's reading and notes what other INI readers
// refuse or read otherwise: they take the last of a repeated key's values,
// merge the sections of a repeated name, and refuse lines that are no
// header, entry or comment, and entries above the first header.
class IniLinter
{
public:
    explicit IniLinter(const ValueCheck& checkValue) : m_checkValue(checkValue) {}

    bool ClaimBlock(std::string_view, std::string_view) { return true; }

    void Report(const CFGReport& report)
    {
        const size_t number = ++m_line;
        if (m_value.Take(report)) {
            CheckValue();
        }
        switch (report.fate) {
        case CFGFate::kBlockOpened:
        case CFGFate::kBlockRepeated:
            Header(number, report.line.name);
            break;
        case CFGFate::kEntryKept:
            Entry(number, report.line);
            break;
        case CFGFate::kIgnored:
            if (!CFGIniBlankLine(report.text)) {
                Stray(number, report.text);
            }
            break;
        default:
            break;
        }
    }

    std::vector<Finding> Finish()
    {
        if (m_value.Finish()) {
            CheckValue();
        }
        return std::move(m_findings);
    }

private:
    void Add(size_t line, std::string message) { m_findings.push_back({line, 0, std::move(message)}); }

    void Header(size_t number, std::string_view name)
    {
        m_section = name;
        m_inSection = true;
        const auto first = m_headers.emplace(m_section, number);
        if (!first.second) {
            Add(number, "section " + Quoted(name) + " repeats line " + std::to_string(first.first->second)
                            + ": other INI readers merge the two, keeping the last value of a key both hold");
        }
    }

    void Entry(size_t number, const CFGLine& line)
    {
        if (!m_inSection && !m_aboveReported) {
            Add(number, "entry above the first section header: it is read as the section '' (key ." +
                            std::string(line.key) + "), and other INI readers refuse the file");
            m_aboveReported = true;
        }
        const auto first = m_keys[m_section].emplace(std::string(line.key), number);
        if (!first.second) {
            Add(number, "key " + Quoted(m_section + "." + std::string(line.key)) + " is also on line "
                            + std::to_string(first.first->second)
                            + ": other INI readers keep only the last value; here every value is read, and an "
                              "edit must name which");
        }
        m_entryLine = number;
    }

    // A line that is no header, entry or comment.
    void Stray(size_t number, std::string_view text)
    {
        const bool indented = CFGIniBlank(text.front());
        const std::string_view body = text.substr(text.find_first_not_of(" \t\v\f\r\x1c\x1d\x1e\x1f"));
        if (body.front() == '=' || body.front() == ':') {
            Add(number, "entry without a name before its '" + std::string(1, body.front())
                            + "': it is ignored, and other INI readers refuse the file");
        } else if (indented) {
            Add(number, "indented line with no entry above it to continue: it is ignored, and other INI "
                        "readers refuse the file");
        } else {
            Add(number, "line without '=' or ':': it is ignored, and other INI readers refuse the file");
        }
    }

    // The entry above is whole: its value is asked about.
    void CheckValue()
    {
        if (m_checkValue) {
            std::string said = m_checkValue(std::string(m_value.Value()));
            if (!said.empty()) {
                Add(m_entryLine, std::move(said));
            }
        }
    }

    const ValueCheck& m_checkValue;
    std::vector<Finding> m_findings;
    size_t m_line = 0;
    std::string m_section;
    bool m_inSection = false, m_aboveReported = false;
    std::map<std::string, size_t> m_headers;                          // name -> line of its first header
    std::map<std::string, std::map<std::string, size_t>> m_keys;      // section -> key -> its first line
    CFGIniValue m_value;
    size_t m_entryLine = 0; // the entry whose value is being read
};

} // namespace

std::vector<Finding> Document::Lint() const
{
    return Lint(ValueCheck());
}

std::vector<Finding> Document::Lint(const ValueCheck& checkValue) const
{
    const State& s = *m_state;
    if (!s.loaded) {
        return {};
    }
    if (s.Ini()) {
        IniLinter linter(checkValue);
        CFGLineReader reader;
        reader.OpenBytes(s.text);
        CFGRead(reader, s.ReadMode(false), linter);
        return linter.Finish();
    }
    Linter linter(s.Anonymous(), *s.ctype, checkValue);
    if (std::string_view(s.text).substr(0, kByteOrderMark.size()) == kByteOrderMark) {
        linter.Add(1, "byte-order mark: its three bytes start the first line, which is therefore no "
                      "header or comment");
    }
    CFGLineReader reader;
    reader.OpenBytes(s.text);
    CFGRead(reader, s.ReadMode(false), linter);
    return linter.Finish();
}

} // namespace zelconfig
