// What Document::Save does when another program touched the file between
// the load and the save: whether or not the document holds the lock, a file
// that no longer holds the loaded bytes is refused and left as the other
// program left it; the document's own bytes never change under it.
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "TestFiles.h"
#include "ZelConfigDocument.h"

using zelconfig::Document;

namespace {

// What happens to the file between the load and the save.
enum class Meanwhile
{
    kNothing,
    kTruncated,       // ": > file", or a writer that truncates before it writes
    kSameSize,        // rewritten in place, as long as before, within one clock tick
    kRenamedOver,     // another editor's atomic replacement
    kOtherDocumentSaves, // a second document, loaded at the same time, saves first
};

struct MeanwhileCase
{
    const char* name;
    unsigned options; // of Load
    bool inPlace;
    bool large; // 3 MiB: read into huge pages where the system offers them
    Meanwhile meanwhile;
    int status;
};
using MeanwhileTable = testing::TestWithParam<MeanwhileCase>;

// "[A]\nk=1\n", then filler blocks up to about `size` bytes.
std::string Text(size_t size)
{
    std::string text = "[A]\nk=1\n";
    for (int block = 0; text.size() < size; ++block) {
        text += "[B" + std::to_string(block) + "]\nvalue=" + std::string(40, 'v') + "\n";
    }
    return text;
}

// Overwrites the file's bytes without truncating it or taking its lock.
void RewriteInPlace(const std::string& path, const std::string& bytes)
{
    const int fd = ::open(path.c_str(), O_WRONLY);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::pwrite(fd, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
    ::close(fd);
}

TEST_P(MeanwhileTable, SavesOnlyOverWhatWasLoaded)
{
    const MeanwhileCase& row = GetParam();
    TempDir dir;
    const std::string before = Text(row.large ? 3 * 1024 * 1024 : 0);
    const std::string path = dir.Write("a.cfg", before);
    zelconfig::ReplaceOptions saving;
    saving.inPlace = row.inPlace;
    Document document;
    ASSERT_EQ(document.Load(path, row.options, saving), 0) << document.Error();
    ASSERT_EQ(document.Set("A.k", "2"), 0);

    std::string other = before; // what the file holds once the other program is done
    switch (row.meanwhile) {
    case Meanwhile::kNothing:
        break;
    case Meanwhile::kTruncated:
        ASSERT_EQ(::truncate(path.c_str(), 0), 0);
        other.clear();
        break;
    case Meanwhile::kSameSize:
        other[6] = '9';
        RewriteInPlace(path, other);
        break;
    case Meanwhile::kRenamedOver:
        other = "[Other]\n";
        dir.Write("new", other);
        ASSERT_EQ(std::rename((dir.Path() + "/new").c_str(), path.c_str()), 0);
        break;
    case Meanwhile::kOtherDocumentSaves: {
        Document first;
        ASSERT_EQ(first.Load(path), 0);
        ASSERT_EQ(first.Set("A.k", "3"), 0);
        ASSERT_EQ(first.Save(), 0) << first.Error();
        other[6] = '3';
        break;
    }
    }
    // Reads after the file changed see the bytes loaded, edited.
    EXPECT_EQ(document.Get("A.k"), "2");
    EXPECT_EQ(document.Text().size(), before.size());

    EXPECT_EQ(document.Save(), row.status) << document.Error();
    if (row.status == zelconfig::kReplaceChanged) {
        EXPECT_EQ(document.Error(), path + zelconfig::kChangedSinceRead);
        EXPECT_TRUE(ReadFile(path) == other);
        EXPECT_TRUE(document.Changed()); // the edit is still the document's, to save elsewhere or redo
    } else {
        std::string edited = before;
        edited[6] = '2';
        EXPECT_TRUE(ReadFile(path) == edited);
        EXPECT_FALSE(document.Changed());
    }
}

constexpr int kChanged = zelconfig::kReplaceChanged;

INSTANTIATE_TEST_SUITE_P(Document, MeanwhileTable, testing::Values(
    MeanwhileCase{"Untouched", 0, false, false, Meanwhile::kNothing, 0},
    MeanwhileCase{"UntouchedLocked", Document::kLock, false, true, Meanwhile::kNothing, 0},
    MeanwhileCase{"Truncated", 0, false, false, Meanwhile::kTruncated, kChanged},
    MeanwhileCase{"TruncatedLargeLocked", Document::kLock, false, true, Meanwhile::kTruncated, kChanged},
    MeanwhileCase{"TruncatedLargeInPlace", Document::kLock, true, true, Meanwhile::kTruncated, kChanged},
    MeanwhileCase{"SameSize", 0, false, false, Meanwhile::kSameSize, kChanged},
    MeanwhileCase{"SameSizeLocked", Document::kLock, false, false, Meanwhile::kSameSize, kChanged},
    MeanwhileCase{"SameSizeLargeInPlace", Document::kLock, true, true, Meanwhile::kSameSize, kChanged},
    MeanwhileCase{"RenamedOver", 0, false, false, Meanwhile::kRenamedOver, kChanged},
    MeanwhileCase{"RenamedOverLocked", Document::kLock, false, true, Meanwhile::kRenamedOver, kChanged},
    MeanwhileCase{"SecondOfTwoUnlocked", 0, false, false, Meanwhile::kOtherDocumentSaves, kChanged},
    MeanwhileCase{"SecondOfTwoUnlockedLarge", 0, false, true, Meanwhile::kOtherDocumentSaves, kChanged}),
    RowName());

// Save's statuses tell a file left as it was from one replaced.
TEST(DocumentSave, StatusesTellWhatHappenedToTheFile)
{
    TempDir dir;
    const std::string path = dir.Write("a.cfg", "[A]\nk=1\n");
    Document document;
    EXPECT_EQ(document.Save(), EINVAL); // nothing loaded
    ASSERT_EQ(document.Load(path), 0);
    EXPECT_EQ(document.Save(), zelconfig::kReplaceDone); // nothing to write
    ASSERT_EQ(document.Set("A.k", "2"), 0);

    // Another editor holds the lock past the wait: untouched.
    auto holder = std::make_unique<zelconfig::LockedFile>();
    std::string message;
    ASSERT_EQ(holder->Lock(path, zelconfig::ReplaceOptions(), message), zelconfig::kReplaceDone) << message;
    zelconfig::ReplaceOptions noWait;
    noWait.waitSeconds = 0;
    Document waiting;
    ASSERT_EQ(waiting.Load(path, 0, noWait), 0);
    ASSERT_EQ(waiting.Set("A.k", "3"), 0);
    EXPECT_EQ(waiting.Save(), zelconfig::kReplaceUntouched);
    EXPECT_NE(waiting.Error().find("another process holds the file's lock"), std::string::npos) << waiting.Error();
    holder.reset();

    EXPECT_EQ(document.Save(), zelconfig::kReplaceDone) << document.Error();
    EXPECT_EQ(ReadFile(path), "[A]\nk=2\n");
    // Saved, the new bytes are what the next save compares with.
    ASSERT_EQ(document.Set("A.k", "4"), 0);
    EXPECT_EQ(document.Save(), zelconfig::kReplaceDone) << document.Error();
    EXPECT_EQ(ReadFile(path), "[A]\nk=4\n");
    // The other document loaded "k=1": the file has moved on twice since.
    EXPECT_EQ(waiting.Save(), zelconfig::kReplaceChanged);
    EXPECT_EQ(ReadFile(path), "[A]\nk=4\n");
}

} // namespace
