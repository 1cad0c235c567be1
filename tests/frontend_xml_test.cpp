// The real XML plug-in through the front ends and zelcfg, on real files: key
// rules, statuses and log lines, saves that keep the layout, and the one
// document shared by CZelConfigParser. Run with the plug-in's directory on
// LD_LIBRARY_PATH.
#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "CZelConfigParser.h"
#include "CZelConfigReader.h"
#include "CZelConfigWriter.h"
#include "CaptureLog.h"
#include "RunTool.h"
#include "TestFiles.h"

namespace {

const std::string kDevice =
    "<?xml version=\"1.0\"?>\n<!-- device -->\n<Device version=\"2\">\n"
    "  <Net Host=\"10.0.0.1\" Mode='a&amp;b'>\n"
    "    <Port>80</Port>\n    <Name>x &lt; y &#65;</Name>\n    <Data><![CDATA[<raw> & ]]></Data>\n"
    "    <Mixed>a<!-- c -->b<![CDATA[c]]></Mixed>\n    <Empty/>\n    <Host>child first</Host>\n"
    "    <java.version vendor.name=\"v\">11</java.version>\n"
    "  </Net>\n  <Net><Port>81</Port></Net>\n  <Net Port=\"82\"/>\n</Device>\n";

struct LookupCase
{
    const char* name;
    std::string key;
    int status;
    std::string value, log;
};
using LookupTable = testing::TestWithParam<LookupCase>;

TEST_P(LookupTable, ReadsThroughTheReader)
{
    const LookupCase& row = GetParam();
    TempDir dir;
    CZelConfigReader reader(dir.Write("device.xml", kDevice));
    capture_log::Reset(1u << 9);
    std::string value;
    EXPECT_EQ(reader.GetString(row.key, value), row.status);
    EXPECT_EQ(value, row.value);
    EXPECT_EQ(reader.GetString(row.key), row.value);
    EXPECT_EQ(capture_log::Text(), row.log);
}

INSTANTIATE_TEST_SUITE_P(Keys, LookupTable, testing::Values(
    LookupCase{"ChildText", "Net.Port", 0, "80\n81\n82", ""},
    LookupCase{"ChildBeforeAttribute", "Net.Host", 0, "child first", ""},
    LookupCase{"AttributeEntityDecoded", "Net.Mode", 0, "a&b", ""},
    LookupCase{"TextEntitiesDecoded", "Net.Name", 0, "x < y A", ""},
    LookupCase{"Cdata", "Net.Data", 0, "<raw> & ", ""},
    LookupCase{"MixedTextJoined", "Net.Mixed", 0, "abc", ""},
    LookupCase{"EmptyElement", "Net.Empty", 0, "", ""},
    LookupCase{"RootAttribute", "version", 0, "2", ""},
    LookupCase{"RootNameIsNoPart", "Device.Net.Port", -2, "", ""},
    LookupCase{"CaseMatters", "Net.port", -2, "", ""},
    LookupCase{"EmptyPart", "Net..Port", -2, "", ""},
    LookupCase{"TooDeep", "Net.Port.x", -2, "", ""},
    LookupCase{"NulInKey", std::string("Net.Port\0x", 10), -2, "", ""},
    LookupCase{"EmptyKey", "", 7, "", "9 GetValue: Invalid Key\n"},
    // A name that holds dots is one quoted part; unquoted, its dots split.
    LookupCase{"DottedQuoted", "Net.\"java.version\"", 0, "11", ""},
    LookupCase{"DottedUnquoted", "Net.java.version", -2, "", ""},
    LookupCase{"DottedAttribute", "Net.\"java.version\".\"vendor.name\"", 0, "v", ""},
    LookupCase{"QuotedPlainName", "\"Net\".\"Port\"", 0, "80\n81\n82", ""},
    LookupCase{"QuoteUnclosed", "Net.\"java.version", -2, "", ""},
    LookupCase{"NoIndexInLibraryKeys", "Net.\"java.version\"[1]", -2, "", ""}),
    RowName());

struct LoadCase
{
    const char* name;
    std::string content; // "" with a directory of that name instead
    int status;
    std::string log;
};
using LoadTable = testing::TestWithParam<LoadCase>;

TEST_P(LoadTable, ReportsParseFailures)
{
    const LoadCase& row = GetParam();
    TempDir dir;
    const std::string path = dir.Path() + "/a.xml";
    if (row.content.empty()) {
        ASSERT_EQ(::mkdir(path.c_str(), 0700), 0);
    } else {
        dir.Write("a.xml", row.content);
    }
    CZelConfigReader reader;
    capture_log::Reset(1u << 9);
    EXPECT_EQ(reader.Parse(path), row.status);
    EXPECT_EQ(capture_log::Text(), row.log);
    std::string value;
    EXPECT_EQ(reader.GetString("a", value), EINVAL) << "no document after a failed parse";
}

INSTANTIATE_TEST_SUITE_P(Files, LoadTable, testing::Values(
    LoadCase{"Directory", "", -2, "9 ParseFile: Error Opening File: Is a directory\n"},
    LoadCase{"Mismatch", "<a><b></a>", -1, "9 ParseFile: XML error at byte 8: Start-end tags mismatch\n"},
    LoadCase{"NoRoot", "<!-- only -->", -1, "9 ParseFile: XML error at byte 12: No document element found\n"},
    LoadCase{"TwoRoots", "<a/><b/>", -1, "9 ParseFile: XML error at byte 5: Content outside the root element\n"},
    LoadCase{"UnquotedAttribute", "<a x=1/>", -1, "9 ParseFile: XML error at byte 5: Error parsing element attribute\n"},
    LoadCase{"Unclosed", "<a><b>", -1, "9 ParseFile: XML error at byte 5: Start-end tags mismatch\n"},
    LoadCase{"DeclaredEntity", "<!DOCTYPE a [<!--<!ENTITY-->\n<!ENTITY e 'v'>]><a><!--&e;--><b x='&amp;&e;'/></a>",
             -1, "9 ParseFile: XML error at byte 29: entity declarations in a DOCTYPE are not supported\n"},
    LoadCase{"UndeclaredEntity", "<!DOCTYPE a [<!ATTLIST a x CDATA '<!ENTITY'>]><a>&e;</a>", -1,
             "9 ParseFile: XML error at byte 49: Reference to an entity other than lt, gt, amp, apos, quot\n"},
    LoadCase{"Latin1", "<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE9</a>", -1,
             "9 ParseFile: XML error at byte 46: Text other than ASCII in a file declared in ISO-8859-1\n"},
    LoadCase{"CharacterXmlLacks", "<a>x&#0;</a>", -1,
             "9 ParseFile: XML error at byte 4: Character reference to no character XML allows\n"}),
    RowName());

struct SaveCase
{
    const char* name;
    std::string before, key, value;
    int status;
    std::string after;  // the file after Set and Save
    std::string reread = {}; // what the key reads after a reload, when not the value
};
using SaveTable = testing::TestWithParam<SaveCase>;

TEST_P(SaveTable, ReplacesOnlyTheChangedBytes)
{
    const SaveCase& row = GetParam();
    TempDir dir;
    const std::string path = dir.Write("a.xml", row.before);
    {
        CZelConfigParser parser(path);
        EXPECT_EQ(parser.Set(row.key, row.value), row.status);
        EXPECT_EQ(parser.Save(), 0);
    }
    EXPECT_EQ(ReadFile(path), row.after);
    if (row.status == 0) {
        EXPECT_EQ(CZelConfigReader(path).GetString(row.key), row.reread.empty() ? row.value : row.reread)
            << "reads back after a reload";
    }
}

const std::string kLayout = "\xEF\xBB\xBF<?xml version='1.0'?>\r\n<!DOCTYPE r>\r\n<r>\r\n"
                            "\t<a  x = 'q'\ty=\"&#34;\" >80</a><?pi?>\r\n</r>\r\n";

INSTANTIATE_TEST_SUITE_P(Layout, SaveTable, testing::Values(
    SaveCase{"NoChange", kLayout, "a", "80", 0, kLayout},
    SaveCase{"Text", kLayout, "a", "8080", 0,
             "\xEF\xBB\xBF<?xml version='1.0'?>\r\n<!DOCTYPE r>\r\n<r>\r\n"
             "\t<a  x = 'q'\ty=\"&#34;\" >8080</a><?pi?>\r\n</r>\r\n"},
    SaveCase{"AttributeKeepsQuote", kLayout, "a.x", "it's <\t", 0,
             "\xEF\xBB\xBF<?xml version='1.0'?>\r\n<!DOCTYPE r>\r\n<r>\r\n"
             "\t<a  x = 'it&apos;s &lt;&#9;'\ty=\"&#34;\" >80</a><?pi?>\r\n</r>\r\n"},
    SaveCase{"TextEscaped", "<r><a>1</a></r>", "a", "x&y<z>\r\nq", 0, "<r><a>x&amp;y&lt;z&gt;&#13;\nq</a></r>"},
    SaveCase{"EveryMatch", "<r><a>1</a><b/><a k='0'>2</a></r>", "a", "3", 0,
             "<r><a>3</a><b/><a k='0'>3</a></r>", "3\n3"},
    SaveCase{"SelfClosing", "<r><a k=\"v\" /></r>", "a", "1", 0, "<r><a k=\"v\" >1</a></r>"},
    SaveCase{"BlanksOnly", "<r><a> \n </a></r>", "a", "1", 0, "<r><a>1</a></r>"},
    SaveCase{"BlanksValue", "<r><a>1</a></r>", "a", "  ", 0, "<r><a>&#32; </a></r>"},
    SaveCase{"BeforeChildren", "<r><a>\n  <!--c--><b/>\n</a></r>", "a", "1", 0,
             "<r><a>1<!--c--><b/>\n</a></r>"},
    SaveCase{"MixedKeepsFirst", "<r><a>x<!--c-->y<b/>z</a></r>", "a", "1", 0, "<r><a>1<!--c--><b/></a></r>"},
    SaveCase{"CdataKept", "<r><a><![CDATA[old]]></a></r>", "a", "<n>", 0, "<r><a><![CDATA[<n>]]></a></r>"},
    SaveCase{"CdataEnd", "<r><a><![CDATA[old]]></a></r>", "a", "]]>", 0, "<r><a>]]&gt;</a></r>"},
    SaveCase{"CdataEndTakesBlanks", "<r><a>\n  <![CDATA[old]]>\n</a></r>", "a", "]]>", 0, "<r><a>]]&gt;</a></r>"},
    SaveCase{"InstructionOfTheSameName", "<r><?a x?><a/></r>", "a", "1", 0, "<r><?a x?><a>1</a></r>"},
    SaveCase{"MissingKeyAddsNothing", "<r><a>1</a></r>", "b", "1", -2, "<r><a>1</a></r>"},
    SaveCase{"NulRefused", "<r><a>1</a></r>", "a", std::string("x\0y", 3), 7, "<r><a>1</a></r>"},
    SaveCase{"AsciiOnlyInLatin1", "<?xml version='1.0' encoding='latin1'?><r><a/></r>", "a", "\xC3\xA9", 7,
             "<?xml version='1.0' encoding='latin1'?><r><a/></r>"},
    SaveCase{"ControlRefused", "<r><a>1</a></r>", "a", "x\x1By", 7, "<r><a>1</a></r>"}),
    RowName());

TEST(XmlParser, SharesOneDocumentAndFreesItOnce)
{
    TempDir dir;
    const std::string path = dir.Write("a.xml", "<r><a>1</a><b>2</b></r>\n");
    capture_log::Reset(1u << 9);
    {
        CZelConfigParser parser(path);
        EXPECT_EQ(parser.Set("a", 5), 0);
        EXPECT_EQ(parser.GetInt("a"), 5) << "the reader sees the writer's change";
        EXPECT_EQ(parser.Save(), 0);
        EXPECT_EQ(parser.Set("b", std::string("x")), 0);
        EXPECT_EQ(parser.Save(), 0) << "a second save starts from the first one's file";
        EXPECT_EQ(parser.Parse(path), 0) << "parse again: detached first, nothing freed twice";
        EXPECT_EQ(parser.GetString("b"), "x");
    }
    EXPECT_EQ(ReadFile(path), "<r><a>5</a><b>x</b></r>\n");
    EXPECT_EQ(capture_log::Text(), "9 SetDataPtr: Data Pointer not set in xml writer\n"
                                   "9 SetDataPtr: Data Pointer not set in xml writer\n");
}

TEST(XmlParser, WriterOutlivesOrRefusesTheReadersData)
{
    TempDir dir;
    const std::string path = dir.Write("a.xml", "<r><a>1</a></r>");
    {
        CZelConfigParser parser(path);
        // The reader side lets its document go; the writer side still has it.
        EXPECT_EQ(parser.CZelConfigReader::Parse(dir.Write("b.xml", "<r><a>2</a></r>")), 0);
        EXPECT_EQ(parser.Set("a", 3), 0);
        EXPECT_EQ(parser.Save(), 0);
        EXPECT_EQ(parser.GetInt("a"), 2);
    }
    EXPECT_EQ(ReadFile(path), "<r><a>3</a></r>");
    // Read through the CFG engine, written through the plug-in: the engine's
    // data is no XML document, and the writer side gets none.
    const std::string mixed = dir.Write("c.xml.inf", "a=1\n");
    capture_log::Reset(1u << 9);
    CZelConfigParser parser(mixed);
    EXPECT_EQ(parser.GetString("a"), "1");
    EXPECT_EQ(parser.Set("a", 2), 7);
    EXPECT_EQ(parser.Save(), EINVAL);
    EXPECT_EQ(capture_log::Text(), "9 SetDataPtr: Data Pointer is not an XML document\n");
    EXPECT_EQ(ReadFile(mixed), "a=1\n");
}

TEST(XmlWriter, SaveFailuresLeaveTheFile)
{
    TempDir dir;
    const std::string path = dir.Write("a.xml", "<r><a>1</a></r>");
    CZelConfigWriter created;
    EXPECT_EQ(created.Create(dir.Path() + "/new.xml"), 0);
    EXPECT_EQ(created.Set("a", 1), 7) << "nothing loaded";
    EXPECT_EQ(created.Save(), EINVAL);

    CZelConfigWriter writer(path);
    ASSERT_EQ(writer.Set("a", 2), 0);
    dir.Write("a.xml", "<r><a>9</a></r>"); // changed behind the writer's back
    capture_log::Reset(1u << 9);
    EXPECT_EQ(writer.Save(), -2);
    EXPECT_EQ(capture_log::Text(),
              "9 SaveData: Cannot save " + path + ": " + path + " changed since it was read; nothing was written\n");
    EXPECT_EQ(ReadFile(path), "<r><a>9</a></r>");
    ASSERT_EQ(::unlink(path.c_str()), 0);
    capture_log::Reset(1u << 9);
    EXPECT_EQ(writer.Save(), -2) << "a writer never creates the file";
    EXPECT_EQ(capture_log::Text(), "9 SaveData: Cannot save " + path + ": No such file or directory\n");
    EXPECT_NE(::access(path.c_str(), F_OK), 0);
}

// Rewritten behind the writer's back with every name at the same offset: only
// the tree's shape tells the files apart.
struct ChangedCase
{
    const char* name;
    std::string loaded, now;
};
using ChangedTable = testing::TestWithParam<ChangedCase>;

TEST_P(ChangedTable, SaveRefusesAnotherTree)
{
    const ChangedCase& row = GetParam();
    TempDir dir;
    const std::string path = dir.Write("a.xml", row.loaded);
    CZelConfigWriter writer(path);
    ASSERT_EQ(writer.Set("a.b", 1), 0);
    dir.Write("a.xml", row.now);
    capture_log::Reset(1u << 9);
    EXPECT_EQ(writer.Save(), -2);
    EXPECT_EQ(capture_log::Text(),
              "9 SaveData: Cannot save " + path + ": " + path + " changed since it was read; nothing was written\n");
    EXPECT_EQ(ReadFile(path), row.now);
}

INSTANTIATE_TEST_SUITE_P(SameOffsets, ChangedTable, testing::Values(
    ChangedCase{"SiblingBecameChild", "<r><a><b/></a><c/>    </r>", "<r><a><b/>    <c/></a></r>"},
    ChangedCase{"ChildBecameSibling", "<r><a><b/>    <c/></a></r>", "<r><a><b/></a><c/>    </r>"}),
    RowName());

// A member of the file's group saves, but cannot take root's file over.
TEST(XmlWriter, KeepsTheOwnerOrRefuses)
{
    TempDir dir;
    ASSERT_EQ(::chmod(dir.Path().c_str(), 0777), 0);
    const std::string asNobody = AsGroupMember(dir.Path(), ZELCFG_BINARY);
    if (asNobody.empty()) {
        GTEST_SKIP() << "needs root, and the tool in another user's reach";
    }
    const std::string path = dir.Write("a.xml", "<r><a>1</a></r>");
    ASSERT_EQ(::chown(path.c_str(), 0, 4) | ::chmod(path.c_str(), 0664), 0);
    EXPECT_EQ(RunTool(dir.Path(), {ZELCFG_BINARY, "set", "a.xml", "a", "2"}, asNobody).status, 2);
    EXPECT_EQ(ReadFile(path), "<r><a>1</a></r>");
}

struct ToolCase
{
    const char* name;
    std::vector<std::string> args; // after the program's name; the file is a.xml
    int status;
    std::string out, err, after;
    std::string input = {}; // standard input, when not empty
};
using ToolTable = testing::TestWithParam<ToolCase>;

const std::string kToolFile = "<c v=\"1\">\n  <Net Port=\"80\"><Host>h</Host><Host>i</Host></Net>\n</c>\n";

TEST_P(ToolTable, ZelcfgOnXml)
{
    const ToolCase& row = GetParam();
    TempDir dir;
    const std::string path = dir.Write("a.xml", kToolFile);
    std::vector<std::string> args{ZELCFG_BINARY};
    args.insert(args.end(), row.args.begin(), row.args.end());
    const std::string input = row.input.empty() ? "" : dir.Write("in", row.input);
    const ToolResult result = RunTool(dir.Path(), args, "", input.empty() ? "" : "<in");
    EXPECT_EQ(result.status, row.status);
    EXPECT_EQ(result.out, row.out);
    EXPECT_EQ(result.err, row.err);
    EXPECT_EQ(ReadFile(path), row.after.empty() ? kToolFile : row.after);
}

INSTANTIATE_TEST_SUITE_P(Zelcfg, ToolTable, testing::Values(
    ToolCase{"GetEveryMatch", {"get", "a.xml", "Net.Host"}, 0, "h\ni\n", "", ""},
    ToolCase{"GetTypedAttribute", {"get", "--type", "int", "a.xml", "Net.Port"}, 0, "80\n", "", ""},
    ToolCase{"GetMissing", {"get", "a.xml", "Net.X"}, 1, "", "zelcfg: a.xml: no key Net.X\n", ""},
    ToolCase{"List", {"list", "a.xml"}, 0, "v=1\nNet.Port=80\nNet.Host[1]=h\nNet.Host[2]=i\n", "", ""},
    ToolCase{"SetOfSeveralRefused", {"set", "a.xml", "Net.Host", "x"}, 2, "",
             "zelcfg: a.xml: Net.Host names 2 elements, on lines 2 and 2; an index picks one, as in Net.Host[1], or "
             "--all sets every one\n", ""},
    ToolCase{"SetEveryMatchWithAll", {"set", "--all", "a.xml", "Net.Host", "x"}, 0, "", "",
             "<c v=\"1\">\n  <Net Port=\"80\"><Host>x</Host><Host>x</Host></Net>\n</c>\n"},
    ToolCase{"SetTyped", {"set", "--type", "bool", "a.xml", "v", "1"}, 0, "", "",
             "<c v=\"TRUE\">\n  <Net Port=\"80\"><Host>h</Host><Host>i</Host></Net>\n</c>\n"},
    ToolCase{"NotForXml", {"blocks", "a.xml"}, 2, "",
             "zelcfg: a.xml: blocks works on CFG and INI files only; XML files take get, set, unset, edit, list and "
             "lint\n", ""},
    ToolCase{"BlockAndEntryApartArePathSteps", {"get", "-z", "a.xml", "Net", "Port"}, 0, std::string("80\0", 3), "",
             ""},
    ToolCase{"StrictReadsTheWholeValue", {"get", "--strict", "--type", "int", "a.xml", "Net.Host"}, 3, "",
             "zelcfg: a.xml: Net.Host: 'h\ni' holds no number: an int reads it as 0\n", ""},
    ToolCase{"AttributeForXmlOnly", {"set", "--attribute", "--block", "a.xml", "v", "1"}, 2, "",
             "zelcfg: a.xml: --attribute works on XML files only\n", ""},
    ToolCase{"ListNullKeyAndValue", {"list", "-z", "a.xml"}, 0,
             std::string("v\0" "1\0Net.Port\0" "80\0Net.Host[1]\0h\0Net.Host[2]\0i\0", 44), "", ""},
    ToolCase{"Lint", {"lint", "a.xml"}, 0, "", "", ""},
    ToolCase{"LintDiffForCfgOnly", {"lint", "--diff", "a.xml"}, 2, "",
             "zelcfg: a.xml: lint --diff works on CFG files only\n", ""},
    ToolCase{"StandardInputGet", {"--xml", "get", "-", "Net.Port"}, 0, "80\n", "", "", kToolFile},
    ToolCase{"StandardInputListNull", {"list", "--xml", "-z", "-"}, 0, std::string("v\0" "2\0", 4), "", "",
             "<c v='2'/>"},
    ToolCase{"StandardInputLint", {"lint", "--xml", "-"}, 2, "",
             "zelcfg: -: not well-formed XML at line 2, column 6: Start-end tags mismatch\n", "", "<c>\n<a></c>"},
    ToolCase{"StandardInputIsCfgWithoutXml", {"get", "-", "v"}, 2, "",
             "zelcfg: -: line 1: an entry stands above the first block header; it starts with '<': --xml reads it "
             "as XML\n", "", "<c v='2'/>"},
    ToolCase{"UnusedEntityDeclared", {"--xml", "get", "-", "k"}, 0, "1\n", "", "",
             "<!DOCTYPE c [<!ENTITY e 'x'>]><c><k>1</k></c>"},
    ToolCase{"XmlWhateverTheName", {"get", "--xml", "in", "k"}, 0, "2\n", "", "", "<c><k>2</k></c>"}),
    RowName());

// A file no XML command can load: each says why in the same words, and
// so does standard input under --xml.
struct FailureCase
{
    const char* name;
    std::string content; // "" no file, "/" a directory
    std::string err;     // after "zelcfg: b.xml: "
};
using FailureTable = testing::TestWithParam<FailureCase>;

TEST_P(FailureTable, EveryCommandSaysWhy)
{
    const FailureCase& row = GetParam();
    TempDir dir;
    const bool file = !row.content.empty() && row.content != "/";
    if (file) {
        dir.Write("b.xml", row.content);
    } else if (!row.content.empty()) {
        ASSERT_EQ(::mkdir((dir.Path() + "/b.xml").c_str(), 0700), 0);
    }
    const std::vector<std::vector<std::string>> commands = {
        {"get", "b.xml", "k"}, {"list", "b.xml"}, {"set", "b.xml", "k", "1"}, {"unset", "b.xml", "k"},
        {"lint", "b.xml"},
        {"--xml", "get", "-", "k"}, {"--xml", "list", "-"}, {"--xml", "lint", "-"}};
    for (const std::vector<std::string>& command : commands) {
        const bool input = command[0] == "--xml"; // standard input
        if (input && !file) {
            continue;
        }
        std::vector<std::string> args{ZELCFG_BINARY};
        args.insert(args.end(), command.begin(), command.end());
        const ToolResult result = RunTool(dir.Path(), args, "", input ? "<b.xml" : "");
        EXPECT_EQ(result.status, 2) << command[0] << ' ' << command[1];
        EXPECT_EQ(result.err, "zelcfg: " + std::string(input ? "-" : "b.xml") + ": " + row.err + "\n")
            << command[0] << ' ' << command[1];
    }
    if (file) {
        EXPECT_EQ(ReadFile(dir.Path() + "/b.xml"), row.content);
    }
}

INSTANTIATE_TEST_SUITE_P(Zelcfg, FailureTable, testing::Values(
    FailureCase{"Missing", "", "cannot be read: No such file or directory"},
    FailureCase{"Directory", "/", "cannot be read: Is a directory"},
    FailureCase{"CrLfLines", "<c>\r\n  <k>\r\n</c>\r\n",
                "not well-formed XML at line 3, column 3: Start-end tags mismatch"},
    FailureCase{"MultiByteCharacters", "\xEF\xBB\xBF<c>\n<k>h\xC3\xA9\xE2\x82\xAC</x></c>",
                "not well-formed XML at line 2, column 9: Start-end tags mismatch"},
    FailureCase{"EntityDeclared", "<!DOCTYPE c [<!ENTITY vendor \"x\">]>\n<c><k>&vendor;</k></c>",
                "line 1, column 14: entity declarations in a DOCTYPE are not supported"},
    FailureCase{"Latin1", "<?xml version='1.0' encoding='ISO-8859-1'?>\n<c>\xE9</c>",
                "line 2, column 4: Text other than ASCII in a file declared in ISO-8859-1"}),
    RowName());

// zelcfg under a memory limit its file does not fit in, for both back ends:
// a message and exit 2, never an uncaught std::bad_alloc (134). The file is a
// sparse 1 GiB of NUL bytes, so that it costs no disk.
struct MemoryCase
{
    const char* name;
    std::vector<std::string> args; // after the program's name; the file is big.cfg or big.xml
    std::string err;
};
using MemoryTable = testing::TestWithParam<MemoryCase>;

// Sanitizers and emulators reserve more address space than any limit here.
bool AddressSpaceLimitWorks()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
    return false;
#endif
#endif
    return !ZELCONFIG_CROSSCOMPILING;
}

