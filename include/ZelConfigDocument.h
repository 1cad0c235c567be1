#ifndef ZELCONFIG_ZELCONFIGDOCUMENT_H
#define ZELCONFIG_ZELCONFIGDOCUMENT_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ZelConfigExport.h"
#include "ZelConfigReplaceFile.h"
#include "ZelConfigStatus.h"

namespace zelconfig {

// An edit's refusal where the key could name something else in the file:
// Add beside a look-alike entry or block, or a block whose dotted name is a
// longer prefix of the key; Set and Remove of a key that names several
// entries. Nothing is written; Error() says what, and how to name it.
constexpr int kEditAmbiguous = -4;

// Something in a file that a reader drops or changes silently, or that
// stricter readers refuse, where it stands: what the documents' Lint reports.
struct Finding
{
    size_t line;         // counted from 1
    size_t column;       // counted from 1, in characters; 0 when the finding is about the whole line
    std::string message; // what it is, and what becomes of it
};

// A CFG file held as its bytes, for edits that keep everything they do not
// have to change: comments, blank lines, the order of blocks, line ends.
//
// Reads give exactly what CCFGParser gives for the same file in the same
// mode. Each edit changes only the lines it must, and reading the result with
// CCFGParser gives exactly the model the edit promises; an edit that would
// change nothing writes nothing. Save() replaces the file atomically and
// durably. The bytes are held in the process's own memory, never in a
// mapping of the file, so another program that shortens or rewrites the file
// cannot change them.
//
// Keys are split as CCFGParser::CFGGetData splits them: "Block.Entry" at the
// first '.', and in anonymous mode a key without '.' names an entry of the
// block "anonymous".
//
// Statuses (ZelConfigStatus.h names them): 0 success; -1 (kStatusMalformed)
// a block header without ']'; -2 (kStatusNotFound) a file that cannot be
// opened or saved, or a key or block that is not there; kEditAmbiguous (-4)
// an edit refused because the key could name something else in the file
// (Error() says what, and how to name it); 22 (kStatusInvalid) nothing loaded,
// a file read only in part, an empty key, or a name or value that no line of
// the file could hold in this mode. Nothing is thrown on purpose; only a
// failed ordinary allocation escapes as std::bad_alloc. One document must be
// used by one thread at a time.
class ZELCONFIG_API Document
{
public:
    // How lines are read, as CCFGParser's m_uiAnonymousMode selects.
    enum class Mode
    {
        kBlock,     // entries belong to the header above them; bytes kept as they are
        kAnonymous, // every entry belongs to "anonymous"; names and values trimmed
        // The INI dialect, as ordinary INI files are written: "key = value"
        // and "key: value" with the blanks around names and values dropped,
        // indented keys, comments after blanks, indented lines under an
        // entry continuing its value (joined with line feeds), a UTF-8 byte
        // order mark skipped. Entries above the first header belong to the
        // block "" (key ".KEY"); every header and entry of a repeated name
        // is read. No line stops the reading. Edits write in the file's own
        // style: spacing, delimiter, indentation of continuation lines,
        // blank lines between sections.
        kIni,
    };

    // Options of Load, to be or-ed.
    enum LoadOptions : unsigned
    {
        kLock = 1u,   // follow symbolic links and hold an exclusive flock() on the
                      // file until the document is destroyed or loads again, so
                      // that editors using it take turns; refused (-2, Error()
                      // says why) as LockedFile::Lock refuses: a file the
                      // caller may not write, the lock not had in time
        kCreate = 2u, // with kLock: create a missing file, empty, first
    };

    // An empty document that reads in `mode`; nothing loaded yet.
    explicit Document(Mode mode = Mode::kBlock);
    ~Document();
    // Takes over the other document's bytes, lock and state; the other may
    // then only be destroyed or assigned to.
    Document(Document&& other) noexcept;
    // The same for an existing document, whose own state (and lock) goes.
    Document& operator=(Document&& other) noexcept;
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

    // The mode the document reads in.
    Mode GetMode() const;

    // Reads the file: the status CCFGParser::CFGParseFile gives for it (0,
    // -1, -2 or 22). After -1 or 22 reads see what the engine's partial model
    // holds and edits are refused; Error() says why after each failure, with
    // the number of the line that stopped the parse after -1 and 22.
    int Load(const std::string& path, unsigned options = 0);
    // The same, locking and saving as `saving` says: how long to wait for the
    // lock, whether to replace a file the caller may not write, whether to
    // save in place. kCreate sets saving.create.
    int Load(const std::string& path, unsigned options, const ReplaceOptions& saving);
    // The same from bytes in memory: 0, -1 or 22, with Error() as for Load.
    // Such a document has no file to save to.
    int Parse(std::string_view text);
    // The same from what an open descriptor holds from its position to its
    // end (standard input: 0): 0, -1, -2 (it cannot be read) or 22.
    int Read(int fd);

