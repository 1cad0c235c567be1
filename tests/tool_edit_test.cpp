// zelcfg edit: a file and a script become these bytes, or stay byte for byte
// as they were, one row per case; the script's words as /bin/sh splits them.
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "RunTool.h"
#include "Script.h"
#include "TestFiles.h"

namespace {

using namespace std::string_literals; // NUL-separated scripts

const std::string kUnchanged = "(unchanged)";
const std::string kAbsent = "(absent)"; // no such file, before and after

struct EditCase
{
    const char* name;
    std::string file, content, script;
    std::vector<std::string> options; // on edit's own line, before FILE
    int status;
    std::string err;
    std::string saved = kUnchanged; // the file afterwards
};

using EditTable = testing::TestWithParam<EditCase>;

TEST_P(EditTable, SavesAllOrNothing)
{
    const EditCase& row = GetParam();
    TempDir dir;
    const std::string path = dir.Path() + "/" + row.file;
    if (row.content != kAbsent) {
        dir.Write(row.file, row.content);
    }
    dir.Write("script", row.script);
    std::vector<std::string> args{ZELCFG_BINARY, "edit"};
    args.insert(args.end(), row.options.begin(), row.options.end());
    args.push_back(row.file);
    const ToolResult result = RunTool(dir.Path(), args, "", "<script");
    EXPECT_EQ(result.status, row.status);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, row.err);
    const std::string& expected = row.saved == kUnchanged ? row.content : row.saved;
    if (expected == kAbsent) {
        EXPECT_NE(::access(path.c_str(), F_OK), 0) << row.file << " was created";
    } else {
        EXPECT_EQ(ReadFile(path), expected);
    }
}

const std::string kNet = "# net\n[Net]\nPort=80\nOld=1\n[Legacy]\nx=1\n";
const std::string kUnit = "[Unit]\nAfter=a\nAfter=b\n";

