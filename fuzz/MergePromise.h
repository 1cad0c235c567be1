#ifndef ZELCONFIG_FUZZ_MERGEPROMISE_H
#define ZELCONFIG_FUZZ_MERGEPROMISE_H

#include <string>
#include <vector>

#include "ZelConfigMerge.h"

// What a merge of new defaults into a user's file promises, checked against
// the upgrade rules written out here over plain readings (key -> values),
// apart from the library's own plan.
namespace mergepromise {

// One value of a reading, in file order.
struct Value
{
    std::string key;          // as list prints it
    std::string block, entry; // CFG and INI: the names apart
    std::string value;        // as the string getter reads it
    size_t line = 0;          // where it stands, from 1
    bool attribute = false;   // XML: an attribute, not an element
};
using Reading = std::vector<Value>;

Reading ReadingOf(const zelconfig::Document& document);
Reading ReadingOf(const zelconfig::XmlDocument& document);

// The blocks a document's headers name; none for XML.
std::vector<std::string> BlocksOf(const zelconfig::Document& document);
std::vector<std::string> BlocksOf(const zelconfig::XmlDocument& document);

// One merge and what came of it.
struct Run
{
    bool xml = false, ini = false;
    Reading old, updated, file, merged; // merged: FILE's document read after the merge
    std::string fileText, mergedText;
    std::vector<std::string> oldBlocks, fileBlocks; // CFG and INI: the blocks with a header
    int status = 0;
    std::string error;
    bool changed = false; // Changed() after the merge
    std::vector<zelconfig::Conflict> conflicts;
    int againStatus = 0;    // merging OLD and NEW into the merged text once more
    std::string againText;  // and the text that left
    std::vector<zelconfig::Conflict> againConflicts;
};

// What the run broke of the rules, or "" when nothing.
std::string Check(const Run& run);

} // namespace mergepromise

#endif
