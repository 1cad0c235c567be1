// XmlDocument's loading and saving: a whole file read and parsed in place,
// and a save that renders the edits onto the file as it is now, when it
// still holds the tree that was loaded.
#include "XmlDocument.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

#include "XmlText.h"

namespace zelconfig::xml {

namespace {

// Finds error.offset's line and column in the file again, unless it no
// longer has the size that was loaded.
void LocateInFile(int fd, size_t size, XmlError& error)
{
    struct stat info {};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || static_cast<size_t>(info.st_size) != size) {
        return;
    }
    Position position{error.offset};
    char chunk[8192];
    off_t at = 0;
    while (!position.Done()) {
        const ssize_t got = ::pread(fd, chunk, sizeof chunk, at);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return;
        }
        position.Feed(chunk, static_cast<size_t>(got));
        at += got;
    }
    position.Into(error);
}

// Reads the whole file a descriptor is open on, from its start, into a
// buffer of its own (the library's ReadToEnd): 0, kStatusNotFound, or
// kStatusInvalid when memory ran out.
int ReadDescriptor(int fd, std::unique_ptr<char, void (*)(void*)>& buffer, size_t& size, std::string& error)
{
    const int read = ::lseek(fd, 0, SEEK_SET) != 0 ? errno : zelconfig::ReadToEnd(fd, buffer, size);
    if (read != 0) {
        error = read == ENOMEM ? "out of memory" : std::strerror(read);
    }
    return read == 0 ? 0 : read == ENOMEM ? kStatusInvalid : kStatusNotFound;
}

} // namespace

char* CopyOf(const char* data, size_t size)
{
    char* const copy = static_cast<char*>(std::malloc(size > 0 ? size : 1));
    if (copy != nullptr && size > 0) {
        std::memcpy(copy, data, size);
    }
    return copy;
}

int ReadWhole(const std::string& path, std::unique_ptr<char, void (*)(void*)>& buffer, size_t& size,
              std::string& error)
{
    size = 0;
    const int read = zelconfig::ReadToEnd(path, buffer, size);
    if (read != 0) {
        error = read == zelconfig::kNotRegularFile ? "not a regular file"
                : read == ENOMEM                   ? "out of memory"
                                                   : std::strerror(read);
    }
    return read == 0 ? 0 : read == ENOMEM ? kStatusInvalid : kStatusNotFound;
}

namespace {

// Both trees hold the same nodes with the same names and values at the same
// offsets of their buffers: the files they came from differ, if at all, only
// in bytes no value is read from.
bool SameTree(const pugi::xml_document& a, const char* baseA, const pugi::xml_document& b, const char* baseB,
              size_t size)
{
    // Names and values outside the buffers are the parser's empty string.
    const auto same = [&](const char* x, const char* y) {
        const bool inA = x >= baseA && x < baseA + size, inB = y >= baseB && y < baseB + size;
        return std::strcmp(x, y) == 0 && inA == inB && (!inA || x - baseA == y - baseB);
    };
    const auto sameNode = [&](pugi::xml_node x, pugi::xml_node y) {
        if (x.type() != y.type() || !same(x.name(), y.name()) || !same(x.value(), y.value())) {
            return false;
        }
        pugi::xml_attribute p = x.first_attribute(), q = y.first_attribute();
        for (; p && q; p = p.next_attribute(), q = q.next_attribute()) {
            if (!same(p.name(), q.name()) || !same(p.value(), q.value())) {
                return false;
            }
        }
        return !p && !q;
    };
    // Nodes that agree in whether they have a first child and a next sibling
    // keep both walks in step.
    for (pugi::xml_node x = a, y = b; x || y; x = NextInOrder(x, a), y = NextInOrder(y, b)) {
        if (!x || !y || !sameNode(x, y) || !x.first_child() != !y.first_child()
            || !x.next_sibling() != !y.next_sibling()) {
            return false;
        }
    }
    return true;
}

} // namespace

int XmlDocument::LoadFile(const std::string& path, XmlError& error)
{
    std::unique_ptr<char, void (*)(void*)> buffer(nullptr, std::free);
    size_t size = 0;
    int status = ReadWhole(path, buffer, size, error.description);
    if (status == 0) {
        status = Adopt(std::unique_ptr<char, Buffer>(buffer.release()), size, error);
    }
    if (status == 0) {
        m_source = path;
        m_hasSource = true;
        m_loadedCopy.clear();
        m_loaded = {};
        m_hasLoaded = false;
    }
    const int fd = status == kStatusMalformed ? ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC) : -1;
    if (fd >= 0) {
        LocateInFile(fd, size, error);
        ::close(fd);
    }
    return status;
}

