#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <limits>
#include <sstream>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include "AtomicSave.h"
#include "CCFGParser.h"
#include "CZelConfigReader.h"
#include "Lint.h"
#include "XmlCommands.h"
#include "Zelcfg.h"
#include "cfg/CFGLine.h"
#include "frontend/Backend.h"
#include "platform/ZelLog.h"

#ifndef ZELCONFIG_VERSION
#define ZELCONFIG_VERSION "unknown"
#endif

namespace zelcfg {

namespace {

const char kAnonymousBlock[] = "anonymous";

// How a file is read.
enum class Format { kBlock, kAnonymous, kXml, kUnknown };

// One line on stderr naming the file; returns the exit status to give.
int Fail(int status, const std::string& file, const std::string& message)
{
    std::cerr << "zelcfg: " << file << ": " << message << '\n';
    return status;
}

// The forced mode, or the one the library's own chooser picks for the path.
Format FormatOf(const Invocation& invocation, const std::string& path)
{
    switch (invocation.mode) {
    case ModeChoice::kBlock:
        return Format::kBlock;
    case ModeChoice::kAnonymous:
        return Format::kAnonymous;
    case ModeChoice::kByPath:
        break;
    }
    switch (zelconfig::ChooseBackend(path.c_str(), zelconfig::BackendUse::kRead)) {
    case zelconfig::Backend::kCfgBlock:
        return Format::kBlock;
    case zelconfig::Backend::kCfgAnonymous:
        return Format::kAnonymous;
    case zelconfig::Backend::kXml:
        return Format::kXml;
    case zelconfig::Backend::kNone:
        break;
    }
    return Format::kUnknown;
}

// The CFG mode of a path, or a failure explained; false when not a CFG file.
bool CfgMode(const Invocation& invocation, const std::string& path, bool& anonymous, int& status)
{
    switch (FormatOf(invocation, path)) {
    case Format::kBlock:
        anonymous = false;
        return true;
    case Format::kAnonymous:
        anonymous = true;
        return true;
    case Format::kXml:
        status = Fail(kExitFailure, path, invocation.command
                                              + " works on CFG files only; XML files are read by 'get' "
                                                "through the plug-in");
        return false;
    case Format::kUnknown:
        break;
    }
    status = Fail(kExitFailure, path, "the name contains none of .cfg, .inf, .cksum, .xml; "
                                      "say --block or --anonymous");
    return false;
}

// Why a CFG parse failed, in words.
std::string ParseFailure(int status, const std::string& path, bool anonymous)
{
    switch (status) {
    case -1:
        return "a block header has no ']' ('zelcfg lint' shows where)";
    case -2: {
        const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            return std::strerror(errno);
        }
        struct stat info {};
        const bool directory = ::fstat(fd, &info) == 0 && S_ISDIR(info.st_mode);
        ::close(fd);
        return directory ? std::strerror(EISDIR) : "cannot be read";
    }
    case EINVAL:
        if (!anonymous) {
            return "an entry stands above the first block header ('zelcfg lint' shows where)";
        }
        break;
    default:
        break;
    }
    return "cannot be parsed (status " + std::to_string(status) + ")";
}

// Parses a CFG file into `parser`; false after reporting the failure.
bool Load(CCFGParser& parser, const std::string& path, const std::string& shownPath, bool anonymous,
          int& exitStatus)
{
    parser.m_uiAnonymousMode = anonymous ? 1u : 0u;
    const int status = parser.CFGParseFile(path);
    if (status != 0) {
        exitStatus = Fail(kExitFailure, shownPath, ParseFailure(status, path, anonymous));
        return false;
    }
    return true;
}

// Shortest text that reads back as the same number.
template <class T>
std::string NumberText(T value)
{
    char text[64];
    for (int digits = std::numeric_limits<T>::digits10; digits <= std::numeric_limits<T>::max_digits10;
         ++digits) {
        std::snprintf(text, sizeof text, "%.*g", digits, static_cast<double>(value));
        if (static_cast<T>(std::strtod(text, nullptr)) == value || std::isnan(value)) {
            break;
        }
    }
    return text;
}

// get through the front end's typed getters; `text` receives what to print.
int GetTyped(CZelConfigReader& reader, ValueType type, const std::string& key, std::string& text)
{
    int status = 0;
    switch (type) {
    case ValueType::kString:
        status = reader.GetString(key, text);
        break;
    case ValueType::kInt: {
        int value = 0;
        status = reader.GetInt(key, value);
        text = std::to_string(value);
        break;
    }
    case ValueType::kFloat: {
        float value = 0;
        status = reader.GetFloat(key, value);
        text = NumberText(value);
        break;
    }
    case ValueType::kDouble: {
        double value = 0;
        status = reader.GetDouble(key, value);
        text = NumberText(value);
        break;
    }
    case ValueType::kBool: {
        unsigned int value = 0;
        status = reader.GetBool(key, value);
        text = value != 0 ? "true" : "false";
        break;
    }
    }
    return status;
}

int Get(const Invocation& invocation)
{
    const std::string& path = invocation.operands[0];
    const std::string& key = invocation.operands[1];
    CZelConfigReader reader;
    int status;
    const Format format = FormatOf(invocation, path);
    switch (format) {
    case Format::kXml:
        status = reader.Parse(path);
        if (status != 0) {
            return Fail(kExitFailure, path, XmlParseFailure(status, reader.GetDataPtr() != nullptr));
        }
        break;
    case Format::kBlock:
    case Format::kAnonymous:
        status = reader.ParseCFG(path, format == Format::kAnonymous ? 1u : 0u);
        if (status != 0) {
            return Fail(kExitFailure, path, ParseFailure(status, path, format == Format::kAnonymous));
        }
        break;
    case Format::kUnknown:
        bool anonymous;
        CfgMode(invocation, path, anonymous, status);
        return status;
    }
    std::string text;
    status = GetTyped(reader, invocation.type, key, text);
    switch (status) {
    case 0:
        std::cout << text << '\n';
        return kExitOk;
    case 1:
        std::cout << text << '\n';
        return Fail(kExitConversion, path, key + ": the value is out of range; printed as converted");
    case -1:
        return Fail(kExitConversion, path, key + ": the value is neither \"true\" nor \"false\"");
    case -2:
        return Fail(kExitNotFound, path, "no key " + key);
    default:
        return Fail(kExitFailure, path, key + ": status " + std::to_string(status));
    }
}

} // namespace