TEST_P(MemoryTable, OutOfMemoryIsAStatus)
{
    if (!AddressSpaceLimitWorks()) {
        GTEST_SKIP() << "an address-space limit cannot be set under a sanitizer or an emulator";
    }
    const MemoryCase& row = GetParam();
    TempDir dir;
    std::vector<std::string> args{ZELCFG_BINARY};
    args.insert(args.end(), row.args.begin(), row.args.end());
    const ToolResult result =
        RunTool(dir.Path(), args, "truncate -s 1G big.cfg big.xml && ulimit -v 262144 && ");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, row.err);
}

INSTANTIATE_TEST_SUITE_P(Zelcfg, MemoryTable, testing::Values(
    MemoryCase{"CfgGet", {"get", "big.cfg", "a.b"}, "zelcfg: big.cfg: out of memory\n"},
    MemoryCase{"CfgList", {"list", "big.cfg"}, "zelcfg: big.cfg: out of memory\n"},
    MemoryCase{"CfgSet", {"set", "big.cfg", "a.b", "1"}, "zelcfg: big.cfg: out of memory\n"},
    MemoryCase{"CfgLint", {"lint", "big.cfg"}, "zelcfg: big.cfg: out of memory\n"},
    MemoryCase{"XmlGet", {"get", "big.xml", "a"}, "zelcfg: big.xml: out of memory\n"},
    MemoryCase{"XmlList", {"list", "big.xml"}, "zelcfg: big.xml: out of memory\n"},
    MemoryCase{"XmlSet", {"set", "big.xml", "a", "1"}, "zelcfg: big.xml: out of memory\n"},
    MemoryCase{"XmlLint", {"lint", "big.xml"}, "zelcfg: big.xml: out of memory\n"}),
    RowName());

} // namespace
