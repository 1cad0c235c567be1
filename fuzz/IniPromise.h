#ifndef ZELCONFIG_FUZZ_INIPROMISE_H
#define ZELCONFIG_FUZZ_INIPROMISE_H

#include <string>
#include <vector>

#include "DocumentPromise.h"

// What a zelconfig::Document in the INI dialect promises, checked against a
// reference reading written apart from the library's, line by line as
// Python's configparser reads (keeping every repeated key and section):
// shared by the INI table tests and the fuzz harness.
namespace inipromise {

struct Entry
{
    std::string block, key, value;
    bool operator==(const Entry& other) const
    {
        return block == other.block && key == other.key && value == other.value;
    }
};

// Every entry of the text in file order, as the reference reads it.
std::vector<Entry> ReferenceRead(const std::string& text);

// Checks that the document reads the text as the reference does: every
// entry, in file order. Returns what differs, or an empty string.
std::string CheckReads(const std::string& text);

// Parses the text, applies the edit and checks its promise: a refused edit
// changes no byte; an accepted one reads back as the reference reading of
// the text with exactly that edit made, and changes one run of lines only
// (Set and Remove of one entry, Add, Append). Returns what broke, or "".
std::string CheckEdit(const std::string& text, const docpromise::Edit& edit, docpromise::Outcome& outcome);

} // namespace inipromise

#endif