INSTANTIATE_TEST_SUITE_P(Cfg, EditTable, testing::Values(
    EditCase{"Provisions", "a.cfg", kNet, "set Net.Port 8080\nunset Net.Old\nremove-block Legacy\nset Net.Host h\n",
             {}, 0, "", "# net\n[Net]\nPort=8080\nHost=h\n"},
    EditCase{"LaterCommandsSeeEarlierOnes", "a.cfg", kNet, "set Net.New 1\nset --add Net.New 2\n"
             "set --index 1 Net.New 0\n", {}, 0, "", "# net\n[Net]\nPort=80\nOld=1\nNew=0\nNew=2\n[Legacy]\nx=1\n"},
    EditCase{"QuotedWordsAndBlockApart", "a.cfg", kNet, "set Net.Motd 'it'\\''s  \"here\"'\nset 'x.y' k \"a b\"\n",
             {}, 0, "", "# net\n[Net]\nPort=80\nOld=1\nMotd=it's  \"here\"\n[Legacy]\nx=1\n[x.y]\nk=a b\n"},
    EditCase{"EntryOptions", "a.cfg", kNet, "set --type int Net.Port 0x10\nset Net.On --type=bool 1\n"
             "set -- Net.Neg -5\n", {}, 0, "", "# net\n[Net]\nPort=16\nOld=1\nOn=TRUE\nNeg=-5\n[Legacy]\nx=1\n"},
    EditCase{"CommentsBlanksAndJoinedLines", "a.cfg", kNet, "# ports\n\n   # more\nset Net.Port \\\n  81 # as sh\n",
             {}, 0, "", "# net\n[Net]\nPort=81\nOld=1\n[Legacy]\nx=1\n"},
    EditCase{"CrlfKept", "a.cfg", "[N]\r\nP=1\r\n", "set N.P 2\nset N.Q 3\n", {}, 0, "", "[N]\r\nP=2\r\nQ=3\r\n"},
    EditCase{"NormalisedOnce", "a.cfg", "[B]\nb=1\n\n[A]\na = 1\n", "set B.b 2\nset A.c 3\n", {"--normalise"}, 0,
             "", "[A]\na = 1\nc=3\n[B]\nb=2\n"},
    EditCase{"EmptyScript", "a.cfg", kNet, "# nothing\n\n", {}, 0, ""},
    EditCase{"MissingFileCreated", "n.cfg", kAbsent, "set A.b 1\nset A.c 2\n", {}, 0, "", "[A]\nb=1\nc=2\n"},
    EditCase{"MissingFileNotCreatedOnRefusal", "n.cfg", kAbsent, "set A.b 1\nunset A.c\n", {}, 2,
             "zelcfg: n.cfg: line 2: no key A.c\n"},
    EditCase{"UnsetOfMissingKeyRefusesAll", "a.cfg", kNet, "set Net.Port 1\n\nunset Net.Nope\n", {}, 2,
             "zelcfg: a.cfg: line 3: no key Net.Nope\n"},
    EditCase{"AmbiguousKeyRefusesAll", "g.cfg", kUnit, "set Unit.X 1\nset Unit.After c\n", {}, 2,
             "zelcfg: g.cfg: line 2: Unit.After names 2 entries (lines 2 and 3): --all sets every one, --index N "
             "the Nth, --add appends another\n"},
    EditCase{"ValueNotHoldable", "a.cfg", kNet, "set Net.Port 1\nset Net.Motd \"a\nb\"\n", {}, 2,
             "zelcfg: a.cfg: line 2: a value cannot hold a line feed\n"},
    EditCase{"NameNotHoldable", "a.cfg", kNet, "set Net.Port 1\nunset Net.#x\n", {}, 2,
             "zelcfg: a.cfg: line 2: an entry name cannot hold '=' or a line feed, nor begin with '#', ';' or '['; "
             "a value cannot hold a line feed\n"},
    EditCase{"MissingFileNotCreatedForAValue", "n.cfg", kAbsent, "set A.a 1\nset A.b \"x\ny\"\n", {}, 2,
             "zelcfg: n.cfg: line 2: a value cannot hold a line feed\n"},
    EditCase{"StrictLossyExitsTwo", "a.cfg", kNet, "set --strict --type float Net.F 1234567\n", {}, 2,
             "zelcfg: a.cfg: line 1: '1234567' is written as '1.23457e+06', which reads back as another float (the "
             "library's setters keep six significant digits)\n"},
    EditCase{"UsageErrorNamesItsLine", "a.cfg", kNet, "set Net.Port 1\nset Net.Port\n", {}, 2,
             "zelcfg: a.cfg: line 2: set takes 3 or 4 arguments, not 2\n"},
    EditCase{"WholeFileOptionRefused", "a.cfg", kNet, "set --in-place Net.Port 1\n", {}, 2,
             "zelcfg: a.cfg: line 1: --in-place concerns the whole file: give it to edit itself (zelcfg edit "
             "--in-place FILE)\n"},
    EditCase{"ModeOptionRefused", "a.cfg", kNet, "unset --ini Net.Old\n", {}, 2,
             "zelcfg: a.cfg: line 1: --ini concerns the whole file: give it to edit itself (zelcfg edit --ini "
             "FILE)\n"},
    EditCase{"OnlyEdits", "a.cfg", kNet, "set Net.Port 1\nget Net.Port\n", {}, 2,
             "zelcfg: a.cfg: line 2: 'get' is no edit: a script holds set, unset and remove-block commands\n"},
    EditCase{"QuoteLeftOpen", "a.cfg", kNet, "set Net.Port 1\nset Net.Motd 'a\n\n", {}, 2,
             "zelcfg: a.cfg: line 2: the quote ' opened here is not closed\n"},
    EditCase{"UnquotedOperator", "a.cfg", kNet, "set Net.Port 1;2\n", {}, 2,
             "zelcfg: a.cfg: line 1: ';' unquoted, which a shell reads as an operator: quote it\n"},
    EditCase{"NulWithoutZ", "a.cfg", kNet, "set Net.Port 1\nset\0Net.Port\0"s, {}, 2,
             "zelcfg: a.cfg: line 2: a NUL byte; a script of NUL-terminated words takes -z\n"},
    EditCase{"NullWordsUnquoted", "a.cfg", kNet, "set\0Net.Port\0'a b'\0\0\0unset\0Net.Old\0"s, {"-z"}, 0, "",
             "# net\n[Net]\nPort='a b'\n[Legacy]\nx=1\n"},
    EditCase{"NullCommandsNumbered", "a.cfg", kNet, "set\0Net.Port\0" "1\0\0unset\0Net.Nope\0\0"s, {"-z"}, 2,
             "zelcfg: a.cfg: command 2: no key Net.Nope\n"},
    EditCase{"NullLastWordUnended", "a.cfg", kNet, "set\0Net.Port\0" "1"s, {"--null"}, 2,
             "zelcfg: a.cfg: command 1: the last word has no NUL byte after it\n"}),
    RowName());

