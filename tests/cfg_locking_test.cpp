// The engine's reading and saving under the lock that zelcfg and LockedFile
// take: they wait for an editor that holds it, follow a file renamed into
// place, and beside zelcfg lose no block and read no torn file.
#include <atomic>
#include <chrono>
#include <fcntl.h>
#include <sys/file.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "CCFGParser.h"
#include "CZelConfigReader.h"
#include "CZelConfigWriter.h"
#include "CaptureLog.h"
#include "RunTool.h"
#include "TestFiles.h"

namespace {

const std::string kOld = "[Old]\nk=1\n";
const std::string kNew = "[New]\nk=2\n";  // what the other editor leaves
const std::string kSaved = "[A]\nk=v\n";  // what the legacy save writes
const char kNewModel[] = "[New]\n  k=2\n";

void Pause()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
}

// What another editor does while it holds the file's exclusive lock.
enum class Editor
{
    kRewrites,        // empties the file and writes kNew in two parts, a pause between
    kRenamesOver,     // renames kNew, locked, over the file, then lets go of both locks
    kHoldsPastTheWait // keeps the lock until the legacy call has returned
};

struct LockCase
{
    const char* name;
    bool save; // CFGSaveData of kSaved; otherwise CFGParseFile
    Editor editor;
    std::string file, model; // the file and the parsed model afterwards
};
using LockTable = testing::TestWithParam<LockCase>;

TEST_P(LockTable, WaitsForTheEditorThenWorksOnWhatItLeft)
{
    const LockCase& row = GetParam();
    TempDir dir;
    const std::string path = dir.Write("a.cfg", kOld);
    CCFGParser toSave(dir.Write("in.cfg", kSaved));
    CCFGParser parsed;
    const int held = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(::flock(held, LOCK_EX), 0);
    capture_log::Reset();
    int status = -100;
    std::atomic<bool> done{false};
    std::thread legacy([&] {
        status = row.save ? toSave.CFGSaveData(path) : parsed.CFGParseFile(path);
        done = true;
    });
    int renamed = -1;
    if (row.editor == Editor::kRewrites) {
        ASSERT_EQ(::ftruncate(held, 0), 0);
        ASSERT_EQ(::write(held, kNew.data(), 6), 6);
        Pause();
        EXPECT_FALSE(done) << "did not wait for the lock";
        EXPECT_EQ(ReadFile(path), kNew.substr(0, 6));
        ASSERT_EQ(::write(held, kNew.data() + 6, kNew.size() - 6), static_cast<ssize_t>(kNew.size() - 6));
    } else if (row.editor == Editor::kRenamesOver) {
        const std::string replacement = dir.Write("new.cfg", kNew);
        renamed = ::open(replacement.c_str(), O_RDONLY | O_CLOEXEC);
        ASSERT_EQ(::flock(renamed, LOCK_EX), 0);
        ASSERT_EQ(::rename(replacement.c_str(), path.c_str()), 0);
        Pause();
        EXPECT_FALSE(done) << "did not wait for the lock";
    } else {
        while (!done) {
            Pause();
        }
    }
    ::close(held);
    if (renamed >= 0) {
        Pause();
        EXPECT_FALSE(done) << "did not wait for the lock of the file renamed into place";
        ::close(renamed);
    }
    legacy.join();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(capture_log::Text(), "");
    EXPECT_EQ(ReadFile(path), row.file);
    EXPECT_EQ(DumpModel(parsed), row.model);
}

INSTANTIATE_TEST_SUITE_P(Rows, LockTable, testing::Values(
    LockCase{"SaveAfterRewrite", true, Editor::kRewrites, kSaved, "(null)"},
    LockCase{"SaveIntoTheFileRenamedIntoPlace", true, Editor::kRenamesOver, kSaved, "(null)"},
    LockCase{"ParseAfterRewrite", false, Editor::kRewrites, kNew, kNewModel},
    LockCase{"ParseOfTheFileRenamedIntoPlace", false, Editor::kRenamesOver, kNew, kNewModel},
    // The one slow row: the ten seconds' wait, then the save as it always was.
    LockCase{"SaveGoesOnAfterTheWait", true, Editor::kHoldsPastTheWait, kSaved, "(null)"}),
    RowName());

