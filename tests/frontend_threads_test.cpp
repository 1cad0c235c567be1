// Threads that each parse, read, change and save objects of their own, and
// threads that load the XML plug-in at the same moment. `make test-tsan`
// runs this program under ThreadSanitizer; the other builds check the values.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "CCFGParser.h"
#include "CZelConfigParser.h"
#include "CaptureLog.h"
#include "TestFiles.h"

namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 25;

// Runs `work(i)` on kThreads threads that are all released at once; returns
// what each reported ("" when all went well).
template <class Work>
std::vector<std::string> RunTogether(Work work)
{
    std::atomic<int> waiting{kThreads};
    std::vector<std::string> reports(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            --waiting;
            while (waiting.load() > 0) {
                std::this_thread::yield();
            }
            reports[i] = work(i);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    return reports;
}

std::string Expect(const char* what, long long got, long long want)
{
    return got == want ? ""
                       : std::string(what) + ": " + std::to_string(got) + " != " + std::to_string(want) + "\n";
}

TEST(Threads, ObjectsOfTheirOwn)
{
    TempDir dir;
    capture_log::Reset(); // every level: the logger is shared by all threads
    const auto reports = RunTogether([&](int i) {
        const std::string name = std::to_string(i);
        const std::string path = dir.Write(name + ".cfg", "# c\n[Net]\nPort=0\n[Other]\nk=v\n");
        const std::string copy = dir.Write(name + "-copy.cfg", "");
        const std::string anonymous = dir.Write(name + ".inf", " Port = " + name + " \n");
        std::string report;
        for (int round = 0; round < kRounds; ++round) {
            CZelConfigParser config(path);
            report += Expect("front end", config.GetInt("Net.Port"), round);
            report += Expect("set", config.Set("Net.Port", round + 1), 0);
            report += Expect("save", config.Save(), 0);

            CCFGParser engine(path);
            report += Expect("engine", std::stoll("0" + engine.CFGGetData("Net.Port")), round + 1);
            report += Expect("engine set", engine.CFGSetData("Other.k", name), 0);
            report += Expect("engine save", engine.CFGSaveData(copy), 0);

            CZelConfigReader reader(anonymous); // trims by the global locale
            report += Expect("anonymous", reader.GetInt("Port"), i);
        }
        report += Expect("copy", ReadFile(copy) == "# c\n[Net]\nPort=" + std::to_string(kRounds)
                                                      + "\n[Other]\nk=" + name + "\n", true);
        return report;
    });
    for (int i = 0; i < kThreads; ++i) {
        EXPECT_EQ(reports[i], "") << "thread " << i;
    }
}

// CTest points LD_LIBRARY_PATH at the recording plug-in, whose reader
// answers X.n with 42 and whose writer edits the reader's values.
TEST(Threads, LoadThePlugInTogether)
{
    TempDir dir;
    capture_log::Reset();
    const auto reports = RunTogether([&](int i) {
        const std::string path = dir.Path() + "/" + std::to_string(i) + ".xml";
        CZelConfigParser config(path);
        std::string report = Expect("plug-in read", config.GetInt("X.n"), 42);
        report += Expect("plug-in set", config.Set("X.n", i), 0);
        report += Expect("plug-in read back", config.GetInt("X.n"), i);
        return report;
    });
    for (int i = 0; i < kThreads; ++i) {
        EXPECT_EQ(reports[i], "") << "thread " << i;
    }
    EXPECT_EQ(capture_log::Text().find("Unable to"), std::string::npos) << capture_log::Text();
}

} // namespace
