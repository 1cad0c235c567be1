// CCFGParser::CFGParseFile: the lines of a file into a fresh model.
#include "CCFGParser.h"

#include <cerrno>
#include <locale>
#include <memory>
#include <new>
#include <string_view>

#include <boost/algorithm/string/trim.hpp>
#include <boost/range/iterator_range.hpp>

#include "CFGBlockMap.h"
#include "CFGLine.h"
#include "CFGLineReader.h"
#include "platform/ZelLog.h"

using namespace zelconfig;

namespace {

// White space as a locale's ctype facet classes it: boost's is_space(locale),
// but with the facet looked up once per parse rather than once per character.
struct IsSpace
{
    const std::ctype<char>* facet;
    bool operator()(char c) const { return facet->is(std::ctype_base::space, c); }
};

// What one parse carries from line to line.
struct ParseState
{
    const CFGLineReader& reader; // counted ahead to size a block's entries
    CFGBlockMap& blocks;         // the model being filled
    CBlock* anonymous;           // anonymous mode's block, which takes every entry; else NULL
    IsSpace isSpace;             // anonymous mode trims keys and values with it
    std::string pending;         // comment lines waiting for the next header or entry
    CBlock* current = nullptr;   // the block of the last header
    CBlock discard;              // stands for a block whose name was taken; never filled
};

// Anonymous mode drops the blanks around a key and its value, so that
// "key = value" reads as "key" and "value".
std::string_view Trim(std::string_view text, IsSpace isSpace)
{
    const auto trimmed = boost::algorithm::trim_copy_if(
        boost::make_iterator_range(text.data(), text.data() + text.size()), isSpace);
    return std::string_view(trimmed.begin(), static_cast<size_t>(trimmed.size()));
}

// Hands the pending comment over as a copy of its exact size, so that the
// model keeps no spare room, while `pending` keeps its room for the next one.
void TakeComment(std::string& target, std::string& pending)
{
    if (!pending.empty()) {
        target = std::string(pending);
        pending.clear();
    }
}

// Adds the block of a header line and returns where its entries go: when the
// name is taken, the first block keeps it and the newcomer's entries are
// lost, so they go to `discard`.
CBlock* AddBlock(ParseState& state, std::string_view name)
{
    std::string key(name);
    auto hint = state.blocks.end();
    // Files usually list blocks in order: then the new name goes last, no search needed.
    if (!state.blocks.empty() && !(state.blocks.rbegin()->first < key)) {
        hint = state.blocks.lower_bound(key);
        if (hint != state.blocks.end() && hint->first == key) {
            state.pending.clear();
            return &state.discard;
        }
    }
    // The block is complete before the map sees it, so that an allocation
    // failing on the way leaves neither a NULL block nor a half-read one.
    std::unique_ptr<CBlock> block(new CBlock);
    TakeComment(block->m_strComment, state.pending);
    state.blocks.emplace_hint(hint, std::move(key), block.get());
    return block.release();
}

// One line of the count ahead: counts it when it is an entry, and says
// whether it ends the block being counted (the next header in block mode; in
// both modes a header without ']', where the parse stops).
bool CountLine(std::string_view line, bool anonymous, size_t& count)
{
    switch (CFGClassifyLine(line).kind) {
    case CFGLineKind::kEntry:
        ++count;
        return false;
    case CFGLineKind::kHeader:
        return !anonymous;
    case CFGLineKind::kUnterminatedHeader:
        return true;
    case CFGLineKind::kComment:
    case CFGLineKind::kIgnored:
        break;
    }
    return false;
}

// Counts ahead over the bytes a reader holds, which costs no read.
// `lastIsWhole` says whether bytes after the last line feed are a line or
// only its beginning. True when the count is complete: the block ends within
// `text`, or the file does.
bool CountEntries(std::string_view text, bool lastIsWhole, bool anonymous, size_t& count)
{
    for (;;) {
        const size_t feed = text.find('\n');
        if (feed == std::string_view::npos) {
            if (lastIsWhole) {
                CountLine(text, anonymous, count);
            }
            return lastIsWhole;
        }
        if (CountLine(text.substr(0, feed), anonymous, count)) {
            return true;
        }
        text.remove_prefix(feed + 1);
    }
}

// How many entries the current block has still to come, so that its vector
// can be allocated once at its exact size: one grown by doubling moves its
// entries to fresh pages at every growth, which doubled the parse of a file
// of one large block. A block that goes on beyond the bytes the reader holds
// is counted by reading the rest of the file ahead; a file that cannot be
// read twice (a pipe) only as far as it is buffered. The count only sizes a
// vector, so a file that changes meanwhile costs a reallocation and nothing else.
size_t CountEntriesAhead(const CFGLineReader& reader, bool anonymous)
{
    size_t count = 0;
    if (CountEntries(reader.Unread(), reader.HoldsRest(), anonymous, count)) {
        return count;
    }
    CFGLineReader ahead;
    if (!ahead.OpenAhead(reader)) {
        return count;
    }
    count = 0;
    std::string_view line;
    while (ahead.Next(line) && !CountLine(line, anonymous, count)) {
    }
    return count;
}

// Appends an entry with the pending comment. An entry whose strings cannot
// be allocated is taken out again, so that a failure leaves the block with
// exactly the entries before it. Strings are constructed at their exact
// size: assign() into an empty string would round a short one up. A block's
// vector gets room for all its entries at its first one.
void AppendEntry(ParseState& state, CBlock& block, std::string_view key, std::string_view value)
{
    std::vector<CNode>& nodes = block.m_vecNodes;
    if (nodes.size() == nodes.capacity()) {
        nodes.reserve(nodes.size() + 1 + CountEntriesAhead(state.reader, state.anonymous != nullptr));
    }
    CNode& node = nodes.emplace_back();
    try {
        TakeComment(node.m_strComment, state.pending);
        node.m_strKey = std::string(key);
        node.m_strValue = std::string(value);
    } catch (const std::bad_alloc&) {
        nodes.pop_back();
        throw;
    }
}

// An entry line goes to the anonymous block trimmed, or to the current
// block as it stands: 0, or the status that ends the parse.
int ReadEntry(ParseState& state, const CFGLine& line)
{
    if (state.anonymous != nullptr) {
        AppendEntry(state, *state.anonymous, Trim(line.key, state.isSpace),
                    Trim(line.value, state.isSpace));
    } else if (state.current == nullptr) {
        ZEL_LOG(kLogError, "CFGParseFile", "l_pBlock is NULL");
        return EINVAL;
    } else if (state.current == &state.discard) {
        state.pending.clear();
    } else {
        AppendEntry(state, *state.current, line.key, line.value);
    }
    return 0;
}

// The lines of a file into the model, each by its kind: 0, or the status
// that ended the parse.
int ParseLines(CFGLineReader& reader, ParseState& state)
{
    std::string_view text;
    while (reader.Next(text)) {
        const CFGLine line = CFGClassifyLine(text);
        switch (line.kind) {
        case CFGLineKind::kComment:
            state.pending.append(text.data(), text.size());
            break;
        case CFGLineKind::kUnterminatedHeader:
            ZEL_LOG(kLogError, "CFGParseFile", "End Tag missing");
            return -1;
        case CFGLineKind::kHeader:
            state.current = AddBlock(state, line.name);
            break;
        case CFGLineKind::kEntry:
            if (const int status = ReadEntry(state, line); status != 0) {
                return status;
            }
            break;
        case CFGLineKind::kIgnored:
            break;
        }
    }
    if (reader.Failed()) {
        // The file opened but could not be read to its end.
        ZEL_LOG(kLogError, "CFGParseFile", "Error Opening File");
        return -2;
    }
    return 0;
}

} // namespace