const std::string kService = "[Unit]\nAfter = a\nAfter = b\n\n[Service]\nExecStart = /bin/true\n";

INSTANTIATE_TEST_SUITE_P(Ini, EditTable, testing::Values(
    EditCase{"InTheFilesStyle", "u.service", kService, "set Service.User nobody\nset --add Unit.After c\n"
             "unset --index 1 Unit.After\n", {}, 0, "",
             "[Unit]\nAfter = b\nAfter = c\n\n[Service]\nExecStart = /bin/true\nUser = nobody\n"},
    EditCase{"QuotedLineFeedContinues", "u.service", kService, "set Service.ExecStart \"/bin/a\n/bin/b\"\n", {}, 0,
             "", "[Unit]\nAfter = a\nAfter = b\n\n[Service]\nExecStart = /bin/a\n\t/bin/b\n"},
    EditCase{"AboveTheFirstHeader", "s.conf", "x = 0\n[A]\nk: v\n", "set .y 1\nremove-block A\nset '' x 2\n", {},
             0, "", "x = 2\ny = 1\n"},
    EditCase{"AmbiguousRefusesAll", "u.service", kService, "set Service.User nobody\nset Unit.After c\n", {}, 2,
             "zelcfg: u.service: line 2: Unit.After names 2 entries (lines 2 and 3): --all sets every one, --index "
             "N the Nth, --add appends another\n"},
    EditCase{"CrlfKept", "c.conf", "[a]\r\nk = 1\r\n", "set a.k 2\nset a.j 3\n", {}, 0, "",
             "[a]\r\nk = 2\r\nj = 3\r\n"},
    EditCase{"ForcedByOption", "a.cfg", "[a]\nk = 1\n", "set a.k 2\n", {"--ini"}, 0, "", "[a]\nk = 2\n"},
    EditCase{"NormaliseRefused", "c.conf", "[a]\nk = 1\n", "set a.k 2\n", {"--normalise"}, 2,
             "zelcfg: c.conf: INI files have no normalised form: each keeps its own\n"}),
    RowName());

#ifdef ZELCONFIG_TEST_XML
const std::string kXml = "<c>\n  <Net Port=\"80\"><Host>h</Host></Net>\n  <If><mtu>1</mtu></If>\n"
                         "  <If><mtu>2</mtu></If>\n</c>\n";

