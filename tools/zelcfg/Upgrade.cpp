// diff and merge: what differs between two files as keys, and new defaults
// brought into a user's file. The library compares and merges; the tool
// reads the files, prints and saves.
#include <iostream>

#include "Diff.h"
#include "Input.h"
#include "Loading.h"
#include "ZelConfigMerge.h"
#include "Zelcfg.h"

namespace zelcfg {

using zelconfig::Document;
using zelconfig::XmlDocument;

namespace {

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
    if (!Load(a, inputs[0], status) || !Load(b, inputs[1], status)) {
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
    if (!Load(oldDefaults, inputs[0], status) || !Load(newDefaults, inputs[1], status)) {
        return status;
    }
    if (dryRun && !Load(file, fileInput, status)) {
        return status;
    }
    if (!dryRun) {
        if (const int loaded = file.Load(fileInput.path, Document::kLock, SaveOptions(invocation))) {
            return Fail(kExitFailure, fileInput.path, LockFailure(loaded, file, fileInput, false));
        }
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
