#include "Merging.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

namespace zelconfig {

std::string_view Store::Keep(std::string_view bytes)
{
    if (bytes.size() > m_room) {
        const size_t size = std::max<size_t>(size_t{1} << 20, bytes.size());
        m_chunks.push_back(std::make_unique<char[]>(size));
        m_free = m_chunks.back().get();
        m_room = size;
    }
    char* kept = m_free;
    std::copy(bytes.begin(), bytes.end(), kept);
    m_free += bytes.size();
    m_room -= bytes.size();
    return {kept, bytes.size()};
}

uint32_t Names::Number(std::string_view name, uint32_t group)
{
    if (m_last != kNone && Is(m_last + 1, name, group)) {
        ++m_last;
    } else if (m_last == kNone || !Is(m_last, name, group)) {
        m_last = Lookup(name, group);
    }
    return m_last;
}

// Open addressing in the group's table, the hash held with each name.
uint32_t Names::Lookup(std::string_view name, uint32_t group)
{
    if (group >= m_tables.size()) {
        m_tables.resize(group + size_t{1});
    }
    Table& table = m_tables[group];
    if (2 * (table.count + 1) > table.slots.size()) {
        Grow(table);
    }
    const uint32_t hash = static_cast<uint32_t>(std::hash<std::string_view>()(name));
    const size_t mask = table.slots.size() - 1;
    size_t at = hash & mask;
    for (; table.slots[at] != kNone; at = (at + 1) & mask) {
        const Name& held = m_names[table.slots[at]];
        if (held.hash == hash && held.group == group && held.name == name) {
            return table.slots[at];
        }
    }
    table.slots[at] = static_cast<uint32_t>(m_names.size());
    ++table.count;
    m_names.push_back(Name{m_copies != nullptr ? m_copies->Keep(name) : name, group, hash});
    return table.slots[at];
}

void Names::Grow(Table& table) const
{
    std::vector<uint32_t> slots(std::max<size_t>(16, 2 * table.slots.size()), kNone);
    const size_t mask = slots.size() - 1;
    for (const uint32_t number : table.slots) {
        if (number != kNone) {
            size_t at = m_names[number].hash & mask;
            while (slots[at] != kNone) {
                at = (at + 1) & mask;
            }
            slots[at] = number;
        }
    }
    table.slots = std::move(slots);
}

Naming::Naming(bool copies, Show show)
    : m_names(copies ? &m_store : nullptr), m_groups(copies ? &m_store : nullptr), m_show(show)
{
}

void Naming::Restart(size_t expected)
{
    std::fill(m_seen.begin(), m_seen.end(), 0);
    // Room for the first reading's names; later readings mostly meet the
    // same ones, and room made again would move them all.
    if (m_names.Size() == 0) {
        m_names.Reserve(expected);
        m_seen.reserve(expected);
    }
}

uint32_t Naming::Number(std::string_view name, std::string_view group)
{
    // A text's values of one group mostly come together.
    if (!m_groupMet || group != m_lastGroup) {
        m_lastGroupNumber = m_groups.Number(group, 0);
        m_lastGroup = m_groups.Of(m_lastGroupNumber); // lasting, where `group` may not be
        m_groupMet = true;
    }
    return m_names.Number(name, m_lastGroupNumber);
}

void Naming::Identify(Keyed& item, std::string_view name, std::string_view group)
{
    item.name = Number(name, group);
    item.group = m_lastGroupNumber;
    if (item.name >= m_seen.size()) {
        m_seen.resize(item.name + size_t{1}, 0);
    }
    item.nth = ++m_seen[item.name];
}

void Naming::KeepKey(Keyed& item, std::string_view key)
{
    item.key = static_cast<uint32_t>(m_keys.size());
    m_keys.push_back(Keep(key));
}

void Naming::Describe(const Keyed& item, std::string& key, std::string& block, std::string& entry) const
{
    if (Paths()) {
        key.assign(m_keys[item.key].data(), m_keys[item.key].size());
        return;
    }
    block.assign(Block(item).data(), Block(item).size());
    entry.assign(Entry(item).data(), Entry(item).size());
    m_show(key, block, entry);
}

std::string Naming::Key(const Keyed& item) const
{
    std::string key, block, entry;
    Describe(item, key, block, entry);
    return key;
}

namespace {

// Where each id stands in a reading. Two readings of one file's versions
// mostly hold the same ids in the same order, so a caller's cursor, one past
// the last id found, is tried first; behind it, built at the first id the
// cursor misses in one pass, where each name's first value stands (names by
// number) and, for the few repeated ones, where each later value stands.
class IdIndex
{
public:
    IdIndex(const Reading& reading, const Naming& naming) : m_reading(reading), m_naming(naming) {}

