#ifndef ZELCONFIG_CFG_CFGLINEREADER_H
#define ZELCONFIG_CFG_CFGLINEREADER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <sys/types.h>

#include "ZelConfigExport.h"

namespace zelconfig {

// Reads a file in large chunks, or bytes already in memory, and hands them
// out line by line. Lines end at each line feed, which is dropped; a carriage
// return stays in the line. The bytes after the last line feed form one more
// line, empty when the input ends in a line feed (or is empty), so every
// input yields at least one line.
// The reader is libZelConfig's: what the document library and zelcfg call
// (opening, closing) is exported for them, the rest, which only the library's
// own reading calls, stays hidden. This header stays internal.
class CFGLineReader
{
public:
    CFGLineReader() = default;
    ZELCONFIG_API ~CFGLineReader();
    CFGLineReader(const CFGLineReader&) = delete;
    CFGLineReader& operator=(const CFGLineReader&) = delete;

    // False when the path cannot be opened or its first read fails (a
    // directory, for one): either way there is no file to read. With
    // `lockSeconds`, a regular file is read under a shared flock(), taken
    // within that many seconds (then read without it) and held until the
    // reader closes, so that an editor that takes the exclusive lock is
    // never seen half way; a file renamed into place meanwhile is read instead.
    ZELCONFIG_API bool Open(const std::string& path, unsigned lockSeconds = 0);

    // Reads `bytes` in place, without a copy: they must outlive the reader.
    ZELCONFIG_API void OpenBytes(std::string_view bytes);

    // Reads ahead of `source` without disturbing it: the lines from the one
    // `source` would hand out next, through positional reads of its file.
    // False when `source` is no regular file, whose bytes could be read twice.
    bool OpenAhead(const CFGLineReader& source);

    // The next line, valid until the next call; false after the last line or
    // on a read error.
    bool Next(std::string_view& line);

    // The next line that begins with `first`, skipping the others unseen:
    // over bytes in memory one search finds it rather than a line at a time.
    bool NextStartingWith(char first, std::string_view& line);

    // The next line whose first byte that is no `blank` one is `first`: over
    // bytes in memory one search skips the others, whose bytes `skipped` then
    // holds (whole lines); over a file every line, `skipped` empty.
    bool NextStartingAfterBlanks(char first, bool (*blank)(char), std::string_view& line,
                                 std::string_view& skipped);

    // Where the line Next handed out last begins, counted from the input's
    // start. A file of 4 GiB or more wraps it on a 32-bit target; only readers
    // of bytes in memory, which cannot be so large there, use it.
    size_t LineOffset() const { return m_lineOffset; }

    // True when reading stopped on an I/O error rather than at the end.
    bool Failed() const { return m_failed; }

    // The bytes read from the file but not yet handed out as lines, valid
    // until the next call of Next.
    std::string_view Unread() const { return std::string_view(m_base + m_begin, m_end - m_begin); }
    // True when Unread holds everything up to the end of the file, so that
    // its last line is whole even without a line feed.
    bool HoldsRest() const { return m_eof || (m_position < 0 && m_regular && m_total >= m_fileSize); }

private:
    bool Fill();

    int m_fd = -1;
    bool m_ownsFd = true;
    bool m_regular = false;  // a regular file, which can be read ahead
    off_t m_position = -1;    // where the next positional read starts; -1: plain reads
    // Counted in 64 bits, as a file may hold more bytes than a 32-bit size_t
    // can count.
    std::uint64_t m_total = 0;    // bytes read from the file so far
    std::uint64_t m_fileSize = 0; // a regular file's size when it was opened
    std::unique_ptr<char[]> m_buffer;
    const char* m_base = nullptr; // m_buffer's bytes, or the bytes read in place
    size_t m_capacity = 0;
    size_t m_begin = 0;    // first byte not yet handed out
    size_t m_scanned = 0;  // bytes before this hold no line feed
    size_t m_end = 0;      // one past the last byte read
    size_t m_lineOffset = 0;
    bool m_eof = false;
    bool m_done = false;
    bool m_failed = false;
};

} // namespace zelconfig

#endif
