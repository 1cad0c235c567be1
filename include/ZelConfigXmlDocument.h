#ifndef ZELCONFIG_ZELCONFIGXMLDOCUMENT_H
#define ZELCONFIG_ZELCONFIGXMLDOCUMENT_H

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ZelConfigDocument.h"
#include "ZelConfigExport.h"
#include "ZelConfigReplaceFile.h"

namespace zelconfig {

// An XML file held as its bytes, for edits that keep everything they do not
// have to change: comments, indentation, quotes, CDATA, line ends. Each edit
// changes the bytes at once, and every read after it sees it, so several
// edits can be made before one save. Loading, locking and saving are those
// of Document, with the same options and statuses.
//
// Keys are those zelcfg takes: parts split at '.', the first naming a child
// element of the root element, each further part a child of the element
// before it; a part in double quotes is one name, dots and all
// (properties."maven.compiler.source"); [N] after a part picks the Nth
// element of its name among its siblings, counted from 1 in document order;
// where no element has the last part's name, an attribute of that name of
// the element before it matches.
//
// Statuses: 0 success; -1 a file that is not well-formed XML, or that uses
// what this reader does not (a declared entity; text other than ASCII in a
// file declared in another encoding); -2 a file that cannot be read or
// saved, or a key that names nothing; kEditAmbiguous (-4) an edit refused,
// nothing written, where the key names several matches or, with parts
// joined, something else, or asks what the file cannot hold as asked (a
// part that is no XML name, an element that would join its parent's text);
// 22 (EINVAL) nothing loaded, a value XML cannot hold (a NUL byte or another
// control character but tab and line ends), or memory that ran out. Error()
// says why after every failure. Nothing is thrown on purpose; one document
// must be used by one thread at a time.
class ZELCONFIG_API XmlDocument
{
public:
    // An empty document; nothing loaded yet.
    XmlDocument();
    ~XmlDocument();
    // Takes over the other document's bytes, lock and state; the other may
    // then only be destroyed or assigned to.
    XmlDocument(XmlDocument&& other) noexcept;
    // The same for an existing document, whose own state (and lock) goes.
    XmlDocument& operator=(XmlDocument&& other) noexcept;
    XmlDocument(const XmlDocument&) = delete;
    XmlDocument& operator=(const XmlDocument&) = delete;

    // Reads and parses the file, with Document's options (Document::kLock,
    // Document::kCreate) and their meaning: 0, -1, -2 or 22.
    int Load(const std::string& path, unsigned options = 0);
    // The same, locking and saving as `saving` says.
    int Load(const std::string& path, unsigned options, const ReplaceOptions& saving);
    // The same from bytes in memory; such a document has no file to save to.
    int Parse(std::string_view text);
    // The same from what an open descriptor holds from its position to its
    // end (standard input: 0): 0, -1, -2 (it cannot be read) or 22.
    int Read(int fd);

    // The bytes as they stand after the edits so far; valid until the next
    // edit or load.
    std::string_view Text() const;
    // True when an edit has changed the bytes since the last load or save.
    bool Changed() const;
    // Why the last load, edit or save failed, in words.
    const std::string& Error() const;

    // Appends the value of every match of the key to `value`, in document
    // order, a line feed before each when `value` is not empty: 0 when
    // something matched, else -2.
    int Get(const std::string& key, std::string& value) const;
    // One value and its key, as list prints them.
    struct Entry
    {
        std::string key;   // as zelcfg list prints it
        std::string value; // its value
    };
    // Every element with text (or without content) and every attribute, in
    // document order. A part whose name repeats among its siblings carries
    // its index, so that each key reads back exactly its value.
    std::vector<Entry> Entries() const;
    // The same, one at a time, without holding them all: visit(key, value)
    // for each, in document order.
    void Walk(const std::function<void(const std::string& key, const std::string& value)>& visit) const;
    // The lines, counted from 1, of every element or attribute the key
    // names, in document order: those Set and Remove would change.
    std::vector<size_t> Lines(const std::string& key) const;
    // Why a lookup of the key finds nothing, as a message: "no key KEY", and
    // the key with its parts quoted where that names what is there.
    std::string Missing(const std::string& key) const;

    // What the text holds that readers take otherwise than it looks, or that
    // stricter XML readers refuse, in the order of the file: an attribute
    // whose name repeats in its element (keys read the first), names, values
    // and text that are not UTF-8, and a NUL byte, past which no reader
    // looks. Lines and columns (in characters) as Error() counts them; none
    // when the text is not well-formed XML, which Error() says instead.
    std::vector<Finding> Lint() const;

    // Gives the one element or attribute the key names the value, changing
    // only the bytes of its text: 0, -2 when nothing matches (nothing is
    // added), kEditAmbiguous when it names several, 22.
    int Set(const std::string& key, const std::string& value);
    // The same for every match of the key.
    int SetAll(const std::string& key, const std::string& value);
    // Gives the element the key's other parts name the attribute its last
    // part names: changed where it is there, else added after the element's
    // last attribute, with the missing elements created as Add does. 0,
    // kEditAmbiguous, 22.
    int SetAttribute(const std::string& key, const std::string& value);
    // Creates the elements at the end of the key that the file lacks, the
    // last holding the value, each on a line of its own after the last
    // element child of its parent, indented as its siblings are: 0,
    // kEditAmbiguous (the key names something already, or its existing part
    // names several elements), 22.
    int Add(const std::string& key, const std::string& value);
    // Removes the one element the key names, with its whole line when it
    // stands alone on it, or the attribute, with the blanks before it: 0,
    // -2, kEditAmbiguous when it names several, 22.
    int Remove(const std::string& key);
    // The same for every match of the key.
    int RemoveAll(const std::string& key);

    // Replaces the loaded file with the text, when it changed, exactly as
    // Document::Save does, with its statuses.
    int Save();

private:
    struct State;
    std::unique_ptr<State> m_state;
    friend struct DocumentAccess; // the library's merge, which edits the bytes as the document does
};

} // namespace zelconfig

#endif
