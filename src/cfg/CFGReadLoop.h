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

// What the INI dialect must remember between lines: an indented line
// continues the value of the entry above only when it is indented deeper
// than the last line that was no continuation.
struct IniContext
{
    bool entryOpen = false;
    size_t indent = 0;
};

// The INI dialect's classifier: as Classify, but a line is read without the
// blanks around it, and an indented line under an entry continues its value.
// Every line of a file passes through here: a header's ']' is searched for
// only on a line that begins with '[', and an entry's delimiter only up to
// the key's end, not over the whole line.
inline CFGLine ClassifyIni(std::string_view line, IniContext& context)
{
    CFGLine result{CFGLineKind::kIgnored, {}, {}, {}};
    const char *const begin = line.data(), *first = begin, *end = begin + line.size();
    while (first < end && CFGIniBlank(*first)) {
        ++first;
    }
    if (first == end) {
        return result; // blank: a value may go on below it
    }
    if (*first == '#' || *first == ';') {
        result.kind = CFGLineKind::kComment; // no line of a value, nor its end
        return result;
    }
    while (CFGIniBlank(end[-1])) { // stops at *first, which is no blank
        --end;
    }
    const std::string_view body(first, static_cast<size_t>(end - first));
    const size_t indent = static_cast<size_t>(first - begin);
    if (context.entryOpen && indent > context.indent) {
        result.kind = CFGLineKind::kContinuation;
        result.value = body;
        return result;
    }
    context = {false, indent};
    if (*first == '[') {
        // The name runs to the last ']', which may be followed by anything.
        const size_t close = body.rfind(']');
        if (close != std::string_view::npos && close >= 2) {
            result.kind = CFGLineKind::kHeader;
            result.name = body.substr(1, close - 1);
            return result;
        }
    }
    // The first '=' or ':', by two searches of the library's: the second
    // only up to the first's find, at the key's end in most files.
    const void* equals = std::memchr(first, '=', body.size());
    const char* limit = equals != nullptr ? static_cast<const char*>(equals) : end;
    const void* colon = std::memchr(first, ':', static_cast<size_t>(limit - first));
    const char* delimiter = colon != nullptr ? static_cast<const char*>(colon) : limit;
    // A line without a delimiter, or without a name before it, is no entry.
    if (delimiter == end || delimiter == first) {
        return result;
    }
    // The body has no blank at either end: the key's can only be before the
    // delimiter, the value's only after it.
    const char* keyEnd = delimiter;
    while (CFGIniBlank(keyEnd[-1])) {
        --keyEnd;
    }
    const char* value = delimiter + 1;
    while (value < end && CFGIniBlank(*value)) {
        ++value;
    }
    result.kind = CFGLineKind::kEntry;
    result.key = std::string_view(first, static_cast<size_t>(keyEnd - first));
    result.value = std::string_view(value, static_cast<size_t>(end - value));
    context.entryOpen = true;
    return result;
}

// An INI file's first line without the byte order mark before it, and
// where the line then begins.
inline std::string_view& SkipMark(CFGReadMode mode, std::string_view& text, size_t& offset)
{
    if (offset == 0 && !mode.midFile && text.substr(0, 3) == kCFGByteOrderMark) {
        text.remove_prefix(3);
        offset = 3;
    }
    return text;
}

// Headers only, in the INI dialect: the context that the lines a search
// skipped leave, as reading them would. A line that is not indented, blank
// or a comment sets it whatever came before, so the reading starts from the
// last such line; without one it goes on from the context so far.
inline void SkippedContext(std::string_view skipped, IniContext& context)
{
    size_t resume = 0;
    for (size_t end = skipped.size() - 1;;) { // the line feed that ends the last line
        const size_t feed = end == 0 ? std::string_view::npos : skipped.rfind('\n', end - 1);
        const size_t start = feed == std::string_view::npos ? 0 : feed + 1;
        const char c = skipped[start];
        if (!CFGIniBlank(c) && c != '#' && c != ';') {
            resume = start;
            break;
        }
        if (start == 0) {
            break;
        }
        end = feed;
    }
    for (size_t at = resume; at < skipped.size();) {
        const size_t feed = skipped.find('\n', at);
        ClassifyIni(skipped.substr(at, feed - at), context);
        at = feed + 1;
    }
}

// The next line to read. Headers only, once entries have somewhere to go,
// only lines that may open a block are read: in the INI dialect those whose
// first byte after blanks is '[' (and the first line, for its byte order
// mark), read in the context the lines skipped leave.
inline bool NextLine(CFGLineReader& reader, CFGReadMode mode, bool inBlock, std::string_view& text,
                     IniContext& context)
{
    if (!mode.headersOnly || !inBlock) {
        return reader.Next(text);
    }
    if (!mode.ini) {
        return reader.NextStartingWith(kCFGHeaderOpen, text);
    }
    if (text.data() == nullptr) {
        return reader.Next(text); // nothing read yet: the first line, whole
    }
    std::string_view skipped;
    const bool found = reader.NextStartingAfterBlanks(kCFGHeaderOpen, CFGIniBlank, text, skipped);
    if (found && !skipped.empty() && CFGIniBlank(text.front())) {
        SkippedContext(skipped, context);
    }
    return found;
}

// The one reading of the format, as CFGReadLines describes it, for a
// listener of any type with ClaimBlock and Report.
template <class Listener>
int ReadLines(CFGLineReader& reader, CFGReadMode mode, Listener& listener)
{
    const bool anonymous = mode.anonymous != nullptr, ini = mode.ini;
    bool inBlock = anonymous || ini; // an entry has somewhere to go
    bool repeated = false;           // block mode: the last header's name was taken
    std::string pending;             // comment lines waiting for a header or entry
    IniContext context;
    if (anonymous || ini) { // the block of entries above any header
        listener.ClaimBlock(anonymous ? std::string_view(kCFGAnonymousBlock) : std::string_view(), {});
    }
    std::string_view text;
    CFGReport report; // its fields set line by line: clearing it cost a tenth of a small parse
    while (NextLine(reader, mode, inBlock, text, context)) {
        report.offset = reader.LineOffset();
        report.line = ini ? ClassifyIni(SkipMark(mode, text, report.offset), context) : Classify(text);
        report.text = text;
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
            repeated = repeated && !anonymous && !ini;
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
        case CFGLineKind::kContinuation:
        case CFGLineKind::kIgnored:
            report.fate = report.line.kind == CFGLineKind::kIgnored ? CFGFate::kIgnored : CFGFate::kContinuation;
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
