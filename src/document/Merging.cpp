#include "Merging.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

namespace zelconfig {

namespace {

// Where each id stands in a reading. Two readings of one file's versions
// mostly hold the same ids in the same order, so a caller's cursor, one past
// the last id found, is tried first; the table behind it (open addressing
// over the positions, with each id's hash beside its position, so that no
// id costs an allocation) is built at the first id the cursor misses.
class IdIndex
{
public:
    explicit IdIndex(const Reading& reading) : m_reading(reading) {}

    // The id's position, or kNoItem; `cursor` moves past what is found.
    size_t Find(const std::string& id, size_t& cursor)
    {
        const size_t found = cursor < m_reading.size() && m_reading[cursor].id == id ? cursor : Lookup(id);
        if (found != kNoItem) {
            cursor = found + 1;
        }
        return found;
    }

private:
    struct Slot
    {
        size_t hash, item;
    };

    static size_t Hash(const std::string& id) { return std::hash<std::string_view>()(id); }
    bool Holds(const Slot& slot, size_t hash, const std::string& id) const
    {
        return slot.hash == hash && m_reading[slot.item].id == id;
    }

    size_t Lookup(const std::string& id)
    {
        if (m_slots.empty()) {
            Build();
        }
        const size_t hash = Hash(id);
        for (size_t at = hash & m_mask; m_slots[at].item != kNoItem; at = (at + 1) & m_mask) {
            if (Holds(m_slots[at], hash, id)) {
                return m_slots[at].item;
            }
        }
        return kNoItem;
    }

    void Build()
    {
        size_t capacity = 16;
        while (capacity < 2 * m_reading.size()) {
            capacity *= 2;
        }
        m_mask = capacity - 1;
        m_slots.assign(capacity, Slot{0, kNoItem});
        for (size_t i = 0; i < m_reading.size(); ++i) {
            const size_t hash = Hash(m_reading[i].id);
            size_t at = hash & m_mask;
            while (m_slots[at].item != kNoItem && !Holds(m_slots[at], hash, m_reading[i].id)) {
                at = (at + 1) & m_mask;
            }
            if (m_slots[at].item == kNoItem) {
                m_slots[at] = Slot{hash, i}; // the first of an id stays, should one come twice
            }
        }
    }

