#include "CCFGParser.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <locale>
#include <memory>
#include <new>
#include <string_view>
#include <sys/uio.h>
#include <unistd.h>

#include <boost/algorithm/string/trim.hpp>
#include <boost/range/iterator_range.hpp>

#include "CFGLine.h"
#include "CFGLineReader.h"
#include "CFGSavedForm.h"
#include "platform/FileIO.h"
#include "platform/ZelLog.h"

using namespace zelconfig;

static_assert(sizeof(unsigned int) == 4, "m_uiAnonymousMode is a 32-bit field");

namespace {

using BlockMap = std::map<std::string, CBlock*>;

const char kAnonymousBlock[] = "anonymous";

// Frees a block map and every block in it; the map may hold NULL blocks.
void FreeBlockMap(BlockMap* pBlocks)
{
    if (pBlocks == nullptr) {
        return;
    }
    for (auto& entry : *pBlocks) {
        delete entry.second;
    }
    delete pBlocks;
}

// Hands the pending comment to a new block or entry: a copy of its exact
// size, while `pending` is emptied but keeps its room for the next comment.
void TakeComment(std::string& target, std::string& pending)
{
    if (!pending.empty()) {
        target = std::string(pending);
        pending.clear();
    }
}

// Adds a block for a header line and returns the block its entries go to.
// When the name is taken, the first block keeps it and the newcomer's entries
// are lost; they are sent to `discard` so that nothing is kept for them.
CBlock* AddBlock(BlockMap& blocks, std::string_view name, std::string& pending, CBlock& discard)
{
    std::string key(name);
    auto hint = blocks.end();
    // Files usually list blocks in order: then the new name goes last, no search needed.
    if (!blocks.empty() && !(blocks.rbegin()->first < key)) {
        hint = blocks.lower_bound(key);
        if (hint != blocks.end() && hint->first == key) {
            pending.clear();
            return &discard;
        }
    }
    // The block is complete before the map sees it, so that an allocation
    // failing on the way leaves neither a NULL block nor a half-read one.
    std::unique_ptr<CBlock> pBlock(new CBlock);
    TakeComment(pBlock->m_strComment, pending);
    blocks.emplace_hint(hint, std::move(key), pBlock.get());
    return pBlock.release();
}

// White space as a locale's ctype facet classes it: boost's is_space(locale),
// but with the facet looked up once rather than for every character.
struct IsSpace
{
    const std::ctype<char>* facet;
    bool operator()(char c) const { return facet->is(std::ctype_base::space, c); }
};

// Anonymous-mode trimming of keys and values.
std::string_view Trim(std::string_view text, IsSpace isSpace)
{
    const auto trimmed = boost::algorithm::trim_copy_if(
        boost::make_iterator_range(text.data(), text.data() + text.size()), isSpace);
    return std::string_view(trimmed.begin(), static_cast<size_t>(trimmed.size()));
}

// The lookup key's block and entry names, both viewing into the key.
struct KeyParts
{
    std::string_view block;
    std::string_view entry;
};

// Splits a key at its first '.'. Without one, both names stay empty unless
// `anonymousBlock` is given, which then receives the whole key as its entry.
KeyParts SplitKey(const std::string& key, const char* anonymousBlock)
{
    KeyParts parts;
    const size_t dot = key.find('.');
    if (dot != std::string::npos) {
        parts.block = std::string_view(key).substr(0, dot);
        parts.entry = std::string_view(key).substr(dot + 1);
    } else if (anonymousBlock != nullptr) {
        parts.block = anonymousBlock;
        parts.entry = key;
    }
    return parts;
}

// The block of that name, if it exists and holds entries. Names are unique
// keys of the map, so its own search finds the one block a walk would.
CBlock* FindBlock(BlockMap& blocks, std::string_view name)
{
    // The map's comparator takes only std::string. A name of usual length is
    // copied into a string of this thread that keeps its room, so that a
    // lookup does not allocate; a longer one into a string of its own, so
    // that one long lookup does not keep its room for the thread's life.
    constexpr size_t kKeptRoom = 256;
    thread_local std::string t_name;
    std::string longName;
    std::string& key = name.size() <= kKeptRoom ? t_name : longName;
    key.assign(name.data(), name.size());
    const auto found = blocks.find(key);
    if (found == blocks.end() || found->second == nullptr || found->second->m_vecNodes.empty()) {
        return nullptr;
    }
    return found->second;
}

// Writes one line from up to four pieces in a single system call. Write
// errors are deliberately not reported by a save.
void WriteLine(int fd, std::string_view a, std::string_view b, std::string_view c = {},
               std::string_view d = {})
{
    iovec parts[4];
    int count = 0;
    // A line of usual length is joined first and goes out with write(): the
    // kernel takes one buffer faster than it walks a vector of them, and the
    // copy costs less than the difference.
    char joined[1024];
    if (a.size() + b.size() + c.size() + d.size() <= sizeof joined) {
        size_t size = 0;
        for (std::string_view piece : {a, b, c, d}) {
            if (!piece.empty()) { // an empty view may hold no pointer at all
                std::memcpy(joined + size, piece.data(), piece.size());
                size += piece.size();
            }
        }
        parts[0].iov_base = joined;
        parts[0].iov_len = size;
        count = size > 0 ? 1 : 0;
    } else {
        for (std::string_view piece : {a, b, c, d}) {
            if (!piece.empty()) {
                parts[count].iov_base = const_cast<char*>(piece.data());
                parts[count].iov_len = piece.size();
                ++count;
            }
        }
    }
    WriteAll(fd, parts, count);
}

// One line of the count ahead: counts it when it is an entry, and says
// whether it ends the current block (the next header in block mode; in both
// modes a header without ']', where the parse stops).
bool CountLine(std::string_view line, bool bAnonymous, size_t& count)
{
    switch (CFGClassifyLine(line).kind) {
    case CFGLineKind::Entry:
        ++count;
        return false;
    case CFGLineKind::Header:
        return !bAnonymous;
    case CFGLineKind::UnterminatedHeader:
        return true;
    case CFGLineKind::Comment:
    case CFGLineKind::Ignored:
        break;
    }
    return false;
}

// The count ahead over the bytes a reader holds. `lastIsWhole` says whether
// bytes after the last line feed are a line or only its beginning. True when
// the count is complete: the block ends within `text`, or the file does.
bool CountEntries(std::string_view text, bool lastIsWhole, bool bAnonymous, size_t& count)
{
    for (;;) {
        const size_t feed = text.find('\n');
        if (feed == std::string_view::npos) {
            if (lastIsWhole) {
                CountLine(text, bAnonymous, count);
            }
            return lastIsWhole;
        }
        if (CountLine(text.substr(0, feed), bAnonymous, count)) {
            return true;
        }
        text.remove_prefix(feed + 1);
    }
}

// How many entries the current block has still to come. Counted in the bytes
// the reader holds, or, for a block that goes on beyond them, by reading the
// rest of the file ahead with the one classifier; only as far as it is
// buffered when the file cannot be read twice (a pipe). The count only sizes
// a vector, so a file that changes meanwhile costs a reallocation and
// nothing else.
size_t CountEntriesAhead(const CFGLineReader& reader, bool bAnonymous)
{
    size_t count = 0;
    if (CountEntries(reader.Unread(), reader.HoldsRest(), bAnonymous, count)) {
        return count;
    }
    CFGLineReader ahead;
    if (!ahead.OpenAhead(reader)) {
        return count;
    }
    count = 0;
    std::string_view line;
    while (ahead.Next(line) && !CountLine(line, bAnonymous, count)) {
    }
    return count;
}

// Appends an entry to its block, handing it the pending comment. An entry
// whose strings cannot be allocated is taken out again, so that a failure
// leaves the block with exactly the entries before it. Each string is
// constructed at its exact size: assign() into an empty string would round a
// short one up to twice the inline capacity. A block that outgrows the room
// it was given counts the rest of its entries and grows once, to its exact
// size: a vector grown by doubling keeps up to half of itself unused and
// moves its entries to fresh pages at every growth.
void AppendNode(CBlock& block, std::string& pending, std::string_view key, std::string_view value,
                const CFGLineReader& reader, bool bAnonymous)
{
    std::vector<CNode>& nodes = block.m_vecNodes;
    if (nodes.size() == nodes.capacity()) {
        nodes.reserve(nodes.size() + 1 + CountEntriesAhead(reader, bAnonymous));
    }
    CNode& node = nodes.emplace_back();
    try {
        TakeComment(node.m_strComment, pending);
        node.m_strKey = std::string(key);
        node.m_strValue = std::string(value);
    } catch (const std::bad_alloc&) {
        nodes.pop_back();
        throw;
    }
}

// Gives a finished block's vector back the room its entries do not use.
void FitEntries(CBlock* pBlock)
{
    if (pBlock != nullptr && pBlock->m_vecNodes.capacity() > pBlock->m_vecNodes.size()) {
        pBlock->m_vecNodes.shrink_to_fit();
    }
}

// The lines of a file into the model: 0, or the status that ended the parse.
// `pFilling` is the block that entries went to last, for the caller to fit.
int ParseLines(CFGLineReader& reader, BlockMap& blocks, CBlock* pAnonymous, bool bAnonymous, IsSpace isSpace,
               CBlock*& pFilling)
{
    std::string pending; // comment lines waiting for the next header or entry
    CBlock* pCurrent = nullptr;
    // Blocks of one file tend to be alike: each gets room for as many
    // entries as the one before it had.
    size_t guess = 0;
    CBlock discard; // stands for a block whose name was taken; never filled
    std::string_view text;
    while (reader.Next(text)) {
        const CFGLine line = CFGClassifyLine(text);
        switch (line.kind) {
        case CFGLineKind::Comment:
            pending.append(text.data(), text.size());
            break;
        case CFGLineKind::UnterminatedHeader:
            ZEL_LOG(kLogError, "CFGParseFile", "End Tag missing");
            return -1;
        case CFGLineKind::Header:
            pCurrent = AddBlock(blocks, line.name, pending, discard);
            if (!bAnonymous && pCurrent != &discard) {
                if (pFilling != nullptr) {
                    FitEntries(pFilling);
                    guess = pFilling->m_vecNodes.size();
                }
                pCurrent->m_vecNodes.reserve(guess);
                pFilling = pCurrent;
            }
            break;
        case CFGLineKind::Entry:
            if (bAnonymous) {
                if (pAnonymous == nullptr) {
                    ZEL_LOG(kLogError, "CFGParseFile", "anonymous_pBlock is NULL");
                    return EINVAL;
                }
                AppendNode(*pAnonymous, pending, Trim(line.key, isSpace), Trim(line.value, isSpace), reader,
                           true);
            } else if (pCurrent == nullptr) {
                ZEL_LOG(kLogError, "CFGParseFile", "l_pBlock is NULL");
                return EINVAL;
            } else if (pCurrent == &discard) {
                pending.clear();
            } else {
                AppendNode(*pCurrent, pending, line.key, line.value, reader, false);
            }
            break;
        case CFGLineKind::Ignored:
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

CCFGParser::CCFGParser() : m_uiAnonymousMode(0), m_pmCFGData(nullptr) {}

CCFGParser::CCFGParser(unsigned int uiAnonymousMode)
    : m_uiAnonymousMode(uiAnonymousMode), m_pmCFGData(nullptr)
{
}

CCFGParser::CCFGParser(const std::string& strPath) : CCFGParser(strPath, 0) {}

// Delegating, so that the destructor frees the model when the parse throws.
CCFGParser::CCFGParser(const std::string& strPath, unsigned int uiAnonymousMode)
    : CCFGParser(uiAnonymousMode)
{
    CFGParseFile(strPath);
}

CCFGParser::CCFGParser(const CCFGParser& /*other*/) : m_uiAnonymousMode(0), m_pmCFGData(nullptr)
{
    ZEL_LOG(kLogRefused, "CCFGParser", " Creating object using Copy constructor is not supported ");
}

CCFGParser& CCFGParser::operator=(const CCFGParser& /*other*/)
{
    ZEL_LOG(kLogRefused, "operator=", " Assignment of objects is Not supported ");
    // Assignment empties the target; its data is unreachable from here on.
    FreeBlockMap(m_pmCFGData);
    m_uiAnonymousMode = 0;
    m_pmCFGData = nullptr;
    return *this;
}

CCFGParser::~CCFGParser()
{
    FreeBlockMap(m_pmCFGData);
    m_pmCFGData = nullptr;
}

int CCFGParser::CFGParseFile(const std::string& strPath)
{
    // Every parse starts from a fresh map; the previous one is let go (and,
    // since nothing can reach it any more, freed). The path may be a string
    // of the previous map, which is therefore freed only after the opening.
    BlockMap* pBlocks = new (std::nothrow) BlockMap;
    std::unique_ptr<BlockMap, void (*)(BlockMap*)> pPrevious(m_pmCFGData, FreeBlockMap);
    m_pmCFGData = pBlocks;
    if (pBlocks == nullptr) {
        ZEL_LOG(kLogError, "CFGParseFile", "m_pmCFGData is NULL");
        return EINVAL;
    }

    CFGLineReader reader;
    const bool bOpened = reader.Open(strPath);
    pPrevious.reset();
    if (!bOpened) {
        ZEL_LOG(kLogError, "CFGParseFile", "Error Opening File");
        return -2;
    }

    const bool bAnonymous = m_uiAnonymousMode != 0;
    CBlock* pAnonymous = nullptr;
    if (bAnonymous) {
        std::unique_ptr<CBlock> pBlock(new CBlock);
        pBlocks->emplace(kAnonymousBlock, pBlock.get());
        pAnonymous = pBlock.release();
    }
    // Anonymous-mode trimming classes white space by the global locale of the moment.
    const std::locale locale;
    const IsSpace isSpace{&std::use_facet<std::ctype<char>>(locale)};
    CBlock* pFilling = pAnonymous;
    const int iStatus = ParseLines(reader, *pBlocks, pAnonymous, bAnonymous, isSpace, pFilling);
    FitEntries(pFilling);
    return iStatus;
}

int CCFGParser::CFGGetData(const std::string& strKey, std::string& strValue)
{
    if (m_pmCFGData == nullptr || strKey.empty()) {
        return -2;
    }
    if (&strKey == &strValue) {
        // The names view into the key, which the values are appended to.
        return CFGGetData(std::string(strKey), strValue);
    }
    const KeyParts parts = SplitKey(strKey, m_uiAnonymousMode != 0 ? kAnonymousBlock : nullptr);
    const CBlock* pBlock = FindBlock(*m_pmCFGData, parts.block);
    if (pBlock == nullptr) {
        return -2;
    }
    int result = -2;
    for (const CNode& node : pBlock->m_vecNodes) {
        if (node.m_strKey == parts.entry) {
            // The separator depends on what the caller's string holds, not on a count of matches.
            if (!strValue.empty()) {
                strValue += '\n';
            }
            strValue += node.m_strValue;
            result = 0;
        }
    }
    return result;
}

std::string CCFGParser::CFGGetData(const std::string& strKey)
{
    std::string value;
    CFGGetData(strKey, value);
    return value;
}

int CCFGParser::CFGSetData(const std::string& strKey, std::string strValue)
{
    if (m_pmCFGData == nullptr || strKey.empty()) {
        ZEL_LOG(kLogError, "CFGSetData", "m_pmCFGData is NULL");
        return EINVAL;
    }
    // Unlike a lookup, a key without '.' never means the anonymous block.
    KeyParts parts = SplitKey(strKey, nullptr);
    CBlock* pBlock = FindBlock(*m_pmCFGData, parts.block);
    if (pBlock == nullptr) {
        return -2;
    }
    int result = -2;
    std::string entry; // the entry name, once the key is a value about to be overwritten
    for (CNode& node : pBlock->m_vecNodes) {
        if (node.m_strKey == parts.entry) {
            if (&node.m_strValue == &strKey) {
                entry.assign(parts.entry.data(), parts.entry.size());
                parts.entry = entry;
            }
            node.m_strValue = strValue;
            result = 0;
        }
    }
    return result;
}

int CCFGParser::CFGSaveData(const std::string& strPath)
{
    if (m_pmCFGData == nullptr) {
        ZEL_LOG(kLogError, "CFGSaveData", "m_pmCFGData is NULL");
        return EINVAL;
    }
    // The path is a C string: a NUL byte in it ends the name.
    int fd;
    do {
        fd = ::open(strPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        ZEL_LOG(kLogError, "CFGSaveData", "Cannot Open File");
        return -2;
    }
    // Each line goes to the file as soon as it is complete (one write per line).
    ForEachSavedLine(*m_pmCFGData, [fd](std::string_view a, std::string_view b, std::string_view c,
                                        std::string_view d) { WriteLine(fd, a, b, c, d); });
    ::close(fd);
    return 0;
}
