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

#include "CCFGParser.h"
#include "CZelConfigReader.h"
#include "Lint.h"
#include "XmlCommands.h"
#include "ZelConfigDocument.h"
#include "Zelcfg.h"
#include "cfg/CFGLine.h"
#include "frontend/Backend.h"
#include "frontend/ValueConversion.h"
#include "platform/ZelLog.h"

#ifndef ZELCONFIG_VERSION
#define ZELCONFIG_VERSION "unknown"
#endif

namespace zelcfg {

namespace {

using zelconfig::Document;

const char kAnonymousBlock[] = "anonymous";

const char kCannotNormalise[] = "the normalised form would not read back: in anonymous mode an entry name "
                                "begins with '#', ';' or '[' once trimmed";

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

// Why a CFG file could not be read or parsed, in words.
std::string LoadFailure(int status, const Document& document)
{
    switch (status) {
    case -1:
        return "a block header has no ']' ('zelcfg lint' shows where)";
    case -2:
        return document.Error().empty() ? "cannot be read" : document.Error();
    case EINVAL:
        if (document.GetMode() == Document::Mode::kBlock) {
            return "an entry stands above the first block header ('zelcfg lint' shows where)";
        }
        break;
    default:
        break;
    }
    return "cannot be parsed (status " + std::to_string(status) + ")";
}

// Reads a CFG file into `document`; false after reporting the failure.
bool Load(Document& document, const std::string& path, unsigned options, int& exitStatus)
{
    const int status = document.Load(path, options);
    if (status != 0) {
        exitStatus = Fail(kExitFailure, path, LoadFailure(status, document));
        return false;
    }
    return true;
}

Document::Mode ModeOf(bool anonymous)
{
    return anonymous ? Document::Mode::kAnonymous : Document::Mode::kBlock;
}

// What the file holds that looks like `key` but that the library does not
// find under it, as a tail for a message; empty when there is nothing.
std::string LookalikeHint(const Document& document, const std::string& key)
{
    std::string hint;
    for (const Document::Lookalike& found : document.Lookalikes(key)) {
        const std::string line = std::to_string(found.line);
        if (found.key.empty()) {
            hint += "; line " + line + " holds it under a repeated header (line "
                    + std::to_string(found.repeatedHeaderLine)
                    + "), which the library does not read: merge the two blocks";
        } else {
            hint += "; line " + line + " holds '" + found.key
                    + "': blanks around an entry name are part of it in block mode, so address it as '"
                    + found.key + "' (quoted)";
        }
    }
    return hint;
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

// A CFG value converted as the typed getters convert it: their status.
int ConvertTyped(ValueType type, const std::string& raw, std::string& text)
{
    int status = 0;
    switch (type) {
    case ValueType::kString:
        status = zelconfig::ConvertString(raw, text);
        break;
    case ValueType::kInt: {
        int value = 0;
        status = zelconfig::ConvertInt(raw, value);
        text = std::to_string(value);
        break;
    }
    case ValueType::kFloat: {
        float value = 0;
        status = zelconfig::ConvertFloat(raw, value);
        text = NumberText(value);
        break;
    }
    case ValueType::kDouble: {
        double value = 0;
        status = zelconfig::ConvertDouble(raw, value);
        text = NumberText(value);
        break;
    }
    case ValueType::kBool: {
        unsigned int value = 0;
        status = zelconfig::ConvertBool(raw, value);
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
    std::string text, hint;
    int status;
    const Format format = FormatOf(invocation, path);
    switch (format) {
    case Format::kXml: {
        CZelConfigReader reader;
        status = reader.Parse(path);
        if (status != 0) {
            return Fail(kExitFailure, path, XmlParseFailure(status, reader.GetDataPtr() != nullptr));
        }
        status = GetTyped(reader, invocation.type, key, text);
        break;
    }
    case Format::kBlock:
    case Format::kAnonymous: {
        Document document(ModeOf(format == Format::kAnonymous));
        if (!Load(document, path, 0, status)) {
            return status;
        }
        std::string raw;
        status = document.Get(key, raw);
        if (status == 0) {
            status = ConvertTyped(invocation.type, raw, text);
        } else {
            hint = LookalikeHint(document, key);
        }
        break;
    }
    case Format::kUnknown:
    default: {
        bool anonymous;
        CfgMode(invocation, path, anonymous, status);
        return status;
    }
    }
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
        return Fail(kExitNotFound, path, "no key " + key + hint);
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

// set, unset and remove-block: lock, read, edit the lines concerned, save
// atomically.
int Edit(const Invocation& invocation)
{
    const std::string& path = invocation.operands[0];
    const std::string& command = invocation.command;
    bool anonymous = false;
    int status = kExitFailure;
    if (!CfgMode(invocation, path, anonymous, status)) {
        return status;
    }
    std::string value, key, error;
    if (command == "set" && !TypedValue(invocation.type, invocation.operands[2], value, error)) {
        return Fail(kExitFailure, path, error);
    }
    if (command != "remove-block" && !EditableKey(invocation.operands[1], value, anonymous, key, error)) {
        return Fail(kExitFailure, path, error);
    }
    Document document(ModeOf(anonymous));
    if (!Load(document, path, Document::kLock | (command == "set" ? Document::kCreate : 0u), status)) {
        return status;
    }
    const std::string& operand = invocation.operands[1];
    if (command == "set") {
        // In block mode a carriage return before the line feed belongs to the
        // value: in a file with such line ends, the new value gets one too,
        // unless no entry it replaces has one (a last line without a line
        // feed): a set to the value it holds must then write nothing.
        std::string stored;
        if (!anonymous && document.CrlfLineEnds() && (value.empty() || value.back() != '\r')
            && (document.Get(key, stored) != 0 || stored.find("\r\n") != std::string::npos
                || (!stored.empty() && stored.back() == '\r'))) {
            value += '\r';
        }
        status = document.Set(key, value);
        if (status == -2) {
            const std::string hint = LookalikeHint(document, key);
            if (!hint.empty()) {
                return Fail(kExitFailure, path, "refusing to add " + operand + hint);
            }
            status = document.Add(key, value);
        }
    } else if (command == "unset") {
        status = document.Remove(key);
        if (status == -2) {
            return Fail(kExitNotFound, path, "no key " + operand + LookalikeHint(document, key));
        }
    } else {
        status = document.RemoveBlock(operand);
        if (status == -2) {
            return Fail(kExitNotFound, path, "no block " + operand);
        }
        if (status == EINVAL && anonymous) {
            return Fail(kExitFailure, path, "in anonymous mode the block \"anonymous\" holds every entry; "
                                            "remove them one by one");
        }
    }
    if (status != 0) {
        return Fail(kExitFailure, path, "cannot edit the file (status " + std::to_string(status) + ")");
    }
    if (invocation.normalise) {
        if (const size_t lost = document.UnreadEntries()) {
            return Fail(kExitFailure, path, "refusing to normalise: " + std::to_string(lost)
                                                + " entries under repeated block headers would be lost "
                                                  "('zelcfg lint' shows where)");
        }
        if (document.Normalise() != 0) {
            return Fail(kExitFailure, path, kCannotNormalise);
        }
    }
    if (document.Save() != 0) {
        return Fail(kExitFailure, path, document.Error());
    }
    return kExitOk;
}

// list, blocks and format: print the model.
int Show(const Invocation& invocation)
{
    const std::string& path = invocation.operands[0];
    bool anonymous = false;
    int status = kExitFailure;
    if (!CfgMode(invocation, path, anonymous, status)) {
        return status;
    }
    if (invocation.command == "format") {
        Document document(ModeOf(anonymous));
        if (!Load(document, path, 0, status)) {
            return status;
        }
        if (document.Normalise() != 0) {
            return Fail(kExitFailure, path, kCannotNormalise);
        }
        std::cout << document.Text();
    } else {
        // The model as the engine holds it, walked in its own order.
        CCFGParser parser(anonymous ? 1u : 0u);
        if (parser.CFGParseFile(path) != 0) {
            Document document(ModeOf(anonymous)); // for the reason, in words
            return Load(document, path, 0, status) ? Fail(kExitFailure, path, "cannot be read") : status;
        }
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

int Lint(const Invocation& invocation)
{
    const std::string& path = invocation.operands[0];
    bool anonymous = false;
    int status = kExitFailure;
    if (!CfgMode(invocation, path, anonymous, status)) {
        return status;
    }
    // The bytes are kept whether or not they parse.
    Document document(ModeOf(anonymous));
    if (document.Load(path) == -2) {
        return Fail(kExitFailure, path, LoadFailure(-2, document));
    }
    const std::vector<LintFinding> findings = LintCFG(document.Text(), anonymous);
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
        if (invocation.normalise) {
            return Fail(kExitFailure, invocation.operands[0], "--normalise works on CFG files only");
        }
        return RunXmlCommand(invocation);
    }
    if (command == "set" || command == "unset" || command == "remove-block") {
        return Edit(invocation);
    }
    if (command == "lint") {
        return Lint(invocation);
    }
    return Show(invocation);
}

} // namespace zelcfg