    // The id's position, or kNoItem; `cursor` moves past what is found.
    size_t Find(const Keyed& id, size_t& cursor)
    {
        const size_t found = cursor < m_reading.size() && SameId(m_reading[cursor], id) ? cursor : Lookup(id);
        if (found != kNoItem) {
            cursor = found + 1;
        }
        return found;
    }

private:
    static constexpr uint32_t kAbsent = static_cast<uint32_t>(-1);

    static uint64_t Later(const Keyed& id) { return uint64_t{id.name} << 32 | id.nth; }

    size_t Lookup(const Keyed& id)
    {
        if (!m_built) {
            Build();
        }
        if (id.nth != 1) {
            const auto found = m_later.find(Later(id));
            return found == m_later.end() ? kNoItem : found->second;
        }
        return id.name < m_first.size() && m_first[id.name] != kAbsent ? m_first[id.name] : kNoItem;
    }

    void Build()
    {
        m_built = true;
        m_first.assign(m_naming.NameCount(), kAbsent);
        for (size_t i = 0; i < m_reading.size(); ++i) {
            if (m_reading[i].nth == 1) {
                m_first[m_reading[i].name] = static_cast<uint32_t>(i);
            } else {
                m_later.emplace(Later(m_reading[i]), i);
            }
        }
    }

