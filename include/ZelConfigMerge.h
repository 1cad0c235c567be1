#ifndef ZELCONFIG_ZELCONFIGMERGE_H
#define ZELCONFIG_ZELCONFIGMERGE_H

#include <string>
#include <vector>

#include "ZelConfigDocument.h"
#include "ZelConfigExport.h"
#include "ZelConfigXmlDocument.h"

namespace zelconfig {

// Comparing two readings of one format, and merging new defaults into a
// file made from older ones, key by key: what a file says, not how its
// lines are laid out. A key names one value as zelcfg list prints it; a key
// a reading holds more than once (an entry repeated in its block) is
// matched occurrence by occurrence, in file order. Values are compared as
// the string getter reads them: a carriage return that CR LF line ends leave
// at a value's end is no part of it.

// One key whose value differs between two readings, or that only one holds.
struct Difference
{
    std::string key;       // as list prints it: the second reading's where both hold it
    std::string block;     // CFG and INI: the key's block; empty for XML
    std::string entry;     // CFG and INI: the key's entry; empty for XML
    bool inFirst = false;  // the first reading holds the key, with `first`
    bool inSecond = false; // the second reading holds the key, with `second`
    std::string first;     // the first reading's value
    std::string second;    // the second reading's value
};

// What differs between the readings of `first` and `second`, in the order of
// the second's keys, a key only the first holds where it stood among the
// keys both hold. Empty when they read the same, however their bytes differ.
// Documents of different modes read alike in nothing: compare those of one.
ZELCONFIG_API std::vector<Difference> Compare(const Document& first, const Document& second);
ZELCONFIG_API std::vector<Difference> Compare(const XmlDocument& first, const XmlDocument& second);

// A key that the user and the new defaults changed each in their own way:
// the user's value stays.
struct Conflict
{
    std::string key;     // as list prints it in the user's file
    std::string block;   // CFG and INI: the key's block; empty for XML
    std::string entry;   // CFG and INI: the key's entry; empty for XML
    std::string yours;   // the user's value
    std::string updated; // the new defaults' value
    std::string old;     // the old defaults' value; empty when they lacked the key
    bool inOld = false;  // the old defaults held the key
};

// Brings the new defaults into `file`, a user's file made from `oldDefaults`,
// key by key. A value the user left as the old defaults had it takes the
// new defaults' value; a value the user changed stays. A key the new
// defaults add is added where they have it, after the key that precedes
// it there (else before the one that follows it, else at its block's or
// element's end), with the comment lines directly above it, in the file's
// style; a block the new defaults add comes with its header and comments,
// an element whole. A key the new defaults remove goes, with its comments,
// unless the user changed it; a key the user added or removed stays so. A
// key both changed, each otherwise, is a conflict: the user's value stays
// and the key is listed in `conflicts`.
//
// The edits are made to `file` as its own edits are, all of them or none:
// the caller saves it (one lock, one save). Every line the merge does not
// change keeps its bytes. Before anything is kept the merged text is read
// again and must read as the merge promises; where it would not (an edit
// that would make a line read otherwise), nothing changes. 0 (file.Changed()
// says whether anything did); kStatusInvalid (22) when a document is not
// wholly read or the modes differ; kEditAmbiguous when an edit was refused
// or the result would not read as promised. file.Error() says why.
ZELCONFIG_API int Merge(const Document& oldDefaults, const Document& newDefaults, Document& file,
                        std::vector<Conflict>& conflicts);
ZELCONFIG_API int Merge(const XmlDocument& oldDefaults, const XmlDocument& newDefaults, XmlDocument& file,
                        std::vector<Conflict>& conflicts);

} // namespace zelconfig

#endif
