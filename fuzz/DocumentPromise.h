#ifndef ZELCONFIG_FUZZ_DOCUMENTPROMISE_H
#define ZELCONFIG_FUZZ_DOCUMENTPROMISE_H

#include <string>

#include "ZelConfigDocument.h"

// What every edit of a zelconfig::Document promises, checked against the
// engine: shared by the document's table test and its fuzz harness.
namespace docpromise {

enum class Op { kSet, kAdd, kRemove, kRemoveBlock, kNormalise, kSetAt, kRemoveAt, kAppend };

struct Edit
{
    Op op;
    std::string key; // the block's name for kRemoveBlock
    std::string value;
    size_t index = 1; // kSetAt and kRemoveAt: which entry of the key, from 1
};

struct Outcome
{
    int status = 0;
    std::string text; // the document's bytes afterwards
};

// Parses `text` in the mode, applies the edit and checks that CCFGParser
// reads the result as the model the edit promises, that every line the edit
// need not touch is unchanged and in place, and that a refused edit or one
// that changes nothing leaves the bytes alone. Returns what broke, or an
// empty string.
std::string CheckEdit(const std::string& text, zelconfig::Document::Mode mode, const Edit& edit, Outcome& outcome);

// Checks that the document reads `text` as the engine does: the parse's
// status, every key's value (and keys of no entry), the normalised form.
std::string CheckReads(const std::string& text, zelconfig::Document::Mode mode);

} // namespace docpromise

#endif