    const Reading& m_reading;
    const Naming& m_naming;
    bool m_built = false;
    std::vector<uint32_t> m_first;               // by name: its first value's position
    std::unordered_map<uint64_t, size_t> m_later; // by name and occurrence: a repeat's position
};

Difference DifferenceOf(const Keyed* first, const Keyed* second, const Naming& naming)
{
    Difference difference;
    naming.Describe(second != nullptr ? *second : *first, difference.key, difference.block, difference.entry);
    difference.inFirst = first != nullptr;
    difference.inSecond = second != nullptr;
    if (first != nullptr) {
        difference.first.assign(first->value.data(), first->value.size());
    }
    if (second != nullptr) {
        difference.second.assign(second->value.data(), second->value.size());
    }
    return difference;
}

} // namespace

std::vector<Difference> CompareReadings(const Reading& first, const Reading& second, const Naming& naming)
{
    IdIndex inSecond(second, naming), inFirst(first, naming);
    size_t inSecondAt = 0, inFirstAt = 0;
    // A value only the first holds is shown after the last value both hold
    // that came before it there (before all, when none did).
    std::vector<std::vector<size_t>> goneAfter(second.size() + 1);
    size_t anchor = 0; // one past the second's index of the last shared value
    for (size_t i = 0; i < first.size(); ++i) {
        const size_t there = inSecond.Find(first[i], inSecondAt);
        if (there == kNoItem) {
            goneAfter[anchor].push_back(i);
        } else {
            anchor = there + 1;
        }
    }
    std::vector<Difference> differences;
    const auto gone = [&](size_t at) {
        for (size_t i : goneAfter[at]) {
            differences.push_back(DifferenceOf(&first[i], nullptr, naming));
        }
    };
    gone(0);
    for (size_t j = 0; j < second.size(); ++j) {
        const size_t here = inFirst.Find(second[j], inFirstAt);
        if (here == kNoItem || first[here].value != second[j].value) {
            differences.push_back(DifferenceOf(here == kNoItem ? nullptr : &first[here], &second[j], naming));
        }
        gone(j + 1);
    }
    return differences;
}

namespace {

// Where each add goes: after the nearest value before it in the new
// defaults' group that the file keeps, else before the nearest after it.
void PlaceAdds(const Reading& updated, const std::vector<size_t>& kept, size_t groups, MergePlan& plan)
{
    std::vector<size_t> last(groups, kNoItem); // by group: the file's value met last
    for (MergePlan::Add& add : plan.adds) {
        add.after = add.before = kNoItem;
    }
    size_t next = 0;
    for (size_t j = 0; j < updated.size(); ++j) {
        if (next < plan.adds.size() && plan.adds[next].updated == j) {
            plan.adds[next++].after = last[updated[j].group];
        } else if (kept[j] != kNoItem) {
            last[updated[j].group] = kept[j];
        }
    }
    std::fill(last.begin(), last.end(), kNoItem);
    size_t previous = plan.adds.size();
    for (size_t j = updated.size(); j-- > 0;) {
        if (previous > 0 && plan.adds[previous - 1].updated == j) {
            plan.adds[--previous].before = last[updated[j].group];
        } else if (kept[j] != kNoItem) {
            last[updated[j].group] = kept[j];
        }
    }
}

// Whether a sorted list of groups holds `group` or one beneath it ("a.b"
// is beneath "a"). A CFG block named like that is taken as beneath too,
// which only ever keeps a block.
bool HoldsOrBeneath(const std::vector<std::string_view>& groups, const std::string& group)
{
    const auto found = std::lower_bound(groups.begin(), groups.end(), group);
    if (found != groups.end() && *found == group) {
        return true;
    }
    const auto child = std::lower_bound(found, groups.end(), group + '.');
    return child != groups.end() && child->substr(0, group.size() + 1) == group + '.';
}

std::vector<std::string_view> Sorted(std::vector<std::string_view> groups)
{
    std::sort(groups.begin(), groups.end());
    groups.erase(std::unique(groups.begin(), groups.end()), groups.end());
    return groups;
}

// Each group of a reading's values that `takes` accepts, once, sorted.
template <typename Takes>
std::vector<std::string_view> GroupsOf(const Reading& reading, const Naming& naming, Takes takes)
{
    std::vector<bool> listed(naming.GroupCount(), false);
    std::vector<std::string_view> groups;
    for (size_t i = 0; i < reading.size(); ++i) {
        if (!listed[reading[i].group] && takes(i)) {
            listed[reading[i].group] = true;
            groups.push_back(naming.Group(reading[i]));
        }
    }
    return Sorted(std::move(groups));
}

// The groups the new defaults no longer have (neither a value in them or
// beneath them, nor an XML value by their name) where the file keeps
// nothing: every value of theirs the file holds goes, so the old defaults
// had them, as they stood, and the groups go whole.
std::vector<std::string> DroppedGroups(const Reading& updated, const Reading& file, const std::vector<bool>& removed,
                                       const Naming& naming)
{
    // A value beneath a group has a group beneath it, or the group itself.
    const std::vector<std::string_view> alive = GroupsOf(updated, naming, [](size_t) { return true; });
    const std::vector<std::string_view> kept = GroupsOf(file, naming, [&](size_t i) { return !removed[i]; });
    std::vector<bool> seen(naming.GroupCount(), false);
    std::vector<std::string> dropped;
    for (size_t i = 0; i < file.size(); ++i) {
        if (!removed[i] || seen[file[i].group]) {
            continue;
        }
        seen[file[i].group] = true;
        const std::string group(naming.Group(file[i]));
        if (!HoldsOrBeneath(alive, group) && !HoldsOrBeneath(kept, group)) {
            dropped.push_back(group);
        }
    }
    if (!naming.Paths() || dropped.empty()) {
        return dropped;
    }
    // An XML element the new defaults give a value of its own (below the
    // top) stays: its path is looked up only where its length is a group's.
    std::unordered_set<std::string_view> named(dropped.begin(), dropped.end()), valued;
    std::vector<bool> lengths;
    for (const std::string& group : dropped) {
        lengths.resize(std::max(lengths.size(), group.size() + 1), false);
        lengths[group.size()] = true;
    }
    for (const Keyed& item : updated) {
        const std::string_view path = naming.Path(item);
        if (path.size() < lengths.size() && lengths[path.size()] && !naming.Group(item).empty()
            && named.count(path) != 0) {
            valued.insert(path);
        }
    }
    dropped.erase(std::remove_if(dropped.begin(), dropped.end(),
                                 [&](const std::string& group) { return valued.count(group) != 0; }),
                  dropped.end());
    return dropped;
}

Conflict ConflictOf(const Keyed& yours, const Keyed& updated, const Keyed* old, const Naming& naming)
{
    Conflict conflict;
    naming.Describe(yours, conflict.key, conflict.block, conflict.entry);
    conflict.yours.assign(yours.value.data(), yours.value.size());
    conflict.updated.assign(updated.value.data(), updated.value.size());
    if (old != nullptr) {
        conflict.old.assign(old->value.data(), old->value.size());
    }
    conflict.inOld = old != nullptr;
    return conflict;
}

} // namespace

MergePlan PlanMerge(const Reading& old, const Reading& updated, const Reading& file, const Naming& naming)
{
    IdIndex inOld(old, naming), inUpdated(updated, naming), inFile(file, naming);
    size_t oldAt = 0, updatedAt = 0;
    MergePlan plan;
    std::vector<bool> removed(file.size(), false);
    for (size_t i = 0; i < file.size(); ++i) {
        const size_t o = inOld.Find(file[i], oldAt), n = inUpdated.Find(file[i], updatedAt);
        const bool untouched = o != kNoItem && old[o].value == file[i].value;
        if (untouched && n == kNoItem) {
            plan.removals.push_back(i); // the new defaults dropped a value the user left alone
            removed[i] = true;
        } else if (untouched && updated[n].value != file[i].value) {
            plan.sets.push_back({i, n});
        } else if (!untouched && n != kNoItem && updated[n].value != file[i].value
                   && (o == kNoItem || updated[n].value != old[o].value)) {
            // Both changed it, or both added it, each otherwise: the user's stays.
            plan.conflicts.push_back(ConflictOf(file[i], updated[n], o == kNoItem ? nullptr : &old[o], naming));
        }
    }
    // The values the new defaults add: neither the old defaults nor the
    // file hold them (a value the user removed stays removed).
    std::vector<size_t> kept(updated.size(), kNoItem);
    size_t fileAt = 0;
    oldAt = 0;
    for (size_t j = 0; j < updated.size(); ++j) {
        const size_t f = inFile.Find(updated[j], fileAt);
        if (f != kNoItem) {
            kept[j] = removed[f] ? kNoItem : f;
        } else if (inOld.Find(updated[j], oldAt) == kNoItem) {
            plan.adds.push_back({j, kNoItem, kNoItem});
        }
    }
    PlaceAdds(updated, kept, naming.GroupCount(), plan);
    if (!plan.removals.empty()) {
        plan.dropped = DroppedGroups(updated, file, removed, naming);
    }
    return plan;
}

namespace {

// A value under its key's names (an id without its occurrence), as the
// read-back counts them: the value a view into the readings or texts,
// which outlive the count.
using NamedValue = std::pair<uint32_t, std::string_view>;

struct NamedValueHash
{
    size_t operator()(const NamedValue& pair) const
    {
        return std::hash<std::string_view>()(pair.second) * 31 ^ pair.first;
    }
};

} // namespace

ReadBack::ReadBack(const Reading& file, const Reading& updated, const MergePlan& plan, const Naming& naming)
    : m_file(file), m_updated(updated), m_plan(plan), m_naming(naming), m_value(file.size()),
      m_gone(file.size(), false)
{
    for (size_t i = 0; i < file.size(); ++i) {
        m_value[i] = file[i].value;
    }
    for (const MergePlan::Set& set : plan.sets) {
        m_value[set.file] = updated[set.updated].value;
    }
    for (size_t i : plan.removals) {
        m_gone[i] = true;
    }
    while (m_next < m_file.size() && m_gone[m_next]) {
        ++m_next;
    }
}

// The merged text mostly reads as the file in its order, with the adds
// between: a value read that is the next one expected there is matched at
// once. What is left, expected or read, is counted by Result.
bool ReadBack::Next(const Keyed& item)
{
    if (m_next >= m_file.size() || item.name != m_file[m_next].name || item.value != m_value[m_next]) {
        return false;
    }
    ++m_next;
    while (m_next < m_file.size() && m_gone[m_next]) {
        ++m_next;
    }
    return true;
}

std::string ReadBack::Result() const
{
    // Each expected value counts up, each value read counts down; every
    // count must end at zero. Values of one key compare in any order.
    std::unordered_map<NamedValue, long, NamedValueHash> counts;
    for (size_t i = m_next; i < m_file.size(); ++i) {
        if (!m_gone[i]) {
            ++counts[NamedValue(m_file[i].name, m_value[i])];
        }
    }
    for (const MergePlan::Add& add : m_plan.adds) {
        ++counts[NamedValue(m_updated[add.updated].name, m_updated[add.updated].value)];
    }
    // Expected values all counted first, one that counts below zero is extra.
    for (const Keyed& item : m_unmatched) {
        if (--counts[NamedValue(item.name, item.value)] < 0) {
            return m_naming.Key(item) + " would read '" + std::string(item.value)
                   + "', which the merge does not make";
        }
    }
    for (const auto& count : counts) {
        if (count.second > 0) {
            return "a value the merge makes would not read back (" + std::string(count.first.second) + ")";
        }
    }
    return "";
}

} // namespace zelconfig
