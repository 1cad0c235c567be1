#include "XmlCommands.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <vector>

#include "TypedValues.h"
#include "ZelConfigXmlDocument.h"
#include "Internals.h"

namespace zelcfg {

using zelconfig::kStatusInvalid, zelconfig::kStatusMalformed, zelconfig::kStatusNotFound;

int XmlLint(const Invocation& invocation, const Input& input)
{
    if (invocation.Has(kOptionDiff) || invocation.Has(kOptionType)) {
        return Fail(kExitFailure, input.path, "lint --diff and --type work on CFG files only");
    }
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

} // namespace zelcfg
