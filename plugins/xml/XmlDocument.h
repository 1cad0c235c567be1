#ifndef ZELCONFIG_PLUGINS_XML_XMLDOCUMENT_H
#define ZELCONFIG_PLUGINS_XML_XMLDOCUMENT_H

#include <cstddef>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <pugixml.hpp>

#include "ZelConfigReplaceFile.h"
#include "ZelConfigStatus.h"

namespace zelconfig::xml {

// Where and why a load or a save failed, for the caller's log line.
struct XmlError
{
    size_t offset = 0;       // byte offset of a parse error
    std::string description; // the parser's or the system's words
    // Where the offset is, for people: 1-based, the column in UTF-8
    // characters; 0 when the file changed before it could be counted.
    size_t line = 0, column = 0;
    // Well-formed, but beyond what the document code reads (-1 all the same).
    bool unsupported = false;
};

// How a key's parts are read. The library's keys are plain paths; the tool's
// may also pick one of several same-named elements.
enum class KeyStyle
{
    kPaths,   // "Net.Interface.Name": every element on the path
    kIndexed, // also "Net.Interface[2].Name": [N] counts from 1 among the
              // same-named sibling elements, in document order, as XPath does
};

// The status of an edit that Add and SetAttribute refuse, saying why.
constexpr int kEditRefused = 5;
// The status of a Set or Remove refused because the key names several
// matches and one was asked for; `why` says how many and where.
constexpr int kEditSeveral = 6;

// Something in a well-formed file that readers take otherwise than it looks,
// or that stricter XML readers refuse, for `zelconfig lint`.
struct XmlFinding
{
    size_t offset = 0;           // where, in bytes
    size_t line = 0, column = 0; // the same as XmlError counts them
    std::string message;
};

// Reads a whole file into a buffer of its own, as LoadFile does: the open
// does not block, and only a regular file is read (a FIFO without a writer
// or a device would hang the caller). 0, -2 or 22 (out of memory), `error`
// saying why.
int ReadWhole(const std::string& path, std::unique_ptr<char, void (*)(void*)>& buffer, size_t& size,
              std::string& error);

// One loaded XML file. The file's bytes are parsed in place, so the document
// holds one copy of the file plus the tree; values are read from the tree.
// Changes are kept beside the tree and written by replacing only the bytes of
// the changed values in the file as it is on disk, which keeps everything
// else byte for byte. Keys: see Find. Lookups keep scratch space and tables
// in the object, so one object serves one thread at a time.
class XmlDocument
{
public:
    XmlDocument();
    ~XmlDocument();
    XmlDocument(const XmlDocument&) = delete;
    XmlDocument& operator=(const XmlDocument&) = delete;

    // 0; -2 when the file cannot be read; -1 when it is not well-formed, or
    // declared in another encoding than UTF-8 and holds more than ASCII, or
    // refers to an entity its document type declares (error.offset, .line,
    // .column, .description; .unsupported for the last two); 22 when memory
    // runs out.
    int LoadFile(const std::string& path, XmlError& error);
    // The same from bytes in memory (a copy is taken); such a document has no
    // file to save to, but Render works. With `lent`, lines are counted in
    // the caller's bytes, which must then stay as they are while the tree
    // is read: a large file is not held twice more.
    int LoadBuffer(const char* data, size_t size, XmlError& error, bool lent = false);

    // The key style of every call below; kPaths until set.
    void SetKeyStyle(KeyStyle style) { m_style = style; }
    // Whether a key can name anything in that style; why not, when it cannot.
    static bool CheckKey(std::string_view key, KeyStyle style, std::string& why);

