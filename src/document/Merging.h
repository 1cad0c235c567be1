#ifndef ZELCONFIG_DOCUMENT_MERGING_H
#define ZELCONFIG_DOCUMENT_MERGING_H

// Comparing and merging readings, whatever their format: each format's
// document gives its reading as Keyed values and makes the planned edits in
// its own bytes; what differs, and what a merge does, is decided here once.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ZelConfigMerge.h"

namespace zelconfig {

constexpr size_t kNoItem = static_cast<size_t>(-1);

// One value of a reading, as comparing and merging match them: numbers and
// views, no bytes of its own, so that a reading of a large file costs a few
// words per value. The views are into the documents' texts or the Naming's
// store, which outlive the reading.
struct Keyed
{
    uint32_t name = 0;  // with `nth` the id, equal in two readings for the same value: its names' number
    uint32_t nth = 0;   // its names' occurrence in its reading, from 1, so repeats match one by one
    uint32_t group = 0; // what it belongs to, numbered: a CFG or INI block, an XML parent element
    uint32_t key = 0;   // XML: its key as list prints it, numbered (CFG and INI make it from the names)
    std::string_view value; // as the string getter reads it
};
using Reading = std::vector<Keyed>;

inline bool SameId(const Keyed& a, const Keyed& b)
{
    return a.name == b.name && a.nth == b.nth;
}

// Bytes kept for as long as the readings that view them, in large chunks
// rather than a heap block each.
class Store
{
public:
    std::string_view Keep(std::string_view bytes);

private:
    std::vector<std::unique_ptr<char[]>> m_chunks;
    char* m_free = nullptr;
    size_t m_room = 0; // free bytes at m_free
};

// The names met in the readings of one comparison or merge, each numbered
// once, so that ids are numbers, equal in every reading for the same names.
// A name is its group's number and its own bytes (a CFG or INI entry's
// name in its block, an XML value's indexed path under its parent). Readings
// of one file's versions mostly hold the same names in the same order, so
// the name after the last one found (and the last one itself) is tried
// before any table. The tables are one per group, so that a group's names
// are looked up in a few cache lines of their own rather than all over a
// table as large as the file.
class Names
{
public:
    // With `copies`, names are made strings, kept there as first met; else
    // views into texts that outlive the names.
    explicit Names(Store* copies) : m_copies(copies) {}
    uint32_t Number(std::string_view name, uint32_t group);
    std::string_view Of(uint32_t number) const { return m_names[number].name; }
    size_t Size() const { return m_names.size(); }
    void Reserve(size_t expected) { m_names.reserve(expected); }

private:
    struct Name
    {
        std::string_view name;
        uint32_t group;
        uint32_t hash; // in the room the group leaves
    };
    // Open addressing: each slot a name's number, kNone where empty.
    struct Table
    {
        std::vector<uint32_t> slots;
        size_t count = 0;
    };
    static constexpr uint32_t kNone = static_cast<uint32_t>(-1);
    bool Is(uint32_t number, std::string_view name, uint32_t group) const
    {
        return number < m_names.size() && m_names[number].group == group && m_names[number].name == name;
    }
    uint32_t Lookup(std::string_view name, uint32_t group);
    void Grow(Table& table) const;

    Store* m_copies;
    std::vector<Name> m_names;
    std::vector<Table> m_tables; // by group
    uint32_t m_last = kNone;
};

// What the readings of one comparison or merge are made with: the names and
// groups numbered, the occurrences counted, and bytes that no text holds
// (made keys, joined values) kept for as long as the readings are used.
class Naming
{
public:
    // How a CFG or INI entry is shown as a key; none for XML, whose values
    // carry the key list prints.
    using Show = void (*)(std::string& out, std::string_view block, std::string_view entry);
    // `copies`: names are made strings (XML paths), kept as they are first met.
    Naming(bool copies, Show show);
    Naming(const Naming&) = delete;
    Naming& operator=(const Naming&) = delete;

    // A new reading starts: occurrences count again from nothing.
    void Restart(size_t expected);
    // Gives `item` its id and group from its name and its group's.
    void Identify(Keyed& item, std::string_view name, std::string_view group);
    // The number of a name met beside the values (an XML element that
    // holds elements only) or looked for: no occurrence is counted.
    uint32_t Number(std::string_view name, std::string_view group);
    std::string_view NameOf(uint32_t number) const { return m_names.Of(number); }
    std::string_view GroupName(uint32_t number) const { return m_groups.Of(number); }
    // The group of the name numbered last.
    uint32_t GroupNumber() const { return m_lastGroupNumber; }
    // An XML value's key as list prints it.
    std::string_view KeyOf(const Keyed& item) const { return m_keys[item.key]; }
    // `bytes` in lasting storage.
    std::string_view Keep(std::string_view bytes) { return m_store.Keep(bytes); }
    // An XML value's key, as list prints it, kept for `item`.
    void KeepKey(Keyed& item, std::string_view key);

    std::string_view Path(const Keyed& item) const { return m_names.Of(item.name); }  // XML
    std::string_view Entry(const Keyed& item) const { return m_names.Of(item.name); } // CFG, INI
    std::string_view Group(const Keyed& item) const { return m_groups.Of(item.group); }
    std::string_view Block(const Keyed& item) const { return Group(item); } // CFG, INI
    size_t NameCount() const { return m_names.Size(); }
    size_t GroupCount() const { return m_groups.Size(); }
    bool Paths() const { return m_show == nullptr; }
    // The key as list prints it, and the block and entry (empty for XML).
    void Describe(const Keyed& item, std::string& key, std::string& block, std::string& entry) const;
    std::string Key(const Keyed& item) const;

private:
    Store m_store;
    Names m_names, m_groups; // groups all in group 0
    std::vector<uint32_t> m_seen; // by name: occurrences in the reading so far
    std::vector<std::string_view> m_keys; // XML values' keys, by Keyed::key
    Show m_show;
    // The group met last and its number, none at first: a text's values of
    // a group come together.
    bool m_groupMet = false;
    std::string_view m_lastGroup;
    uint32_t m_lastGroupNumber = 0;
};

// What differs between two readings, in the second's order.
std::vector<Difference> CompareReadings(const Reading& first, const Reading& second, const Naming& naming);

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
MergePlan PlanMerge(const Reading& old, const Reading& updated, const Reading& file, const Naming& naming);

// Whether a merged text reads as `file` with the plan made, told its values
// one by one as they are read, so that no reading of it need be kept: every
// value once, repeated keys' values in any order.
class ReadBack
{
public:
    ReadBack(const Reading& file, const Reading& updated, const MergePlan& plan, const Naming& naming);
    // The merged text's next value, its views lasting until Result.
    void Read(const Keyed& item)
    {
        if (!Next(item)) {
            Hold(item);
        }
    }
    // Whether the merged text's next value is the one expected there, which
    // it then counts; its views need last no longer than the call.
    bool Next(const Keyed& item);
    // Counts a value read that was not where expected, its views lasting until Result.
    void Hold(const Keyed& item) { m_unmatched.push_back(item); }
    // Empty when so, else the first difference found, in words.
    std::string Result() const;

private:
    const Reading& m_file;
    const Reading& m_updated;
    const MergePlan& m_plan;
    const Naming& m_naming;
    std::vector<std::string_view> m_value; // the file's values as the merge leaves them
    std::vector<bool> m_gone;              // the file's values the merge removes
    size_t m_next = 0;                     // the file's value the next one read is expected to be
    std::vector<Keyed> m_unmatched;        // read, not where expected, in their order
};

} // namespace zelconfig

#endif