INSTANTIATE_TEST_SUITE_P(Xml, EditTable, testing::Values(
    EditCase{"ElementsAndAttributes", "d.xml", kXml, "set Net.Host h2\nset --attribute If[2].speed 10\n"
             "unset Net.Port\nset --all If.mtu 9\n", {}, 0, "",
             "<c>\n  <Net><Host>h2</Host></Net>\n  <If><mtu>9</mtu></If>\n  <If speed=\"10\"><mtu>9</mtu></If>\n</c>\n"},
    EditCase{"LaterCommandsSeeEarlierOnes", "d.xml", kXml, "set Net.Mask 24\nset Net.Mask 16\n", {}, 0, "",
             "<c>\n  <Net Port=\"80\"><Host>h</Host>\n    <Mask>16</Mask>\n  </Net>\n  <If><mtu>1</mtu></If>\n"
             "  <If><mtu>2</mtu></If>\n</c>\n"},
    EditCase{"AmbiguousRefusesAll", "d.xml", kXml, "set Net.Host x\nset If.mtu 3\n", {}, 2,
             "zelcfg: d.xml: line 2: If.mtu names 2 elements, on lines 3 and 4; an index picks one, as in If[1].mtu, "
             "or --all sets every one\n"},
    EditCase{"RemoveBlockRefused", "d.xml", kXml, "set Net.Host x\nremove-block Net\n", {}, 2,
             "zelcfg: d.xml: line 2: remove-block works on CFG and INI files only; XML files take get, set, unset, "
             "edit, list, lint, diff and merge\n"},
    EditCase{"IndexRefused", "d.xml", kXml, "set --index 2 If.mtu 3\n", {}, 2,
             "zelcfg: d.xml: line 1: --index and --add work on CFG and INI files only; an XML key takes [N]\n"},
    EditCase{"MissingFileNotCreated", "n.xml", kAbsent, "set a.b 1\n", {}, 2,
             "zelcfg: n.xml: cannot be read: No such file or directory\n"}),
    RowName());
#endif

// The script's words, checked against /bin/sh itself: a row's script calls
// `w`, which prints its name, each of its arguments and an empty word, NUL-ended,
// as -z takes them; SplitScript must give the same words, and each command
// the line it starts on. Nothing in a row would expand (set -f: no globs).
struct SplitCase
{
    const char* name;
    std::string script;
    std::vector<size_t> lines;
};

using SplitTable = testing::TestWithParam<SplitCase>;

TEST_P(SplitTable, SplitsAsShDoes)
{
    const SplitCase& row = GetParam();
    TempDir dir;
    const std::string define = "set -f; w() { printf 'w\\0'; for a in \"$@\"; do printf '%s\\0' \"$a\"; done; printf '\\0'; }\n";
    const ToolResult sh = RunTool(dir.Path(), {"/bin/sh", "-c", define + row.script});
    ASSERT_EQ(sh.status, 0) << sh.err;
    std::vector<zelcfg::ScriptCommand> commands;
    std::string error, words;
    ASSERT_TRUE(zelcfg::SplitScript(row.script, commands, error)) << error;
    std::vector<size_t> lines;
    for (const zelcfg::ScriptCommand& command : commands) {
        for (const std::string& word : command.words) {
            words += word + '\0';
        }
        words += '\0';
        lines.push_back(command.line);
    }
    EXPECT_EQ(words, sh.out);
    EXPECT_EQ(lines, row.lines);
}

INSTANTIATE_TEST_SUITE_P(Sh, SplitTable, testing::Values(
    SplitCase{"Blanks", "w a  b\tc \nw\td\n", {1, 2}},
    SplitCase{"SingleQuotesKeepEveryByte", "w 'a \\ \" $x `y` * #' b\n", {1}},
    SplitCase{"DoubleQuotesEscapeFive", "w \"a\\$b \\` \\\" \\\\ \\n \\x 'c' #\"\n", {1}},
    SplitCase{"BackslashOutsideQuotes", "w a\\ b \\' \\\" \\\\ \\x \\#\n", {1}},
    SplitCase{"EmptyWords", "w '' \"\" a''b \"\"c\n", {1}},
    SplitCase{"QuotesAcrossLines", "w 'a\nb' \"c\nd\"\nw e\n", {1, 4}},
    SplitCase{"BackslashLineFeedJoins", "w a\\\nb c \\\n d \"x\\\ny\"\nw f\n", {1, 5}},
    SplitCase{"Comments", "# c\n  # d\nw a #b c\nw a#b '#'c\n\n\n", {3, 4}},
    SplitCase{"NoExpansions", "w * ?x [a] a~ a=b {x} !\n", {1}},
    SplitCase{"CarriageReturnIsAByte", "w a\r b\r\n", {1}},
    SplitCase{"CommandStartsAfterJoin", "\\\nw a\n", {2}},
    SplitCase{"NoLastLineFeed", "w a b", {1}}),
    RowName());

} // namespace
