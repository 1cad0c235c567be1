#include "MergePromise.h"

#include <algorithm>
#include <map>
#include <set>
#include <string_view>

#include "TestFiles.h"

namespace mergepromise {

namespace {

using Values = std::map<std::string, std::vector<std::string>>; // names -> values, sorted
using Ids = std::map<std::pair<std::string, size_t>, const Value*>; // names and occurrence -> value

// A value as the string getter reads it: no line ends at its end.
std::string Trimmed(std::string value)
{
    while (!value.empty() && (value.back() == '\r' || value.back() == '\n')) {
        value.pop_back();
    }
    return value;
}

// An XML key with an index on every part ("a.b[2]" is "a[1].b[2]"): a part
// without one is the first of its name, whether or not a sibling of that
// name comes or goes.
std::string Indexed(const std::string& key)
{
    std::string indexed;
    bool quoted = false;
    for (size_t at = 0; at <= key.size(); ++at) {
        if (at == key.size() || (key[at] == '.' && !quoted)) {
            indexed += indexed.empty() || indexed.back() != ']' ? "[1]" : "";
            indexed += at < key.size() ? "." : "";
            continue;
        }
        quoted = key[at] == '"' ? !quoted : quoted;
        indexed += key[at];
    }
    return indexed;
}

// What matches a value across the three readings: its names; the n-th value
// of a repeated key matches the n-th (the rules say nothing of which of
// several equal keys a user meant, so matching by order is the rule held).
std::string Names(const Value& value, bool xml)
{
    return xml ? Indexed(value.key) : value.block + '\0' + value.entry;
}

Ids IdsOf(const Reading& reading, bool xml)
{
    Ids ids;
    std::map<std::string, size_t> seen;
    for (const Value& value : reading) {
        const std::string names = Names(value, xml);
        ids.emplace(std::make_pair(names, ++seen[names]), &value);
    }
    return ids;
}

Values ValuesOf(const Reading& reading, bool xml)
{
    Values values;
    for (const Value& value : reading) {
        values[Names(value, xml)].push_back(value.value);
    }
    for (auto& key : values) {
        std::sort(key.second.begin(), key.second.end());
    }
    return values;
}

const Value* Find(const Ids& ids, const Ids::key_type& id)
{
    const auto found = ids.find(id);
    return found == ids.end() ? nullptr : found->second;
}

std::string Shown(const Values& values)
{
    std::string shown;
    for (const auto& key : values) {
        for (const std::string& value : key.second) {
            shown += "  " + key.first + " = '" + value + "'\n";
        }
    }
    return shown;
}

std::string Shown(const zelconfig::Conflict& c)
{
    return c.key + " [" + c.block + "|" + c.entry + "] yours '" + c.yours + "' new '" + c.updated + "' old '" + c.old
           + "'" + (c.inOld ? "" : " (none)") + "\n";
}

// Conflicts as sorted lines, to compare as sets; XML keys with every part
// indexed where the file they are listed for may differ (a sibling gone).
std::vector<std::string> Shown(std::vector<zelconfig::Conflict> conflicts, bool indexed = false)
{
    std::vector<std::string> shown;
    for (zelconfig::Conflict& conflict : conflicts) {
        conflict.key = indexed ? Indexed(conflict.key) : conflict.key;
        shown.push_back(Shown(conflict));
    }
    std::sort(shown.begin(), shown.end());
    return shown;
}

// The bytes the INI dialect takes for blanks: ASCII's white space and separators.
const char kIniBlanks[] = " \t\n\v\f\r\x1c\x1d\x1e\x1f";

bool IsComment(const std::string& line, bool xml)
{
    if (!xml) {
        return !line.empty() && (line[0] == '#' || line[0] == ';');
    }
    const size_t begin = line.find_first_not_of(" \t");
    return begin != std::string::npos && line.compare(begin, 4, "<!--") == 0 && line.find("-->") == line.size() - 3;
}

// FILE's lines without their carriage returns.
std::vector<std::string> LinesOf(const std::string& text)
{
    std::vector<std::string> lines = Lines(text);
    for (std::string& line : lines) {
        line = Trimmed(line);
    }
    return lines;
}

// Every comment line of FILE that is not a removed value's stays: those
// directly above a removed entry or element may go with it, and so may, in
// INI, those among its continuation lines and, in XML, those within it.
std::string CheckComments(const Run& run, const std::set<size_t>& removedLines)
{
    const std::vector<std::string> lines = LinesOf(run.fileText);
    std::set<size_t> keyLines; // from 0
    for (const Value& value : run.file) {
        keyLines.insert(value.line - 1);
    }
    // A header or an element's opening line the merge took away went with
    // the whole block or element: so did the comments above it and in it.
    std::map<std::string, long> left;
    for (const std::string& line : LinesOf(run.mergedText)) {
        ++left[line];
    }
    const auto opens = [&run](const std::string& line) {
        const size_t begin = line.find_first_not_of(run.ini ? kIniBlanks : " \t\r\v\f");
        return begin != std::string::npos
               && (run.xml ? line[begin] == '<' && line.compare(begin, 2, "</") != 0 && !IsComment(line, true)
                             && line.back() == '>' && line[line.size() - 2] != '/' && line.find("</") == std::string::npos
                           : line[begin] == '[');
    };
    std::map<std::string, long> inFile;
    for (const std::string& line : lines) {
        ++inFile[line];
    }
    std::vector<bool> owned(lines.size(), false);
    // Blocks the merge dropped whole, entries or none: their headers' comments
    // and their lines up to the next header.
    for (size_t at = 0; !run.xml && at < lines.size(); ++at) {
        if (opens(lines[at]) && left[lines[at]] < inFile[lines[at]]) {
            for (size_t up = at; up-- > 0 && IsComment(lines[up], false);) {
                owned[up] = true;
            }
            for (size_t down = at + 1; down < lines.size() && !opens(lines[down]); ++down) {
                owned[down] = true;
            }
        }
    }
    for (const size_t removed : removedLines) {
        if (removed == 0 || removed > lines.size()) {
            continue; // a line not found owns nothing
        }
        const size_t at = removed - 1;
        for (size_t up = at; up-- > 0;) {
            if (opens(lines[up]) && left[lines[up]] < inFile[lines[up]]) {
                for (size_t down = up + 1; !run.xml && down < lines.size() && !opens(lines[down]); ++down) {
                    owned[down] = true; // a block goes up to the next header
                }
                continue;
            }
            // A CFG line that is no entry, header or comment leaves the
            // comments above it pending for the entry below, as the engine
            // reads them.
            const std::string& line = lines[up];
            const bool ignored = !run.xml && !run.ini && line.find_first_not_of(" \t\r\v\f") != std::string::npos
                                 && !IsComment(line, false) && line[0] != '[' && line.find('=') == std::string::npos;
            if (ignored) {
                continue;
            }
            if (!IsComment(line, run.xml)) {
                break;
            }
            owned[up] = true;
        }
        for (size_t down = at + 1; (run.ini || run.xml) && down < lines.size() && keyLines.count(down) == 0; ++down) {
            const std::string& line = lines[down];
            if (run.ini && !line.empty() && std::string_view(kIniBlanks).find(line[0]) == std::string_view::npos && !IsComment(line, false)) {
                break;
            }
            owned[down] = true;
        }
    }
    std::map<std::string, long> counts;
    for (size_t at = 0; at < lines.size(); ++at) {
        counts[lines[at]] += !owned[at] && IsComment(lines[at], run.xml) ? 1 : 0;
    }
    for (const std::string& line : LinesOf(run.mergedText)) {
        --counts[line];
    }
    for (const auto& count : counts) {
        if (count.second > 0) {
            return "the comment line '" + count.first + "' was lost";
        }
    }
    return "";
}

} // namespace

Reading ReadingOf(const zelconfig::Document& document)
{
    Reading reading;
    for (const zelconfig::Document::Entry& entry : document.Entries(zelconfig::Document::Order::kFile)) {
        reading.push_back({"", entry.block, entry.name, Trimmed(entry.value), 0});
    }
    size_t next = 0;
    document.Walk([&](const std::string& key, const std::string&) {
        if (next < reading.size()) {
            reading[next++].key = key;
        }
    });
    std::map<std::string, size_t> seen;
    for (Value& value : reading) {
        const std::vector<size_t> lines = document.Lines(value.block, value.entry);
        const size_t nth = seen[Names(value, false)]++;
        value.line = nth < lines.size() ? lines[nth] : 0;
    }
    return reading;
}

std::vector<std::string> BlocksOf(const zelconfig::Document& document)
{
    return document.BlockNames();
}

std::vector<std::string> BlocksOf(const zelconfig::XmlDocument&)
{
    return {};
}

Reading ReadingOf(const zelconfig::XmlDocument& document)
{
    Reading reading;
    std::map<std::string, size_t> seen;
    for (const zelconfig::XmlDocument::Entry& entry : document.Entries()) {
        const std::vector<size_t> lines = document.Lines(entry.key);
        const size_t nth = seen[entry.key]++;
        // Setting an attribute to the value it holds adds no byte; for an
        // element it adds the attribute.
        zelconfig::XmlDocument probe;
        const bool attribute = probe.Parse(document.Text()) == 0 && probe.SetAttribute(entry.key, entry.value) == 0
                               && probe.Text().size() == document.Text().size();
        reading.push_back({entry.key, "", "", entry.value, nth < lines.size() ? lines[nth] : 0, attribute});
    }
    return reading;
}

// Whether what NEW adds goes into a block or element the user removed,
// which stays removed: OLD had it, FILE lacks it (a block's header, an
// element's every key at or beneath it).
bool InRemovedContainer(const Run& run, const Value& value)
{
    if (!run.xml) {
        const auto heads = [&value](const std::vector<std::string>& blocks) {
            return std::find(blocks.begin(), blocks.end(), value.block) != blocks.end();
        };
        return !value.block.empty() && heads(run.oldBlocks) && !heads(run.fileBlocks);
    }
    // The key itself (an element that held elements in OLD) or any element
    // above it.
    const std::string key = Indexed(value.key);
    for (size_t end = key.find("]."); ; end = key.find("].", end + 1)) {
        const std::string element = end == std::string::npos ? key : key.substr(0, end + 1);
        const auto holds = [&element](const Reading& reading) {
            return std::any_of(reading.begin(), reading.end(), [&element](const Value& held) {
                const std::string names = Indexed(held.key);
                return names.compare(0, element.size(), element) == 0
                       && (names.size() == element.size() || names[element.size()] == '.');
            });
        };
        if (holds(run.old) && !holds(run.file)) {
            return true;
        }
        if (end == std::string::npos) {
            return false;
        }
    }
}

std::string Check(const Run& run)
{
    const Values before = ValuesOf(run.file, run.xml), after = ValuesOf(run.merged, run.xml);
    if (run.status != 0) {
        if (run.status != zelconfig::kEditAmbiguous) {
            return "status " + std::to_string(run.status) + ": " + run.error;
        }
        if (run.error.empty() || run.changed || run.mergedText != run.fileText || before != after) {
            return "a refused merge changed the file, or said nothing";
        }
        return "";
    }
    if (run.changed != (run.mergedText != run.fileText)) {
        return "Changed() says otherwise than the text";
    }
    // The rules, value by value of FILE, then what NEW adds.
    const Ids old = IdsOf(run.old, run.xml), updated = IdsOf(run.updated, run.xml), file = IdsOf(run.file, run.xml);
    Values expected;
    std::vector<std::string> conflicts;
    std::set<size_t> removedLines;
    for (const auto& item : file) {
        const Value* o = Find(old, item.first);
        const Value* n = Find(updated, item.first);
        const Value& f = *item.second;
        std::vector<std::string>& values = expected[item.first.first];
        if (o != nullptr && o->value == f.value) {
            if (n == nullptr) {
                removedLines.insert(f.line);
            } else {
                values.push_back(n->value);
            }
            continue;
        }
        values.push_back(f.value);
        if (n != nullptr && n->value != f.value && (o == nullptr || n->value != o->value)) {
            conflicts.push_back(Shown(zelconfig::Conflict{f.key, f.block, f.entry, f.value, n->value,
                                                          o ? o->value : "", o != nullptr}));
        }
    }
    std::set<std::string> added;
    for (const auto& item : updated) {
        if (file.count(item.first) == 0 && old.count(item.first) == 0 && !InRemovedContainer(run, *item.second)) {
            expected[item.first.first].push_back(item.second->value);
            added.insert(item.first.first);
        }
    }
    // An XML element holds a value or elements, not both: a value NEW adds
    // where the file keeps elements, or elements where it keeps a value,
    // is not added, and what the user has stays.
    const auto beneath = [](const std::string& key, const std::string& above) {
        return key.size() > above.size() && key.compare(0, above.size(), above) == 0 && key[above.size()] == '.';
    };
    std::set<std::string> attributes;
    for (const Reading* reading : {&run.updated, &run.file}) {
        for (const Value& value : *reading) {
            if (value.attribute) {
                attributes.insert(Names(value, run.xml));
            }
        }
    }
    // An element of FILE with a value and elements already (mixed content)
    // takes more elements.
    std::set<std::string> mixed;
    for (const Value& value : run.file) {
        const std::string names = Names(value, run.xml);
        for (const Value& other : run.file) {
            const std::string below = Names(other, run.xml);
            if (beneath(below, names) && attributes.count(below) == 0) {
                mixed.insert(names);
                break;
            }
        }
    }
    const auto holds = [&](const std::string& upper, const std::string& lower) {
        return beneath(lower, upper) && attributes.count(lower) == 0 // attributes sit beside a value
               && mixed.count(upper) == 0;
    };
    for (const std::string& name : run.xml ? added : std::set<std::string>()) {
        const bool clash = std::any_of(expected.begin(), expected.end(), [&](const auto& kept) {
            return added.count(kept.first) == 0 && !kept.second.empty()
                   && (holds(name, kept.first) || holds(kept.first, name));
        });
        if (clash) {
            expected[name].clear();
        }
    }
    for (auto it = expected.begin(); it != expected.end();) {
        std::sort(it->second.begin(), it->second.end());
        it = it->second.empty() ? expected.erase(it) : std::next(it);
    }
    if (after != expected) {
        return "the merged file reads\n" + Shown(after) + "where the rules give\n" + Shown(expected);
    }
    std::vector<std::string> got = Shown(run.conflicts);
    std::sort(conflicts.begin(), conflicts.end());
    if (got != conflicts) {
        std::string shown = "conflicts listed:\n";
        for (const std::string& line : got) {
            shown += "  " + line;
        }
        shown += "where the rules give:\n";
        for (const std::string& line : conflicts) {
            shown += "  " + line;
        }
        return shown;
    }
    // NEW reading as OLD changes no byte, however NEW's lines moved.
    std::map<Ids::key_type, std::string> oldValues, newValues;
    for (const auto& item : old) {
        oldValues.emplace(item.first, item.second->value);
    }
    for (const auto& item : updated) {
        newValues.emplace(item.first, item.second->value);
    }
    if (oldValues == newValues && run.mergedText != run.fileText) {
        return "NEW reads as OLD, yet the file changed";
    }
    // Merging again changes nothing, except where a key repeats: occurrences
    // are matched anew, so a value the user removed from among several of
    // one key is matched by the next, and what NEW added once is added again.
    const auto repeats = [&run](const Reading& reading) {
        const Values values = ValuesOf(reading, run.xml);
        return std::any_of(values.begin(), values.end(), [](const auto& key) { return key.second.size() > 1; });
    };
    const bool repeated = repeats(run.old) || repeats(run.updated) || repeats(run.file) || repeats(run.merged);
    if (run.againStatus != 0
        || (!repeated && (run.againText != run.mergedText
                          || Shown(run.againConflicts, run.xml) != Shown(run.conflicts, run.xml)))) {
        return "merging again gave " + std::to_string(run.againStatus) + ", other conflicts or\n" + run.againText;
    }
    // Which of several sibling elements of one name a comment stood above is
    // not told by their keys, whose indexes shift as siblings come and go.
    const auto siblings = [](const Reading& reading) {
        return std::any_of(reading.begin(), reading.end(),
                           [](const Value& value) { return value.key.find('[') != std::string::npos; });
    };
    if (run.xml && (siblings(run.old) || siblings(run.updated) || siblings(run.file) || siblings(run.merged))) {
        return "";
    }
    return CheckComments(run, removedLines);
}

} // namespace mergepromise
