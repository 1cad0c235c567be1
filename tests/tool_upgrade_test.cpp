// zelcfg diff and zelcfg merge: outputs, exit statuses and the files
// afterwards, one invocation per row, over the files a row writes.
#include <map>
#include <vector>

#include <gtest/gtest.h>

#include "RunTool.h"
#include "TestFiles.h"

namespace {

using namespace std::string_literals; // NUL-separated outputs

using Files = std::map<std::string, std::string>; // name: bytes

struct UpgradeCase
{
    const char* name;
    Files files;
    std::vector<std::string> args; // after the program's name
    int status;
    std::string out, err;
    Files after = {}; // the files that change, as they end; every other keeps its bytes
};

using UpgradeTable = testing::TestWithParam<UpgradeCase>;

TEST_P(UpgradeTable, PrintsExitsAndSaves)
{
    const UpgradeCase& row = GetParam();
    TempDir dir;
    for (const auto& file : row.files) {
        dir.Write(file.first, file.second);
    }
    std::vector<std::string> args{ZELCFG_BINARY};
    args.insert(args.end(), row.args.begin(), row.args.end());
    const ToolResult result = RunTool(dir.Path(), args);
    EXPECT_EQ(result.status, row.status);
    EXPECT_EQ(result.out, row.out);
    EXPECT_EQ(result.err, row.err);
    for (const auto& file : row.files) {
        const auto changed = row.after.find(file.first);
        EXPECT_EQ(ReadFile(dir.Path() + "/" + file.first), changed == row.after.end() ? file.second : changed->second)
            << file.first;
    }
}

const Files kCfg = {{"old.cfg", "[Net]\nPort=80\nHost=a\n"},
                    {"new.cfg", "[Net]\nPort=8080\n# seconds\nTimeout=5\nHost=a\n"},
                    {"my.cfg", "# mine\n[Net]\nHost=b\nPort=80\n"}};
const std::string kCfgMerged = "# mine\n[Net]\nHost=b\nPort=8080\n# seconds\nTimeout=5\n";

const Files kIni = {{"old.ini", "[net]\nport = 80\n"}, {"new.ini", "[net]\nport = 8080\n"},
                    {"my.ini", "[net]\nport: 81\n"}};

const Files kXml = {{"old.xml", "<c>\n  <port>80</port>\n</c>\n"},
                    {"new.xml", "<c>\n  <port>80</port>\n  <if mtu=\"1500\"/>\n</c>\n"},
                    {"my.xml", "<c>\n  <port>81</port>\n</c>\n"}};

INSTANTIATE_TEST_SUITE_P(Diff, UpgradeTable, testing::Values(
    UpgradeCase{"ChangedAddedAndRemovedInTheSecondsOrder", kCfg, {"diff", "old.cfg", "new.cfg"}, 1,
                "-Net.Port=80\n+Net.Port=8080\n+Net.Timeout=5\n", ""},
    UpgradeCase{"LayoutAloneIsNoDifference", {{"a.cfg", "[A]\nk=1\n[B]\nj=2\n"}, {"b.cfg", "# b\n[B]\r\nj=2\r\n[A]\r\nk=1\r\n"}},
                {"diff", "a.cfg", "b.cfg"}, 0, "", ""},
    UpgradeCase{"NullFieldsAsListPrintsThem", kCfg, {"diff", "-z", "my.cfg", "old.cfg"}, 1,
                "-Net\0Host\0b\0+Net\0Host\0a\0"s, ""},
    UpgradeCase{"Ini", kIni, {"diff", "old.ini", "my.ini"}, 1, "-net.port=80\n+net.port=81\n", ""},
    UpgradeCase{"XmlKeysWithIndexes", {{"a.xml", "<c><s>1</s></c>"}, {"b.xml", "<c><s>1</s><s>2</s></c>"}},
                {"diff", "a.xml", "b.xml"}, 1, "+s[2]=2\n", ""},
    UpgradeCase{"FilesReadOtherwiseAreRefused", {{"a.cfg", "[A]\n"}, {"b.xml", "<c/>"}}, {"diff", "a.cfg", "b.xml"},
                2, "", "zelcfg: b.xml: read as XML, and a.cfg in block mode: diff takes files read alike "
                "(--block, --anonymous, --xml or --ini reads them so)\n"},
    UpgradeCase{"MissingFile", kCfg, {"diff", "old.cfg", "none.cfg"}, 2, "",
                "zelcfg: none.cfg: cannot be read: No such file or directory\n"}));

INSTANTIATE_TEST_SUITE_P(Merge, UpgradeTable, testing::Values(
    UpgradeCase{"Cfg", kCfg, {"merge", "old.cfg", "new.cfg", "my.cfg"}, 0, "", "", {{"my.cfg", kCfgMerged}}},
    UpgradeCase{"DryRunPrintsTheDiffAndWritesNothing", kCfg, {"merge", "--dry-run", "old.cfg", "new.cfg", "my.cfg"},
                0, "--- my.cfg\t(current)\n+++ my.cfg\t(merged)\n@@ -1,4 +1,6 @@\n # mine\n [Net]\n Host=b\n"
                "-Port=80\n+Port=8080\n+# seconds\n+Timeout=5\n", ""},
    UpgradeCase{"ConflictKeepsYoursAndExitsOne", kIni, {"merge", "old.ini", "new.ini", "my.ini"}, 1,
                "net.port: yours 81, new 8080, old 80\n", ""},
    UpgradeCase{"ConflictAsNullFields", kIni, {"merge", "-z", "old.ini", "new.ini", "my.ini"}, 1,
                "net.port\0" "81\0" "8080\0" "80\0"s, ""},
    UpgradeCase{"XmlAttributeAdded", kXml, {"merge", "old.xml", "new.xml", "my.xml"}, 0, "", "",
                {{"my.xml", "<c>\n  <port>81</port>\n  <if mtu=\"1500\"/>\n</c>\n"}}},
    UpgradeCase{"LastLineWithoutLineFeedReplaced",
                {{"o.cfg", "[A]\nk=1\nj=2"}, {"n.cfg", "[A]\nk=1\nx=3"}, {"f.cfg", "[A]\nk=1\nj=2"}},
                {"merge", "o.cfg", "n.cfg", "f.cfg"}, 0, "", "", {{"f.cfg", "[A]\nk=1\nx=3"}}},
    UpgradeCase{"UnreadableFileWritesNothing",
                {{"o.cfg", "[A]\nk=1\n"}, {"n.cfg", "[A]\nk=2\n"}, {"f.cfg", "[A]\nk=1\n[B\nj=2\n"}},
                {"merge", "o.cfg", "n.cfg", "f.cfg"}, 2, "",
                "zelcfg: f.cfg: line 3: a block header has no ']'\n"},
    UpgradeCase{"MissingFileIsNotCreated", kCfg, {"merge", "old.cfg", "new.cfg", "none.cfg"}, 2, "",
                "zelcfg: none.cfg: cannot be read: No such file or directory\n"}));

} // namespace
