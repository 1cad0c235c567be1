#include "CFGLineReader.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/FileLock.h"

namespace zelconfig {

namespace {

// A small file is read whole in one call; a large one in chunks of the
// maximum size, so memory stays flat whatever the file's size (which is why
// the reader keeps its own read loop rather than ReadToEnd, which holds the
// whole file). A line longer than a chunk doubles the buffer until it fits.
constexpr size_t kMinChunk = size_t{4} * 1024;
constexpr size_t kMaxChunk = size_t{256} * 1024;
constexpr size_t kAheadChunk = size_t{64} * 1024;

} // namespace

CFGLineReader::~CFGLineReader()
{
    if (m_fd >= 0 && m_ownsFd) {
        ::close(m_fd);
    }
}

bool CFGLineReader::Open(const std::string& path, unsigned lockSeconds)
{
    // The path is a C string: a NUL byte in it ends the name.
    do {
        m_fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    } while (m_fd < 0 && errno == EINTR);
    if (m_fd < 0) {
        return false;
    }
    struct stat status;
    if (lockSeconds > 0 && ::fstat(m_fd, &status) == 0 && S_ISREG(status.st_mode)) {
        std::string ignored; // without the lock the file is read as it always was
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(lockSeconds);
        const int locked = LockCurrent(path, O_RDONLY, LOCK_SH, deadline, lockSeconds, m_fd, ignored);
        if (locked != 0 && locked != kLockNotHad) {
            return false;
        }
    }
    size_t chunk = kMaxChunk;
    m_regular = ::fstat(m_fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_size >= 0;
    if (m_regular) {
        m_fileSize = static_cast<std::uint64_t>(status.st_size);
    }
    if (m_regular && static_cast<unsigned long long>(status.st_size) < kMaxChunk) {
        // One byte more than the file, so that the second read sees the end.
        chunk = static_cast<size_t>(status.st_size) + 1;
        if (chunk < kMinChunk) {
            chunk = kMinChunk;
        }
    }
    m_buffer.reset(new char[chunk]);
    m_base = m_buffer.get();
    m_capacity = chunk;
    return Fill();
}

void CFGLineReader::OpenBytes(std::string_view bytes)
{
    // Everything is read already: no descriptor, nothing to fill or to read ahead.
    m_base = bytes.data();
    m_end = m_capacity = bytes.size();
    m_total = bytes.size();
    m_eof = true;
}

bool CFGLineReader::OpenAhead(const CFGLineReader& source)
{
    if (source.m_fd < 0 || !source.m_regular || source.m_done) {
        return false;
    }
    m_fd = source.m_fd;
    m_ownsFd = false;
    m_regular = true;
    // The bytes not yet handed out are read again from the file.
    m_position = static_cast<off_t>(source.m_total - (source.m_end - source.m_begin));
    // Reading ahead usually stops at the next header: a modest chunk, grown
    // like any other when a line is longer.
    m_buffer.reset(new char[kAheadChunk]);
    m_base = m_buffer.get();
    m_capacity = kAheadChunk;
    return Fill();
}

bool CFGLineReader::Next(std::string_view& line)
{
    // Filling keeps this: it drops handed-out bytes and counts the new ones.
    m_lineOffset = static_cast<size_t>(m_total - (m_end - m_begin));
    for (;;) {
        const char* base = m_base;
        if (m_scanned < m_end) {
            const void* feed = std::memchr(base + m_scanned, '\n', m_end - m_scanned);
            if (feed != nullptr) {
                const size_t at = static_cast<size_t>(static_cast<const char*>(feed) - base);
                line = std::string_view(base + m_begin, at - m_begin);
                m_begin = m_scanned = at + 1;
                return true;
            }
            m_scanned = m_end;
        }
        if (m_eof) {
            if (m_done) {
                return false;
            }
            // The bytes after the last line feed are the last line, even when empty.
            m_done = true;
            line = std::string_view(base + m_begin, m_end - m_begin);
            m_begin = m_scanned = m_end;
            return true;
        }
        if (!Fill()) {
            m_done = true;
            return false;
        }
    }
}

bool CFGLineReader::NextStartingWith(char first, std::string_view& line)
{
    if (m_fd >= 0) {
        while (Next(line)) {
            if (!line.empty() && line.front() == first) {
                return true;
            }
        }
        return false;
    }
    // In memory: a byte found at a line's start begins the line wanted.
    for (size_t at = m_begin; at < m_end;) {
        const void* found = std::memchr(m_base + at, first, m_end - at);
        if (found == nullptr) {
            break;
        }
        at = static_cast<size_t>(static_cast<const char*>(found) - m_base);
        if (at == m_begin || m_base[at - 1] == '\n') {
            m_begin = m_scanned = at;
            return Next(line);
        }
        ++at;
    }
    m_begin = m_scanned = m_end;
    m_done = true;
    return false;
}

bool CFGLineReader::NextStartingAfterBlanks(char first, bool (*blank)(char), std::string_view& line,
                                           std::string_view& skipped)
{
    skipped = {};
    if (m_fd >= 0) {
        return Next(line);
    }
    const size_t from = m_begin;
    for (size_t at = m_begin; at < m_end;) {
        const void* found = std::memchr(m_base + at, first, m_end - at);
        if (found == nullptr) {
            break;
        }
        at = static_cast<size_t>(static_cast<const char*>(found) - m_base);
        size_t start = at;
        while (start > from && m_base[start - 1] != '\n' && blank(m_base[start - 1])) {
            --start;
        }
        if (start == from || m_base[start - 1] == '\n') {
            skipped = std::string_view(m_base + from, start - from);
            m_begin = m_scanned = start;
            return Next(line);
        }
        ++at;
    }
    skipped = std::string_view(m_base + from, m_end - from);
    m_begin = m_scanned = m_end;
    m_done = true;
    return false;
}

bool CFGLineReader::Fill()
{
    if (m_begin > 0) {
        // Keep only the unfinished line, at the front of the buffer.
        std::memmove(m_buffer.get(), m_buffer.get() + m_begin, m_end - m_begin);
        m_end -= m_begin;
        m_scanned -= m_begin;
        m_begin = 0;
    }
    if (m_end == m_capacity) {
        std::unique_ptr<char[]> larger(new char[m_capacity * 2]);
        std::memcpy(larger.get(), m_buffer.get(), m_end);
        m_buffer = std::move(larger);
        m_base = m_buffer.get();
        m_capacity *= 2;
    }
    ssize_t count;
    do {
        count = m_position < 0 ? ::read(m_fd, m_buffer.get() + m_end, m_capacity - m_end)
                               : ::pread(m_fd, m_buffer.get() + m_end, m_capacity - m_end, m_position);
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        m_failed = true;
        return false;
    }
    if (count == 0) {
        m_eof = true;
    } else {
        m_end += static_cast<size_t>(count);
        m_total += static_cast<std::uint64_t>(count);
        if (m_position >= 0) {
            m_position += static_cast<off_t>(count);
        }
    }
    return true;
}

} // namespace zelconfig
