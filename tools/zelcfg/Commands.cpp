#include <algorithm>
#include <cerrno>
#include <iostream>
#include <cstring>
#include <unordered_map>
#include <new>
#include <sys/stat.h>
#include <type_traits>

#include "Diff.h"
#include "Edits.h"
#include "Input.h"
#include "Loading.h"
#include "TypedValues.h"
#include "ZelConfigDocument.h"
#include "ZelConfigXmlDocument.h"
#include "Zelcfg.h"
#include "Internals.h"

#ifndef ZELCONFIG_VERSION
#define ZELCONFIG_VERSION "unknown"
#endif

namespace zelcfg {

using zelconfig::Backend;
using zelconfig::Document;
using zelconfig::XmlDocument;
using zelconfig::kStatusInvalid, zelconfig::kStatusNotFound;

namespace {

const char kCannotNormalise[] = "the normalised form would not read back: in anonymous mode an entry name "
                                "begins with '#', ';' or '[' once trimmed";

// Refuses what needs a normalised form where no file read in the
// document's mode has one (the INI dialect keeps each file's own), in the
// document's words: kExitFailure after reporting it, else kExitOk.
int NeedsNormalForm(const Document& document, const Input& input)
{
    Document probe(document.GetMode());
    probe.Parse("");
    return probe.Normalise() == 0 ? kExitOk : Fail(kExitFailure, input.path, probe.Error());
}

// How list and messages show a CFG entry: "[a.b]k" where no key reaches it.
std::string ShownApart(const std::string& block, const std::string& entry)
{
    return block.find('.') == std::string::npos ? block + "." + entry : "[" + block + "]" + entry;
}

// What the operands name: KEY, or BLOCK and ENTRY as two operands.
struct Target
{
    const std::string* given; // KEY as given, the invocation's; null: `joined`
    std::string joined;       // XML: BLOCK ENTRY as the path BLOCK.ENTRY
    std::string block, entry; // a CFG key split as the library's lookups split it
    bool apart;               // BLOCK and ENTRY given apart (a CFG block name may hold '.')

