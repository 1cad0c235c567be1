#include "DocumentPromise.h"

#include <algorithm>
#include <locale>
#include <map>
#include <vector>

#include "CCFGParser.h"
#include "TestFiles.h"
#include "cfg/CFGKey.h"
#include "cfg/CFGLine.h"
#include "cfg/CFGModel.h"
#include "cfg/CFGRead.h"
#include "cfg/CFGSavedForm.h"

namespace docpromise {

namespace {

using zelconfig::CFGClassifyLine;
using zelconfig::CFGLineKind;
using zelconfig::Document;

// Parses the text with the engine, as it parses a file holding it.
int Engine(const std::string& text, bool anonymous, CCFGParser& parser)
{
    parser.m_uiAnonymousMode = anonymous ? 1u : 0u;
    return zelconfig::CFGParseBytes(parser, text);
}

// Lines as compared here: without the empty piece after a last line feed.
std::vector<std::string> LinesOf(const std::string& text)
{
    std::vector<std::string> lines = Lines(text);
    if (lines.back().empty()) {
        lines.pop_back();
    }
    return lines;
}

// A name or value as anonymous mode keeps it: trimmed as the engine trims,
// by the global locale.
std::string_view Trimmed(std::string_view text)
{
    return zelconfig::CFGTrimAnonymous(text, std::use_facet<std::ctype<char>>(std::locale()));
}

// Whether anonymous mode would trim the text, so that it cannot be set as is.
bool SpaceAtEnds(std::string_view text)
{
    return Trimmed(text).size() != text.size();
}

// Whether `after` is `before` with some lines left out, each of which
// `mayGo` accepts.
template <typename MayGo>
bool OnlyRemoved(const std::vector<std::string>& before, const std::vector<std::string>& after, MayGo mayGo)
{
    size_t next = 0;
    for (const std::string& line : after) {
        while (next < before.size() && before[next] != line) {
            if (!mayGo(before[next++])) {
                return false;
            }
        }
        if (next++ == before.size()) {
            return false;
        }
    }
    for (; next < before.size(); ++next) {
        if (!mayGo(before[next])) {
            return false;
        }
    }
    return true;
}

// Whether Add(key) must refuse (block mode): a first header whose name holds
// '.' and is a longer prefix of the key; or a line a reader could take for
// the entry that no lookup finds: in the block's first section an entry whose
// name differs only by blanks at its ends, under a repeated header of the
// block one whose name is that or the same; without the block, a first
// header whose name differs from it only by blanks at its ends.
bool AddIsAmbiguous(const std::string& text, const std::string& key, const std::string& block,
                    const std::string& entry, bool dotted = true)
{
    std::map<std::string, int> headers; // name: how many seen so far
    bool blockHeld = false;
    for (const std::string& line : LinesOf(text)) {
        const auto classified = CFGClassifyLine(line);
        if (classified.kind == CFGLineKind::kHeader) {
            const std::string name(classified.name);
            if (++headers[name] == 1 && dotted && name.size() > block.size() && key.size() > name.size() + 1
                && key.compare(0, name.size(), name) == 0 && key[name.size()] == '.') {
                return true;
            }
            blockHeld = blockHeld || name == block;
        }
    }
    if (!blockHeld) {
        for (const auto& held : headers) {
            if (held.first != block && Trimmed(held.first) == Trimmed(block)) {
                return true;
            }
        }
        return false;
    }
    std::string current;
    bool first = false;
    std::map<std::string, int> seen;
    for (const std::string& line : LinesOf(text)) {
        const auto classified = CFGClassifyLine(line);
        if (classified.kind == CFGLineKind::kHeader) {
            current = std::string(classified.name);
            first = ++seen[current] == 1;
        } else if (classified.kind == CFGLineKind::kEntry && current == block
                   && Trimmed(classified.key) == Trimmed(entry) && (!first || classified.key != entry)) {
            return true;
        }
    }
    return false;
}

} // namespace

std::string CheckEdit(const std::string& text, Document::Mode mode, const Edit& edit, Outcome& outcome)
{
    const bool anonymous = mode == Document::Mode::kAnonymous;
    Document document(mode);
    const int parsed = document.Parse(text);
    // The engine's model of the text, edited below into the model the edit promises.
    CCFGParser engine;
    Engine(text, anonymous, engine);
    std::map<std::string, CBlock*>& promised = *engine.m_pmCFGData;

    // The key's names, split as lookups split them.
    const zelconfig::CFGKeyParts parts = zelconfig::CFGSplitKey(edit.key, anonymous);
    const std::string block(parts.block), entry(parts.entry);
    const std::string& value = edit.value;
    // In block mode the carriage return of a CR LF line is part of the value:
    // an edit keeps the one a replaced value ends in, and a new line ends in
    // CR LF when the file's first line does.
    const bool ownCr = !value.empty() && value.back() == '\r';
    const size_t firstFeed = text.find('\n');
    const bool crlfFile = firstFeed != std::string::npos && firstFeed > 0 && text[firstFeed - 1] == '\r';
    const auto written = [&](const std::string& stored) {
        return !anonymous && !ownCr && !stored.empty() && stored.back() == '\r' ? value + '\r' : value;
    };
    const std::string newValue = !anonymous && !ownCr && crlfFile ? value + '\r' : value;
    // CFGSetData of the key, each node keeping its carriage return.
    const auto setEvery = [&]() {
        std::vector<std::string> before;
        const auto held = promised.find(block);
        for (size_t i = 0; held != promised.end() && i < held->second->m_vecNodes.size(); ++i) {
            before.push_back(held->second->m_vecNodes[i].m_strValue);
        }
        const int status = engine.CFGSetData(block + "." + entry, value);
        for (size_t i = 0; status == 0 && i < before.size(); ++i) {
            CNode& node = promised[block]->m_vecNodes[i];
            if (node.m_strKey == entry) {
                node.m_strValue = written(before[i]);
            }
        }
        return status;
    };
    const auto entryIs = [&](std::string_view line) {
        const auto classified = CFGClassifyLine(line);
        return classified.kind == CFGLineKind::kEntry
               && (anonymous ? Trimmed(classified.key) : classified.key) == entry;
    };

    // The nodes of the key in the promised model, in file order.
    const auto nodesOfKey = [&]() {
        std::vector<size_t> found;
        const auto held = promised.find(block);
        for (size_t i = 0; held != promised.end() && i < held->second->m_vecNodes.size(); ++i) {
            if (held->second->m_vecNodes[i].m_strKey == entry) {
                found.push_back(i);
            }
        }
        return found;
    };
    // What Add refuses as no line could hold it: 22.
    const char first = entry.empty() ? '\0' : entry.front();
    const bool unwritable = block.find_first_of("]\n") != std::string::npos
                            || entry.find_first_of("=\n") != std::string::npos || first == '#' || first == ';'
                            || first == '[' || value.find('\n') != std::string::npos
                            || (anonymous && (block != zelconfig::kCFGAnonymousBlock || SpaceAtEnds(entry)
                                              || SpaceAtEnds(value)));

    int expected = 0;
    switch (edit.op) {
    case Op::kSetAt: {
        outcome.status = document.SetAt(block, entry, edit.index, value);
        const std::vector<size_t> nodes = nodesOfKey();
        if (value.find('\n') != std::string::npos || (anonymous && SpaceAtEnds(value))) {
            expected = EINVAL;
        } else if (edit.index == 0 || edit.index > nodes.size()) {
            expected = edit.index == 0 ? setEvery() : -2;
        } else {
            std::string& stored = promised[block]->m_vecNodes[nodes[edit.index - 1]].m_strValue;
            stored = written(stored);
        }
        break;
    }
    case Op::kRemoveAt: {
        outcome.status = document.RemoveAt(block, entry, edit.index);
        const std::vector<size_t> nodes = nodesOfKey();
        if (edit.index == 0 || edit.index > nodes.size()) {
            expected = edit.index == 0 && !nodes.empty() ? 0 : -2;
            for (size_t i = nodes.size(); expected == 0 && i-- > 0;) {
                promised[block]->m_vecNodes.erase(promised[block]->m_vecNodes.begin() + static_cast<long>(nodes[i]));
            }
        } else {
            promised[block]->m_vecNodes.erase(promised[block]->m_vecNodes.begin()
                                              + static_cast<long>(nodes[edit.index - 1]));
        }
        break;
    }
    case Op::kAppend: {
        outcome.status = document.Append(block, entry, value);
        const std::vector<size_t> nodes = nodesOfKey();
        if (unwritable) {
            expected = EINVAL;
        } else if (nodes.empty() && !anonymous && parsed == 0 && AddIsAmbiguous(text, edit.key, block, entry, false)) {
            expected = zelconfig::kEditAmbiguous;
        } else {
            CBlock*& added = promised[block];
            added = added != nullptr ? added : new CBlock();
            const size_t at = nodes.empty() ? added->m_vecNodes.size() : nodes.back() + 1;
            added->m_vecNodes.insert(added->m_vecNodes.begin() + static_cast<long>(at), CNode{"", entry, newValue});
        }
        break;
    }
    case Op::kSet: {
        outcome.status = document.Set(edit.key, value);
        if (edit.key.empty() || value.find('\n') != std::string::npos || (anonymous && SpaceAtEnds(value))) {
            expected = EINVAL;
        } else if (nodesOfKey().size() > 1) {
            expected = zelconfig::kEditAmbiguous; // one entry of several cannot be meant
        } else {
            expected = setEvery();
        }
        break;
    }
    case Op::kAdd: {
        outcome.status = document.Add(edit.key, value);
        if (edit.key.empty() || unwritable) {
            expected = EINVAL;
        } else if (!anonymous && parsed == 0 && AddIsAmbiguous(text, edit.key, block, entry)) {
            expected = zelconfig::kEditAmbiguous;
        } else {
            CBlock*& added = promised[block];
            added = added != nullptr ? added : new CBlock();
            added->m_vecNodes.push_back(CNode{"", entry, newValue});
        }
        break;
    }
    case Op::kRemove: {
        outcome.status = document.Remove(edit.key);
        expected = edit.key.empty() ? EINVAL : nodesOfKey().size() > 1 ? zelconfig::kEditAmbiguous : -2;
        auto found = promised.find(block);
        if (expected == -2 && found != promised.end()) {
            std::vector<CNode>& nodes = found->second->m_vecNodes;
            const size_t before = nodes.size();
            nodes.erase(std::remove_if(nodes.begin(), nodes.end(),
                                       [&](const CNode& node) { return node.m_strKey == entry; }),
                        nodes.end());
            expected = nodes.size() != before ? 0 : -2;
        }
        break;
    }
    case Op::kRemoveBlock: {
        outcome.status = document.RemoveBlock(edit.key);
        const auto found = promised.find(edit.key);
        expected = anonymous && edit.key == zelconfig::kCFGAnonymousBlock ? EINVAL : found != promised.end() ? 0 : -2;
        if (expected == 0) {
            delete found->second;
            promised.erase(found);
        }
        break;
    }
    case Op::kNormalise:
        outcome.status = document.Normalise();
        // A trimmed name may begin like a comment or a header and read back as one.
        for (const auto& named : promised) {
            for (const CNode& node : named.second->m_vecNodes) {
                if (anonymous && !node.m_strKey.empty() && std::string("#;[").find(node.m_strKey[0]) != std::string::npos) {
                    expected = EINVAL;
                }
            }
        }
        break;
    }
    outcome.text = std::string(document.Text());
    if (parsed != 0) {
        expected = EINVAL; // a file read only in part is not edited
    }
    if (outcome.status != expected) {
        return "status " + std::to_string(outcome.status) + ", expected " + std::to_string(expected);
    }
    if (document.Changed() != (outcome.text != text)) {
        return "Changed() disagrees with the bytes";
    }
    if (outcome.status != 0) {
        return outcome.text == text ? "" : "a refused edit changed the bytes";
    }

    CCFGParser reread;
    if (Engine(outcome.text, anonymous, reread) != 0) {
        return "the result does not parse";
    }
    // A removal keeps the comments that are not its own; they then join the
    // comment of what follows them, so only blocks, keys and values are promised.
    if (edit.op == Op::kRemove || edit.op == Op::kRemoveBlock || edit.op == Op::kRemoveAt) {
        for (CCFGParser* parser : {&reread, &engine}) {
            for (auto& named : *parser->m_pmCFGData) {
                named.second->m_strComment.clear();
                for (CNode& node : named.second->m_vecNodes) {
                    node.m_strComment.clear();
                }
            }
        }
    }
    if (DumpModel(reread) != DumpModel(engine)) {
        return "model:\n" + DumpModel(reread) + "promised:\n" + DumpModel(engine);
    }

    // The lines the edit did not have to touch are unchanged, in place.
    const std::vector<std::string> before = LinesOf(text), after = LinesOf(outcome.text);
    bool linesKept = true;
    switch (edit.op) {
    case Op::kSet:
    case Op::kSetAt:
        linesKept = before.size() == after.size();
        for (size_t i = 0; linesKept && i < before.size(); ++i) {
            if (before[i] != after[i]) {
                const auto was = CFGClassifyLine(before[i]), now = CFGClassifyLine(after[i]);
                linesKept = entryIs(before[i]) && now.kind == CFGLineKind::kEntry && now.key == was.key
                            && (anonymous ? Trimmed(now.value) == value
                                          : now.value == written(std::string(was.value)));
            }
        }
        break;
    case Op::kAdd:
    case Op::kAppend: {
        size_t prefix = 0, suffix = 0;
        while (prefix < before.size() && prefix < after.size() && before[prefix] == after[prefix]) {
            ++prefix;
        }
        while (suffix + prefix < before.size() && suffix + prefix < after.size()
               && before[before.size() - 1 - suffix] == after[after.size() - 1 - suffix]) {
            ++suffix;
        }
        const size_t added = after.size() - before.size();
        linesKept = prefix + suffix == before.size() && (added == 1 || added == 2)
                    && entryIs(after[after.size() - 1 - suffix]);
        break;
    }
    case Op::kRemove:
    case Op::kRemoveAt:
        linesKept = OnlyRemoved(before, after, [&](const std::string& line) {
            return CFGClassifyLine(line).kind == CFGLineKind::kComment || entryIs(line);
        });
        break;
    case Op::kRemoveBlock:
        // In block mode the block's whole text goes, whatever its lines hold.
        linesKept = OnlyRemoved(before, after, [&](const std::string& line) {
            const auto kind = CFGClassifyLine(line).kind;
            return !anonymous || kind == CFGLineKind::kComment || kind == CFGLineKind::kHeader;
        });
        break;
    case Op::kNormalise:
        break;
    }
    return linesKept ? "" : "lines changed that the edit need not touch";
}

std::string CheckReads(const std::string& text, Document::Mode mode)
{
    const bool anonymous = mode == Document::Mode::kAnonymous;
    CCFGParser engine;
    const int status = Engine(text, anonymous, engine);
    Document document(mode);
    if (document.Parse(text) != status) {
        return "parse status differs from the engine's " + std::to_string(status);
    }
    std::vector<std::string> keys{"", ".", "none.none"};
    std::vector<std::string> blockNames;
    std::vector<Document::Entry> entries;
    for (const auto& [name, block] : *engine.m_pmCFGData) {
        keys.push_back(name + ".");
        blockNames.push_back(name);
        for (const CNode& node : block->m_vecNodes) {
            entries.push_back({name, node.m_strKey, node.m_strValue});
            // A block and entry named apart read as their key does, where a key reaches them.
            std::string value;
            if (name.find('.') == std::string::npos
                && (document.Get(name, node.m_strKey, value) != 0
                    || value != engine.CFGGetData(name + "." + node.m_strKey))) {
                return "block '" + name + "', entry '" + node.m_strKey + "' reads otherwise than its key";
            }
            keys.push_back(name + "." + node.m_strKey);
            keys.push_back(node.m_strKey);
        }
    }
    for (const std::string& key : keys) {
        std::string fromEngine = "x", fromDocument = "x";
        const int found = engine.CFGGetData(key, fromEngine);
        if (document.Get(key, fromDocument) != found || fromDocument != fromEngine
            || document.Get(key) != engine.CFGGetData(key)) {
            return "key '" + key + "' reads '" + fromDocument + "', the engine's '" + fromEngine + "'";
        }
    }
    const auto sameEntry = [](const Document::Entry& a, const Document::Entry& b) {
        return a.block == b.block && a.name == b.name && a.value == b.value;
    };
    const std::vector<Document::Entry> listed = document.Entries();
    if (document.BlockNames() != blockNames
        || !std::equal(listed.begin(), listed.end(), entries.begin(), entries.end(), sameEntry)) {
        return "the blocks or entries listed differ from the engine's model";
    }
    // In file order: the same blocks and entries, only ordered otherwise.
    std::vector<std::string> inFileOrder = document.BlockNames(Document::Order::kFile);
    const std::vector<Document::Entry> listedInFileOrder = document.Entries(Document::Order::kFile);
    std::sort(inFileOrder.begin(), inFileOrder.end());
    if (inFileOrder != blockNames
        || !std::is_permutation(listedInFileOrder.begin(), listedInFileOrder.end(), entries.begin(), entries.end(),
                                sameEntry)) {
        return "the blocks or entries listed in file order differ from the engine's model";
    }
    if (status == 0) {
        // The bytes the engine's save writes for its model.
        std::string bytes;
        zelconfig::ForEachSavedLine(*engine.m_pmCFGData, [&bytes](std::string_view a, std::string_view b,
                                                                  std::string_view c, std::string_view d) {
            bytes.append(a).append(b).append(c).append(d);
        });
        if (document.Normalise() == 0 && document.Text() != bytes) {
            return "normalised form differs from the engine's save:\n" + std::string(document.Text()) + "---\n" + bytes;
        }
    }
    return "";
}

} // namespace docpromise
