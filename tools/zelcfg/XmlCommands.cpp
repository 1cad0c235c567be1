#include "XmlCommands.h"

#include <cerrno>
#include <iostream>

#include "frontend/Backend.h"
#include "TypedValues.h"
#ifdef ZELCFG_WITH_XML_DOCUMENT
#include "XmlDocument.h"
#endif

namespace zelcfg {

#ifdef ZELCFG_WITH_XML_DOCUMENT
namespace {

using zelconfig::xml::KeyStyle;
using zelconfig::xml::XmlDocument;

// The key the operands name, checked: KEY, or BLOCK ENTRY as the path
// BLOCK.ENTRY. False after reporting a key that can name nothing.
bool KeyOf(const Invocation& invocation, const std::string& path, std::string& key, int& status)
{
    const std::vector<std::string>& operands = invocation.operands;
    const bool apart = operands.size() == (invocation.command == "set" ? 4u : 3u);
    key = apart ? operands[1] + "." + operands[2] : operands[1];
    std::string why;
    if (!XmlDocument::CheckKey(key, KeyStyle::kIndexed, why)) {
        status = Fail(kExitFailure, path, why);
        return false;
    }
    return true;
}

// An edit of an XML file: under the lock from the read to the rename, as for
// a CFG file, so that concurrent edits take turns. `change` edits the loaded
// document and returns the exit status; the file is saved when it is 0.
template <class Change>
int EditXml(const Invocation& invocation, const std::string& path, Change&& change)
{
    zelconfig::LockedFile file;
    std::string error;
    if (file.Lock(path, SaveOptions(invocation), error) != zelconfig::kReplaceDone) {
        return Fail(kExitFailure, path, SaveFailure(error));
    }
    XmlDocument document;
    zelconfig::xml::XmlError failure;
    const int status = document.LoadFile(file, failure);
    if (status != 0) {
        return Fail(kExitFailure, path, status == -1 ? "not well-formed XML at byte " + std::to_string(failure.offset)
                                                           + ": " + failure.description
                                                     : failure.description);
    }
    document.SetKeyStyle(KeyStyle::kIndexed);
    const int changed = change(document);
    if (changed != kExitOk) {
        return changed;
    }
    if (document.Save(file, failure) != 0) {
        return Fail(kExitFailure, path, SaveFailure(failure.description));
    }
    return kExitOk;
}

const char kNotHoldable[] = "an XML file cannot hold a NUL byte or another control character";

} // namespace
#endif

int XmlSet(const Invocation& invocation, const Input&)
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
    return EditXml(invocation, path, [&](XmlDocument& document) {
        // What is there changes; what is not is added.
        std::string why;
        int result = invocation.Has(kOptionAttribute) ? document.SetAttribute(key, value, why)
                                                      : document.Set(key, value);
        if (result == -2) {
            result = document.Add(key, value, why);
        }
        if (result == 7) {
            return Fail(kExitFailure, path, kNotHoldable);
        }
        return result == 0 ? kExitOk : Fail(kExitFailure, path, why);
    });
#else
    return Fail(kExitFailure, path, "this zelcfg was built without the XML plug-in");
#endif
}

int XmlUnset(const Invocation& invocation, const Input&)
{
    const std::string& path = invocation.operands[0];
#ifdef ZELCFG_WITH_XML_DOCUMENT
    std::string key;
    int status = kExitFailure;
    if (!KeyOf(invocation, path, key, status)) {
        return status;
    }
    return EditXml(invocation, path, [&](XmlDocument& document) {
        return document.Remove(key) == 0 ? kExitOk : Fail(kExitNotFound, path, "no key " + key);
    });
#else
    (void)invocation;
    return Fail(kExitFailure, path, "this zelcfg was built without the XML plug-in");
#endif
}

int XmlList(const Invocation& invocation, const Input&)
{
    const std::string& path = invocation.operands[0];
    if (invocation.Has(kOptionNull)) {
        return Fail(kExitFailure, path, "list --null works on CFG files only; XML keys are paths (get --null "
                                        "prints a value)");
    }
#ifdef ZELCFG_WITH_XML_DOCUMENT
    zelconfig::xml::XmlDocument document;
    zelconfig::xml::XmlError error;
    const int status = document.LoadFile(path, error);
    if (status != 0) {
        return Fail(kExitFailure, path, status == -1 ? "not well-formed XML at byte " + std::to_string(error.offset)
                                                           + ": " + error.description
                                                     : error.description);
    }
    // Keys with indexes where names repeat: each reads back its one value.
    document.SetKeyStyle(zelconfig::xml::KeyStyle::kIndexed);
    document.ForEach([](const std::string& key, const std::string& value) {
        std::cout << key << '=' << value << '\n';
    });
    return Flushed(path);
#else
    return Fail(kExitFailure, path, "this zelcfg was built without the XML plug-in");
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

} // namespace zelcfg