// A value for set, checked against --type and written as the library's
// setters write it.
bool TypedValue(ValueType type, const std::string& raw, std::string& value, std::string& error)
{
    if (type == ValueType::kString) {
        value = raw;
        return true;
    }
    if (type == ValueType::kBool) {
        if (strcasecmp(raw.c_str(), "true") == 0 || raw == "1") {
            value = "TRUE";
        } else if (strcasecmp(raw.c_str(), "false") == 0 || raw == "0") {
            value = "FALSE";
        } else {
            error = "'" + raw + "' is no bool (true, false, 1 or 0)";
            return false;
        }
        return true;
    }
    errno = 0;
    char* end = nullptr;
    std::ostringstream stream; // default formatting, as the library's Set
    if (type == ValueType::kInt) {
        const long number = std::strtol(raw.c_str(), &end, 0);
        if (errno == 0 && number >= INT32_MIN && number <= INT32_MAX) {
            stream << static_cast<int>(number);
        }
    } else {
        const double number = std::strtod(raw.c_str(), &end);
        if (errno == 0 && type == ValueType::kFloat) {
            stream << static_cast<double>(static_cast<float>(number));
        } else if (errno == 0) {
            stream << number;
        }
    }
    if (raw.empty() || end == nullptr || *end != '\0' || stream.str().empty()) {
        error = "'" + raw + "' is no " + (type == ValueType::kInt ? "int" : "number") + " in range";
        return false;
    }
    value = stream.str();
    return true;
}