    const Reading& m_reading;
    std::vector<Slot> m_slots;
    size_t m_mask = 0;
};

Difference DifferenceOf(const Keyed* first, const Keyed* second)
{
    const Keyed& named = second != nullptr ? *second : *first;
    Difference difference{named.key, named.block, named.entry, first != nullptr, second != nullptr, {}, {}};
    if (first != nullptr) {
        difference.first = first->value;
    }
    if (second != nullptr) {
        difference.second = second->value;
    }
    return difference;
}

} // namespace

void Occurrences::Identify(Keyed& item, std::string names)
{
    const size_t nth = ++m_seen[names];
    names += '\0';
    names += std::to_string(nth);
    item.id = std::move(names);
}

std::vector<Difference> CompareReadings(const Reading& first, const Reading& second)
{
    IdIndex inSecond(second), inFirst(first);
    size_t inSecondAt = 0, inFirstAt = 0;
    // A value only the first holds is shown after the last value both hold
    // that came before it there (before all, when none did).
    std::vector<std::vector<size_t>> goneAfter(second.size() + 1);
    size_t anchor = 0; // one past the second's index of the last shared value
    for (size_t i = 0; i < first.size(); ++i) {
        const size_t there = inSecond.Find(first[i].id, inSecondAt);
        if (there == kNoItem) {
            goneAfter[anchor].push_back(i);
        } else {
            anchor = there + 1;
        }
    }
    std::vector<Difference> differences;
    const auto gone = [&](size_t at) {
        for (size_t i : goneAfter[at]) {
            differences.push_back(DifferenceOf(&first[i], nullptr));
        }
    };
    gone(0);
    for (size_t j = 0; j < second.size(); ++j) {
        const size_t here = inFirst.Find(second[j].id, inFirstAt);
        if (here == kNoItem || first[here].value != second[j].value) {
            differences.push_back(DifferenceOf(here == kNoItem ? nullptr : &first[here], &second[j]));
        }
        gone(j + 1);
    }
    return differences;
}

namespace {

// What a value's adds are placed among: its group, or a CFG or INI value's block.
std::string_view GroupOf(const Keyed& item)
{
    return item.group.empty() ? item.block : item.group;
}

// Where each add goes: after the nearest value before it in the new
// defaults' group that the file keeps, else before the nearest after it.
void PlaceAdds(const Reading& updated, const std::vector<size_t>& kept, MergePlan& plan)
{
    std::unordered_map<std::string_view, size_t> last; // per group: the file's value met last
    for (MergePlan::Add& add : plan.adds) {
        add.after = add.before = kNoItem;
    }
    size_t next = 0;
    for (size_t j = 0; j < updated.size(); ++j) {
        if (next < plan.adds.size() && plan.adds[next].updated == j) {
            const auto found = last.find(GroupOf(updated[j]));
            plan.adds[next++].after = found == last.end() ? kNoItem : found->second;
        } else if (kept[j] != kNoItem) {
            last[GroupOf(updated[j])] = kept[j];
        }
    }
    last.clear();
    size_t previous = plan.adds.size();
    for (size_t j = updated.size(); j-- > 0;) {
        if (previous > 0 && plan.adds[previous - 1].updated == j) {
            const auto found = last.find(GroupOf(updated[j]));
            plan.adds[--previous].before = found == last.end() ? kNoItem : found->second;
        } else if (kept[j] != kNoItem) {
            last[GroupOf(updated[j])] = kept[j];
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

// The groups the new defaults no longer have (neither a value in them or
// beneath them, nor an XML value by their name) where the file keeps
// nothing: every value of theirs the file holds goes, so the old defaults
// had them, as they stood, and the groups go whole.
std::vector<std::string> DroppedGroups(const Reading& updated, const Reading& file, const std::vector<bool>& removed)
{
    std::vector<std::string_view> alive, kept;
    // Values of a group mostly come together: each run is listed once.
    const auto list = [](std::vector<std::string_view>& groups, std::string_view group) {
        if (groups.empty() || groups.back() != group) {
            groups.push_back(group);
        }
    };
    for (const Keyed& item : updated) {
        list(alive, GroupOf(item));
        if (!item.group.empty()) {
            alive.push_back(std::string_view(item.id).substr(0, item.id.rfind('\0')));
        }
    }
    for (size_t i = 0; i < file.size(); ++i) {
        if (!removed[i]) {
            list(kept, GroupOf(file[i]));
        }
    }
    alive = Sorted(std::move(alive));
    kept = Sorted(std::move(kept));
    std::unordered_set<std::string_view> seen;
    std::vector<std::string> dropped;
    for (size_t i = 0; i < file.size(); ++i) {
        if (!removed[i] || !seen.insert(GroupOf(file[i])).second) {
            continue;
        }
        const std::string group(GroupOf(file[i]));
        if (!HoldsOrBeneath(alive, group) && !HoldsOrBeneath(kept, group)) {
            dropped.push_back(group);
        }
    }
    return dropped;
}

Conflict ConflictOf(const Keyed& yours, const Keyed& updated, const Keyed* old)
{
    return {yours.key, yours.block, yours.entry, yours.value, updated.value, old ? old->value : "", old != nullptr};
}

} // namespace

MergePlan PlanMerge(const Reading& old, const Reading& updated, const Reading& file)
{
    IdIndex inOld(old), inUpdated(updated), inFile(file);
    size_t oldAt = 0, updatedAt = 0;
    MergePlan plan;
    std::vector<bool> removed(file.size(), false);
    for (size_t i = 0; i < file.size(); ++i) {
        const size_t o = inOld.Find(file[i].id, oldAt), n = inUpdated.Find(file[i].id, updatedAt);
        const bool untouched = o != kNoItem && old[o].value == file[i].value;
        if (untouched && n == kNoItem) {
            plan.removals.push_back(i); // the new defaults dropped a value the user left alone
            removed[i] = true;
        } else if (untouched && updated[n].value != file[i].value) {
            plan.sets.push_back({i, n});
        } else if (!untouched && n != kNoItem && updated[n].value != file[i].value
                   && (o == kNoItem || updated[n].value != old[o].value)) {
            // Both changed it, or both added it, each otherwise: the user's stays.
            plan.conflicts.push_back(ConflictOf(file[i], updated[n], o == kNoItem ? nullptr : &old[o]));
        }
    }
    // The values the new defaults add: neither the old defaults nor the
    // file hold them (a value the user removed stays removed).
    std::vector<size_t> kept(updated.size(), kNoItem);
    size_t fileAt = 0;
    oldAt = 0;
    for (size_t j = 0; j < updated.size(); ++j) {
        const size_t f = inFile.Find(updated[j].id, fileAt);
        if (f != kNoItem) {
            kept[j] = removed[f] ? kNoItem : f;
        } else if (inOld.Find(updated[j].id, oldAt) == kNoItem) {
            plan.adds.push_back({j, kNoItem, kNoItem});
        }
    }
    PlaceAdds(updated, kept, plan);
    if (!plan.removals.empty()) {
        plan.dropped = DroppedGroups(updated, file, removed);
    }
    return plan;
}

namespace {

// A value under its key's names (an id without its occurrence), as the
// read-back counts them: views into the readings, which outlive the count.
using NamedValue = std::pair<std::string_view, std::string_view>;

struct NamedValueHash
{
    size_t operator()(const NamedValue& pair) const
    {
        const std::hash<std::string_view> hash;
        return hash(pair.first) * 31 ^ hash(pair.second);
    }
};

NamedValue NamedValueOf(const Keyed& item, const std::string& value)
{
    return {std::string_view(item.id).substr(0, item.id.rfind('\0')), value};
}

} // namespace

ReadBack::ReadBack(const Reading& file, const Reading& updated, const MergePlan& plan)
    : m_file(file), m_updated(updated), m_plan(plan), m_value(file.size())
{
    for (size_t i = 0; i < file.size(); ++i) {
        m_value[i] = &file[i].value;
    }
    for (const MergePlan::Set& set : plan.sets) {
        m_value[set.file] = &updated[set.updated].value;
    }
    for (size_t i : plan.removals) {
        m_value[i] = nullptr;
    }
    while (m_next < m_file.size() && m_value[m_next] == nullptr) {
        ++m_next;
    }
}

// The merged text mostly reads as the file in its order, with the adds
// between: a value read that is the next one expected there is matched at
// once. What is left, expected or read, is counted by Result.
void ReadBack::Read(const Keyed& item)
{
    if (m_next < m_file.size() && NamedValueOf(item, item.value) == NamedValueOf(m_file[m_next], *m_value[m_next])) {
        ++m_next;
        while (m_next < m_file.size() && m_value[m_next] == nullptr) {
            ++m_next;
        }
    } else {
        m_unmatched.push_back(item);
    }
}

std::string ReadBack::Result() const
{
    // Each expected value counts up, each value read counts down; every
    // count must end at zero. Values of one key compare in any order.
    std::unordered_map<NamedValue, long, NamedValueHash> counts;
    for (size_t i = m_next; i < m_file.size(); ++i) {
        if (m_value[i] != nullptr) {
            ++counts[NamedValueOf(m_file[i], *m_value[i])];
        }
    }
    for (const MergePlan::Add& add : m_plan.adds) {
        ++counts[NamedValueOf(m_updated[add.updated], m_updated[add.updated].value)];
    }
    // Expected values all counted first, one that counts below zero is extra.
    for (const Keyed& item : m_unmatched) {
        if (--counts[NamedValueOf(item, item.value)] < 0) {
            return item.key + " would read '" + item.value + "', which the merge does not make";
        }
    }
    for (const auto& count : counts) {
        if (count.second > 0) {
            return "a value the merge makes would not read back (" + std::string(count.first.second) + ")";
        }
    }
    return "";
}

std::string MergedAsPlanned(const Reading& file, const Reading& updated, const MergePlan& plan,
                            const Reading& merged)
{
    ReadBack readBack(file, updated, plan);
    for (const Keyed& item : merged) {
        readBack.Read(item);
    }
    return readBack.Result();
}

} // namespace zelconfig
