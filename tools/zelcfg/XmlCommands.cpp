#include "XmlCommands.h"

#include <cerrno>
#include <cstring>
#include <iostream>

#include "CZelConfigReader.h"
#include "TypedValues.h"
#include "platform/FileIO.h"

namespace zelcfg {

namespace {

#ifndef ZELCFG_WITH_XML_DOCUMENT
const char kWithoutXml[] = "this zelcfg was built without the XML plug-in";
#endif

} // namespace

int XmlSet(const Invocation& invocation, const Input& input)
{
    const std::string& path = invocation.operands[0];
    // XML keys are paths: BLOCK ENTRY is the path BLOCK.ENTRY.
    const std::vector<std::string>& operands = invocation.operands;
    const std::string key = operands.size() == 4 ? operands[1] + "." + operands[2] : operands[1];
    std::string value;
    int status = kExitFailure;
    if (!ValueToSet(invocation, path, value, status)) {
        return status;
    }
#ifdef ZELCFG_WITH_XML_DOCUMENT
    // The plug-in's own document code, under the lock from the read to the
    // rename, as for a CFG file: concurrent sets take turns.
    zelconfig::LockedFile file;
    zelconfig::xml::XmlDocument document;
    if (!LoadXml(invocation, input, file, document, status)) {
        return status;
    }
    status = document.Set(key, value);
    if (status == -2) {
        return Fail(kExitNotFound, path,
                    "no key " + key + "; set changes the elements and attributes an XML file has, it adds none");
    }
    if (status != 0) {
        return Fail(kExitFailure, path,
                    status == 7 ? "an XML file cannot hold a NUL byte or another control character"
                                : "cannot set " + key + " (status " + std::to_string(status) + ")");
    }
    zelconfig::xml::XmlError failure;
    if (document.Save(file, failure) != 0) {
        return Fail(kExitFailure, path, SaveFailure(failure.description));
    }
    return kExitOk;
#else
    static_cast<void>(input);
    return Fail(kExitFailure, path, kWithoutXml);
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
    int status = kExitFailure;
    return LoadXml(input, document, status) ? kExitOk : status;
#else
    return Fail(kExitFailure, input.path, kWithoutXml);
#endif
}

bool XmlFind(const Input& input, const std::string& key, std::string& raw, int& status)
{
#ifdef ZELCFG_WITH_XML_DOCUMENT
    zelconfig::xml::XmlDocument document;
    if (!LoadXml(input, document, status)) {
        return false;
    }
    status = document.Find(key, raw);
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
    case -2:
        return "cannot be read (-v tells why)";
    case -1:
        return "not well-formed XML (-v tells where)";
    case EINVAL:
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
    zelconfig::xml::XmlError error;
    int status;
    if (input.Stdin()) {
        std::string text;
        const int read = zelconfig::ReadAll(0, text);
        error.description = std::strerror(read);
        status = read == 0 ? document.LoadBuffer(text.data(), text.size(), error) : -2;
    } else {
        status = document.LoadFile(input.path, error);
    }
    if (status != 0) {
        exitStatus = XmlLoadFailure(input.path, status, error);
        return false;
    }
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
    case -2:
        return Fail(kExitFailure, path, "cannot be read: " + error.description);
    case -1:
        return Fail(kExitFailure, path,
                    error.unsupported ? where + ": " + error.description
                                      : "not well-formed XML at " + where + ": " + error.description);
    case 22:
        return Fail(kExitFailure, path, "out of memory");
    default:
        break;
    }
    return Fail(kExitFailure, path, "cannot be read (status " + std::to_string(status) + ")");
}

#endif

} // namespace zelcfg
