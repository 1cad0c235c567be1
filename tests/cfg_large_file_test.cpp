// A CFG file of more than 4 GiB, read and edited through the engine and the
// front end, and replaced as zelcfg and the document save. On a 32-bit target
// only 64-bit file offsets let it be opened at all: without them open and
// fstat fail with EOVERFLOW past 2 GiB, and no off_t names a place past it.
// (Under qemu-arm open succeeds, as the host's 64-bit kernel opens the file
// for a 64-bit process; fstat still fails, which the atomic replacement needs.)
//
// The file is sparse and the engine reads a line at a time, keeping only
// blocks and entries, so this runs on any target; zelconfig::Document, which
// holds a file's bytes, refuses such a file in a 32-bit process. Its
// holes read as NUL bytes: lines of up to 1 MiB, each ended by the line feed
// written at its last byte, which the format ignores and a save drops.
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "CCFGParser.h"
#include "CZelConfigParser.h"
#include "TestFiles.h"
#include "ZelConfigDocument.h"
#include "ZelConfigReplaceFile.h"

namespace {

constexpr std::uint64_t kMiB = std::uint64_t{1} << 20;
constexpr std::uint64_t kGiB = kMiB << 10;
constexpr std::uint64_t kFileSize = 4 * kGiB + kMiB;

// Each block where it begins: at the start, past what a 32-bit off_t counts,
// past what a 32-bit size_t counts.
struct Placed
{
    std::uint64_t at;
    const char* key;
    const char* text;
};
const Placed kBlocks[] = {
    {0, "Start.Port", "[Start]\nPort=80\n"},
    {2 * kGiB, "Past2GiB.Port", "[Past2GiB]\nPort=81\n"},
    {4 * kGiB, "Past4GiB.Port", "[Past4GiB]\nPort=82\n"},
};
const char kEdited[] = "parse 0, Start.Port 80 set 0, Past2GiB.Port 81 set 0, Past4GiB.Port 82 set 0, save 0";
const char kSaved[] = "[Past2GiB]\nPort=810\n[Past4GiB]\nPort=820\n[Start]\nPort=800\n";
const char kReplacement[] = "[Start]\nPort=8080\n";

// Writes the sparse file: 0, or the errno of the call that failed.
int WriteSparseFile(const std::string& path)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        return errno;
    }
    auto put = [fd](std::uint64_t at, const char* text) {
        const size_t size = std::strlen(text);
        return ::pwrite(fd, text, size, static_cast<off_t>(at)) == static_cast<ssize_t>(size);
    };
    bool written = true;
    for (std::uint64_t end = kMiB; end <= kFileSize && written; end += kMiB) {
        written = put(end - 1, "\n");
    }
    for (const Placed& block : kBlocks) {
        written = written && put(block.at, block.text);
    }
    const int error = written ? 0 : errno;
    ::close(fd);
    return error;
}

// Reads each block's port and sets it to ten times as much, then saves over
// the file: what each call returned, in order.
std::string ThroughEngine(const std::string& path)
{
    CCFGParser parser;
    std::string seen = "parse " + std::to_string(parser.CFGParseFile(path));
    for (const Placed& block : kBlocks) {
        const std::string port = parser.CFGGetData(block.key);
        seen += std::string(", ") + block.key + " " + port + " set "
                + std::to_string(parser.CFGSetData(block.key, port + "0"));
    }
    return seen + ", save " + std::to_string(parser.CFGSaveData(path));
}

std::string ThroughFrontEnd(const std::string& path)
{
    CZelConfigParser config;
    std::string seen = "parse " + std::to_string(config.Parse(path));
    for (const Placed& block : kBlocks) {
        const int port = config.GetInt(block.key);
        seen += std::string(", ") + block.key + " " + std::to_string(port) + " set "
                + std::to_string(config.Set(block.key, port * 10));
    }
    return seen + ", save " + std::to_string(config.Save());
}

// Locks the file and swaps in new contents, atomically: what became of it.
std::string ThroughReplace(const std::string& path)
{
    std::string message;
    const int status =
        zelconfig::ReplaceFile(path, kReplacement, sizeof kReplacement - 1, zelconfig::ReplaceOptions(), message);
    return "replace " + std::to_string(status) + message;
}

// Loads the file into a document, which holds its bytes: refused in a
// 32-bit process, whose memory cannot hold them, before any size wraps.
std::string ThroughDocument(const std::string& path)
{
    zelconfig::Document document;
    const int status = document.Load(path, zelconfig::Document::kLock);
    return "document " + std::to_string(status) + " " + document.Error();
}

struct LargeFileCase
{
    const char* name;
    std::string (*edit)(const std::string& path);
    std::string done, saved;
};

using LargeFileTable = testing::TestWithParam<LargeFileCase>;

TEST_P(LargeFileTable, ReadsPast4GiBAndSavesTheEdit)
{
    ASSERT_EQ(sizeof(off_t), 8u) << "built without 64-bit file offsets";
    TempDir dir;
    const std::string path = dir.Path() + "/large.cfg";
    const int error = WriteSparseFile(path);
    if (error == EFBIG || error == ENOSPC || error == EDQUOT) {
        GTEST_SKIP() << "the file system of " << dir.Path()
                     << " cannot hold a sparse file of 4 GiB + 1 MiB: " << std::strerror(error);
    }
    ASSERT_EQ(error, 0) << std::strerror(error);
    struct stat info {};
    ASSERT_EQ(::stat(path.c_str(), &info), 0);
    ASSERT_EQ(static_cast<std::uint64_t>(info.st_size), kFileSize);

    const LargeFileCase& row = GetParam();
    if (row.edit == ThroughDocument && sizeof(size_t) > 4) {
        GTEST_SKIP() << "a 64-bit process can hold the file: the row is about 32-bit ones";
    }
    EXPECT_EQ(row.edit(path), row.done);
    if (!row.saved.empty()) {
        EXPECT_EQ(ReadFile(path), row.saved);
    } else {
        ASSERT_EQ(::stat(path.c_str(), &info), 0);
        EXPECT_EQ(static_cast<std::uint64_t>(info.st_size), kFileSize); // untouched
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, LargeFileTable, testing::Values(
    LargeFileCase{"Engine", ThroughEngine, kEdited, kSaved},
    LargeFileCase{"FrontEnd", ThroughFrontEnd, kEdited, kSaved},
    LargeFileCase{"AtomicReplace", ThroughReplace, "replace 0", kReplacement},
    LargeFileCase{"DocumentRefuses", ThroughDocument, "document -2 " + std::string(std::strerror(EFBIG)), ""}
), RowName());

} // namespace
