#include "XmlCommands.h"

#include <cerrno>
#include <iostream>

#include "frontend/Backend.h"
#include "TypedValues.h"
#ifdef ZELCFG_WITH_XML_DOCUMENT
#include "XmlDocument.h"
#endif

namespace zelcfg {

int XmlSet(const Invocation& invocation, const Input&)
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
    std::string error;
    if (file.Lock(path, SaveOptions(invocation), error) != zelconfig::kReplaceDone) {
        return Fail(kExitFailure, path, SaveFailure(error));
    }
    zelconfig::xml::XmlDocument document;
    zelconfig::xml::XmlError failure;
    status = document.LoadFile(file, failure);
    if (status != 0) {
        return Fail(kExitFailure, path, status == -1 ? "not well-formed XML at byte " + std::to_string(failure.offset)
                                                           + ": " + failure.description
                                                     : failure.description);
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
    if (document.Save(file, failure) != 0) {
        return Fail(kExitFailure, path, SaveFailure(failure.description));
    }
    return kExitOk;
#else
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
