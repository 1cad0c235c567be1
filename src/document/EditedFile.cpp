#include "EditedFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

// Large files are read into huge pages where the system offers them.
#if defined(__linux__)
#include <sys/mman.h>
#if defined(MADV_HUGEPAGE)
#define ZELCONFIG_DOCUMENT_HUGE_PAGES 1
#endif
#endif
#ifndef ZELCONFIG_DOCUMENT_HUGE_PAGES
#define ZELCONFIG_DOCUMENT_HUGE_PAGES 0
#endif

#include "platform/FileIO.h"

namespace zelconfig {

namespace {
#if ZELCONFIG_DOCUMENT_HUGE_PAGES
constexpr size_t kHugePage = 2 * 1024 * 1024;
#endif
} // namespace

void Memory::Allocate(size_t size)
{
    Free();
#if ZELCONFIG_DOCUMENT_HUGE_PAGES
    if (size >= kHugePage) {
        // Aligned to a huge page, so that the hint covers whole ones.
        const size_t rounded = (size + kHugePage - 1) / kHugePage * kHugePage;
        void* pages = nullptr;
        if (::posix_memalign(&pages, kHugePage, rounded) == 0) {
            ::madvise(pages, rounded, MADV_HUGEPAGE); // a hint: fine when refused
            m_bytes = static_cast<char*>(pages);
            m_capacity = rounded;
            m_aligned = true;
            return;
        }
    }
#endif
    m_bytes = new char[size];
    m_capacity = size;
}

void Memory::Free()
{
    if (m_aligned) {
        std::free(m_bytes);
    } else {
        delete[] m_bytes;
    }
    m_bytes = nullptr;
    m_capacity = 0;
    m_aligned = false;
}

void Memory::Swap(Memory& other)
{
    std::swap(m_bytes, other.m_bytes);
    std::swap(m_capacity, other.m_capacity);
    std::swap(m_aligned, other.m_aligned);
}

void Bytes::Assign(std::string_view bytes)
{
    Rebase();
    m_splices.clear();
    m_text.Allocate(std::max<size_t>(bytes.size() + bytes.size() / 8, 4096));
    if (!bytes.empty()) {
        std::memcpy(m_text.get(), bytes.data(), bytes.size());
    }
    m_size = bytes.size();
}

void Bytes::Replace(size_t begin, size_t end, std::string_view with)
{
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

// Reads a descriptor to its end into memory of its own: 0 or an errno
// value. Its own loop rather than FileIO's ReadAll: it reads straight
// into memory sized from the file and never zeroed here, where ReadAll
// would copy every byte once more through a growing std::string.
int Bytes::Read(int fd)
{
    m_savedPending = false;
    m_splices.clear();
    m_text = Memory();
    struct stat info {};
    size_t size = 0;
    m_size = m_loadedSize = 0;
    if (::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && info.st_size > 0) {
        // A file larger than this process could ever hold (4 GiB on a
        // 32-bit system) is refused before its size wraps around.
        if (static_cast<uintmax_t>(info.st_size) >= std::numeric_limits<size_t>::max() / 2) {
            return EFBIG;
        }
        size = static_cast<size_t>(info.st_size);
    }
    // One byte more than the file, so that the read that sees its end
    // needs no growth.
    m_loaded.Allocate(size + 1);
    for (;;) {
        if (m_loadedSize == m_loaded.capacity()) {
            if (m_loaded.capacity() >= std::numeric_limits<size_t>::max() / 2) {
                m_loadedSize = 0;
                return EFBIG;
            }
            Memory larger;
            larger.Allocate(m_loaded.capacity() * 2);
            std::memcpy(larger.get(), m_loaded.get(), m_loadedSize);
            m_loaded = std::move(larger);
        }
        const ssize_t count = ::read(fd, m_loaded.get() + m_loadedSize, m_loaded.capacity() - m_loadedSize);
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            m_loadedSize = 0;
            return errno;
        }
        if (count == 0) {
            m_size = m_loadedSize;
            return 0;
        }
        m_loadedSize += static_cast<size_t>(count);
    }
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
            return -2;
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
    return read == 0 ? 0 : -2;
}

void EditedFile::Parse(std::string_view bytes)
{
    *this = EditedFile();
    text.Load(bytes);
}

int EditedFile::Save()
{
    if (!m_hasFile) {
        error = "no file to save to: nothing was loaded from one";
        return EINVAL;
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
