// The README's examples, run as written on copies of the shipped samples
// (examples/data): its C++ blocks, compiled from README.md itself by
// readme_examples.cmake, and its shell sessions, read from it at run time.
// Every status an example leaves unchecked must be 0, every value and
// written text its comments promise must hold, and each row gives the bytes
// of the file the example leaves behind.
#include <iostream>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "CZelConfigReader.h"
#include "RunTool.h"
#include "TestFiles.h"

namespace {

// What an example touches and promises, as it runs.
class ReadmeRun
{
public:
    explicit ReadmeRun(std::string dir) : m_dir(std::move(dir)) {}

    // "/etc/NAME" in the README is the file NAME of the test's directory; the
    // first one an example names holds what its setters wrote.
    const std::string& Path(const std::string& readmePath)
    {
        std::string& path = m_paths[readmePath];
        if (path.empty()) {
            path = m_dir + readmePath.substr(readmePath.rfind('/'));
            if (m_first.empty()) {
                m_first = path;
            }
        }
        return path;
    }
    // A status the example ignores, or tests for failure: it must be 0.
    int Status(int line, int status)
    {
        if (status != 0) {
            ADD_FAILURE_AT("README.md", line) << "status " << status;
        }
        return status;
    }
    // The value a comment promises, as the first thing it says.
    template <class Actual, class Promised>
    void Value(int line, const Actual& actual, const Promised& promised)
    {
        if (actual != Actual(promised)) {
            ADD_FAILURE_AT("README.md", line) << "the value is " << actual << ", not " << promised;
        }
    }
    // "written as": read back by a fresh reader after the example (CheckWritten).
    void Written(const std::string& key, const std::string& text) { m_written.emplace_back(key, text); }
    void CheckWritten() const
    {
        CZelConfigReader reader(m_first);
        for (const auto& [key, text] : m_written) {
            std::string value;
            EXPECT_EQ(reader.GetString(key, value), 0) << key;
            EXPECT_EQ(value, text) << key;
        }
    }

private:
    std::string m_dir, m_first;
    std::map<std::string, std::string> m_paths;
    std::vector<std::pair<std::string, std::string>> m_written;
};

struct ReadmeExample
{
    int line;
    const char* opening; // the example's first line of code
    void (*run)(ReadmeRun& run);
};

} // namespace

// The README's C++ examples (kReadmeExamples), with the headers they include.
#include "readme_examples.inc"