    // A key is split at every '.': the first part names a child element of the
    // root element, each further part a child of the element before it. A
    // part in double quotes is one name, dots and all ("maven.compiler.source"). When
    // an element reached by the earlier parts has no child of the last part's
    // name, its attribute of that name matches instead. Every match counts,
    // in document order: its value is appended to `value`, after a line feed
    // when `value` is not empty. 0 when something matched, else -2 and
    // `value` untouched.
    int Find(const std::string& key, std::string& value) const;
    // Gives every match the value, in memory; 0, or -2 when nothing matches
    // (nothing is added), 7 for a value XML cannot hold (a NUL byte or another
    // control character but tab and line ends; anything but ASCII in a file
    // declared in another encoding than UTF-8).
    int Set(const std::string& key, const std::string& value);
    // The same, refusing (kEditSeveral, `why` saying how many and where) a
    // key that names several matches unless `all`.
    int Set(const std::string& key, const std::string& value, std::string& why, bool all);
    // The lines, counted from 1, of every match of the key, in document order.
    std::vector<size_t> Lines(const std::string& key) const;
    // For a key that names nothing: the key with neighbouring parts joined
    // into one quoted name where that names something (a.b.c names <c> in
    // <b> in <a>; a."b.c" names <b.c> in <a>); else empty.
    std::string JoinedKey(const std::string& key) const;
    // Every element with text (or without content) and every attribute, in
    // document order, with its key and current value. In the indexed style
    // every part whose name repeats among its siblings carries its index, so
    // that each key names exactly the one value given with it.
    void ForEach(const std::function<void(const std::string& key, const std::string& value)>& visit) const;
    // What a lint reports, in the order of the file: attributes whose name
    // repeats in an element (keys read the first), names and values that
    // are not UTF-8, and a NUL byte, past which no reader looks. `original`
    // must be the bytes the document was loaded from.
    std::vector<XmlFinding> Lint(std::string_view original) const;

    // Edits beyond changing values, for the tool. Each is recorded beside the
    // changed values and written by Render and Save; Find and ForEach go on
    // reading the document as loaded. A new element goes on a line of its
    // own after the last element child of its parent, indented as that
    // parent's children are (one step deeper than the parent when it has
    // none), with the file's line ends. They refuse (kEditRefused, with
    // `why`) a file that holds a NUL byte: the parser's document ends there,
    // and bytes beyond it would land where no reader looks.
    //
    // Creates the elements at the end of the key that the document lacks,
    // the last one holding the value: 0; 7 as for Set; kEditRefused with
    // `why` when the key names an element or attribute already (Set changes
    // it), its existing part names several elements, its first missing part
    // has an index past the next one of its name, a missing part is no XML
    // name, or the new element would join the text of its parent.
    int Add(const std::string& key, const std::string& value, std::string& why);
    // Gives the element the key's other parts name the attribute its last
    // part names, changing it when it is there, else adding it after the
    // element's last attribute (in that attribute's quotes) and creating the
    // missing elements as Add does: 0, 7, or kEditRefused with `why`.
    int SetAttribute(const std::string& key, const std::string& value, std::string& why);
    // Removes the element the key names, or, where it names an attribute,
    // that attribute: an element with its whole line when it stands alone
    // on it, an attribute with the blanks before it; with `all`, every one
    // the key names. 0; -2 when nothing matches; kEditSeveral with `why`
    // when the key names several and `all` is false (how many, on which
    // lines); kEditRefused with `why` when it names nothing but would with
    // parts joined (JoinedKey).
    int Remove(const std::string& key, std::string& why, bool all = false);

    // Edits by node, for a merge that matches values across files once, by
    // their keys, and then edits what it found without looking a key up
    // again: any number of them recorded, the file rendered once.
    //
    // One element or attribute of the tree; none when `object` is null.
    struct Node
    {
        const void* object = nullptr;
        bool attribute = false;
        explicit operator bool() const { return object != nullptr; }
    };
    // ForEach's walk, in its order, with every element besides (`value` null
    // for one that holds no value of its own: child elements and no text)
    // and the node of each.
    void ForEachNode(
        const std::function<void(const std::string& key, const std::string* value, Node node)>& visit) const;
    // The root element.
    Node Root() const { return Node{m_root.internal_object(), false}; }
    // Gives the element or attribute the value, as Set does: 0, or 7 for a
    // value XML cannot hold.
    int SetNode(Node node, const std::string& value);
    // Removes the element or attribute as Remove does; an element with the
    // comments directly above it too (each first on its line, no blank line
    // between) when `withComments`: 0, or kEditRefused with `why`.
    int RemoveNode(Node node, bool withComments, std::string& why);
    // An element copied from another file for Insert: its bytes, comments
    // directly above it first, and that file's indentation of the line it
    // starts on and its indentation step, which Insert turns into this file's.
    struct Piece
    {
        std::string text, indent, step;
    };
    // The element as a Piece of `original`, the text this document was
    // loaded from, with the comments directly above it as RemoveNode takes
    // them, and without the elements and attributes `without` inside it (the
    // bytes RemoveNode would take): false when they cannot be found.
    bool PieceOf(std::string_view original, Node element, const std::vector<Node>& without, Piece& piece) const;
    // Where Insert puts pieces: after an element, before it (and the
    // comments directly above it), or at the end of an element's content.
    enum class Where
    {
        kAfter,
        kBefore,
        kInto,
    };
    // Records the pieces as new markup, in order, each re-indented to this
    // file's style: after or before the element `at`, each on a line of its
    // own at `at`'s indentation (beside it, with no blanks, when `at` shares
    // its line with other markup), or into `at` as Add places new elements:
    // 0, or kEditRefused with `why`.
    int Insert(Node at, Where where, std::vector<Piece> pieces, std::string& why);
    // Records a new attribute of the element: after the attribute `near`
    // (before it unless `after`), in its quotes, or, without `near`, as
    // SetAttribute adds one: 0, 7, or kEditRefused with `why`.
    int InsertAttribute(Node element, Node near, bool after, const std::string& name, const std::string& value,
                        std::string& why);
    // Forgets every edit recorded: the tree renders as loaded again.
    void Discard();

