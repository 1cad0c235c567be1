// The one reading of the CFG format: the line classifier, anonymous mode's
// trimming and the reading loop, compiled into libZelConfig only.
#include "CFGRead.h"

#include <cstring>
#include <string>

#include <boost/algorithm/string/trim.hpp>
#include <boost/range/iterator_range.hpp>

namespace zelconfig {

namespace {

// The classifier's body, which the reading loop inlines: a call of the
// exported CFGClassifyLine from inside the library goes through its PLT entry,
// as any exported function may be interposed.
inline CFGLine Classify(std::string_view line)
{
    CFGLine result{CFGLineKind::kIgnored, {}, {}, {}};
    if (line.empty()) {
        return result;
    }
    const char first = line.front();
    if (first == '#' || first == ';') {
        result.kind = CFGLineKind::kComment;
        return result;
    }
    if (CFGStartsHeader(line)) {
        const void* close = std::memchr(line.data(), ']', line.size());
        if (close == nullptr) {
            result.kind = CFGLineKind::kUnterminatedHeader;
            return result;
        }
        const size_t end = static_cast<size_t>(static_cast<const char*>(close) - line.data());
        result.kind = CFGLineKind::kHeader;
        result.name = line.substr(1, end - 1);
        return result;
    }
    const void* equals = std::memchr(line.data(), '=', line.size());
    if (equals != nullptr) {
        const size_t at = static_cast<size_t>(static_cast<const char*>(equals) - line.data());
        result.kind = CFGLineKind::kEntry;
        result.key = line.substr(0, at);
        result.value = line.substr(at + 1);
    }
    return result;
}

// The trimming's body, inlined into the loop for the same reason.
inline std::string_view Trim(std::string_view text, const std::ctype<char>& ctype)
{
    const auto isSpace = [&ctype](char c) { return ctype.is(std::ctype_base::space, c); };
    const auto trimmed = boost::algorithm::trim_copy_if(
        boost::make_iterator_range(text.data(), text.data() + text.size()), isSpace);
    return std::string_view(trimmed.begin(), static_cast<size_t>(trimmed.size()));
}

} // namespace

CFGLine CFGClassifyLine(std::string_view line)
{
    return Classify(line);
}

std::string_view CFGTrimAnonymous(std::string_view text, const std::ctype<char>& ctype)
{
    return Trim(text, ctype);
}

CFGWritable CFGCheckWritable(std::string_view block, std::string_view entry, std::string_view value,
                             const std::ctype<char>* anonymous)
{
    const std::string header = "[" + std::string(block) + "]";
    const CFGLine readHeader = Classify(header);
    if (readHeader.kind != CFGLineKind::kHeader || readHeader.name != block
        || block.find('\n') != std::string_view::npos) {
        return CFGWritable::kBadBlockName;
    }
    const std::string line = std::string(entry) + "=" + std::string(value);
    const CFGLine readEntry = Classify(line);
    if (readEntry.kind != CFGLineKind::kEntry || readEntry.key != entry || line.find('\n') != std::string::npos) {
        return CFGWritable::kBadEntry;
    }
    if (anonymous != nullptr) {
        if (block != kCFGAnonymousBlock) {
            return CFGWritable::kNotAnonymousBlock;
        }
        if (Trim(entry, *anonymous).size() != entry.size() || Trim(value, *anonymous).size() != value.size()) {
            return CFGWritable::kSpaceAtEnds;
        }
    }
    return CFGWritable::kWritable;
}

int CFGReadLines(CFGLineReader& reader, CFGReadMode mode, CFGListener& listener)
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
        report.line = Classify(text);
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
                report.line.key = Trim(report.line.key, *mode.anonymous);
                report.line.value = Trim(report.line.value, *mode.anonymous);
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