int XmlDocument::LoadBuffer(const char* data, size_t size, XmlError& error, bool lent)
{
    std::unique_ptr<char, Buffer> buffer(CopyOf(data, size));
    if (!buffer) {
        error.description = "out of memory";
        return kStatusInvalid;
    }
    m_hasSource = false;
    const int status = Adopt(std::move(buffer), size, error);
    // The bytes as given, kept: the parse in place changes the buffer's,
    // and lines are counted in these.
    m_loadedCopy.assign(status == 0 && !lent ? data : "", status == 0 && !lent ? size : 0);
    m_loaded = status != 0 ? std::string_view() : lent ? std::string_view(data, size) : m_loadedCopy;
    m_hasLoaded = status == 0;
    if (status == kStatusMalformed) {
        Position position{error.offset};
        position.Feed(data, size);
        position.Into(error);
    }
    return status;
}

int XmlDocument::Save(const std::string& target, XmlError& error)
{
    zelconfig::LockedFile file;
    if (file.Lock(target, zelconfig::ReplaceOptions(), error.description) != zelconfig::kReplaceDone) {
        error.description = target + ": " + error.description;
        return kStatusNotFound;
    }
    return Save(file, error);
}

// The file read again under the lock (from the locked descriptor when it is
// the file being replaced), parsed in a copy and compared with the tree
// loaded: a file changed since only in bytes no value is read from keeps
// those changes, the edits rendered onto it. A ReplaceStatus, or -2 or 22
// with error set.
int XmlDocument::RenderAndReplace(zelconfig::LockedFile& file, bool sameFile, std::string& text,
                                  XmlError& error) const
{
    std::unique_ptr<char, void (*)(void*)> original(nullptr, std::free);
    size_t size = 0;
    const int read = sameFile ? ReadDescriptor(file.Descriptor(), original, size, error.description)
                              : ReadWhole(m_source, original, size, error.description);
    if (read != 0) {
        error.description = read == kStatusInvalid ? "out of memory" : m_source + ": " + error.description;
        return read;
    }
    // The file again, parsed in a copy: the original bytes are spliced below.
    std::unique_ptr<char, Buffer> copy(CopyOf(original.get(), size));
    pugi::xml_document now;
    if (!copy) {
        error.description = "out of memory";
        return kStatusInvalid;
    }
    const pugi::xml_parse_result parsed = now.load_buffer_inplace(copy.get(), size, kParseOptions,
                                                                   pugi::encoding_utf8);
    if (parsed.status == pugi::status_out_of_memory) {
        error.description = "out of memory";
        return kStatusInvalid;
    }
    if (!parsed || size != m_size || !SameTree(*m_doc, m_buffer.get(), now, copy.get(), size)
        || !Render(std::string_view(original.get(), size), text)) {
        error.description = m_source + zelconfig::kChangedSinceRead;
        return zelconfig::kReplaceChanged;
    }
    now.reset();
    copy.reset();
    // Just before the switch, the file must still hold the bytes the new
    // text was made from.
    const std::string_view piece(text);
    return file.ReplaceIfUnchanged(std::string_view(original.get(), size), &piece, 1, error.description);
}

int XmlDocument::Save(zelconfig::LockedFile& file, XmlError& error)
{
    if (!m_hasSource) {
        error.description = "the document was not loaded from a file";
        return kStatusNotFound;
    }
    char* real = ::realpath(m_source.c_str(), nullptr);
    const bool sameFile = real != nullptr && file.Path() == real;
    std::free(real);
    std::string text;
    const int replaced = RenderAndReplace(file, sameFile, text, error);
    if (replaced == kStatusInvalid || replaced == kStatusNotFound) {
        return kStatusNotFound;
    }
    // Once the new bytes are the file, they are the document from now on:
    // parse them, so that later saves start from them. Should that fail, or
    // the file be left part written, later saves refuse.
    m_hasSource = false;
    if (replaced == zelconfig::kReplaceDone || replaced == zelconfig::kReplaceNotFlushed) {
        std::unique_ptr<char, Buffer> buffer(CopyOf(text.data(), text.size()));
        XmlError ignored;
        if (buffer && Adopt(std::move(buffer), text.size(), ignored) == 0) {
            m_source = file.Path();
            m_hasSource = true;
        }
    } else if (replaced == zelconfig::kReplaceUntouched || replaced == zelconfig::kReplaceChanged) {
        m_hasSource = true; // the tree still agrees with the file as it was loaded
    }
    return replaced == zelconfig::kReplaceDone || replaced == zelconfig::kReplaceChanged ? replaced : -2;
}

} // namespace zelconfig::xml
