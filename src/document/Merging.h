#ifndef ZELCONFIG_DOCUMENT_MERGING_H
#define ZELCONFIG_DOCUMENT_MERGING_H

// Comparing and merging readings, whatever their format: each format's
// document gives its reading as Keyed values and makes the planned edits in
// its own bytes; what differs, and what a merge does, is decided here once.

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "ZelConfigMerge.h"

namespace zelconfig {

constexpr size_t kNoItem = static_cast<size_t>(-1);

// One value of a reading, as comparing and merging match them.
struct Keyed
{
    std::string id;           // equal in two readings for the same value: names and occurrence
    std::string group;        // what it belongs to (a parent element): adds are placed among it; empty
                              // for CFG and INI, whose block is the group
    std::string key;          // as list prints it
    std::string block, entry; // a CFG or INI entry's names apart; empty for XML
    std::string value;        // as the string getter reads it
};
using Reading = std::vector<Keyed>;

// Gives each value of a reading its id from the names that match it: the
// names and their occurrence in the reading so far, so that a repeated key
// is matched one by one, in order.
class Occurrences
{
public:
    void Identify(Keyed& item, std::string names);

private:
    std::unordered_map<std::string, size_t> m_seen;
};

// What differs between two readings, in the second's order.
std::vector<Difference> CompareReadings(const Reading& first, const Reading& second);

// What a merge does to the user's file, from the three readings.
struct MergePlan
{
    struct Set
    {
        size_t file, updated; // the file's value takes the new defaults'
    };
    struct Add
    {
        size_t updated;   // the new defaults' value the file lacks
        size_t after;     // the file's value it follows in its group, or kNoItem
        size_t before;    // else the file's value it precedes in its group, or kNoItem
    };
    std::vector<Set> sets;         // in the file's order
    std::vector<size_t> removals;  // the file's values, in its order
    std::vector<Add> adds;         // in the new defaults' order
    std::vector<std::string> dropped; // groups (blocks, elements) that go whole, in the file's order
    std::vector<Conflict> conflicts;
};
MergePlan PlanMerge(const Reading& old, const Reading& updated, const Reading& file);

// Whether a merged text reads as `file` with the plan made, told its values
// one by one as they are read, so that no reading of it need be kept: every
// value once, repeated keys' values in any order.
class ReadBack
{
public:
    ReadBack(const Reading& file, const Reading& updated, const MergePlan& plan);
    // The merged text's next value; `item` may be reused for the next.
    void Read(const Keyed& item);
    // Empty when so, else the first difference found, in words.
    std::string Result() const;

private:
    const Reading& m_file;
    const Reading& m_updated;
    const MergePlan& m_plan;
    std::vector<const std::string*> m_value; // the file's values as the merge leaves them
    size_t m_next = 0;                        // the file's value the next one read is expected to be
    std::vector<Keyed> m_unmatched;           // read, not where expected, in their order
};

// The same for a whole reading: empty when `merged` reads as planned, else
// the first difference found, in words.
std::string MergedAsPlanned(const Reading& file, const Reading& updated, const MergePlan& plan,
                            const Reading& merged);

} // namespace zelconfig

#endif
