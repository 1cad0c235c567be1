// The engine's model, built from what the one reading of the format reports.
#include "CFGModel.h"

#include <memory>
#include <new>
#include <string>
#include <vector>

#include "CFGReadLoop.h"
#include "platform/ZelLog.h"

namespace zelconfig {

namespace {

// One line of the count ahead: counts it when it is an entry, and says
// whether it ends the block being counted (the next header in block mode; in
// both modes a header without ']', where the parse stops).
bool CountLine(std::string_view line, bool anonymous, size_t& count)
{
    switch (reading::Classify(line).kind) {
    case CFGLineKind::kEntry:
        ++count;
        return false;
    case CFGLineKind::kHeader:
        return !anonymous;
    case CFGLineKind::kUnterminatedHeader:
        return true;
    case CFGLineKind::kComment:
    case CFGLineKind::kIgnored:
    case CFGLineKind::kContinuation: // no CFG line is one
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

// Fills the model as the reading decides, line by line.
class ModelBuilder final : public CFGListener
{
public:
    ModelBuilder(const CFGLineReader& reader, bool anonymous, CFGBlockMap& blocks)
        : m_reader(reader), m_anonymous(anonymous), m_blocks(blocks)
    {
    }

    // A new name gets its block, complete before the map sees it, so that an
    // allocation failing on the way leaves neither a NULL block nor a
    // half-made one.
    bool ClaimBlock(std::string_view name, std::string_view comment) override
    {
        std::string key(name);
        auto hint = m_blocks.end();
        // Files usually list blocks in order: then the new name goes last, no search needed.
        if (!m_blocks.empty() && !(m_blocks.rbegin()->first < key)) {
            hint = m_blocks.lower_bound(key);
            if (hint != m_blocks.end() && hint->first == key) {
                return false;
            }
        }
        std::unique_ptr<CBlock> block(new CBlock);
        TakeComment(block->m_strComment, comment);
        m_blocks.emplace_hint(hint, std::move(key), block.get());
        m_current = block.release();
        if (m_anonymous && m_entries == nullptr) {
            m_entries = m_current; // the first claim in anonymous mode is its block
        }
        return true;
    }

    void Report(const CFGReport& report) override
    {
        switch (report.fate) {
        case CFGFate::kEntryKept:
            AppendEntry(m_anonymous ? *m_entries : *m_current, report);
            break;
        case CFGFate::kStopUnterminated:
            ZEL_LOG(kLogError, "CFGParseFile", "End Tag missing");
            break;
        case CFGFate::kStopOutsideBlock:
            ZEL_LOG(kLogError, "CFGParseFile", "l_pBlock is NULL");
            break;
        case CFGFate::kComment:
        case CFGFate::kBlockOpened: // made complete when claimed
        case CFGFate::kBlockRepeated:
        case CFGFate::kEntryDropped:
        case CFGFate::kIgnored:
        case CFGFate::kContinuation: // the engine reads no INI file
            break;
        }
    }

private:
    // A copy of the comment's exact size, so that the model keeps no spare room.
    static void TakeComment(std::string& target, std::string_view comment)
    {
        if (!comment.empty()) {
            target = std::string(comment);
        }
    }

    // Appends an entry with its comment. An entry whose strings cannot be
    // allocated is taken out again, so that a failure leaves the block with
    // exactly the entries before it. Strings are constructed at their exact
    // size: assign() into an empty string would round a short one up. A
    // block's vector gets room for all its entries at its first one.
    void AppendEntry(CBlock& block, const CFGReport& report)
    {
        std::vector<CNode>& nodes = block.m_vecNodes;
        if (nodes.size() == nodes.capacity()) {
            nodes.reserve(nodes.size() + 1 + CountEntriesAhead(m_reader, m_anonymous));
        }
        CNode& node = nodes.emplace_back();
        try {
            TakeComment(node.m_strComment, report.comment);
            node.m_strKey = std::string(report.line.key);
            node.m_strValue = std::string(report.line.value);
        } catch (const std::bad_alloc&) {
            nodes.pop_back();
            throw;
        }
    }

    const CFGLineReader& m_reader; // counted ahead to size a block's entries
    bool m_anonymous;
    CFGBlockMap& m_blocks;
    CBlock* m_current = nullptr; // the block of the last new header
    CBlock* m_entries = nullptr; // anonymous mode's block, which takes every entry
};

} // namespace

void FreeBlockMap(CFGBlockMap* blocks)
{
    if (blocks == nullptr) {
        return;
    }
    for (auto& entry : *blocks) {
        delete entry.second;
    }
    delete blocks;
}

int CFGReadModel(CFGLineReader& reader, const std::ctype<char>* anonymous, CFGBlockMap& blocks)
{
    ModelBuilder builder(reader, anonymous != nullptr, blocks);
    // The loop instantiated for the builder itself: the engine's parse makes
    // no virtual call a line.
    const int status = reading::ReadLines(reader, CFGReadMode{anonymous, false}, builder);
    if (status == kStatusNotFound) {
        // The file opened but could not be read to its end.
        ZEL_LOG(kLogError, "CFGParseFile", "Error Opening File");
    }
    return status;
}

int CFGParseBytes(CCFGParser& parser, std::string_view bytes)
{
    FreeBlockMap(parser.m_pmCFGData);
    parser.m_pmCFGData = new CFGBlockMap;
    CFGLineReader reader;
    reader.OpenBytes(bytes);
    const std::locale locale;
    return CFGReadModel(reader, parser.m_uiAnonymousMode != 0 ? &std::use_facet<std::ctype<char>>(locale) : nullptr,
                        *parser.m_pmCFGData);
}

} // namespace zelconfig
