// CCFGParser::CFGSaveData: the model to a file, one system call per line.
#include "CCFGParser.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/uio.h>
#include <unistd.h>

#include "CFGBlockMap.h"
#include "CFGSavedForm.h"
#include "platform/FileIO.h"
#include "platform/ZelLog.h"

using namespace zelconfig;

namespace {

// Points an iovec at a piece of a line; an empty piece may hold no pointer at all.
iovec Piece(std::string_view piece)
{
    return iovec{piece.empty() ? nullptr : const_cast<char*>(piece.data()), piece.size()};
}

// Writes one line in a single system call, since each line must reach the
// file as soon as it is complete. A line of usual length is joined first and
// goes out with write(): the kernel takes one buffer some 10% faster than it
// walks a vector of them. Write errors are deliberately not reported by a save.
void WriteLine(int fd, std::string_view a, std::string_view b, std::string_view c, std::string_view d)
{
    char joined[1024];
    if (a.size() + b.size() + c.size() + d.size() <= sizeof joined) {
        size_t size = 0;
        for (std::string_view piece : {a, b, c, d}) {
            if (!piece.empty()) {
                std::memcpy(joined + size, piece.data(), piece.size());
                size += piece.size();
            }
        }
        WriteAll(fd, joined, size);
        return;
    }
    iovec parts[] = {Piece(a), Piece(b), Piece(c), Piece(d)};
    WriteAll(fd, parts, 4);
}

} // namespace

int CCFGParser::CFGSaveData(const std::string& strPath)
{
    if (m_pmCFGData == nullptr) {
        ZEL_LOG(kLogError, "CFGSaveData", "m_pmCFGData is NULL");
        return EINVAL;
    }
    // The path is a C string: a NUL byte in it ends the name.
    int fd;
    do {
        fd = ::open(strPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        ZEL_LOG(kLogError, "CFGSaveData", "Cannot Open File");
        return -2;
    }
    ForEachSavedLine(*m_pmCFGData, [fd](std::string_view a, std::string_view b, std::string_view c,
                                        std::string_view d) { WriteLine(fd, a, b, c, d); });
    ::close(fd);
    return 0;
}