    const std::string& Key() const { return given != nullptr ? *given : joined; }
    // For messages: as given, or as list prints it.
    std::string Shown() const { return apart ? ShownApart(block, entry) : Key(); }
};

// A CFG key splits at the first '.'; without one, in anonymous mode it is
// an entry of "anonymous", in block mode the empty names (which a lookup of
// such a key also takes).
Target TargetOf(const std::vector<std::string>& operands, bool apart, const Document& document)
{
    if (apart) {
        return {nullptr, "", operands[1], operands[2], true};
    }
    const zelconfig::CFGKeyParts parts
        = zelconfig::CFGSplitKey(operands[1], document.GetMode() == Document::Mode::kAnonymous);
    return {&operands[1], "", std::string(parts.block), std::string(parts.entry), false};
}

// An XML key is a path: BLOCK ENTRY is the path BLOCK.ENTRY.
Target TargetOf(const std::vector<std::string>& operands, bool apart, const XmlDocument&)
{
    if (apart) {
        return {nullptr, operands[1] + "." + operands[2], "", "", false};
    }
    return {&operands[1], "", "", "", false};
}

// The verbs whose arguments differ between the formats: a CFG entry named
// apart is asked for by block and entry, everything else by its key.
int Find(const Document& document, const Target& target, std::string& raw)
{
    // The empty key names nothing; the empty block named apart is a block.
    return !target.apart && target.Key().empty() ? kStatusNotFound : document.Get(target.block, target.entry, raw);
}

int Find(const XmlDocument& document, const Target& target, std::string& raw)
{
    return document.Get(target.Key(), raw);
}

// Every value of a key that Find found, `raw` among them.
std::vector<std::string> Values(const Document& document, const Target& target, const std::string&)
{
    return document.Values(target.block, target.entry);
}

// An XML key reads as one value: the one Find gave.
std::vector<std::string> Values(const XmlDocument&, const Target&, const std::string& raw)
{
    return {raw};
}

std::string Missing(const Document& document, const Target& target)
{
    return target.apart ? document.Missing(target.block, target.entry) : document.Missing(target.Key());
}

std::string Missing(const XmlDocument& document, const Target& target)
{
    return document.Missing(target.Key());
}

// Writes the output, ending each piece with NUL under --null, else with a
// line feed.
void Emit(const Invocation& invocation, const std::string& text)
{
    std::cout << text << (invocation.Has(kOptionNull) ? '\0' : '\n');
}

// get: a value as the library's getter of --type reads it.
template <class Doc>
int Get(const Invocation& invocation, const Input& input, Doc& document)
{
    int status = kExitFailure;
    if (!Load(document, input, status)) {
        return status;
    }
    const Target target = TargetOf(invocation.operands, invocation.operands.size() == 3, document);
    std::string raw, text;
    status = Find(document, target, raw);
    if (status == kStatusNotFound) {
        return Fail(kExitNotFound, input.path, Missing(document, target));
    }
    if (status == kStatusInvalid) {
        return Fail(kExitFailure, input.path, document.Error());
    }
    if (status == 0) {
        status = ConvertTyped(invocation.type, raw, text);
    }
    // --null prints a repeated key's values one by one, each as the string
    // getter would read it alone; otherwise what the getter reads for the key.
    std::vector<std::string> values(1, text);
    if (invocation.type == ValueType::kString && invocation.Has(kOptionNull)) {
        values = Values(document, target, raw);
        for (std::string& value : values) {
            ConvertTyped(ValueType::kString, std::string(value), value);
        }
    }
    if (invocation.Has(kOptionStrict)) {
        const std::string problem = PartialRead(invocation.type, raw);
        if (!problem.empty()) {
            return Fail(kExitConversion, input.path, target.Shown() + ": " + problem);
        }
    }
    if (status == -1) {
        return Fail(kExitConversion, input.path, target.Shown() + ": the value is neither \"true\" nor \"false\"");
    }
    if (status != 0 && status != 1) {
        return Fail(kExitFailure, input.path, target.Shown() + ": status " + std::to_string(status));
    }
    for (const std::string& value : values) {
        Emit(invocation, value);
    }
    if (status == 1) {
        return Fail(kExitConversion, input.path, target.Shown() + ": the value is out of range; printed as converted");
    }
    return Flushed(input.path);
}

// The three edits, as a Step names them.
enum class EditKind { kSet, kUnset, kRemoveBlock };

// What an edit's names must be before the file is locked: a CFG key that a
// line of the file can hold, as the document decides on an empty text (the
// value is the document's to refuse when the edit is made: on an empty text
// first where the file is to be created); an XML key is checked by the
// document. In the INI dialect the block "" holds the entries above the
// first header. A script names the same keys again and again: each is
// asked once.
bool CheckNames(const Document& document, const Target& target, std::string& error)
{
    const bool anonymous = document.GetMode() == Document::Mode::kAnonymous;
    const bool ini = document.GetMode() == Document::Mode::kIni;
    if (!target.apart && (target.Key().empty() || (!anonymous && target.Key().find('.') == std::string::npos))) {
        error = "the key '" + target.Key() + "' is not BLOCK.ENTRY"
                + (ini ? ", nor .ENTRY for an entry above the first header" : "");
        return false;
    }
    // "[]" and "=v" read back, but hardly as anyone meant them.
    if ((target.block.empty() && !ini) || target.entry.empty()) {
        error = target.block.empty() ? "a block name cannot be empty" : "an entry name cannot be empty";
        return false;
    }
    // Asked by the mode, the block's length, the block and the entry, in one
    // string whose room is kept.
    static std::unordered_map<std::string, std::string> refusals;
    static std::string names;
    const size_t length = target.block.size();
    names.resize(1 + sizeof length + length + target.entry.size());
    names[0] = static_cast<char>(document.GetMode());
    std::memcpy(&names[1], &length, sizeof length);
    std::memcpy(&names[1 + sizeof length], target.block.data(), length);
    std::memcpy(&names[1 + sizeof length + length], target.entry.data(), target.entry.size());
    auto asked = refusals.find(names);
    if (asked == refusals.end()) {
        Document empty(document.GetMode());
        empty.Parse("");
        asked = refusals.emplace(names, empty.Add(target.block, target.entry, "") == 0 ? "" : empty.Error()).first;
    }
    error = asked->second;
    return error.empty();
}

bool CheckNames(const XmlDocument&, const Target&, std::string&)
{
    return true;
}

// What is there changes, as each format's document is asked: a CFG entry
// named apart by block and entry; every entry the key names (--all), or the
// Nth (--index); --add appends another; an XML key takes [N] instead, and
// --attribute names an attribute.
int Change(Document& document, const Invocation& invocation, const Target& target, const std::string& value)
{
    if (invocation.Has(kOptionAdd)) {
        return document.Lines(target.block, target.entry).empty()
                   ? kStatusNotFound
                   : document.Append(target.block, target.entry, value);
    }
    if (invocation.Has(kOptionIndex) || invocation.Has(kOptionAll)) {
        return document.SetAt(target.block, target.entry, invocation.index, value);
    }
    return target.apart ? document.Set(target.block, target.entry, value) : document.Set(target.Key(), value);
}

int Change(XmlDocument& document, const Invocation& invocation, const Target& target, const std::string& value)
{
    return invocation.Has(kOptionAttribute) ? document.SetAttribute(target.Key(), value)
           : invocation.Has(kOptionAll)     ? document.SetAll(target.Key(), value)
                                            : document.Set(target.Key(), value);
}

// What is not there is added: a CFG entry named apart (or any in anonymous
// mode, where every name is an entry's) by block and entry.
int AddNew(Document& document, const Target& target, const std::string& value)
{
    const bool anonymous = document.GetMode() == Document::Mode::kAnonymous;
    return target.apart || anonymous ? document.Add(target.block, target.entry, value)
                                     : document.Add(target.Key(), value);
}

int AddNew(XmlDocument& document, const Target& target, const std::string& value)
{
    return document.Add(target.Key(), value);
}

// The entry goes, or every one the key names (--all), or the Nth (--index).
int Delete(Document& document, const Invocation& invocation, const Target& target)
{
    if (invocation.Has(kOptionIndex) || invocation.Has(kOptionAll)) {
        return document.RemoveAt(target.block, target.entry, invocation.index);
    }
    return target.apart ? document.Remove(target.block, target.entry) : document.Remove(target.Key());
}

int Delete(XmlDocument& document, const Invocation& invocation, const Target& target)
{
    return invocation.Has(kOptionAll) ? document.RemoveAll(target.Key()) : document.Remove(target.Key());
}

// The options that pick among several entries, after the library's refusal.
template <class Doc>
std::string Remedy(EditKind kind)
{
    if (kXml<Doc>) {
        return kind == EditKind::kSet ? ", or --all sets every one" : ", or --all removes every one";
    }
    return kind == EditKind::kSet ? ": --all sets every one, --index N the Nth, --add appends another"
                                  : ": --all removes every one, --index N the Nth";
}

// How many entries the key names, for the remedy of a refusal.
size_t Count(const Document& document, const Target& target)
{
    return document.Lines(target.block, target.entry).size();
}

size_t Count(const XmlDocument& document, const Target& target)
{
    return document.Lines(target.Key()).size();
}

// --normalise after an edit: refused where entries would be lost.
int NormaliseAfterEdit(Document& document, const std::string& path)
{
    if (const size_t lost = document.UnreadEntries()) {
        return Fail(kExitFailure, path, "refusing to normalise: " + std::to_string(lost)
                                            + " entries under repeated block headers would be lost "
                                              "('zelcfg lint' shows where)");
    }
    return document.Normalise() == 0 ? kExitOk : Fail(kExitFailure, path, kCannotNormalise);
}

// One command of an edit, checked before the file is read: what it names,
// the value a set writes, and the place its messages name ("FILE", or in a
// script "FILE: line 3").
struct Step
{
    // Where its messages point: FILE, or a script's command in it (number
    // from 1), put in words only for a message.
    struct Place
    {
        const std::string* file; // the caller's, which outlives the edit
        size_t number;
        bool null; // -z: commands are counted, not lines

