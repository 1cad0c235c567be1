#include "XmlCommands.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <vector>

#include "CZelConfigReader.h"
#include "TypedValues.h"
#include "platform/FileIO.h"

namespace zelcfg {

using zelconfig::kStatusInvalid, zelconfig::kStatusMalformed, zelconfig::kStatusNotFound;

namespace {

#ifdef ZELCFG_WITH_XML_DOCUMENT
using zelconfig::xml::KeyStyle;
using zelconfig::xml::XmlDocument;

// Whether a key can name anything; false after reporting why not.
bool CheckKey(const std::string& path, const std::string& key, int& status)
{
    std::string why;
    if (!XmlDocument::CheckKey(key, KeyStyle::kIndexed, why)) {
        status = Fail(kExitFailure, path, why);
        return false;
    }
    return true;
}

// The key the operands name, checked: KEY, or BLOCK ENTRY as the path
// BLOCK.ENTRY. False after reporting a key that can name nothing.
bool KeyOf(const Invocation& invocation, const std::string& path, std::string& key, int& status)
{
    const std::vector<std::string>& operands = invocation.operands;
    const bool apart = operands.size() == (invocation.command == "set" ? 4u : 3u);
    key = apart ? operands[1] + "." + operands[2] : operands[1];
    return CheckKey(path, key, status);
}

// An edit of an XML file: under the lock from the read to the rename, as for
// a CFG file, so that concurrent edits take turns. `change` edits the loaded
// document and returns the exit status; the file is saved when it is 0.
template <class Change>
int EditXml(const Invocation& invocation, const Input& input, Change&& change)
{
    zelconfig::LockedFile file;
    XmlDocument document;
    int status = kExitFailure;
    if (!LoadXml(invocation, input, file, document, status)) {
        return status;
    }
    status = change(document);
    if (status != kExitOk) {
        return status;
    }
    zelconfig::xml::XmlError failure;
    if (const int saved = document.Save(file, failure)) {
        return SaveFailed(saved, input.path, failure.description);
    }
    return kExitOk;
}

const char kNotHoldable[] = "an XML file cannot hold a NUL byte or another control character";
#else
const char kWithoutXml[] = "this zelcfg was built without the XML plug-in";
#endif

} // namespace

int XmlSet(const Invocation& invocation, const Input& input)
{
    const std::string& path = invocation.operands[0];
    std::string value;
    int status = kExitFailure;
    if (!ValueToSet(invocation, path, value, status)) {
        return status;
    }
#ifdef ZELCFG_WITH_XML_DOCUMENT
    std::string key;
    if (!KeyOf(invocation, path, key, status)) {
        return status;
    }
    return EditXml(invocation, input, [&](XmlDocument& document) {
        // What is there changes; what is not is added.
        std::string why;
        int result = invocation.Has(kOptionAttribute) ? document.SetAttribute(key, value, why)
                                                      : document.Set(key, value);
        if (result == kStatusNotFound) {
            result = document.Add(key, value, why);
        }
        if (result == zelconfig::kStatusNotHoldable) {
            return Fail(kExitFailure, path, kNotHoldable);
        }
        return result == 0 ? kExitOk : Fail(kExitFailure, path, why);
    });
#else
    static_cast<void>(input);
    return Fail(kExitFailure, path, kWithoutXml);
#endif
}

int XmlUnset(const Invocation& invocation, const Input& input)
{
#ifdef ZELCFG_WITH_XML_DOCUMENT
    std::string key;
    int status = kExitFailure;
    if (!KeyOf(invocation, input.path, key, status)) {
        return status;
    }
    return EditXml(invocation, input, [&](XmlDocument& document) {
        std::string why;
        const int removed = document.Remove(key, why);
        if (removed == kStatusNotFound) {
            return Fail(kExitNotFound, input.path, "no key " + key);
        }
        return removed == 0 ? kExitOk : Fail(kExitFailure, input.path, why);
    });
#else
    static_cast<void>(invocation);
    return Fail(kExitFailure, input.path, kWithoutXml);
#endif
}

int XmlList(const Invocation& invocation, const Input& input)
{
#ifdef ZELCFG_WITH_XML_DOCUMENT
    zelconfig::xml::XmlDocument document;
    int status = kExitFailure;
    if (!LoadXml(input, document, status)) {
        return status;
    }
    // A key holds no NUL, nor does a value XML can hold.
    const bool null = invocation.Has(kOptionNull);
    document.ForEach([null](const std::string& key, const std::string& value) {
        if (null) {
            std::cout << key << '\0' << value << '\0';
        } else {
            std::cout << key << '=' << value << '\n';
        }
    });
    return Flushed(input.path);
#else
    static_cast<void>(invocation);
    return Fail(kExitFailure, input.path, kWithoutXml);
#endif
}

int XmlLint(const Invocation& invocation, const Input& input)
{
    if (invocation.Has(kOptionDiff) || invocation.Has(kOptionType)) {
        return Fail(kExitFailure, input.path, "lint --diff and --type work on CFG files only");
    }
#ifdef ZELCFG_WITH_XML_DOCUMENT
    zelconfig::xml::XmlDocument document;
    std::string bytes;
    int status = kExitFailure;
    if (!LoadXmlBytes(input, document, bytes, status)) {
        return status;
    }
    const std::vector<zelconfig::xml::XmlFinding> findings = document.Lint(bytes);
    for (const zelconfig::xml::XmlFinding& finding : findings) {
        std::cout << input.path << ':' << finding.line << ':' << finding.column << ": " << finding.message << '\n';
    }
    const int written = Flushed(input.path);
    return written != kExitOk ? written : findings.empty() ? kExitOk : kExitNotFound;
#else
    return Fail(kExitFailure, input.path, kWithoutXml);
#endif
}

bool XmlFind(const Input& input, const std::string& key, std::string& raw, int& status)
{
#ifdef ZELCFG_WITH_XML_DOCUMENT
    zelconfig::xml::XmlDocument document;
    if (!CheckKey(input.path, key, status) || !LoadXml(input, document, status)) {
        return false;
    }
    status = document.Find(key, raw);
    if (status == kStatusNotFound) {
        // The plug-in knows where joined parts name what is there.
        const std::string joined = document.JoinedKey(key);
        if (!joined.empty()) {
            status = Fail(kExitNotFound, input.path,
                          "no key " + key + "; " + joined + " names what is there: a name that holds dots is quoted");
            return false;
        }
    }
    return true;
#else
    // Only the front end is left, and it reads only files named as XML.
    if (input.Stdin() || zelconfig::ChooseBackend(input.path.c_str(), zelconfig::BackendUse::kRead)
                             != zelconfig::Backend::kXml) {
        status = Fail(kExitFailure, input.path, kWithoutXml);
        return false;
    }
    CZelConfigReader reader;
    status = reader.Parse(input.path);
    if (status != 0) {
        status = Fail(kExitFailure, input.path, XmlParseFailure(status));
        return false;
    }
    status = reader.GetString(key, raw);
    return true;
#endif
}

std::string XmlParseFailure(int status)
{
    switch (status) {
    case kStatusNotFound:
        return "cannot be read (-v tells why)";
    case kStatusMalformed:
        return "not well-formed XML (-v tells where)";
    case kStatusInvalid:
        // The plug-in answers EINVAL only when its memory ran out; the front
        // end answers it when there is no plug-in to ask.
        if (zelconfig::XmlPluginLoaded()) {
            return "out of memory";
        }
        return std::string("no XML back end: ") + zelconfig::kXmlPluginName + " cannot be loaded (-v tells why)";
    default:
        break;
    }
    return "the XML back end reports status " + std::to_string(status);
}

#ifdef ZELCFG_WITH_XML_DOCUMENT

bool LoadXml(const Input& input, zelconfig::xml::XmlDocument& document, int& exitStatus)
{
    if (input.Stdin()) {
        std::string bytes;
        return LoadXmlBytes(input, document, bytes, exitStatus);
    }
    zelconfig::xml::XmlError error;
    const int status = document.LoadFile(input.path, error);
    if (status != 0) {
        exitStatus = XmlLoadFailure(input.path, status, error);
        return false;
    }
    // The tool's keys may pick one of several same-named elements.
    document.SetKeyStyle(zelconfig::xml::KeyStyle::kIndexed);
    return true;
}

bool LoadXmlBytes(const Input& input, zelconfig::xml::XmlDocument& document, std::string& bytes, int& exitStatus)
{
    zelconfig::xml::XmlError error;
    int status;
    if (input.Stdin()) {
        const int read = zelconfig::ReadAll(0, bytes);
        error.description = std::strerror(read);
        status = read == 0 ? 0 : -2;
    } else {
        // Read as LoadFile reads, so that a file is refused in its words.
        std::unique_ptr<char, void (*)(void*)> buffer(nullptr, std::free);
        size_t size = 0;
        status = zelconfig::xml::ReadWhole(input.path, buffer, size, error.description);
        if (status == 0) {
            bytes.assign(buffer.get(), size);
        }
    }
    if (status == 0) {
        status = document.LoadBuffer(bytes.data(), bytes.size(), error);
    }
    if (status != 0) {
        exitStatus = XmlLoadFailure(input.path, status, error);
        return false;
    }
    document.SetKeyStyle(zelconfig::xml::KeyStyle::kIndexed);
    return true;
}

bool LoadXml(const Invocation& invocation, const Input& input, zelconfig::LockedFile& file,
             zelconfig::xml::XmlDocument& document, int& exitStatus)
{
    std::string message;
    if (file.Lock(input.path, SaveOptions(invocation), message) != zelconfig::kReplaceDone) {
        // A file that cannot be read is said to be so as every command says
        // it; one that loads is refused for the save alone.
        if (LoadXml(input, document, exitStatus)) {
            exitStatus = Fail(kExitFailure, input.path, SaveFailure(message));
        }
        return false;
    }
    zelconfig::xml::XmlError error;
    const int status = document.LoadFile(file, error);
    if (status != 0) {
        exitStatus = XmlLoadFailure(input.path, status, error);
        return false;
    }
    document.SetKeyStyle(zelconfig::xml::KeyStyle::kIndexed);
    return true;
}

int XmlLoadFailure(const std::string& path, int status, const zelconfig::xml::XmlError& error)
{
    // Where, for people; the byte offset when the file changed before its
    // lines could be counted.
    const std::string where = error.line > 0
        ? "line " + std::to_string(error.line) + ", column " + std::to_string(error.column)
        : "byte " + std::to_string(error.offset);
    switch (status) {
    case kStatusNotFound:
        return Fail(kExitFailure, path, "cannot be read: " + error.description);
    case kStatusMalformed:
        return Fail(kExitFailure, path,
                    error.unsupported ? where + ": " + error.description
                                      : "not well-formed XML at " + where + ": " + error.description);
    case kStatusInvalid:
        return Fail(kExitFailure, path, "out of memory");
    default:
        break;
    }
    return Fail(kExitFailure, path, "cannot be read (status " + std::to_string(status) + ")");
}

#endif

} // namespace zelcfg