#ifdef ZELCFG_BINARY
// Fifty blocks of one entry each, then `tail`.
std::string FiftyBlocks(const std::string& tail)
{
    std::string text;
    for (int b = 0; b < 50; ++b) {
        text += "[B" + std::to_string(b) + "]\nk=value of block " + std::to_string(b) + "\n";
    }
    return text + tail;
}

// A shell loop that runs zelcfg with `args`, and `env` in front, for each
// of `values`, in $v.
std::vector<std::string> ToolLoop(const std::string& values, const std::string& env, const std::string& args)
{
    return {"sh", "-c", "for v in " + values + "; do " + env + "'" ZELCFG_BINARY "' " + args + " || exit 1; done"};
}

// Legacy saves, in a loop until zelcfg's sets are done, beside those sets:
// every block stays.
TEST(BesideTheTool, LegacySavesLoseNoBlock)
{
    TempDir dir;
    const std::string path = dir.Write("a.cfg", FiftyBlocks("[Legacy]\nn=0\n[Tool]\nn=0\n"));
    std::atomic<bool> toolDone{false};
    int saves = 0, failures = 0;
    std::thread legacy([&] {
        while (!toolDone || saves < 50) {
            CZelConfigWriter writer;
            failures += writer.Parse(path) != 0 || writer.Set("Legacy.n", saves) != 0 || writer.Save() != 0;
            ++saves;
            std::this_thread::sleep_for(std::chrono::milliseconds(1)); // room for zelcfg's lock
        }
    });
    std::string values;
    for (int i = 1; i <= 50; ++i) {
        values += " " + std::to_string(i);
    }
    const ToolResult tool = RunTool(dir.Path(), ToolLoop(values, "", "set a.cfg Tool.n \"$v\""));
    toolDone = true;
    legacy.join();
    EXPECT_EQ(tool.status, 0) << tool.err;
    EXPECT_EQ(failures, 0);
    CCFGParser parser(path);
    for (int b = 0; b < 50; ++b) {
        const std::string name = "B" + std::to_string(b);
        EXPECT_EQ(parser.CFGGetData(name + ".k"), "value of block " + std::to_string(b)) << name << " lost";
    }
    EXPECT_NE(parser.CFGGetData("Legacy.n"), "");
    EXPECT_NE(parser.CFGGetData("Tool.n"), "");
}

// Readers in a loop beside in-place sets that shrink and grow a value. Each
// set pauses before it truncates (a preloaded library): a shrinking one has
// then written its text, and the old value's tail, a run of '=', still
// stands behind it as one more entry.
TEST(BesideTheTool, ReadersSeeNoTornFile)
{
    TempDir dir;
    const std::string wide(2000, '=');
    const std::string path = dir.Write("a.cfg", FiftyBlocks("[Tool]\nn=s\n"));
    const std::string narrowModel = DumpModel(CCFGParser(path));
    const std::string wideModel = DumpModel(CCFGParser(dir.Write("wide.cfg", FiftyBlocks("[Tool]\nn=" + wide + "\n"))));
    std::atomic<bool> toolDone{false};
    int reads = 0;
    std::string torn;
    std::thread reader([&] {
        while (!toolDone) {
            CZelConfigReader config;
            const int status = config.Parse(path);
            const std::string model = DumpModel(*static_cast<CCFGParser*>(config.GetDataPtr()));
            if ((status != 0 || (model != narrowModel && model != wideModel)) && torn.empty()) {
                torn = std::to_string(status) + "\n" + model;
            }
            ++reads;
            std::this_thread::sleep_for(std::chrono::milliseconds(1)); // room for zelcfg's lock
        }
    });
    const ToolResult tool = RunTool(
        dir.Path(), ToolLoop(wide + " s " + wide + " s " + wide + " s",
                             std::string(ZELCONFIG_PRELOAD "='") + ZELCONFIG_PAUSE_LIBRARY
                                 + "' ZELCONFIG_PAUSE_AT=ftruncate ",
                             "set --in-place a.cfg Tool.n \"$v\""));
    toolDone = true;
    reader.join();
    EXPECT_EQ(tool.status, 0) << tool.err;
    EXPECT_GT(reads, 0);
    EXPECT_EQ(torn, "") << "torn in " << reads << " reads";
}
#endif

} // namespace
