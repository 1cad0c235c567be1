// diff and merge: what differs between two files as keys, and new defaults
// brought into a user's file. The library compares and merges; the tool
// reads the files, prints and saves.
#include <iostream>
#include <type_traits>

#include "Diff.h"
#include "Input.h"
#include "ZelConfigMerge.h"
#include "Zelcfg.h"

namespace zelcfg {

using zelconfig::Document;
using zelconfig::XmlDocument;

namespace {

template <class Doc>
constexpr bool kXml = std::is_same_v<Doc, XmlDocument>;

// An empty document for the input's reading.
template <class Doc>
Doc DocumentFor(const Input& input)
{
    if constexpr (kXml<Doc>) {
        (void)input;
        return XmlDocument();
    } else {
        return Document(input.Mode());
    }
}

// The other operands, each read as the first is: files of one format only
// compare. False after reporting why not.
bool SameReading(const Invocation& invocation, const Input& first, std::vector<Input>& inputs, int& status)
{
    inputs.assign(1, first);
    for (size_t i = 1; i < invocation.operands.size(); ++i) {
        Input other;
        if (!ChooseInput(invocation, invocation.operands[i], other, status)) {
            return false;
        }
        if (ReadingName(other) != ReadingName(first)) {
            status = Fail(kExitFailure, other.path,
                          "read " + ReadingName(other) + ", and " + first.path + " " + ReadingName(first) + ": "
                              + invocation.command + " takes files read alike (--block, --anonymous, --xml or "
                              "--ini reads them so)");
            return false;
        }
        inputs.push_back(other);
    }
    return true;
}

// Reads a file, standard input for '-'; false after reporting why not.
template <class Doc>
bool Read(Doc& document, const Input& input, int& status, unsigned options = 0,
          const zelconfig::ReplaceOptions& saving = {})
{
    const int read = input.Stdin() ? document.Read(0) : document.Load(input.path, options, saving);
    if (read != 0) {
        const std::string why = document.Error();
        status = Fail(kExitFailure, input.path,
                      (read == zelconfig::kStatusNotFound && options == 0 ? "cannot be read: " : "") + why);
        return false;
    }
    return true;
}

// One value of a diff line: "-KEY=VALUE", or under --null the fields list
// -z prints with the sign before the first.
void PrintValue(char sign, const zelconfig::Difference& difference, const std::string& value, bool null, bool xml)
{
    if (!null) {
        std::cout << sign << difference.key << '=' << value << '\n';
    } else if (xml) {
        std::cout << sign << difference.key << '\0' << value << '\0';
    } else {
        std::cout << sign << difference.block << '\0' << difference.entry << '\0' << value << '\0';
    }
}

// "KEY: yours A, new B, old C"; under --null KEY, A, B and C as fields, C
// empty where the old defaults lacked the key.
void PrintConflict(const zelconfig::Conflict& conflict, bool null)
{
    if (null) {
        std::cout << conflict.key << '\0' << conflict.yours << '\0' << conflict.updated << '\0' << conflict.old
                  << '\0';
        return;
    }
    std::cout << conflict.key << ": yours " << conflict.yours << ", new " << conflict.updated;
    if (conflict.inOld) {
        std::cout << ", old " << conflict.old;
    }
    std::cout << '\n';
}

// diff A B: exit 0 when they read alike, 1 when they differ, 2 on trouble.
template <class Doc>
int DiffAs(const Invocation& invocation, const Input& first)
{
    std::vector<Input> inputs;
    int status = kExitFailure;
    if (!SameReading(invocation, first, inputs, status)) {
        return status;
    }
    Doc a = DocumentFor<Doc>(inputs[0]), b = DocumentFor<Doc>(inputs[1]);
    if (!Read(a, inputs[0], status) || !Read(b, inputs[1], status)) {
        return status;
    }
    const std::vector<zelconfig::Difference> differences = zelconfig::Compare(a, b);
    const bool null = invocation.Has(kOptionNull);
    for (const zelconfig::Difference& difference : differences) {
        if (difference.inFirst) {
            PrintValue('-', difference, difference.first, null, kXml<Doc>);
        }
        if (difference.inSecond) {
            PrintValue('+', difference, difference.second, null, kXml<Doc>);
        }
    }
    const int written = Flushed(inputs[1].path);
    return written != kExitOk ? written : differences.empty() ? kExitOk : kExitNotFound;
}

// merge [--dry-run] OLD NEW FILE: one lock, one save, all or nothing; the
// conflicts printed, exit 1 when there are some.
template <class Doc>
int MergeAs(const Invocation& invocation, const Input& old)
{
    std::vector<Input> inputs;
    int status = kExitFailure;
    if (!SameReading(invocation, old, inputs, status)) {
        return status;
    }
    const Input& fileInput = inputs[2];
    if (fileInput.Stdin() && !invocation.Has(kOptionDryRun)) {
        return Fail(kExitFailure, fileInput.path, "merge cannot save to standard input; --dry-run shows the diff");
    }
    Doc oldDefaults = DocumentFor<Doc>(inputs[0]), newDefaults = DocumentFor<Doc>(inputs[1]);
    Doc file = DocumentFor<Doc>(fileInput);
    const bool dryRun = invocation.Has(kOptionDryRun);
    if (!Read(oldDefaults, inputs[0], status) || !Read(newDefaults, inputs[1], status)
        || !Read(file, fileInput, status, dryRun ? 0u : Document::kLock, SaveOptions(invocation))) {
        return status == kExitFailure ? kExitFailure : status;
    }
    const std::string before = dryRun ? std::string(file.Text()) : std::string();
    std::vector<zelconfig::Conflict> conflicts;
    if (zelconfig::Merge(oldDefaults, newDefaults, file, conflicts) != 0) {
        return Fail(kExitFailure, fileInput.path, file.Error());
    }
    if (dryRun) {
        std::cout << UnifiedDiff(before, file.Text(), fileInput.path + "\t(current)",
                                 fileInput.path + "\t(merged)");
    } else if (const int saved = file.Save()) {
        return SaveFailed(saved, fileInput.path, file.Error());
    }
    for (const zelconfig::Conflict& conflict : conflicts) {
        PrintConflict(conflict, invocation.Has(kOptionNull));
    }
    const int written = Flushed(fileInput.path);
    return written != kExitOk ? written : conflicts.empty() ? kExitOk : kExitNotFound;
}

} // namespace

int DiffFiles(const Invocation& invocation, const Input& input)
{
    return DiffAs<Document>(invocation, input);
}

int DiffXmlFiles(const Invocation& invocation, const Input& input)
{
    return DiffAs<XmlDocument>(invocation, input);
}

int MergeFiles(const Invocation& invocation, const Input& input)
{
    return MergeAs<Document>(invocation, input);
}

int MergeXmlFiles(const Invocation& invocation, const Input& input)
{
    return MergeAs<XmlDocument>(invocation, input);
}

} // namespace zelcfg
