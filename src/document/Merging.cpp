#include "Merging.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

namespace zelconfig {

namespace {

// Where each id stands in a reading.
std::unordered_map<std::string_view, size_t> IndexOf(const Reading& reading)
{
    std::unordered_map<std::string_view, size_t> index;
    index.reserve(reading.size());
    for (size_t i = 0; i < reading.size(); ++i) {
        index.emplace(reading[i].id, i);
    }
    return index;
}

size_t Find(const std::unordered_map<std::string_view, size_t>& index, const std::string& id)
{
    const auto found = index.find(id);
    return found == index.end() ? kNoItem : found->second;
}

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
    const auto inSecond = IndexOf(second);
    const auto inFirst = IndexOf(first);
    // A value only the first holds is shown after the last value both hold
    // that came before it there (before all, when none did).
    std::vector<std::vector<size_t>> goneAfter(second.size() + 1);
    size_t anchor = 0; // one past the second's index of the last shared value
    for (size_t i = 0; i < first.size(); ++i) {
        const size_t there = Find(inSecond, first[i].id);
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
        const size_t here = Find(inFirst, second[j].id);
        if (here == kNoItem || first[here].value != second[j].value) {
            differences.push_back(DifferenceOf(here == kNoItem ? nullptr : &first[here], &second[j]));
        }
        gone(j + 1);
    }
    return differences;
}

namespace {

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
            const auto found = last.find(updated[j].group);
            plan.adds[next++].after = found == last.end() ? kNoItem : found->second;
        } else if (kept[j] != kNoItem) {
            last[updated[j].group] = kept[j];
        }
    }
    last.clear();
    size_t previous = plan.adds.size();
    for (size_t j = updated.size(); j-- > 0;) {
        if (previous > 0 && plan.adds[previous - 1].updated == j) {
            const auto found = last.find(updated[j].group);
            plan.adds[--previous].before = found == last.end() ? kNoItem : found->second;
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

// The groups the new defaults no longer have (neither a value in them or
// beneath them, nor a value by their name), which the old defaults had and
// where the file keeps nothing: they go whole.
std::vector<std::string> DroppedGroups(const Reading& old, const Reading& updated, const Reading& file,
                                       const std::vector<bool>& removed)
{
    std::vector<std::string_view> alive, kept;
    for (const Keyed& item : updated) {
        alive.push_back(item.group);
        alive.push_back(std::string_view(item.id).substr(0, item.id.rfind('\0')));
    }
    for (size_t i = 0; i < file.size(); ++i) {
        if (!removed[i]) {
            kept.push_back(file[i].group);
        }
    }
    alive = Sorted(std::move(alive));
    kept = Sorted(std::move(kept));
    std::unordered_set<std::string_view> inOld, seen;
    for (const Keyed& item : old) {
        inOld.insert(item.group);
    }
    std::vector<std::string> dropped;
    for (size_t i = 0; i < file.size(); ++i) {
        const std::string& group = file[i].group;
        if (removed[i] && seen.insert(group).second && inOld.count(group) > 0 && !HoldsOrBeneath(alive, group)
            && !HoldsOrBeneath(kept, group)) {
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
    const auto inOld = IndexOf(old), inUpdated = IndexOf(updated), inFile = IndexOf(file);
    MergePlan plan;
    std::vector<bool> removed(file.size(), false);
    for (size_t i = 0; i < file.size(); ++i) {
        const size_t o = Find(inOld, file[i].id), n = Find(inUpdated, file[i].id);
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
    for (size_t j = 0; j < updated.size(); ++j) {
        const size_t f = Find(inFile, updated[j].id);
        if (f != kNoItem) {
            kept[j] = removed[f] ? kNoItem : f;
        } else if (Find(inOld, updated[j].id) == kNoItem) {
            plan.adds.push_back({j, kNoItem, kNoItem});
        }
    }
    PlaceAdds(updated, kept, plan);
    if (!plan.removals.empty()) {
        plan.dropped = DroppedGroups(old, updated, file, removed);
    }
    return plan;
}

std::string MergedAsPlanned(const Reading& file, const Reading& updated, const MergePlan& plan,
                            const Reading& merged)
{
    // Each expected value counts up, each value read counts down; every
    // count must end at zero. Values of one key compare in any order.
    std::unordered_map<std::string, long> counts;
    const auto names = [](const Keyed& item) { return item.id.substr(0, item.id.rfind('\0')); };
    std::vector<const std::string*> value(file.size());
    for (size_t i = 0; i < file.size(); ++i) {
        value[i] = &file[i].value;
    }
    for (const MergePlan::Set& set : plan.sets) {
        value[set.file] = &updated[set.updated].value;
    }
    for (size_t i : plan.removals) {
        value[i] = nullptr;
    }
    for (size_t i = 0; i < file.size(); ++i) {
        if (value[i] != nullptr) {
            ++counts[names(file[i]) + '\0' + *value[i]];
        }
    }
    for (const MergePlan::Add& add : plan.adds) {
        ++counts[names(updated[add.updated]) + '\0' + updated[add.updated].value];
    }
    // Expected values all counted first, one that counts below zero is extra.
    for (const Keyed& item : merged) {
        if (--counts[names(item) + '\0' + item.value] < 0) {
            return item.key + " would read '" + item.value + "', which the merge does not make";
        }
    }
    for (const auto& count : counts) {
        if (count.second > 0) {
            return "a value the merge makes would not read back (" + count.first.substr(count.first.rfind('\0') + 1)
                   + ")";
        }
    }
    return "";
}

} // namespace zelconfig
