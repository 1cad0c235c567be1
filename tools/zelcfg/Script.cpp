// The words of edit scripts, as a shell would pass them to the commands.
#include "Script.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace zelcfg {

namespace {

// The bytes that end a run of a word's plain bytes.
const std::array<bool, 256> kSpecial = [] {
    std::array<bool, 256> special{};
    for (const char c : std::string_view(" \t\n\\'\";&|<>()")) {
        special[static_cast<unsigned char>(c)] = true;
    }
    return special;
}();

// A script being split: where the bytes stand, the command and word being
// gathered, and how they end.
class Splitter
{
public:
    Splitter(std::string_view text, std::vector<ScriptCommand>& commands) : m_text(text), m_commands(commands) {}

    bool Run(std::string& error);

private:
    // A run of bytes that mean nothing special, from the one at m_at.
    void PlainRun();
    // The rest of a word from an opening quote, its closing one included.
    bool SingleQuoted(std::string& error);
    bool DoubleQuoted(std::string& error);
    // A byte of a word, which starts the command's first word at this line.
    void Take(char c)
    {
        StartWord();
        m_word += c;
    }
    void StartWord()
    {
        if (!m_inWord && m_command.words.empty()) {
            m_command.line = m_line;
            m_command.words.reserve(4); // set KEY VALUE, mostly
        }
        m_inWord = true;
    }
    void EndWord()
    {
        if (m_inWord) {
            m_command.words.push_back(std::move(m_word));
            m_word.clear();
            m_inWord = false;
        }
    }
    void EndCommand()
    {
        EndWord();
        if (!m_command.words.empty()) {
            m_commands.push_back(std::move(m_command));
        }
        m_command = ScriptCommand();
    }

    std::string_view m_text;
    std::vector<ScriptCommand>& m_commands;
    size_t m_at = 0, m_line = 1;
    ScriptCommand m_command;
    std::string m_word;
    bool m_inWord = false;
};

bool Splitter::Run(std::string& error)
{
    while (m_at < m_text.size()) {
        const char c = m_text[m_at];
        if (!kSpecial[static_cast<unsigned char>(c)] && (c != '#' || m_inWord)) {
            PlainRun(); // most bytes are, so they are asked first
        } else if (c == '\n') {
            EndCommand();
            ++m_line;
            ++m_at;
        } else if (c == ' ' || c == '\t') {
            EndWord();
            ++m_at;
        } else if (c == '#' && !m_inWord) {
            m_at = std::min(m_text.find('\n', m_at), m_text.size());
        } else if (c == '\\') {
            if (m_at + 1 == m_text.size()) {
                error = "line " + std::to_string(m_line) + ": a backslash ends the script, escaping nothing";
                return false;
            }
            if (m_text[m_at + 1] == '\n') {
                ++m_line; // the two lines are one
            } else {
                Take(m_text[m_at + 1]);
            }
            m_at += 2;
        } else if (c == '\'' || c == '"') {
            if (!(c == '\'' ? SingleQuoted(error) : DoubleQuoted(error))) {
                return false;
            }
        } else {
            // ; & | < > ( or ), the special bytes left
            error = "line " + std::to_string(m_line) + ": '" + c
                    + "' unquoted, which a shell reads as an operator: quote it";
            return false;
        }
    }
    EndCommand();
    return true;
}

void Splitter::PlainRun()
{
    // The bytes up to the next one that means something, at once; a word of
    // them alone (most are) goes to the command as it is.
    size_t end = m_at + 1;
    while (end < m_text.size() && !kSpecial[static_cast<unsigned char>(m_text[end])]) {
        ++end;
    }
    const bool whole
        = !m_inWord && (end == m_text.size() || m_text[end] == ' ' || m_text[end] == '\t' || m_text[end] == '\n');
    StartWord();
    if (whole) {
        m_command.words.emplace_back(m_text.substr(m_at, end - m_at));
        m_inWord = false;
    } else {
        m_word.append(m_text.substr(m_at, end - m_at));
    }
    m_at = end;
}

bool Splitter::SingleQuoted(std::string& error)
{
    StartWord();
    const size_t close = m_text.find('\'', m_at + 1);
    if (close == std::string_view::npos) {
        error = "line " + std::to_string(m_line) + ": the quote ' opened here is not closed";
        return false;
    }
    const std::string_view quoted = m_text.substr(m_at + 1, close - m_at - 1);
    m_word.append(quoted);
    m_line += static_cast<size_t>(std::count(quoted.begin(), quoted.end(), '\n'));
    m_at = close + 1;
    return true;
}

bool Splitter::DoubleQuoted(std::string& error)
{
    StartWord();
    const size_t opened = m_line;
    for (++m_at; m_at < m_text.size() && m_text[m_at] != '"'; ++m_at) {
        const char c = m_text[m_at];
        const char next = m_at + 1 < m_text.size() ? m_text[m_at + 1] : '\0';
        if (c == '\\' && next != '\0' && std::strchr("$`\"\\\n", next) != nullptr) {
            ++m_at;
            if (next != '\n') {
                m_word += next;
            }
        } else {
            m_word += c;
        }
        m_line += m_text[m_at] == '\n' ? 1 : 0;
    }
    if (m_at == m_text.size()) {
        error = "line " + std::to_string(opened) + ": the quote \" opened here is not closed";
        return false;
    }
    ++m_at;
    return true;
}

} // namespace

bool SplitScript(std::string_view text, std::vector<ScriptCommand>& commands, std::string& error)
{
    const size_t nul = text.find('\0');
    if (nul != std::string_view::npos) {
        const size_t line = 1 + static_cast<size_t>(std::count(text.begin(), text.begin() + nul, '\n'));
        error = "line " + std::to_string(line) + ": a NUL byte; a script of NUL-terminated words takes -z";
        return false;
    }
    return Splitter(text, commands).Run(error);
}

bool SplitNullScript(std::string_view text, std::vector<ScriptCommand>& commands, std::string& error)
{
    ScriptCommand command;
    for (size_t at = 0; at < text.size();) {
        const size_t end = text.find('\0', at);
        if (end == std::string_view::npos) {
            error = "command " + std::to_string(commands.size() + 1) + ": the last word has no NUL byte after it";
            return false;
        }
        if (end > at) {
            command.words.emplace_back(text.substr(at, end - at));
        } else if (!command.words.empty()) {
            command.line = commands.size() + 1;
            commands.push_back(std::move(command));
            command = ScriptCommand();
        }
        at = end + 1;
    }
    if (!command.words.empty()) {
        command.line = commands.size() + 1;
        commands.push_back(std::move(command));
    }
    return true;
}

} // namespace zelcfg
