// Comparing and merging XML documents: their readings for the
// format-neutral rules of Merging.cpp, and the merge's edits made one by one
// with the document's own verbs, read back before they are kept.

#include "DocumentAccess.h"
#include "Merging.h"

namespace zelconfig {

namespace {

// A key with every part indexed ("a.b" is "a[1].b[1]"), so that one value
// matches across files whether or not a sibling of its name comes or goes;
// and its parent's, the group its adds are placed in.
std::string Indexed(const std::string& key, std::string& parent)
{
    std::string indexed;
    size_t partBegin = 0;
    bool quoted = false;
    const auto endPart = [&](size_t at) {
        if (at == partBegin || key[at - 1] != ']') {
            indexed += "[1]";
        }
    };
    for (size_t at = 0; at < key.size(); ++at) {
        const char c = key[at];
        if (c == '"') {
            quoted = !quoted;
        } else if (c == '.' && !quoted) {
            endPart(at);
            parent = indexed;
            partBegin = at + 1;
        }
        indexed += c;
    }
    endPart(key.size());
    return indexed;
}

Reading ReadingOf(const XmlDocument& document)
{
    Reading reading;
    Occurrences occurrences;
    document.Walk([&](const std::string& key, const std::string& value) {
        Keyed item;
        item.key = key;
        item.value = value;
        std::string names = Indexed(key, item.group);
        occurrences.Identify(item, std::move(names));
        reading.push_back(std::move(item));
    });
    return reading;
}

// Whether the key names an attribute in `probe` (the new defaults):
// setting it to the value it holds then adds no byte, where for an element
// it adds the attribute.
bool NamesAttribute(XmlDocument& probe, const Keyed& item)
{
    const size_t before = probe.Text().size();
    return probe.SetAttribute(item.key, item.value) == 0 && probe.Text().size() == before;
}

} // namespace

std::vector<Difference> Compare(const XmlDocument& first, const XmlDocument& second)
{
    return CompareReadings(ReadingOf(first), ReadingOf(second));
}

int Merge(const XmlDocument& oldDefaults, const XmlDocument& newDefaults, XmlDocument& file,
          std::vector<Conflict>& conflicts)
{
    conflicts.clear();
    if (!DocumentAccess::Parsed(oldDefaults) || !DocumentAccess::Parsed(newDefaults)
        || !DocumentAccess::Parsed(file)) {
        DocumentAccess::Fail(file, "a document to merge is not well-formed XML");
        return kStatusInvalid;
    }
    const Reading mine = ReadingOf(file), updated = ReadingOf(newDefaults);
    MergePlan plan = PlanMerge(ReadingOf(oldDefaults), updated, mine);
    conflicts = std::move(plan.conflicts);
    if (plan.sets.empty() && plan.removals.empty() && plan.adds.empty()) {
        return 0;
    }
    // The edits are made to a copy, read back, and only then made the file's.
    XmlDocument work, probe;
    work.Parse(file.Text());
    if (!plan.adds.empty()) {
        probe.Parse(newDefaults.Text());
    }
    const auto refuse = [&file](const std::string& key, const std::string& why) {
        DocumentAccess::Fail(file, "refusing to merge: " + key + ": " + why);
        return kEditAmbiguous;
    };
    for (const MergePlan::Set& set : plan.sets) {
        if (work.Set(mine[set.file].key, updated[set.updated].value) != 0) {
            return refuse(mine[set.file].key, work.Error());
        }
    }
    // From the last, so that the keys of those before stay what they were.
    for (auto removal = plan.removals.rbegin(); removal != plan.removals.rend(); ++removal) {
        if (work.Remove(mine[*removal].key) != 0) {
            return refuse(mine[*removal].key, work.Error());
        }
    }
    for (const MergePlan::Add& add : plan.adds) {
        const Keyed& item = updated[add.updated];
        const int added = NamesAttribute(probe, item) ? work.SetAttribute(item.key, item.value)
                                                             : work.Add(item.key, item.value);
        if (added != 0) {
            return refuse(item.key, work.Error());
        }
    }
    const std::string wrong = MergedAsPlanned(mine, updated, plan, ReadingOf(work));
    if (!wrong.empty()) {
        DocumentAccess::Fail(file, "refusing to merge: " + wrong);
        return kEditAmbiguous;
    }
    DocumentAccess::Replace(file, work.Text());
    return 0;
}

} // namespace zelconfig