        std::string Text() const
        {
            std::string where;
            if (number == 0) {
                return *file;
            }
            ScriptPlace(*file, null, number, where);
            return where;
        }
    };

    const Invocation* invocation;
    EditKind kind;
    Target target;
    std::string value;
    Place place;

    std::string Where() const { return place.Text(); }
};

// Makes the step's edit: the library's status.
template <class Doc>
int Make(Doc& document, const Step& step)
{
    const Invocation& invocation = *step.invocation;
    switch (step.kind) {
    case EditKind::kSet: {
        const int changed = Change(document, invocation, step.target, step.value);
        return changed == kStatusNotFound && !invocation.Has(kOptionIndex)
                   ? AddNew(document, step.target, step.value)
                   : changed;
    }
    case EditKind::kUnset:
        return Delete(document, invocation, step.target);
    case EditKind::kRemoveBlock:
        if constexpr (!kXml<Doc>) {
            return document.RemoveBlock(step.target.block);
        }
        break;
    }
    return kStatusInvalid;
}

// Makes every step's edit in turn, each seeing the ones before it; the
// first refusal is reported in the library's words, with the options that
// help: its exit status.
template <class Doc>
int MakeAll(Doc& document, const std::vector<Step>& steps)
{
    for (const Step& step : steps) {
        const int status = Make(document, step);
        if (status == kStatusNotFound) {
            return Fail(kExitNotFound, step.Where(), document.Error());
        }
        if (status == zelconfig::kEditAmbiguous) {
            return Fail(kExitFailure, step.Where(),
                        document.Error() + (Count(document, step.target) > 1 ? Remedy<Doc>(step.kind) : ""));
        }
        if (status != 0) {
            return Fail(kExitFailure, step.Where(),
                        document.Error().empty() ? "cannot edit the file (status " + std::to_string(status) + ")"
                                                 : document.Error());
        }
    }
    return kExitOk;
}

// Whether nothing is at `path`, not even a dangling link: a file a set may create.
bool Absent(const std::string& path)
{
    struct stat status {};
    return ::lstat(path.c_str(), &status) != 0 && errno == ENOENT;
}

// set, unset and remove-block, one or a script of them: lock, read, make
// the edits, save atomically; after a refusal nothing is written. An empty
// XML file is no document, so only a CFG set creates a missing file, and
// only once the edits are made on an empty text: a refused one creates none.
template <class Doc>
int Edit(const Invocation& invocation, const Input& input, Doc& document, const std::vector<Step>& steps)
{
    const bool create
        = !kXml<Doc> && std::any_of(steps.begin(), steps.end(), [](const Step& s) { return s.kind == EditKind::kSet; });
    if constexpr (!kXml<Doc>) {
        // Refused before the file is locked, or created.
        if (const int refused = invocation.Has(kOptionNormalise) ? NeedsNormalForm(document, input) : kExitOk) {
            return refused;
        }
    }
    unsigned options = Document::kLock;
    if constexpr (!kXml<Doc>) {
        if (create && Absent(input.path)) {
            Document empty(document.GetMode());
            empty.Parse("");
            if (const int refused = MakeAll(empty, steps)) {
                return refused;
            }
            options |= Document::kCreate;
        }
    }
    if (const int loaded = document.Load(input.path, options, SaveOptions(invocation))) {
        return Fail(kExitFailure, input.path, LockFailure(loaded, document, input, create));
    }
    if (const int refused = MakeAll(document, steps)) {
        return refused;
    }
    if constexpr (!kXml<Doc>) {
        if (invocation.Has(kOptionNormalise)) {
            if (const int refused = NormaliseAfterEdit(document, input.path)) {
                return refused;
            }
        }
    }
    if (const int saved = document.Save()) {
        return SaveFailed(saved, input.path, document.Error());
    }
    return kExitOk;
}

// set: what the key names changes; what it does not name is added, where
// the library finds that safe (a CFG key names the block it splits to only
// where no dotted block is meant).
template <class Doc>
int PrepareSet(const Invocation& invocation, Step::Place place, const Doc& document, Step& step)
{
    step = {&invocation, EditKind::kSet, TargetOf(invocation.operands, invocation.operands.size() == 4, document),
            "", place};
    std::string error;
    int status = kExitFailure;
    if (!ValueToSet(invocation, [&place] { return place.Text(); }, step.value, status)) {
        return status;
    }
    return CheckNames(document, step.target, error) ? kExitOk : Fail(kExitFailure, place.Text(), error);
}

// unset: the entry goes, or the entries --all or --index name.
template <class Doc>
int PrepareUnset(const Invocation& invocation, Step::Place place, const Doc& document, Step& step)
{
    step = {&invocation, EditKind::kUnset, TargetOf(invocation.operands, invocation.operands.size() == 3, document),
            "", place};
    std::string error;
    return CheckNames(document, step.target, error) ? kExitOk : Fail(kExitFailure, place.Text(), error);
}

// remove-block: every section of the block, with its comment lines; in the
// INI dialect the block "" is the text above the first header.
int PrepareRemoveBlock(const Invocation& invocation, Step::Place place, const Document& document, Step& step)
{
    const std::string& name = invocation.operands[1];
    step = {&invocation, EditKind::kRemoveBlock, Target{&name, "", name, "", true}, "", place};
    if (name.empty() && document.GetMode() != Document::Mode::kIni) {
        return Fail(kExitFailure, place.Text(), "a block name cannot be empty");
    }
    return kExitOk;
}

// One edit command's step, by its name; remove-block takes no XML file.
template <class Doc>
int Prepare(const Invocation& invocation, Step::Place place, const Doc& document, Step& step)
{
    if (std::string_view(invocation.command) == "set") {
        return PrepareSet(invocation, place, document, step);
    }
    if (std::string_view(invocation.command) == "unset") {
        return PrepareUnset(invocation, place, document, step);
    }
    if constexpr (!kXml<Doc>) {
        if (std::string_view(invocation.command) == "remove-block") {
            return PrepareRemoveBlock(invocation, place, document, step);
        }
    }
    return Fail(kExitFailure, place.Text(), invocation.command + " is no edit of this file");
}

// set, unset and remove-block on their own command line: one step.
template <class Doc>
int EditOne(const Invocation& invocation, const Input& input, Doc& document)
{
    std::vector<Step> steps(1);
    const int refused = Prepare(invocation, {&input.path, 0, false}, document, steps[0]);
    return refused != kExitOk ? refused : Edit(invocation, input, document, steps);
}

// blocks: the block names, in the order of their first headers in the file.
int Blocks(const Invocation& invocation, const Input& input, Document& document)
{
    int status = kExitFailure;
    if (!Load(document, input, status)) {
        return status;
    }
    for (const std::string& block : document.BlockNames(Document::Order::kFile)) {
        Emit(invocation, block);
    }
    return Flushed(input.path);
}

// How list prints a CFG file's entries: KEY=VALUE, each value as get
// prints it (without the line end a CR LF file leaves in it); under --null
// BLOCK, ENTRY and VALUE as NUL-terminated fields, as a name may hold '.'.
void Print(const Document& document, bool null)
{
    if (null) {
        for (const Document::Entry& entry : document.Entries(Document::Order::kFile)) {
            std::cout << entry.block << '\0' << entry.name << '\0' << entry.value << '\0';
        }
        return;
    }
    std::string shown;
    document.Walk([&shown](const std::string& key, const std::string& value) {
        ConvertTyped(ValueType::kString, value, shown);
        std::cout << key << '=' << shown << '\n';
    });
}

// An XML file's: KEY=VALUE, or KEY and VALUE as NUL-terminated fields (a key
// holds no NUL, nor does a value XML can hold), printed as they come.
void Print(const XmlDocument& document, bool null)
{
    document.Walk([null](const std::string& key, const std::string& value) {
        std::cout << key << (null ? '\0' : '=') << value << (null ? '\0' : '\n');
    });
}

// list: every key and value, in the order of the file.
template <class Doc>
int List(const Invocation& invocation, const Input& input, Doc& document)
{
    int status = kExitFailure;
    if (!Load(document, input, status)) {
        return status;
    }
    Print(document, invocation.Has(kOptionNull));
    return Flushed(input.path);
}

// format: the normalised text on stdout; the file is left as it is.
int Format(const Invocation&, const Input& input, Document& document)
{
    if (const int refused = NeedsNormalForm(document, input)) {
        return refused;
    }
    int status = kExitFailure;
    if (!Load(document, input, status)) {
        return status;
    }
    if (document.Normalise() != 0) {
        return Fail(kExitFailure, input.path, kCannotNormalise);
    }
    std::cout << document.Text();
    return Flushed(input.path);
}

// --diff: the normalised form against the file, as a unified diff; whether
// they differ, or kExitFailure after reporting why there is none.
int PrintNormalisedDiff(Document& document, int loaded, const Input& input, bool& changes)
{
    // Only a model read to its end has a normalised form.
    if (loaded != 0) {
        return Fail(kExitFailure, input.path, "no normalised form to compare: " + LoadFailure(loaded, document));
    }
    const std::string text(document.Text());
    if (document.Normalise() != 0) {
        return Fail(kExitFailure, input.path, kCannotNormalise);
    }
    // A tab ends each name, as patch reads them: a name may hold blanks.
    const std::string diff
        = UnifiedDiff(text, document.Text(), input.path + "\t(current)", input.path + "\t(normalised)");
    std::cout << diff;
    changes = !diff.empty();
    return kExitOk;
}

// What the document's lint finds, with the values a typed getter would read
// only partly under --type: those are the tool's to tell, not the format's.
std::vector<zelconfig::Finding> Findings(const Invocation& invocation, const Document& document)
{
    const auto checker = [&invocation](const std::string& value) {
        const std::string partly = PartialRead(invocation.type, value);
        return partly.empty() ? partly : std::string("--type ") + TypeName(invocation.type) + ": " + partly;
    };
    return invocation.type == ValueType::kString ? document.Lint() : document.Lint(checker);
}

std::vector<zelconfig::Finding> Findings(const Invocation&, const XmlDocument& document)
{
    return document.Lint();
}

// lint: what reading the file would drop or change, FILE:LINE: or, where the
// document counts columns, FILE:LINE:COLUMN:; and --diff's normalised form.
// A CFG file's bytes are linted whether or not they parse; an XML file's
// when they do.
template <class Doc>
int Lint(const Invocation& invocation, const Input& input, Doc& document)
{
    if (kXml<Doc> && (invocation.Has(kOptionDiff) || invocation.Has(kOptionType))) {
        return Fail(kExitFailure, input.path,
                    invocation.Has(kOptionDiff) ? "lint --diff works on CFG files only"
                                                : "lint --type works on CFG and INI files only");
    }
    if constexpr (!kXml<Doc>) {
        if (const int refused = invocation.Has(kOptionDiff) ? NeedsNormalForm(document, input) : kExitOk) {
            return refused;
        }
    }
    const int status = Read(document, input);
    if (status == kStatusNotFound || (kXml<Doc> && status != 0)) {
        return Fail(kExitFailure, input.path, LoadFailure(status, document));
    }
    const std::vector<zelconfig::Finding> findings = Findings(invocation, document);
    for (const zelconfig::Finding& finding : findings) {
        std::cout << input.path << ':' << finding.line
                  << (finding.column > 0 ? ":" + std::to_string(finding.column) : std::string()) << ": "
                  << finding.message << '\n';
    }
    bool changes = false;
    if constexpr (!kXml<Doc>) {
        if (invocation.Has(kOptionDiff)) {
            if (const int failed = PrintNormalisedDiff(document, status, input, changes)) {
                return failed;
            }
        }
    }
    const int written = Flushed(input.path);
    return written != kExitOk ? written : findings.empty() && !changes ? kExitOk : kExitNotFound;
}

// Runs `command` on an empty document of the file's format.
template <class Doc, int (*command)(const Invocation&, const Input&, Doc&)>
int OnNew(const Invocation& invocation, const Input& input)
{
    Doc document = DocumentFor<Doc>(input);
    return command(invocation, input, document);
}

} // namespace

zelconfig::ReplaceOptions SaveOptions(const Invocation& invocation)
{
    zelconfig::ReplaceOptions options;
    options.waitSeconds = invocation.waitSeconds;
    options.force = invocation.Has(kOptionForce);
    options.inPlace = invocation.Has(kOptionInPlace);
    return options;
}

std::string SaveFailure(const std::string& message)
{
    const std::string hint = zelconfig::kOnlyInPlaceKeeps;
    const bool inPlaceHelps
        = message.size() >= hint.size() && message.compare(message.size() - hint.size(), hint.size(), hint) == 0;
    if (inPlaceHelps) {
        return message + ": --in-place rewrites the file itself (not atomically)";
    }
    if (message.compare(0, 13, "not writable:") == 0) {
        return message + "; --force replaces it all the same, if you may write its directory";
    }
    if (message.compare(0, 37, "another process holds the file's lock") == 0) {
        return message + " (--wait SECONDS waits longer)";
    }
    return message;
}

int SaveFailed(int status, const std::string& file, const std::string& message)
{
    if (status == zelconfig::kReplaceChanged) {
        std::cerr << "zelcfg: " << file << zelconfig::kChangedSinceRead << '\n';
        return kExitFailure;
    }
    return Fail(kExitFailure, file, SaveFailure(message));
}

void Report(const std::string& file, const std::string& message)
{
    std::cerr << "zelcfg: " << file << ": " << message << '\n';
}

int Fail(int status, const std::string& file, const std::string& message)
{
    Report(file, message);
    return status;
}

int Flushed(const std::string& file)
{
    std::cout.flush();
    return std::cout ? kExitOk : Fail(kExitFailure, file, "cannot write the output");
}

const std::vector<Command>& AllCommands()
{
    static const std::vector<Command> commands = {
        {"get", 2, 3, kOptionType | kOptionStrict | kOptionNull | kOptionStdin, OnNew<Document, Get>,
         OnNew<XmlDocument, Get>},
        {"set", 3, 4,
         kOptionType | kOptionStrict | kOptionNormalise | kOptionAttribute | kOptionAll | kOptionIndex | kOptionAdd
             | kOptionsSave,
         OnNew<Document, EditOne>, OnNew<XmlDocument, EditOne>},
        {"unset", 2, 3, kOptionNormalise | kOptionAll | kOptionIndex | kOptionsSave, OnNew<Document, EditOne>,
         OnNew<XmlDocument, EditOne>},
        {"remove-block", 2, 2, kOptionNormalise | kOptionsSave, OnNew<Document, EditOne>, nullptr},
        {"edit", 1, 1, kOptionNormalise | kOptionNull | kOptionsSave, RunEditScript, RunEditScript},
        {"list", 1, 1, kOptionNull | kOptionStdin, OnNew<Document, List>, OnNew<XmlDocument, List>},
        {"blocks", 1, 1, kOptionNull | kOptionStdin, OnNew<Document, Blocks>, nullptr},
        {"format", 1, 1, kOptionStdin, OnNew<Document, Format>, nullptr},
        {"lint", 1, 1, kOptionType | kOptionDiff | kOptionStdin, OnNew<Document, Lint>, OnNew<XmlDocument, Lint>},
        {"diff", 2, 2, kOptionNull, DiffFiles, DiffXmlFiles},
        {"merge", 3, 3, kOptionNull | kOptionDryRun | kOptionsSave, MergeFiles, MergeXmlFiles},
    };
    return commands;
}

std::string CommandNames(const std::function<bool(const Command&)>& test)
{
    std::vector<std::string> names;
    for (const Command& command : AllCommands()) {
        if (test(command)) {
            names.emplace_back(command.name);
        }
    }
    std::string text;
    for (size_t i = 0; i < names.size(); ++i) {
        text += (i == 0 ? "" : i + 1 == names.size() ? " and " : ", ") + names[i];
    }
    return text;
}

std::string FormatRefusal(const Command& command, const Invocation& invocation, const Input& input)
{
    if (input.backend != Backend::kXml) {
        return invocation.Has(kOptionAttribute) ? "--attribute works on XML files only" : "";
    }
    if (invocation.Has(kOptionNormalise)) {
        return "--normalise works on CFG files only";
    }
    if (invocation.Has(kOptionIndex) || invocation.Has(kOptionAdd)) {
        return "--index and --add work on CFG and INI files only; an XML key takes [N]";
    }
    if (command.runXml == nullptr) {
        return invocation.command + " works on CFG and INI files only; XML files take "
               + CommandNames([](const Command& other) { return other.runXml != nullptr; });
    }
    return "";
}

namespace {

// The steps of a script's edits on the document of the file's format.
template <class Doc>
int EditScripted(const Invocation& invocation, const Input& input, Doc& document,
                 const std::vector<ScriptedEdit>& edits)
{
    std::vector<Step> steps(edits.size());
    for (size_t i = 0; i < edits.size(); ++i) {
        const Invocation& edit = edits[i].invocation;
        const Step::Place place{&input.path, edits[i].number, invocation.Has(kOptionNull)};
        const auto& commands = AllCommands();
        const auto command = std::find_if(commands.begin(), commands.end(),
                                          [&edit](const Command& known) { return std::string_view(edit.command) == known.name; });
        const std::string refusal = command != commands.end() ? FormatRefusal(*command, edit, input) : "";
        if (!refusal.empty()) {
            return Fail(kExitFailure, place.Text(), refusal);
        }
        if (const int refused = Prepare(edit, place, document, steps[i])) {
            return refused;
        }
    }
    return Edit(invocation, input, document, steps);
}

} // namespace

int EditAll(const Invocation& invocation, const Input& input, const std::vector<ScriptedEdit>& edits)
{
    if (input.backend == Backend::kXml) {
        XmlDocument document;
        return EditScripted(invocation, input, document, edits);
    }
    Document document(input.Mode());
    return EditScripted(invocation, input, document, edits);
}

namespace {

// Runs one command on the file it names, by that file's back end.
int RunCommand(const Command& command, const Invocation& invocation)
{
    Input input;
    int status = kExitFailure;
    if (!ChooseInput(invocation, input, status)) {
        return status;
    }
    const std::string refusal = FormatRefusal(command, invocation, input);
    if (!refusal.empty()) {
        return Fail(kExitFailure, input.path, refusal);
    }
    return input.backend != Backend::kXml ? command.run(invocation, input) : command.runXml(invocation, input);
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

    if (invocation.request == Request::kHelp) {
        std::cout << kUsage;
        return kExitOk;
    }
    if (invocation.request == Request::kVersion) {
        std::cout << "zelcfg " << ZELCONFIG_VERSION << '\n';
        return kExitOk;
    }
    for (const Command& command : AllCommands()) {
        if (invocation.command != command.name) {
            continue;
        }
        // A file larger than the memory it may use is a failure to report
        // like any other, not a crash; nothing has been saved half-made.
        try {
            return RunCommand(command, invocation);
        } catch (const std::bad_alloc&) {
            return Fail(kExitFailure, invocation.operands.empty() ? command.name : invocation.operands[0],
                        "out of memory");
        }
    }
    return Fail(kExitFailure, invocation.command, "unknown command");
}

} // namespace zelcfg
