#ifndef ZELCONFIG_CFG_CFGREADLOOP_H
#define ZELCONFIG_CFG_CFGREADLOOP_H

// The reading loop and the bodies of the classifier and the trimming, for
// libZelConfig's own sources only (CFGRead.cpp, CFGModel.cpp): the engine's
// parse instantiates the loop for its model's listener, whose calls then
// inline, and the exported CFGReadLines for any other. Both stay in
// libZelConfig; no other binary includes this.

#include <cstring>
#include <string>

#include <boost/algorithm/string/trim.hpp>
#include <boost/range/iterator_range.hpp>

#include "CFGRead.h"

namespace zelconfig::reading {

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

// The one reading of the format, as CFGReadLines describes it, for a
// listener of any type with ClaimBlock and Report.
template <class Listener>
int ReadLines(CFGLineReader& reader, CFGReadMode mode, Listener& listener)
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

} // namespace zelconfig::reading

#endif
