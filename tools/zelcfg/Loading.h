#ifndef ZELCONFIG_TOOLS_LOADING_H
#define ZELCONFIG_TOOLS_LOADING_H

// Reading a command's files into their documents, and saying why one could
// not be read, locked or parsed: the same words from every command.

#include <string>
#include <string_view>
#include <type_traits>

#include "Input.h"
#include "ZelConfigDocument.h"
#include "ZelConfigXmlDocument.h"
#include "Zelcfg.h"

namespace zelcfg {

template <class Doc>
constexpr bool kXml = std::is_same_v<Doc, zelconfig::XmlDocument>;

// An empty document of the input's reading.
template <class Doc>
Doc DocumentFor(const Input& input)
{
    if constexpr (kXml<Doc>) {
        (void)input;
        return zelconfig::XmlDocument();
    } else {
        return zelconfig::Document(input.Mode());
    }
}

// Why a file could not be read or parsed, in words: the document's own
// reason, which names the line that stopped a parse.
template <class Doc>
std::string LoadFailure(int status, const Doc& document)
{
    if (status == zelconfig::kStatusNotFound) {
        return "cannot be read: " + document.Error();
    }
    if constexpr (!kXml<Doc>) {
        const std::string_view text = document.Text();
        const size_t first = text.find_first_not_of(" \t\r\n");
        if (first != std::string_view::npos && text[first] == '<') {
            return document.Error() + "; it starts with '<': --xml reads it as XML";
        }
    }
    return document.Error();
}

// Reads the file, or standard input, into `document`: its status; -2 for
// what could not be read.
template <class Doc>
int Read(Doc& document, const Input& input)
{
    return input.Stdin() ? document.Read(0) : document.Load(input.path);
}

// Reads the file into `document`; false after reporting the failure.
template <class Doc>
bool Load(Doc& document, const Input& input, int& exitStatus)
{
    const int status = Read(document, input);
    if (status != 0) {
        exitStatus = Fail(kExitFailure, input.path, LoadFailure(status, document));
        return false;
    }
    return true;
}

// Why an edit could not lock and read its file: one that cannot be read is
// said to be so as every command says it; one that can, or one that was to
// be created, is refused for the save alone, with the option that helps.
template <class Doc>
std::string LockFailure(int status, Doc& document, const Input& input, bool creating)
{
    if (status != zelconfig::kStatusNotFound) {
        return LoadFailure(status, document);
    }
    const std::string locking = document.Error();
    const int read = document.Load(input.path);
    return read == 0 || creating ? SaveFailure(locking) : LoadFailure(read, document);
}

} // namespace zelcfg

#endif
