#include <cerrno>
#include <iostream>
#include <locale>
#include <new>

#include "Input.h"
#include "Diff.h"
#include "TypedValues.h"
#include "XmlCommands.h"
#include "ZelConfigDocument.h"
#include "Zelcfg.h"
#include "Internals.h"

#ifndef ZELCONFIG_VERSION
#define ZELCONFIG_VERSION "unknown"
#endif

namespace zelcfg {

using zelconfig::Backend;
using zelconfig::Document;

namespace {

const char kCannotNormalise[] = "the normalised form would not read back: in anonymous mode an entry name "
                                "begins with '#', ';' or '[' once trimmed";

// The back end for FILE: the forced mode; for standard input block mode
// unless a mode is forced; else the library's own chooser, and block mode
// for a name it does not know, with a note under -v (an error with
// --strict-name).
bool ChooseInput(const Invocation& invocation, Input& input, int& status)
{
    input.path = invocation.operands.front();
    switch (invocation.mode) {
    case ModeChoice::kBlock:
        input.backend = Backend::kCfgBlock;
        return true;
    case ModeChoice::kAnonymous:
        input.backend = Backend::kCfgAnonymous;
        return true;
    case ModeChoice::kXml:
        input.backend = Backend::kXml;
        return true;
    case ModeChoice::kByPath:
        break;
    }
    input.backend = input.Stdin() ? Backend::kCfgBlock
                                  : zelconfig::ChooseBackend(input.path.c_str(), zelconfig::BackendUse::kRead);
    if (input.backend != Backend::kNone) {
        return true;
    }
    const char* const unknown = "the name contains none of .cfg, .inf, .cksum, .xml";
    if (invocation.strictName) {
        status = Fail(kExitFailure, input.path, std::string(unknown) + "; say --block, --anonymous or --xml");
        return false;
    }
    // Scripts editing /etc/foo.conf would get it on every call: -v asks for it.
    if (invocation.verbosity > 0) {
        std::cerr << "zelcfg: " << input.path << ": note: " << unknown
                  << "; reading it in block mode (--block, --anonymous or --xml says so)\n";
    }
    input.backend = Backend::kCfgBlock;
    return true;
}

// Why a CFG file could not be read or parsed, in words: the document's own
// reason, which names the line that stopped a parse.
std::string LoadFailure(int status, const Document& document)
{
    if (!document.Error().empty()) {
        const std::string_view text = document.Text();
        const size_t first = text.find_first_not_of(" \t\r\n");
        if (status != -2 && first != std::string_view::npos && text[first] == '<') {
            return document.Error() + "; it starts with '<': --xml reads it as XML";
        }
        return document.Error();
    }
    return status == -2 ? "cannot be read" : "cannot be parsed (status " + std::to_string(status) + ")";
}

// Reads the file, or standard input, into `document`: its status; -2 for
// what could not be read (Error() says why for a file).
int Read(Document& document, const Input& input, unsigned options)
{
    if (!input.Stdin()) {
        return document.Load(input.path, options);
    }
    return document.Read(0);
}

// Reads a CFG file into `document`; false after reporting the failure.
bool Load(Document& document, const Input& input, unsigned options, int& exitStatus)
{
    const int status = Read(document, input, options);
    if (status != 0) {
        exitStatus = Fail(kExitFailure, input.path, LoadFailure(status, document));
        return false;
    }
    return true;
}

// An entry as the command line names it: "BLOCK.ENTRY", or BLOCK and ENTRY
// as two operands.
struct EntryName
{
    std::string block, entry;
    std::string shown; // for messages: as given, or as list prints it
};

// How list and messages show an entry: "[a.b]k" where no key reaches it.
std::string Shown(const std::string& block, const std::string& entry)
{
    return block.find('.') == std::string::npos ? block + "." + entry : "[" + block + "]" + entry;
}

// The names from operands[1] (and [2] when `apart`), split as the library's
// lookups split a key: at the first '.'; without one, in anonymous mode the
// entry of "anonymous", in block mode the empty names (which a lookup of
// such a key also takes).
EntryName NameOf(const Invocation& invocation, bool apart, bool anonymous)
{
    const std::vector<std::string>& operands = invocation.operands;
    if (apart) {
        return {operands[1], operands[2], Shown(operands[1], operands[2])};
    }
    const std::string& key = operands[1];
    const zelconfig::CFGKeyParts parts = zelconfig::CFGSplitKey(key, anonymous);
    return {std::string(parts.block), std::string(parts.entry), key};
}

// Writes the output, ending each piece with NUL under --null, else with a
// line feed.
void Emit(const Invocation& invocation, const std::string& text)
{
    std::cout << text << (invocation.Has(kOptionNull) ? '\0' : '\n');
}

// get: a value as the library's getter of --type reads it.
int Get(const Invocation& invocation, const Input& input)
{
    const bool apart = invocation.operands.size() == 3;
    const EntryName name = NameOf(invocation, apart, input.Anonymous());
    std::string raw, text, missing = "no key " + name.shown;
    std::vector<std::string> values; // what to print
    int status = kExitFailure;
    if (input.backend == Backend::kXml) {
        // XML keys are paths: BLOCK ENTRY is the path BLOCK.ENTRY.
        const std::string key = apart ? name.block + "." + name.entry : name.shown;
        if (!XmlFind(input, key, raw, status)) {
            return status;
        }
    } else {
        Document document(input.Mode());
        if (!Load(document, input, 0, status)) {
            return status;
        }
        // The empty key names nothing; the empty block named apart is a block.
        status = !apart && invocation.operands[1].empty() ? -2 : document.Get(name.block, name.entry, raw);
        if (status == 0) {
            values = document.Values(name.block, name.entry);
        } else {
            missing = apart ? document.Missing(name.block, name.entry) : document.Missing(name.shown);
        }
    }
    if (status == 0) {
        status = ConvertTyped(invocation.type, raw, text);
    }
    // --null prints a CFG key's values one by one, each as the string getter
    // would read it alone; otherwise what the getter reads for the key.
    if (input.backend != Backend::kXml && invocation.type == ValueType::kString && invocation.Has(kOptionNull)) {
        for (std::string& value : values) {
            ConvertTyped(ValueType::kString, std::string(value), value);
        }
    } else {
        values.assign(1, text);
    }
    if (status == -2) {
        return Fail(kExitNotFound, input.path, missing);
    }
    if (invocation.Has(kOptionStrict)) {
        const std::string problem = PartialRead(invocation.type, raw);
        if (!problem.empty()) {
            return Fail(kExitConversion, input.path, name.shown + ": " + problem);
        }
    }
    if (status == -1) {
        return Fail(kExitConversion, input.path, name.shown + ": the value is neither \"true\" nor \"false\"");
    }
    if (status != 0 && status != 1) {
        return Fail(kExitFailure, input.path, name.shown + ": status " + std::to_string(status));
    }
    for (const std::string& value : values) {
        Emit(invocation, value);
    }
    if (status == 1) {
        return Fail(kExitConversion, input.path, name.shown + ": the value is out of range; printed as converted");
    }
    return Flushed(input.path);
}

// The names as the engine's editing operations take them; false with the
// reason when no line of the file could hold them. Candidate lines go
// through the parser's own classifier, so what is written is exactly what is
// read back.
bool Writable(const EntryName& name, const std::string& value, bool anonymous, std::string& error)
{
    // "[]" and "=v" read back, but hardly as anyone meant them.
    if (name.block.empty() || name.entry.empty()) {
        error = name.block.empty() ? "a block name cannot be empty" : "an entry name cannot be empty";
        return false;
    }
    // The tool leaves the global locale classic, whose facet the engine trims with.
    const std::ctype<char>& ctype = std::use_facet<std::ctype<char>>(std::locale());
    switch (zelconfig::CFGCheckWritable(name.block, name.entry, value, anonymous ? &ctype : nullptr)) {
    case zelconfig::CFGWritable::kWritable:
        return true;
    case zelconfig::CFGWritable::kBadBlockName:
        error = "a block name cannot hold ']' or a line feed";
        break;
    case zelconfig::CFGWritable::kBadEntry:
        error = "an entry name cannot hold '=' or a line feed, nor begin with '#', ';' or '['; "
                "a value cannot hold a line feed";
        break;
    case zelconfig::CFGWritable::kNotAnonymousBlock:
        error = "in anonymous mode every entry is in the block \"anonymous\"";
        break;
    case zelconfig::CFGWritable::kSpaceAtEnds:
        error = "anonymous mode trims white space at the ends of names and values";
        break;
    }
    return false;
}

// The three edits, as the table's handlers below pass them to Edit.
enum class EditKind { kSet, kUnset, kRemoveBlock };

// The edit itself, on the loaded document: the library's status, with the
// options that pick among several entries in `remedy` for its refusal.
int ApplyEdit(const Invocation& invocation, Document& document, EditKind kind, const EntryName& name, bool apart,
              const std::string& value, std::string& remedy)
{
    const bool anonymous = document.GetMode() == Document::Mode::kAnonymous;
    if (kind == EditKind::kRemoveBlock) {
        return document.RemoveBlock(invocation.operands[1]);
    }
    if (kind == EditKind::kUnset) {
        remedy = ": --all removes every one, --index N the Nth";
        if (invocation.Has(kOptionIndex) || invocation.Has(kOptionAll)) {
            return document.RemoveAt(name.block, name.entry, invocation.index);
        }
        return apart ? document.Remove(name.block, name.entry) : document.Remove(name.shown);
    }
    remedy = ": --all sets every one, --index N the Nth, --add appends another";
    int status;
    if (invocation.Has(kOptionAdd)) {
        status = document.Lines(name.block, name.entry).empty() ? -2 : document.Append(name.block, name.entry, value);
    } else if (invocation.Has(kOptionIndex) || invocation.Has(kOptionAll)) {
        status = document.SetAt(name.block, name.entry, invocation.index, value);
    } else {
        status = apart ? document.Set(name.block, name.entry, value) : document.Set(name.shown, value);
    }
    if (status == -2 && !invocation.Has(kOptionIndex)) {
        // The library decides whether adding is safe: a key names the block
        // it splits to only where no dotted block is meant.
        remedy.clear();
        return apart || anonymous ? document.Add(name.block, name.entry, value) : document.Add(name.shown, value);
    }
    return status;
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

// set, unset and remove-block: lock, read, edit the lines concerned, save
// atomically.
int Edit(const Invocation& invocation, const Input& input, EditKind kind)
{
    const bool anonymous = input.Anonymous();
    const size_t named = invocation.operands.size() - (kind == EditKind::kSet ? 1 : 0);
    const bool apart = kind != EditKind::kRemoveBlock && named == 3;
    const EntryName name = NameOf(invocation, apart, anonymous);
    std::string value, error, remedy;
    int status = kExitFailure;
    if (kind == EditKind::kSet && !ValueToSet(invocation, input.path, value, status)) {
        return status;
    }
    if (kind == EditKind::kRemoveBlock && invocation.operands[1].empty()) {
        return Fail(kExitFailure, input.path, "a block name cannot be empty");
    }
    if (kind != EditKind::kRemoveBlock) {
        if (!apart && (name.shown.empty() || (!anonymous && name.shown.find('.') == std::string::npos))) {
            return Fail(kExitFailure, input.path, "the key '" + name.shown + "' is not BLOCK.ENTRY");
        }
        if (!Writable(name, value, anonymous, error)) {
            return Fail(kExitFailure, input.path, error);
        }
    }
    Document document(input.Mode());
    const unsigned options = Document::kLock | (kind == EditKind::kSet ? Document::kCreate : 0u);
    const int loaded = document.Load(input.path, options, SaveOptions(invocation));
    if (loaded != 0) {
        return Fail(kExitFailure, input.path,
                    loaded == -2 ? SaveFailure(document.Error()) : LoadFailure(loaded, document));
    }
    status = ApplyEdit(invocation, document, kind, name, apart, value, remedy);
    if (status == -2) {
        return Fail(kExitNotFound, input.path, document.Error());
    }
    if (status == zelconfig::kEditAmbiguous) {
        return Fail(kExitFailure, input.path, document.Error() + remedy);
    }
    if (status == EINVAL && kind == EditKind::kRemoveBlock && anonymous) {
        return Fail(kExitFailure, input.path, "in anonymous mode the block \"anonymous\" holds every entry; "
                                              "remove them one by one");
    }
    if (status != 0) {
        return Fail(kExitFailure, input.path, "cannot edit the file (status " + std::to_string(status) + ")");
    }
    if (invocation.Has(kOptionNormalise) && (status = NormaliseAfterEdit(document, input.path)) != kExitOk) {
        return status;
    }
    if (const int saved = document.Save()) {
        return SaveFailed(saved, input.path, document.Error());
    }
    return kExitOk;
}

// set, unset and remove-block: the table's handlers for Edit.
int Set(const Invocation& invocation, const Input& input)
{
    return Edit(invocation, input, EditKind::kSet);
}

int Unset(const Invocation& invocation, const Input& input)
{
    return Edit(invocation, input, EditKind::kUnset);
}

int RemoveBlock(const Invocation& invocation, const Input& input)
{
    return Edit(invocation, input, EditKind::kRemoveBlock);
}

// blocks: the block names, in the order of their first headers in the file.
int Blocks(const Invocation& invocation, const Input& input)
{
    Document document(input.Mode());
    int status = kExitFailure;
    if (!Load(document, input, 0, status)) {
        return status;
    }
    for (const std::string& block : document.BlockNames(Document::Order::kFile)) {
        Emit(invocation, block);
    }
    return Flushed(input.path);
}

// list: the model, blocks in the order of their first headers in the file.
int List(const Invocation& invocation, const Input& input)
{
    Document document(input.Mode());
    int status = kExitFailure;
    if (!Load(document, input, 0, status)) {
        return status;
    }
    const std::vector<Document::Entry> entries = document.Entries(Document::Order::kFile);
    if (invocation.Has(kOptionNull)) {
        for (const Document::Entry& entry : entries) {
            std::cout << entry.block << '\0' << entry.name << '\0' << entry.value << '\0';
        }
    } else {
        // Each value as get prints it: without the line end a CR LF file leaves in it.
        std::string value;
        for (const Document::Entry& entry : entries) {
            ConvertTyped(ValueType::kString, entry.value, value);
            std::cout << Shown(entry.block, entry.name) << '=' << value << '\n';
        }
    }
    return Flushed(input.path);
}

// format: the normalised text on stdout; the file is left as it is.
int Format(const Invocation&, const Input& input)
{
    Document document(input.Mode());
    int status = kExitFailure;
    if (!Load(document, input, 0, status)) {
        return status;
    }
    if (document.Normalise() != 0) {
        return Fail(kExitFailure, input.path, kCannotNormalise);
    }
    std::cout << document.Text();
    return Flushed(input.path);
}

// lint: what reading the file would drop or change, and --diff's normalised form.
int Lint(const Invocation& invocation, const Input& input)
{
    // The bytes are kept whether or not they parse.
    Document document(input.Mode());
    const int status = Read(document, input, 0);
    if (status == -2) {
        return Fail(kExitFailure, input.path, LoadFailure(-2, document));
    }
    // A typed getter's partial reads are the tool's to tell, not the format's.
    const auto checker = [&invocation](const std::string& value) {
        const std::string partly = PartialRead(invocation.type, value);
        return partly.empty() ? partly : std::string("--type ") + TypeName(invocation.type) + ": " + partly;
    };
    const std::vector<zelconfig::Finding> findings
        = invocation.type == ValueType::kString ? document.Lint() : document.Lint(checker);
    for (const zelconfig::Finding& finding : findings) {
        std::cout << input.path << ':' << finding.line << ": " << finding.message << '\n';
    }
    bool changes = false;
    if (invocation.Has(kOptionDiff)) {
        // Only a model read to its end has a normalised form.
        if (status != 0) {
            return Fail(kExitFailure, input.path, "no normalised form to compare: " + LoadFailure(status, document));
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
    }
    const int written = Flushed(input.path);
    return written != kExitOk ? written : findings.empty() && !changes ? kExitOk : kExitNotFound;
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
        {"get", 2, 3, kOptionType | kOptionStrict | kOptionNull | kOptionStdin, Get, Get},
        {"set", 3, 4,
         kOptionType | kOptionStrict | kOptionNormalise | kOptionAttribute | kOptionAll | kOptionIndex | kOptionAdd
             | kOptionsSave,
         Set, XmlSet},
        {"unset", 2, 3, kOptionNormalise | kOptionAll | kOptionIndex | kOptionsSave, Unset, XmlUnset},
        {"remove-block", 2, 2, kOptionNormalise | kOptionsSave, RemoveBlock, nullptr},
        {"list", 1, 1, kOptionNull | kOptionStdin, List, XmlList},
        {"blocks", 1, 1, kOptionNull | kOptionStdin, Blocks, nullptr},
        {"format", 1, 1, kOptionStdin, Format, nullptr},
        {"lint", 1, 1, kOptionType | kOptionDiff | kOptionStdin, Lint, XmlLint},
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

namespace {

// Runs one command on the file it names, by that file's back end.
int RunCommand(const Command& command, const Invocation& invocation)
{
    Input input;
    int status = kExitFailure;
    if (!ChooseInput(invocation, input, status)) {
        return status;
    }
    if (input.backend != Backend::kXml) {
        if (invocation.Has(kOptionAttribute)) {
            return Fail(kExitFailure, input.path, "--attribute works on XML files only");
        }
        return command.run(invocation, input);
    }
    if (invocation.Has(kOptionNormalise)) {
        return Fail(kExitFailure, input.path, "--normalise works on CFG files only");
    }
    if (invocation.Has(kOptionIndex) || invocation.Has(kOptionAdd)) {
        return Fail(kExitFailure, input.path, "--index and --add work on CFG files only; an XML key takes [N]");
    }
    if (command.runXml == nullptr) {
        return Fail(kExitFailure, input.path,
                    invocation.command + " works on CFG files only; XML files take "
                        + CommandNames([](const Command& other) { return other.runXml != nullptr; }));
    }
    return command.runXml(invocation, input);
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