    // The bytes as they stand after the edits so far; valid until the next
    // edit or load.
    std::string_view Text() const;
    // True when an edit has changed the bytes since the last load or save.
    bool Changed() const;
    // True when the file's first line ends in a carriage return and a line
    // feed; lines that edits add then end so too. In block mode the carriage
    // return before a line feed is part of the value, as the engine reads
    // it: an added entry's value, and a set value replacing one that ends
    // in it, get one unless they end in it already, so that the line keeps
    // its CR LF.
    bool CrlfLineEnds() const;
    // Why the last Load, Parse or Save failed, or the last edit was refused
    // or found nothing, in words ("line 3: a block header has no ']'");
    // empty after a successful load.
    const std::string& Error() const;

    // Appends every value of the key to `value` exactly as
    // CCFGParser::CFGGetData does: 0 when found, else -2.
    int Get(const std::string& key, std::string& value) const;
    std::string Get(const std::string& key) const;
    // The entry names of a block, as lookups match them, in file order.
    std::vector<std::string> EntryNames(const std::string& block) const;

    // Orders of the model's blocks in listings.
    enum class Order
    {
        kSaved, // as a save writes them: by name, bytewise
        kFile,  // as their first headers stand in the file ("anonymous" first)
    };
    // The model's blocks, those without entries included: in saved order, or
    // in the order given.
    std::vector<std::string> BlockNames() const;
    std::vector<std::string> BlockNames(Order order) const;
    // One entry of the model, names and value as lookups see them.
    struct Entry
    {
        std::string block; // the block's name
        std::string name;  // the entry's name
        std::string value; // its value
    };
    // Every entry of the model: blocks in saved order, or in the order given,
    // each block's entries in file order.
    std::vector<Entry> Entries() const;
    std::vector<Entry> Entries(Order order) const;
    // Every entry one at a time, in the order of Entries(Order::kFile), by
    // the key that reads it ("BLOCK.ENTRY"; "[BLOCK]ENTRY" where the block's
    // name holds '.', which no key reaches), with its value.
    void Walk(const std::function<void(const std::string& key, const std::string& value)>& visit) const;

    // Lines a reader of the file could take for `key` but that no lookup of
    // it finds (block mode only): an entry of the block whose name differs
    // from the key's only by white space at its ends, or one under a later
    // header repeating the block's name, whose entries the engine drops;
    // when the file has no block of the key's name, the header of a block
    // whose name differs from it only by white space at its ends.
    struct Lookalike
    {
        size_t line;      // the entry's line, counted from 1 (the header's for a block)
        std::string key;  // the key that finds the entry; empty when none does, and for a block
        size_t repeatedHeaderLine; // the repeated header above the entry, or 0
        std::string block; // a block: its name as lookups match it; empty for an entry
    };
    // The look-alikes of `key`, in file order; none in anonymous mode.
    std::vector<Lookalike> Lookalikes(const std::string& key) const;
    // The same for an entry named by its block and entry apart.
    std::vector<Lookalike> Lookalikes(const std::string& block, const std::string& entry) const;
    // Entries under repeated headers, which no lookup sees and the normalised
    // form drops (block mode); 0 in anonymous mode.
    size_t UnreadEntries() const;

    // Gives the entry of the key the value, rewriting only the value's bytes
    // of its line when it does not hold it yet: 0; -2 when there is no such
    // entry; kEditAmbiguous when the key names several entries, for only
    // one could be meant (SetAt with index 0 sets every one, as
    // CCFGParser::CFGSetData does; Append adds another); 22. Error() says
    // why after -2 and kEditAmbiguous.
    int Set(const std::string& key, const std::string& value);
    // Adds an entry at the end of its block: after the block's last entry
    // (or its header) in its first section, before the comments of what
    // follows. A missing block is added, with its header, after the file's
    // last header or entry. In anonymous mode only the block "anonymous"
    // takes entries. 0, 22, or kEditAmbiguous where the key could name
    // something else in the file: a look-alike (see Lookalikes), or a block
    // whose name holds '.' and is a longer prefix of the key ("Net.eth0.A"
    // with [Net.eth0] held), whose entries only the names apart reach.
    int Add(const std::string& key, const std::string& value);
    // Removes the entry of the key, with the comment lines that belong to
    // it: those directly above it, no blank line between. Every other line
    // stays; a comment kept so joins the comment of what follows it in the
    // model. 0; -2 when there is none; kEditAmbiguous when the key names
    // several entries (RemoveAt with index 0 removes every one); 22.
    // Error() says why after -2 and kEditAmbiguous.
    int Remove(const std::string& key);
    // Why a lookup of the key finds nothing, as the message of Set's and
    // Remove's -2: "no key KEY", then what the file holds that the key was
    // probably meant to name (see Lookalikes; a block whose dotted name is
    // a longer prefix of the key), and how to name it.
    std::string Missing(const std::string& key) const;
    // The same for an entry named by its block and entry apart.
    std::string Missing(const std::string& block, const std::string& entry) const;

