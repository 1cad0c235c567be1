#ifndef ZELCONFIG_DOCUMENT_EDITEDFILE_H
#define ZELCONFIG_DOCUMENT_EDITEDFILE_H

// The editing core every format's document is a layer over: a file's bytes
// as loaded, the edits made to them as splices, the lock, and the save that
// refuses a file changed since it was loaded. A format's layer knows lines
// and keys; this knows bytes and files only.

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ZelConfigReplaceFile.h"
#include "ZelConfigStatus.h"

namespace zelconfig {

// Memory for a file's bytes that no other process can change: the
// process's own memory, never a mapping of the file, which another program
// could shorten (SIGBUS) or rewrite under an edit; huge pages for large
// blocks, as ReadToEnd reads into.
class Memory
{
public:
    // At least `size` bytes, not zeroed by this code; the old contents go.
    // Throws std::bad_alloc as any allocation that runs out does.
    void Allocate(size_t size);
    // The bytes of `fd` to its end (ReadToEnd): 0, or an errno value with
    // nothing kept. Running out of memory throws, as Allocate does.
    int Read(int fd, size_t& size);
    char* get() const { return m_bytes.get(); }
    size_t capacity() const { return m_capacity; }
    explicit operator bool() const { return m_bytes != nullptr; }

private:
    std::unique_ptr<char, void (*)(void*)> m_bytes{nullptr, std::free};
    size_t m_capacity = 0;
};

// The file's bytes as loaded (or last saved), which a save compares with the
// file before it replaces it, and the edits made since. An edit that comes
// before every edit kept so far (an edit's splices come back to front) is
// kept beside the loaded bytes; any other, or a read of the text, settles
// them into a buffer of the text's own. A save then writes the loaded bytes'
// unchanged ranges and the splices' bytes, so that no copy of a large file
// is made for an edit of one value.
class Bytes
{
public:
    // Never NULL, for memchr. Reading settles the splices into a buffer.
    const char* data() const
    {
        Rebase();
        Settle();
        return m_text ? m_text.get() : m_loaded ? m_loaded.get() : "";
    }
    size_t size() const { return m_size; }
    bool empty() const { return m_size == 0; }
    char operator[](size_t at) const { return data()[at]; }
    char back() const { return data()[m_size - 1]; }
    operator std::string_view() const { return std::string_view(data(), m_size); }

    // What the file held when it was read or last saved.
    std::string_view Loaded() const
    {
        Rebase();
        return std::string_view(m_loaded ? m_loaded.get() : "", m_loadedSize);
    }

    // Replaces the whole text with bytes from elsewhere (never from this
    // text), kept as an edit: the loaded bytes stay what they were.
    void Assign(std::string_view bytes);
    // The same with the text of `other`, which is left empty: its bytes
    // move here rather than be copied.
    void Take(Bytes& other);
    // Room for a whole new text of `size` bytes, written there at once:
    // Assign without a copy from elsewhere.
    char* Make(size_t size);
    // Makes bytes held in memory the loaded text, as if a file held them.
    void Load(std::string_view bytes)
    {
        Assign(bytes);
        Saved();
    }
    // [begin, end) becomes `with`; the bytes after it move.
    void Replace(size_t begin, size_t end, std::string_view with);
    // The text as runs to write one after the other: the loaded bytes'
    // unchanged ranges and the splices' bytes; one run for a settled text.
    std::vector<std::string_view> Pieces() const;
    // The text as it stands is now what the file holds. Made so when next
    // needed, not now: a process that saves and exits pays nothing for it.
    void Saved() { m_savedPending = !m_splices.empty() || m_text; }
    // Reads a descriptor to its end as the loaded text: 0 or an errno value.
    int Read(int fd);
    // Changes with every change of the text, so that what was worked out
    // from the text may be kept until it changes.
    size_t Version() const { return m_version; }

private:
    // A splice kept beside the loaded bytes: [begin, end) of them becomes `with`.
    struct Spliced
    {
        size_t begin, end;
        std::string with;
    };

    // Makes the text the loaded bytes, after a save.
    void Rebase() const
    {
        if (m_savedPending) {
            m_savedPending = false;
            Own();
            m_loaded = std::move(m_text);
            m_loadedSize = m_size;
        }
    }
    // Applies the kept splices, for a reader of the text.
    void Settle() const
    {
        if (!m_splices.empty()) {
            Own();
        }
    }
    void Own() const;

    // Mutable: a reader's first look after edits settles them, and after a
    // save makes the text the loaded bytes, which changes where the bytes
    // are, not what they are.
    mutable Memory m_loaded;
    mutable size_t m_loadedSize = 0;
    mutable bool m_savedPending = false;
    mutable Memory m_text; // the text, once it is not the loaded bytes with splices
    mutable std::vector<Spliced> m_splices; // in the loaded bytes' offsets, in order
    size_t m_size = 0;
    size_t m_version = 0;
};

// A file's text being edited: where it came from, the lock held on it, and
// how it is saved. Every format's document holds one.
class EditedFile
{
public:
    EditedFile() = default;
    EditedFile(EditedFile&&) noexcept = default;
    EditedFile& operator=(EditedFile&&) noexcept = default;

    // Reads the file, through symbolic links; with `lock`, first takes the
    // exclusive lock as LockedFile::Lock does and holds it until the next
    // load or destruction. 0, or kStatusNotFound with `error` saying why.
    int Load(const std::string& path, bool lock, const ReplaceOptions& saving);
    // Makes bytes in memory the text; there is no file to save to.
    void Parse(std::string_view bytes);
    // The same for `size` bytes to be written where this returns.
    char* Parse(size_t size);
    // Makes what a descriptor holds from its position to its end (standard
    // input's, say) the text; there is no file to save to. 0, or
    // kStatusNotFound with `error` saying why.
    int Read(int fd);

    // Replaces the loaded file with the text, when it changed, through the
    // lock (taken for the save when Load did not take it): a ReplaceStatus,
    // or 22 when there is no file; `error` says why after a failure.
    int Save();

    Bytes text;
    bool changed = false;    // the text differs from what the file holds
    std::string error;       // why the last load or save failed
    bool HasFile() const { return m_hasFile; }

private:
    std::string m_path;
    bool m_hasFile = false;
    std::unique_ptr<LockedFile> m_lock; // held from Load to the next Load
    ReplaceOptions m_saving;            // how the file is locked and saved
};

} // namespace zelconfig

#endif