namespace {

// The key as the engine's editing operations take it; false with the reason
// when no line of the file could hold it. Candidate lines go through the
// parser's own classifier, so what is written is exactly what is read back.
bool EditableKey(const std::string& key, const std::string& value, bool anonymous, std::string& full,
                 std::string& error)
{
    full = key.find('.') == std::string::npos && anonymous ? kAnonymousBlock + ("." + key) : key;
    const size_t dot = full.find('.');
    if (key.empty() || dot == std::string::npos) {
        error = "the key '" + key + "' is not BLOCK.ENTRY";
        return false;
    }
    const std::string block = full.substr(0, dot);
    const std::string entry = full.substr(dot + 1);
    // The classifier's views point into its argument: keep the lines alive.
    const std::string headerText = "[" + block + "]";
    const zelconfig::CFGLine header = zelconfig::CFGClassifyLine(headerText);
    if (header.kind != zelconfig::CFGLineKind::Header || header.name != block
        || block.find('\n') != std::string::npos) {
        error = "a block name cannot hold ']' or a line feed";
        return false;
    }
    const std::string text = entry + "=" + value;
    const zelconfig::CFGLine line = zelconfig::CFGClassifyLine(text);
    if (line.kind != zelconfig::CFGLineKind::Entry || line.key != entry
        || text.find('\n') != std::string::npos) {
        error = "an entry name cannot hold '=' or a line feed, nor begin with '#', ';' or '['; "
                "a value cannot hold a line feed";
        return false;
    }
    if (anonymous) {
        const auto spaceAtEnds = [](const std::string& s) { return TrimAsAnonymous(s).size() != s.size(); };
        if (block != kAnonymousBlock) {
            error = "in anonymous mode every entry is in the block \"anonymous\"";
            return false;
        }
        if (spaceAtEnds(entry) || spaceAtEnds(value)) {
            error = "anonymous mode trims white space at the ends of names and values";
            return false;
        }
    }
    return true;
}

// set and unset: lock, read, edit, save atomically.
int Edit(const Invocation& invocation)
{
    const std::string& path = invocation.operands[0];
    const bool set = invocation.command == "set";
    bool anonymous = false;
    int status = kExitFailure;
    if (!CfgMode(invocation, path, anonymous, status)) {
        return status;
    }
    std::string value, key, error;
    if (set && !TypedValue(invocation.type, invocation.operands[2], value, error)) {
        return Fail(kExitFailure, path, error);
    }
    if (!EditableKey(invocation.operands[1], value, anonymous, key, error)) {
        return Fail(kExitFailure, path, error);
    }
    LockedFile file;
    if (!file.Lock(path, set, error)) {
        return Fail(kExitFailure, path, error);
    }
    CCFGParser parser;
    if (!Load(parser, file.Path(), path, anonymous, status)) {
        return status;
    }
    if (set) {
        status = parser.CFGSetData(key, value);
        if (status == -2) {
            status = parser.CFGAddData(key, value);
        }
    } else {
        status = parser.CFGRemoveData(key);
        if (status == -2) {
            return Fail(kExitNotFound, path, "no key " + invocation.operands[1]);
        }
    }
    if (status != 0) {
        return Fail(kExitFailure, path, "cannot change the model (status " + std::to_string(status) + ")");
    }
    if (!file.Replace([&parser](std::ostream& os) { return parser.CFGWriteData(os) == 0; }, error)) {
        return Fail(kExitFailure, path, error);
    }
    return kExitOk;
}

// list, blocks and format: print the model.
int Show(const Invocation& invocation)
{
    const std::string& path = invocation.operands[0];
    bool anonymous = false;
    int status = kExitFailure;
    CCFGParser parser;
    if (!CfgMode(invocation, path, anonymous, status) || !Load(parser, path, path, anonymous, status)) {
        return status;
    }
    if (invocation.command == "format") {
        parser.CFGWriteData(std::cout);
    } else {
        for (const auto& block : *parser.m_pmCFGData) {
            if (block.second == nullptr) {
                continue;
            }
            if (invocation.command == "blocks") {
                std::cout << block.first << '\n';
                continue;
            }
            for (const CNode& node : block.second->m_vecNodes) {
                std::cout << block.first << '.' << node.m_strKey << '=' << node.m_strValue << '\n';
            }
        }
    }
    std::cout.flush();
    if (!std::cout) {
        return Fail(kExitFailure, path, "cannot write the output");
    }
    return kExitOk;
}

// The bytes of a file as they are; false when it cannot be read to its end.
bool ReadWholeFile(const std::string& path, std::string& text)
{
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    char buffer[64 * 1024];
    ssize_t got;
    while ((got = ::read(fd, buffer, sizeof buffer)) != 0) {
        if (got < 0 && errno != EINTR) {
            break;
        }
        if (got > 0) {
            text.append(buffer, static_cast<size_t>(got));
        }
    }
    ::close(fd);
    return got == 0;
}

int Lint(const Invocation& invocation)
{
    const std::string& path = invocation.operands[0];
    bool anonymous = false;
    int status = kExitFailure;
    if (!CfgMode(invocation, path, anonymous, status)) {
        return status;
    }
    std::string text;
    if (!ReadWholeFile(path, text)) {
        return Fail(kExitFailure, path, ParseFailure(-2, path, anonymous));
    }
    const std::vector<LintFinding> findings = LintCFG(text, anonymous);
    for (const LintFinding& finding : findings) {
        std::cout << path << ':' << finding.line << ": " << finding.message << '\n';
    }
    return findings.empty() ? kExitOk : kExitNotFound;
}

} // namespace

int RunInvocation(const Invocation& invocation)
{
    // The tool reports failures itself; the library's log is for -v.
    static const unsigned int kMasks[] = {
        0u,
        (1u << zelconfig::kLogRefused) | (1u << zelconfig::kLogError) | (1u << zelconfig::kLogOperator),
        ~0u,
    };
    g_TovLogParams.uiEnableMask = kMasks[invocation.verbosity];

    const std::string& command = invocation.command;
    if (command == "help") {
        std::cout << kUsage;
        return kExitOk;
    }
    if (command == "version") {
        std::cout << "zelcfg " << ZELCONFIG_VERSION << '\n';
        return kExitOk;
    }
    if (command == "get") {
        return Get(invocation);
    }
    if (FormatOf(invocation, invocation.operands[0]) == Format::kXml) {
        return RunXmlCommand(invocation);
    }
    if (command == "set" || command == "unset") {
        return Edit(invocation);
    }
    if (command == "lint") {
        return Lint(invocation);
    }
    return Show(invocation);
}

} // namespace zelcfg