    // Get, Set, Add and Remove for an entry named by its block and entry
    // apart. These reach a block whose name holds '.', which no key can name;
    // for other entries they do what the key "block.entry" does.
    int Get(const std::string& block, const std::string& entry, std::string& value) const;
    // Each value of the entry apart, in file order; empty when there is none.
    std::vector<std::string> Values(const std::string& block, const std::string& entry) const;
    // Set(key, value) for the entry apart: 0, -2, kEditAmbiguous, 22.
    int Set(const std::string& block, const std::string& entry, const std::string& value);
    // Add(key, value) for the entry apart: 0, 22 or kEditAmbiguous (a
    // look-alike only: the block is named as it is).
    int Add(const std::string& block, const std::string& entry, const std::string& value);
    // Remove(key) for the entry apart: 0, -2, kEditAmbiguous, 22.
    int Remove(const std::string& block, const std::string& entry);
    // The lines, counted from 1, of the entries a lookup of the entry apart
    // finds (those Set and Remove change), in file order.
    std::vector<size_t> Lines(const std::string& block, const std::string& entry) const;
    // Set for the index-th of those entries alone, counted from 1 in file
    // order (0: every one): 0, -2 when there are fewer (Error() says how
    // many there are), 22.
    int SetAt(const std::string& block, const std::string& entry, size_t index, const std::string& value);
    // Remove for the index-th of those entries alone, counted from 1 in file
    // order (0: every one): 0, -2 when there are fewer (Error() says how
    // many there are), 22.
    int RemoveAt(const std::string& block, const std::string& entry, size_t index);
    // Another entry of a key that has some, right after the last of them;
    // for a key without entries, Add(block, entry, value): 0, 22 or
    // kEditAmbiguous.
    int Append(const std::string& block, const std::string& entry, const std::string& value);
    // Removes the whole text of the block's sections, its repeated headers
    // included: each header and every line up to the next header, blank and
    // ignored lines too, with the comment lines directly above the header
    // (no blank line between); the comment lines directly above the next
    // header belong to it and stay; a section that ends the file takes the
    // blank lines that parted it from the text above. In anonymous
    // mode only the header lines and their comments go (entries there belong
    // to "anonymous", which cannot be removed): 0, -2 (Error() names a
    // look-alike block), 22.
    int RemoveBlock(const std::string& name);
    // Rewrites the whole text in the normalised form CCFGParser::CFGSaveData
    // writes for the model read from it: 0, or 22 when that form would not
    // read back as the same model (in anonymous mode, an entry name that
    // trimming leaves beginning with '#', ';' or '[').
    int Normalise();

    // What reading the text, and saving it, would drop or change, in line
    // order, each about a whole line (column 0): the engine's own reading in
    // the document's mode decides what each line is and what becomes of it.
    // The text is kept whether or not it parsed, so a document whose load
    // failed with -1 or 22 is linted too; nothing loaded, nothing found.
    std::vector<Finding> Lint() const;
    // The same, also asking `checkValue` about the value of each entry the
    // model keeps, as the engine reads it: a non-empty answer is a finding at
    // the entry's line, with that text.
    std::vector<Finding> Lint(const std::function<std::string(const std::string& value)>& checkValue) const;

    // Replaces the loaded file with the text, when it changed, as
    // LockedFile::ReplaceIfUnchanged does (through symbolic links): a
    // temporary file in the same directory with the file's owner, group,
    // mode, ACL and extended attributes, fsync, rename over the file, fsync
    // of the directory; or in place when Load was told so. A file the caller
    // may not write is refused. Whether or not the document was loaded with
    // kLock, the save takes the lock and, just before the switch, compares
    // the file with the bytes it was loaded from (or last saved as): a file
    // another program changed meanwhile is left as that program left it.
    // A ReplaceStatus, with Error() saying why for all but the first:
    //   kReplaceDone (0)           saved, or nothing to save;
    //   kReplaceUntouched (-2)     refused or failed; the file keeps its bytes;
    //   kReplaceChanged (-3)       the file changed since it was loaded; it
    //                              keeps the other program's bytes, the
    //                              document its edits;
    //   kReplaceNotFlushed (1)     replaced, but not flushed to disk;
    //   kReplacePartlyWritten (2)  in place only: the rewrite stopped part way;
    //   22 (EINVAL)                nothing loaded from a file, or a load that
    //                              failed (Error() keeps its reason).
    int Save();

private:
    struct State;
    std::unique_ptr<State> m_state;
    friend struct DocumentAccess; // the library's merge, which edits the bytes as the document does
};

} // namespace zelconfig

#endif
