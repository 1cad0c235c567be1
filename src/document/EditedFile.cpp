#include "EditedFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/FileIO.h"

namespace zelconfig {

void Memory::Allocate(size_t size)
{
    m_bytes.reset(AllocateBytes(size, m_capacity));
    if (!m_bytes) {
        throw std::bad_alloc();
    }
}

int Memory::Read(int fd, size_t& size)
{
    const int status = ReadToEnd(fd, m_bytes, size);
    if (status == ENOMEM) {
        throw std::bad_alloc();
    }
    if (status != 0) {
        m_bytes.reset();
        size = 0;
    }
    m_capacity = size;
    return status;
}

char* Bytes::Make(size_t size)
{
    ++m_version;
    Rebase();
    m_splices.clear();
    m_text.Allocate(std::max<size_t>(size + size / 8, 4096));
    m_size = size;
    return m_text.get();
}

void Bytes::Assign(std::string_view bytes)
{
    char* text = Make(bytes.size());
    if (!bytes.empty()) {
        std::memcpy(text, bytes.data(), bytes.size());
    }
}

void Bytes::Take(Bytes& other)
{
    ++m_version;
    Rebase();
    m_splices.clear();
    other.Rebase();
    other.Settle();
    m_text = std::move(other.m_text ? other.m_text : other.m_loaded);
    m_size = other.m_size;
    other = Bytes();
}

void Bytes::Replace(size_t begin, size_t end, std::string_view with)
{
    ++m_version;
    Rebase();
    if (!m_text && (m_splices.empty() || end <= m_splices.front().begin)) {
        m_splices.insert(m_splices.begin(), Spliced{begin, end, std::string(with)});
        m_size = m_size - (end - begin) + with.size();
        return;
    }
    Own();
    const size_t size = m_size - (end - begin) + with.size();
    if (size > m_text.capacity()) {
        Memory larger;
        larger.Allocate(size + size / 8);
        std::memcpy(larger.get(), m_text.get(), m_size);
        m_text = std::move(larger);
    }
    if (end < m_size) {
        std::memmove(m_text.get() + begin + with.size(), m_text.get() + end, m_size - end);
    }
    if (!with.empty()) {
        std::memcpy(m_text.get() + begin, with.data(), with.size());
    }
    m_size = size;
}

std::vector<std::string_view> Bytes::Pieces() const
{
    if (m_text || m_splices.empty()) {
        return {std::string_view(data(), m_size)};
    }
    std::vector<std::string_view> pieces;
    size_t at = 0;
    for (const Spliced& splice : m_splices) {
        pieces.emplace_back(m_loaded.get() + at, splice.begin - at);
        pieces.emplace_back(splice.with);
        at = splice.end;
    }
    pieces.emplace_back(m_loaded.get() + at, m_loadedSize - at);
    return pieces;
}

int Bytes::Read(int fd)
{
    ++m_version;
    m_savedPending = false;
    m_splices.clear();
    m_text = Memory();
    const int status = m_loaded.Read(fd, m_loadedSize);
    m_size = m_loadedSize;
    return status;
}

// The text in a buffer of its own, with room for edits; the loaded
// bytes stay for the save's comparison.
void Bytes::Own() const
{
    if (m_text) {
        return;
    }
    Memory own;
    own.Allocate(m_size + 64 * 1024);
    size_t at = 0;
    for (std::string_view piece : Pieces()) {
        if (!piece.empty()) {
            std::memcpy(own.get() + at, piece.data(), piece.size());
        }
        at += piece.size();
    }
    m_text = std::move(own);
    m_splices.clear();
}

int EditedFile::Load(const std::string& path, bool lock, const ReplaceOptions& saving)
{
    *this = EditedFile();
    m_path = path;
    m_hasFile = true;
    m_saving = saving;
    int fd = -1;
    if (lock) {
        m_lock.reset(new LockedFile);
        if (m_lock->Lock(path, m_saving, error) != kReplaceDone) {
            m_lock.reset();
            return kStatusNotFound;
        }
        m_path = m_lock->Path();
        fd = m_lock->Descriptor();
    } else if (path.find('\0') == std::string::npos) {
        const int opened = OpenRegular(path, O_RDONLY, fd);
        if (opened != 0) {
            error = opened == kNotRegularFile ? "not a regular file" : std::strerror(opened);
        }
    } else {
        error = std::strerror(ENOENT);
    }
    const int read = fd < 0 ? -1 : text.Read(fd);
    if (fd >= 0 && !m_lock) {
        ::close(fd);
    }
    if (read > 0) {
        error = std::strerror(read);
    }
    return read == 0 ? 0 : kStatusNotFound;
}

int EditedFile::Read(int fd)
{
    *this = EditedFile();
    const int read = text.Read(fd);
    if (read != 0) {
        error = std::strerror(read);
        return kStatusNotFound;
    }
    return 0;
}

void EditedFile::Parse(std::string_view bytes)
{
    *this = EditedFile();
    text.Load(bytes);
}

char* EditedFile::Parse(size_t size)
{
    *this = EditedFile();
    char* bytes = text.Make(size);
    text.Saved();
    return bytes;
}

int EditedFile::Save()
{
    if (!m_hasFile) {
        error = "no file to save to: nothing was loaded from one";
        return kStatusInvalid;
    }
    if (!changed) {
        return kReplaceDone;
    }
    error.clear();
    LockedFile briefly;
    LockedFile* file = m_lock.get();
    if (file == nullptr) {
        file = &briefly;
        ReplaceOptions saving = m_saving;
        saving.create = false;
        if (briefly.Lock(m_path, saving, error) != kReplaceDone) {
            return kReplaceUntouched;
        }
    }
    // Under the lock, the file must still hold what was loaded: a change
    // made since by a program that ignores the lock, or while a document
    // loaded without it was edited, is refused rather than overwritten.
    const std::vector<std::string_view> pieces = text.Pieces();
    const int replaced = file->ReplaceIfUnchanged(text.Loaded(), pieces.data(), pieces.size(), error);
    // A file rewritten in place only in part holds neither the loaded bytes
    // nor the text, so a later save finds it changed and refuses.
    if (replaced == kReplaceDone || replaced == kReplaceNotFlushed) {
        text.Saved();
        changed = false;
    }
    return replaced;
}

} // namespace zelconfig