namespace {

const std::string kShipped = ZELCONFIG_SOURCE_DIR "/examples/data/";

struct ReadmeCase
{
    const char* name;
    const char* opening; // as in kReadmeExamples, in the same order
    const char* file;    // the README path of the file checked afterwards
    std::string after;   // its bytes
};

void PrintTo(const ReadmeCase& row, std::ostream* os)
{
    *os << row.name;
}

// The shipped sample.cfg's blocks with Port=8080, as a save writes them.
const std::string kNet = "# Sample configuration of a small network device.\n[Net]\n"
                         "; address of the management server\nHost=10.0.0.1\nPort=8080\nTimeout=2.5\n";
const std::string kLogging = "# Blocks are saved in name order, so this one comes first in a saved copy.\n"
                             "[Logging]\nLevel=warning\n; rotate after this many bytes\nMaxSize=0x100000\n";

const ReadmeCase kCases[] = {
    // The front end's and the engine's saves: the whole file, normalised.
    {"ParserSetAndSave", "CZelConfigParser config;", "/etc/device.cfg", kLogging + kNet + "Enabled=TRUE\n"},
    {"EngineSaveToCopy", "CCFGParser parser;", "/etc/device-copy.cfg", kLogging + kNet + "Enabled=FALSE\n"},
    // The document: one value's bytes and one added line, all else kept.
    {"DocumentSetAndAdd", "zelconfig::Document file;", "/etc/device.cfg",
     kNet + "Enabled=FALSE\nMask=24\n\n" + kLogging},
    // XML through the plug-in: only the value's bytes change.
    {"XmlSetAndSave", "CZelConfigParser config(\"/etc/device.xml\");", "/etc/device.xml",
     "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- Sample configuration of a small network device. -->\n"
     "<Device>\n  <!-- address of the management server -->\n  <Net Host=\"10.0.0.1\">\n    <Port>8080</Port>\n"
     "    <Timeout>2.5</Timeout>\n  </Net>\n  <Logging Level=\"warning\">\n    <!-- rotate after this many bytes -->\n"
     "    <MaxSize>0x100000</MaxSize>\n  </Logging>\n</Device>\n"},
};

TEST(ReadmeExamples, EachHasItsRow)
{
    ASSERT_EQ(std::size(kReadmeExamples), std::size(kCases)) << "a README example without its row, or a row "
                                                                "without its example";
    for (size_t i = 0; i < std::size(kCases); ++i) {
        EXPECT_STREQ(kReadmeExamples[i].opening, kCases[i].opening) << "README.md:" << kReadmeExamples[i].line;
    }
}

using ReadmeTable = testing::TestWithParam<ReadmeCase>;

TEST_P(ReadmeTable, RunsAsWrittenOnTheSamples)
{
    const ReadmeCase& row = GetParam();
    const ReadmeExample* example = nullptr;
    for (const ReadmeExample& candidate : kReadmeExamples) {
        if (std::string(candidate.opening) == row.opening) {
            example = &candidate;
        }
    }
    ASSERT_NE(example, nullptr) << "no README example opens with " << row.opening;
    TempDir dir;
    for (const char* extension : {"cfg", "xml"}) {
        dir.Write(std::string("device.") + extension, ReadFile(kShipped + "sample." + extension));
    }
    ReadmeRun run(dir.Path());
    example->run(run);
    run.CheckWritten();
    EXPECT_EQ(ReadFile(run.Path(row.file)), row.after);
}

INSTANTIATE_TEST_SUITE_P(Readme, ReadmeTable, testing::ValuesIn(kCases), RowName());

// A ```sh block whose lines start with "$ " is a session: each command runs
// in turn, in a directory holding a copy of examples/ and tests/data/ini/,
// with zelcfg on the path, and prints what the lines up to the next command
// show. Its exit status is 0, or 1 for a diff that shows differences. diff's
// header lines are compared without the times, which the README leaves out.
struct Command
{
    int line;
    std::string command, output;
};

std::vector<std::vector<Command>> Sessions(const std::string& readme)
{
    std::vector<std::vector<Command>> sessions;
    bool inside = false;
    int number = 0;
    for (const std::string& line : Lines(readme)) {
        ++number;
        if (!inside) {
            inside = line == "```sh";
            if (inside) {
                sessions.emplace_back();
            }
        } else if (line == "```") {
            inside = false;
            if (sessions.back().empty()) {
                sessions.pop_back();
            }
        } else if (line.compare(0, 2, "$ ") == 0) {
            sessions.back().push_back({number, line.substr(2), ""});
        } else if (!sessions.back().empty()) {
            sessions.back().back().output += line + "\n";
        } else {
            sessions.pop_back(); // a block of commands alone, not a session
            inside = false;
        }
    }
    return sessions;
}

std::string WithoutTimes(const std::string& output)
{
    std::string out;
    for (const std::string& line : Lines(output)) {
        const bool header = line.compare(0, 4, "--- ") == 0 || line.compare(0, 4, "+++ ") == 0;
        out += (header ? line.substr(0, line.find('\t')) : line) + "\n";
    }
    return out.substr(0, out.size() - 1);
}

TEST(ReadmeSessions, PrintWhatTheyShow)
{
    const std::vector<std::vector<Command>> sessions = Sessions(ReadFile(ZELCONFIG_SOURCE_DIR "/README.md"));
    ASSERT_FALSE(sessions.empty());
    std::string zelcfgDir = ZELCFG_BINARY;
    zelcfgDir.erase(zelcfgDir.rfind('/'));
    for (const std::vector<Command>& session : sessions) {
        TempDir dir;
        ASSERT_EQ(RunTool(dir.Path(), {"cp", "-R", ZELCONFIG_SOURCE_DIR "/examples", "."}).status, 0);
        ASSERT_EQ(RunTool(dir.Path(), {"mkdir", "-p", "tests/data"}).status, 0);
        ASSERT_EQ(RunTool(dir.Path(), {"cp", "-R", ZELCONFIG_SOURCE_DIR "/tests/data/ini", "tests/data"}).status, 0);
        for (const Command& command : session) {
            const ToolResult result =
                RunTool(dir.Path(), {"sh", "-c", command.command + " 2>&1"}, "PATH='" + zelcfgDir + "':\"$PATH\" ");
            const int expected = command.command.compare(0, 5, "diff ") == 0 && !command.output.empty() ? 1 : 0;
            EXPECT_EQ(result.status, expected) << "README.md:" << command.line << ": " << command.command;
            EXPECT_EQ(WithoutTimes(result.out), command.output) << "README.md:" << command.line << ": "
                                                                << command.command;
        }
    }
}

} // namespace
