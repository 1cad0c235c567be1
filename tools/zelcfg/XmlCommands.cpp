#include "XmlCommands.h"

#include <iostream>
#include <vector>

#include "TypedValues.h"
#include "ZelConfigXmlDocument.h"
#include "Internals.h"

namespace zelcfg {

using zelconfig::kStatusNotFound;

namespace {

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

// An edit of an XML file through the library's XML document: under the
// lock from the read to the rename, as for a CFG file, so that concurrent
// edits take turns. `change` edits the document and returns the exit
// status; the file is saved when it is 0.
template <class Change>
int EditXml(const Invocation& invocation, const Input& input, Change&& change)
{
    zelconfig::XmlDocument document;
    int loaded = document.Load(input.path, zelconfig::Document::kLock, SaveOptions(invocation));
    if (loaded == -2) {
        // A file that cannot be read is said to be so as every command says
        // it; one that can is refused for the save alone.
        const std::string locking = document.Error();
        loaded = document.Load(input.path);
        return Fail(kExitFailure, input.path,
                    loaded == 0    ? SaveFailure(locking)
                    : loaded == -2 ? "cannot be read: " + document.Error()
                                   : document.Error());
    }
    if (loaded != 0) {
        return Fail(kExitFailure, input.path, document.Error());
    }
    const int status = change(document);
    if (status != kExitOk) {
        return status;
    }
    if (const int saved = document.Save()) {
        return SaveFailed(saved, input.path, document.Error());
    }
    return kExitOk;
}

// A refusal of the document, with the option that takes every match where
// the key names several.
int Refused(const zelconfig::XmlDocument& document, const std::string& path, const std::string& key,
            const char* every)
{
    const bool several = document.Lines(key).size() > 1;
    return Fail(kExitFailure, path, document.Error() + (several ? std::string(", or --all ") + every : ""));
}

} // namespace

int XmlSet(const Invocation& invocation, const Input& input)
{
    const std::string& path = invocation.operands[0];
    std::string value;
    int status = kExitFailure;
    if (!ValueToSet(invocation, path, value, status)) {
        return status;
    }
    std::string key;
    if (!KeyOf(invocation, path, key, status)) {
        return status;
    }
    return EditXml(invocation, input, [&](zelconfig::XmlDocument& document) {
        // What is there changes; what is not is added.
        int result = invocation.Has(kOptionAttribute) ? document.SetAttribute(key, value)
                     : invocation.Has(kOptionAll)     ? document.SetAll(key, value)
                                                      : document.Set(key, value);
        if (result == kStatusNotFound) {
            result = document.Add(key, value);
        }
        if (result == zelconfig::kEditAmbiguous) {
            return Refused(document, path, key, "sets every one");
        }
        return result == 0 ? kExitOk : Fail(kExitFailure, path, document.Error());
    });
}

int XmlUnset(const Invocation& invocation, const Input& input)
{
    std::string key;
    int status = kExitFailure;
    if (!KeyOf(invocation, input.path, key, status)) {
        return status;
    }
    return EditXml(invocation, input, [&](zelconfig::XmlDocument& document) {
        // Several elements are removed only when --all asks for every one.
        const int removed = invocation.Has(kOptionAll) ? document.RemoveAll(key) : document.Remove(key);
        if (removed == kStatusNotFound) {
            return Fail(kExitNotFound, input.path, "no key " + key);
        }
        if (removed == zelconfig::kEditAmbiguous) {
            return Refused(document, input.path, key, "removes every one");
        }
        return removed == 0 ? kExitOk : Fail(kExitFailure, input.path, document.Error());
    });
}

int XmlList(const Invocation& invocation, const Input& input)
{
    zelconfig::XmlDocument document;
    int status = kExitFailure;
    if (!ReadXml(input, document, status)) {
        return status;
    }
    // A key holds no NUL, nor does a value XML can hold.
    const bool null = invocation.Has(kOptionNull);
    document.Walk([null](const std::string& key, const std::string& value) {
        std::cout << key << (null ? '\0' : '=') << value << (null ? '\0' : '\n');
    });
    return Flushed(input.path);
}

int XmlLint(const Invocation& invocation, const Input& input)
{
    if (invocation.Has(kOptionDiff) || invocation.Has(kOptionType)) {
        return Fail(kExitFailure, input.path, "lint --diff and --type work on CFG files only");
    }
    zelconfig::XmlDocument document;
    int status = kExitFailure;
    if (!ReadXml(input, document, status)) {
        return status;
    }
    const std::vector<zelconfig::Finding> findings = document.Lint();
    for (const zelconfig::Finding& finding : findings) {
        std::cout << input.path << ':' << finding.line << ':' << finding.column << ": " << finding.message << '\n';
    }
    const int written = Flushed(input.path);
    return written != kExitOk ? written : findings.empty() ? kExitOk : kExitNotFound;
}

bool XmlFind(const Input& input, const std::string& key, std::string& raw, int& status)
{
    zelconfig::XmlDocument document;
    if (!CheckKey(input.path, key, status) || !ReadXml(input, document, status)) {
        return false;
    }
    status = document.Get(key, raw);
    // The library knows where joined parts name what is there.
    const std::string missing = status == kStatusNotFound ? document.Missing(key) : "";
    if (missing.size() > std::string("no key ").size() + key.size()) {
        status = Fail(kExitNotFound, input.path, missing);
        return false;
    }
    return true;
}

bool ReadXml(const Input& input, zelconfig::XmlDocument& document, int& exitStatus)
{
    const int status = input.Stdin() ? document.Read(0) : document.Load(input.path);
    if (status != 0) {
        const std::string& why = document.Error();
        exitStatus = Fail(kExitFailure, input.path, status == kStatusNotFound ? "cannot be read: " + why : why);
        return false;
    }
    return true;
}

} // namespace zelcfg