    // The file's bytes with the changed values replaced; `original` must be
    // the bytes the document was loaded from. False when they do not fit.
    bool Render(std::string_view original, std::string& out) const;
    // Writes Render() of the loaded file, as it is on disk now, to `target`
    // through zelconfig::LockedFile (lock, temporary file with the target's
    // owner, group, mode, ACL and attributes, fsync, rename, directory
    // fsync), then takes the result as the loaded file. 0; or
    // zelconfig::kReplaceChanged when the file no longer parses into the
    // tree loaded (or its bytes change between that check and the switch),
    // with the description the path followed by zelconfig::kChangedSinceRead;
    // or -2 with error set and `target` untouched, unless the description
    // says the file was replaced.
    int Save(const std::string& target, XmlError& error);
    // The same to a file the caller has locked.
    int Save(zelconfig::LockedFile& file, XmlError& error);

private:
    struct Buffer
    {
        void operator()(char* p) const { std::free(p); }
    };
    struct ChildIndex;
    // Bytes [begin, end) of the file replaced by `text`.
    struct Edit
    {
        size_t begin, end;
        std::string text;
        bool removes = false; // edits inside it go with it
    };
    struct KeyPart
    {
        const char* name; // NUL-terminated, in a scratch string
        size_t length;
        size_t index; // [N]; 0 for every element of the name
        size_t end;   // where the part, index included, ends in the key
        bool quoted;  // "a.b": one name, never joined with its neighbours
    };
    // An edit that adds or removes markup, on the node it starts from.
    struct Structure
    {
        enum Kind { kRemove, kAddAttribute, kAddElements, kInsert } kind;
        const void* node;       // kRemove: the element or attribute; else the element added to
        bool attribute = false; // kRemove: `node` is an attribute
        std::vector<std::string> elements; // kAddElements: the new elements, outermost first
        std::string name, value; // the new attribute (innermost new element), or the new text
        // kInsert: where the pieces go, relative to `node`.
        Where where = Where::kInto;
        std::vector<Piece> pieces = {};
        // kAddAttribute: the attribute it goes beside (null: after the last one).
        const void* near = nullptr;
        bool after = true;
        bool comments = false; // kRemove: the comments directly above the element go too
    };
    struct Change
    {
        bool attribute;
        std::string value;
    };

