#ifndef ZELCONFIG_BENCH_BENCHFILES_H
#define ZELCONFIG_BENCH_BENCHFILES_H

#include <cstddef>
#include <string>
#include <vector>

namespace zelbench {

// The shape of a synthetic CFG file. Every file is a pure function of its
// shape: the same bytes on every machine and in every run.
struct FileShape
{
    const char* name;
    size_t blocks;
    size_t entriesPerBlock;
    unsigned commentEvery;   // one line in this many is a comment
    unsigned longValueEvery; // one value in this many is longer than 256 bytes
    size_t commentMax;       // comments are 20 to this many bytes of text
};

// typical: ~4 KB, 10 blocks of 10; large: ~50 MB, 20,000 blocks of 50;
// wide: ~50 MB in one block of 1.2 million entries.
const std::vector<FileShape>& Shapes();
const FileShape* FindShape(const std::string& name);

// What a generated file holds, and keys to look up in it.
struct FileFacts
{
    size_t bytes = 0;
    size_t lines = 0;
    size_t entries = 0;
    size_t blocks = 0;
    // Block and entry names of entries whose values are decimal integers,
    // spread evenly over the file, for lookups.
    std::vector<std::string> keyBlocks, keyEntries;
};

// How a file's entries are written. kIni is the INI twin of the CFG file of
// the same shape: the same blocks, keys, value bytes and comments, written
// "key = value", and every tenth entry's value (the fifth of each ten, never
// an integer of the lookups) cut over three lines, the last two indented
// continuation lines. kXml writes the same blocks and entries as elements,
// <Config><block><key>value</key>...</block>...</Config>, one a line, in
// file order and without the comments (the benchmark's own XML twin of a
// file, made from the engine's model, is in the model's order).
enum class FileStyle { kCfg, kIni, kXml };

// Writes the file of that shape to `path`; false on an I/O error.
bool WriteShapedFile(const FileShape& shape, const std::string& path, FileFacts& facts,
                     FileStyle style = FileStyle::kCfg);

// The facts beside a file, as "<path>.facts": counts, then one key a line.
bool SaveFacts(const FileFacts& facts, const std::string& path);
bool LoadFacts(const std::string& path, FileFacts& facts);

// The files of an upgrade made from the text of a file written as above
// (the defaults it was made from, OLD): NEW, the new defaults, and FILE,
// the user's. Of every `stride` entries in turn, NEW changes the second
// (the first of each four such, FILE changes it too, otherwise: a
// conflict; the third of each four, FILE changes it alike), removes the
// third (which FILE has changed in one of each four) and adds an entry
// after the fourth; FILE changes the seventh, removes the eighth and adds
// an entry after the ninth. An entry's continuation lines go with it.
struct UpgradeFiles
{
    std::string updated, user;
    size_t conflicts = 0;
};
UpgradeFiles DeriveUpgrade(const std::string& old, FileStyle style, size_t stride);

// The stride for a file of `entries`: 1,000, so that the edits grow with
// the file, or less for a small file, so that it has some of each.
size_t UpgradeStride(size_t entries);

} // namespace zelbench

#endif
