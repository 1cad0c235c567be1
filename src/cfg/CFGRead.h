#ifndef ZELCONFIG_CFG_CFGREAD_H
#define ZELCONFIG_CFG_CFGREAD_H

#include <locale>
#include <string>
#include <string_view>

#include <boost/algorithm/string/trim.hpp>
#include <boost/range/iterator_range.hpp>

#include "CFGBlockMap.h"
#include "CFGLine.h"
#include "CFGLineReader.h"
#include "ZelConfigStatus.h"

namespace zelconfig {

// Anonymous mode drops the white space around a key and its value, as the
// ctype facet given classes it, so that "key = value" reads as "key" and
// "value". Text of white space only gives the empty run at its start, where
// a value set in its place goes (before a carriage return, not after it).
inline std::string_view CFGTrimAnonymous(std::string_view text, const std::ctype<char>& ctype)
{
    const auto isSpace = [&ctype](char c) { return ctype.is(std::ctype_base::space, c); };
    const auto trimmed = boost::algorithm::trim_copy_if(
        boost::make_iterator_range(text.data(), text.data() + text.size()), isSpace);
    return std::string_view(trimmed.begin(), static_cast<size_t>(trimmed.size()));
}

// Why the lines of a new entry (its header "[block]" and "entry=value")
// would not read back as exactly that block, name and value; kWritable when
// they would. `anonymous` is the facet anonymous mode trims with, null in
// block mode. The document's additions and zelcfg's checks of its operands
// ask this one question.
enum class CFGWritable
{
    kWritable,
    kBadBlockName,         // holds ']' or a line feed
    kBadEntry,             // the name holds '=' or a line feed, or begins like a comment
                           // or header; or the value holds a line feed
    kNotAnonymousBlock,    // anonymous mode keeps every entry in "anonymous"
    kSpaceAtEnds,          // anonymous mode would trim the name or the value
};

inline CFGWritable CFGCheckWritable(std::string_view block, std::string_view entry, std::string_view value,
                                    const std::ctype<char>* anonymous)
{
    const std::string header = "[" + std::string(block) + "]";
    const CFGLine readHeader = CFGClassifyLine(header);
    if (readHeader.kind != CFGLineKind::kHeader || readHeader.name != block
        || block.find('\n') != std::string_view::npos) {
        return CFGWritable::kBadBlockName;
    }
    const std::string line = std::string(entry) + "=" + std::string(value);
    const CFGLine readEntry = CFGClassifyLine(line);
    if (readEntry.kind != CFGLineKind::kEntry || readEntry.key != entry || line.find('\n') != std::string::npos) {
        return CFGWritable::kBadEntry;
    }
    if (anonymous != nullptr) {
        if (block != kCFGAnonymousBlock) {
            return CFGWritable::kNotAnonymousBlock;
        }
        if (CFGTrimAnonymous(entry, *anonymous).size() != entry.size()
            || CFGTrimAnonymous(value, *anonymous).size() != value.size()) {
            return CFGWritable::kSpaceAtEnds;
        }
    }
    return CFGWritable::kWritable;
}

// What the reading of a file made of one line.
enum class CFGFate
{
    kComment,          // waits for the next header or entry, whose comment it becomes
    kBlockOpened,      // a header of a new name: its block takes the pending comment
    kBlockRepeated,    // a header of a name taken: the first block keeps it, the
                       // pending comment is lost, and in block mode so are the
                       // entries below it, up to the next header
    kEntryKept,        // an entry the model keeps, with the pending comment
    kEntryDropped,     // an entry under a repeated header, lost with its comment
    kIgnored,          // any other line; a pending comment stays pending
    kStopUnterminated, // a header without ']': reading ends with -1
    kStopOutsideBlock, // block mode, an entry above the first header: reading ends with kStatusInvalid
};

// One line and what became of it.
struct CFGReport
{
    CFGFate fate;
    CFGLine line;             // the classifier's view of the line, but an entry's key and
                              // value as the model holds them: trimmed in anonymous mode
    std::string_view text;    // its bytes, without the line feed
    size_t offset;            // where it begins in the input
    std::string_view comment; // kBlockOpened, kEntryKept: the comment lines it takes, joined
};

// How to read: `anonymous` is the facet that anonymous mode trims with, null
// in block mode. With `headersOnly`, once entries have a block to go to
// (after the first header; at once in anonymous mode) only the lines that
// begin like a header are read and reported, since no other line can open a
// block or end the reading.
struct CFGReadMode
{
    const std::ctype<char>* anonymous = nullptr;
    bool headersOnly = false;
};

// The one reading of the format: every line in order, classified, decided
// on and reported. The listener keeps the block names (the engine's model
// does), so that a reading holds each once:
//   bool listener.ClaimBlock(std::string_view name, std::string_view comment)
//       true when the name is new; `comment` is what its block would take
//   void listener.Report(const CFGReport& report)
// Anonymous mode claims "anonymous" before the first line, as its block
// exists before any header. Returns 0, or the status that ended the reading:
// kStatusMalformed or kStatusInvalid after the report of the line,
// kStatusNotFound when the input could not be read to its end. Nothing is logged: each listener logs in its own name.
template <typename Listener>
int CFGRead(CFGLineReader& reader, CFGReadMode mode, Listener& listener)
{
    const bool anonymous = mode.anonymous != nullptr;
    bool inBlock = anonymous;        // an entry has somewhere to go
    bool repeated = false;           // block mode: the last header's name was taken
    std::string pending;             // comment lines waiting for a header or entry
    if (anonymous) {
        listener.ClaimBlock(kCFGAnonymousBlock, {});
    }
    std::string_view text;
    // One report, its fields set line by line: clearing the whole of it for
    // each line cost a tenth of a small file's parse.
    CFGReport report;
    while (mode.headersOnly && inBlock ? reader.NextStartingWith(kCFGHeaderOpen, text) : reader.Next(text)) {
        report.fate = CFGFate::kIgnored;
        report.line = CFGClassifyLine(text);
        report.text = text;
        report.offset = reader.LineOffset();
        report.comment = {};
        switch (report.line.kind) {
        case CFGLineKind::kComment:
            report.fate = CFGFate::kComment;
            pending.append(text.data(), text.size());
            listener.Report(report);
            continue;
        case CFGLineKind::kUnterminatedHeader:
            report.fate = CFGFate::kStopUnterminated;
            listener.Report(report);
            return kStatusMalformed;
        case CFGLineKind::kHeader:
            inBlock = true;
            repeated = !listener.ClaimBlock(report.line.name, pending);
            report.fate = repeated ? CFGFate::kBlockRepeated : CFGFate::kBlockOpened;
            repeated = repeated && !anonymous;
            break;
        case CFGLineKind::kEntry:
            if (anonymous) {
                report.line.key = CFGTrimAnonymous(report.line.key, *mode.anonymous);
                report.line.value = CFGTrimAnonymous(report.line.value, *mode.anonymous);
            }
            if (!inBlock) {
                report.fate = CFGFate::kStopOutsideBlock;
                listener.Report(report);
                return kStatusInvalid;
            }
            report.fate = repeated ? CFGFate::kEntryDropped : CFGFate::kEntryKept;
            break;
        case CFGLineKind::kIgnored:
            listener.Report(report);
            continue;
        }
        // A header or an entry takes the pending comment, or loses it.
        if (report.fate == CFGFate::kBlockOpened || report.fate == CFGFate::kEntryKept) {
            report.comment = pending;
        }
        listener.Report(report);
        pending.clear();
    }
    return reader.Failed() ? kStatusNotFound : 0;
}

} // namespace zelconfig

#endif