    int Adopt(std::unique_ptr<char, Buffer> buffer, size_t size, XmlError& error);
    template <class Visit>
    void Walk(Visit&& visit) const;
    // Where the element starts in the text, with the comments directly above it.
    size_t CommentsAbove(std::string_view original, pugi::xml_node element) const;
    bool PieceEdits(std::string_view original, const Structure& change, std::string_view step,
                    std::vector<Edit>& edits) const;
    bool AttributeInsertEdits(std::string_view original, const Structure& change, std::vector<Edit>& edits) const;
    template <class Visit>
    bool ForEachMatch(std::string_view key, Visit&& visit) const;
    // One level of ForEachMatch's walk: the children `part` names of `one` (of
    // m_level's elements when `several`) become `one`, or m_level when several;
    // false when there are none.
    bool NextLevel(const KeyPart& part, pugi::xml_node& one, bool& several) const;
    template <class Visit>
    void ChildrenNamed(pugi::xml_node parent, std::string_view name, Visit&& visit) const;
    struct ParentInfo
    {
        std::unique_ptr<ChildIndex> index; // for many children
        bool unique = true;                // a few, each of its own name
    };
    const ParentInfo& InfoOf(pugi::xml_node parent) const;
    std::string TextOf(pugi::xml_node element) const;
    size_t OffsetOf(const char* p) const { return static_cast<size_t>(p - m_buffer.get()); }
    bool Inside(const char* p) const { return p >= m_buffer.get() && p < m_buffer.get() + m_size; }
    // A changed value as edits of the file's bytes, made by one of the three below.
    bool EditsOf(std::string_view original, const void* target, const Change& change,
                 std::vector<Edit>& edits) const;
    bool AttributeEdits(std::string_view original, pugi::xml_attribute attribute, const std::string& value,
                        std::vector<Edit>& edits) const;
    bool TextEdits(std::string_view original, pugi::xml_node element, const std::string& value,
                   std::vector<Edit>& edits) const;
    bool InsertEdits(std::string_view original, pugi::xml_node element, const std::string& value,
                     std::vector<Edit>& edits) const;
    static bool SplitKey(std::string_view key, KeyStyle style, std::string& scratch, std::vector<KeyPart>& parts,
                         std::string* why);
    template <class Visit>
    void NthChildrenNamed(pugi::xml_node parent, const KeyPart& part, Visit&& visit) const;
    size_t Reach(const std::vector<KeyPart>& parts, size_t count, std::vector<pugi::xml_node>& level) const;
    size_t CountNamed(pugi::xml_node parent, const KeyPart& part) const;
    bool MarkupEditable(std::string& why) const;
    // The reading of the first `count` parts, neighbouring unquoted ones
    // joined, that reaches furthest into the document (`attributes`: the
    // last part may name an attribute): how many parts it reaches, and the
    // key it is.
    size_t JoinedReading(std::string_view key, const std::vector<KeyPart>& parts, size_t count, bool attributes,
                         std::string& reading) const;
    void Deepest(const std::vector<KeyPart>& parts, size_t count, size_t at, const std::vector<pugi::xml_node>& level,
                 bool attributes, size_t& budget, std::vector<size_t>& runs, size_t& best,
                 std::vector<size_t>& bestRuns) const;
    // Whether an edit that would add to the document after `matched` parts
    // is refused because joined parts name what is there; `why` says so.
    bool JoinedRefusal(std::string_view key, const std::vector<KeyPart>& parts, size_t count, size_t matched,
                       bool attributes, std::string& why) const;
    std::vector<size_t> LinesOf(const std::vector<size_t>& offsets) const;
    std::string Several(const std::string& key, std::vector<size_t> offsets, bool attributes) const;
    int StartEdit(const std::string& key, const std::string& value, std::string& scratch,
                  std::vector<KeyPart>& parts, std::string& why) const;
    int AddMissing(std::string_view key, const std::vector<KeyPart>& parts, size_t count, size_t matched,
                   const std::vector<pugi::xml_node>& level, const std::string& attribute, const std::string& value,
                   std::string& why);
    // `step` is the file's indentation step, found on the first addition
    // (empty until then).
    bool StructureEdits(std::string_view original, const Structure& change, std::string_view& step,
                        std::vector<Edit>& edits) const;
    bool ValueHoldable(const std::string& value) const;
    int RenderAndReplace(zelconfig::LockedFile& file, bool sameFile, std::string& text, XmlError& error) const;

    // The tree's text lives in m_buffer: declared first, destroyed last.
    std::unique_ptr<char, Buffer> m_buffer;
    size_t m_size = 0;
    std::unique_ptr<pugi::xml_document> m_doc;
    pugi::xml_node m_root;
    // Changed values, by element or attribute.
    std::unordered_map<const void*, Change> m_changed;
    // Added and removed markup, in the order asked for.
    std::vector<Structure> m_structure;
    KeyStyle m_style = KeyStyle::kPaths;
    // Scratch for the level-by-level walk of a key.
    mutable std::string m_parts;
    mutable std::vector<KeyPart> m_keyParts;
    mutable std::vector<pugi::xml_node> m_level, m_next;
    // What each parent a key went through is like, made on first use.
    mutable std::unordered_map<const void*, ParentInfo> m_index;
    // The file the tree was parsed from: a save reads it again, and refuses
    // when it no longer parses into the same tree at the same offsets.
    std::string m_source;
    bool m_hasSource = false;
    // The bytes given to LoadBuffer, before the parse in place changed them:
    // lines are counted in them. A copy, unless the caller lent them.
    std::string m_loadedCopy;
    std::string_view m_loaded;
    bool m_hasLoaded = false;
    // Declared in an encoding other than UTF-8: ASCII only.
    bool m_asciiOnly = false;
    // This file's indentation step, for PieceOf: found once.
    mutable std::string m_step;
    mutable bool m_stepKnown = false;
    // Where the first NUL byte stands: the parser reads no further.
    size_t m_nul = std::string_view::npos;
};

} // namespace zelconfig::xml

#endif