int CCFGParser::CFGParseFile(const std::string& strPath)
{
    // Every parse starts from a fresh map; the previous one is let go (and,
    // since nothing can reach it any more, freed). The path may be a string
    // of the previous map, which is therefore freed only after the opening.
    CFGBlockMap* blocks = new (std::nothrow) CFGBlockMap;
    std::unique_ptr<CFGBlockMap, void (*)(CFGBlockMap*)> previous(m_pmCFGData, FreeBlockMap);
    m_pmCFGData = blocks;
    if (blocks == nullptr) {
        ZEL_LOG(kLogError, "CFGParseFile", "m_pmCFGData is NULL");
        return EINVAL;
    }

    CFGLineReader reader;
    const bool opened = reader.Open(strPath);
    previous.reset();
    if (!opened) {
        ZEL_LOG(kLogError, "CFGParseFile", "Error Opening File");
        return -2;
    }

    CBlock* anonymous = nullptr;
    if (m_uiAnonymousMode != 0) {
        std::unique_ptr<CBlock> block(new CBlock);
        blocks->emplace(kCFGAnonymousBlock, block.get());
        anonymous = block.release();
    }
    // Anonymous-mode trimming classes white space by the global locale of the moment.
    const std::locale locale;
    ParseState state{reader, *blocks, anonymous, IsSpace{&std::use_facet<std::ctype<char>>(locale)}, {}, nullptr, {}};
    const int status = ParseLines(reader, state);
    return status;
}
