// zelcfg's edits of XML files, on real files: one element among several by
// its index, elements and attributes added and removed. Each row runs in
// four layouts (LF and CR LF line ends, indented with spaces and with tabs)
// and checks the whole file after it: the bytes of the change, and that every
// other byte stayed. Then the tree's own edits by node, which a merge makes.
#include <functional>
#include <map>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "RunTool.h"
#include "TestFiles.h"
#include "XmlDocument.h"

namespace {

const std::string kDevice = "<?xml version=\"1.0\"?>\n"
                            "<Config>\n"
                            "  <!-- network -->\n"
                            "  <Net mode='auto'>\n"
                            "    <Interface id=\"1\">\n"
                            "      <Name>eth0</Name>\n"
                            "    </Interface>\n"
                            "    <!-- second port -->\n"
                            "    <Interface id=\"2\">\n"
                            "      <Name>eth1</Name>\n"
                            "    </Interface>\n"
                            "  </Net>\n"
                            "  <Log/>\n"
                            "  <Empty>\n"
                            "  </Empty>\n"
                            "</Config>\n";

// Children on their parent's line, and a comment after the last one.
const std::string kInline = "<c>\n"
                            "  <Net Port=\"80\"><Host>h</Host><Host>i</Host></Net>\n"
                            "  <Dns>a</Dns> <!-- primary -->\n"
                            "</c>\n";

// Element and attribute names that hold dots, as in a build's properties,
// and repeated elements.
const std::string kDotted = "<project>\n"
                            "  <properties>\n"
                            "    <maven.compiler.source>1.6</maven.compiler.source>\n"
                            "    <a.b x.y=\"7\">t</a.b>\n"
                            "    <a.b>u</a.b>\n"
                            "  </properties>\n"
                            "  <includes>\n"
                            "    <include>a</include>\n"
                            "    <include>b</include>\n"
                            "    <include>c</include>\n"
                            "  </includes>\n"
                            "</project>\n";

// The parser reads no further than a NUL byte.
const std::string kNul("<c><a>1</a></c>\0\n", 17);

struct EditCase
{
    const char* name;
    const std::string& file; // a.xml before
    std::vector<std::string> args; // after the program's name
    int status;
    std::string from, to; // the change: the first `from` becomes `to` ("" "": none)
    std::string out = {}, err = {};
};

struct Layout
{
    const char* name;
    bool crlf, tabs;
};

// Failures name the row, not its bytes.
void PrintTo(const EditCase& row, std::ostream* os)
{
    *os << row.name;
}
void PrintTo(const Layout& layout, std::ostream* os)
{
    *os << layout.name;
}

// The text in a layout: CR LF line ends; each two spaces of indentation a tab.
std::string InLayout(const std::string& text, const Layout& layout)
{
    std::string out;
    bool lineStart = true;
    for (size_t i = 0; i < text.size(); ++i) {
        if (layout.tabs && lineStart && text.compare(i, 2, "  ") == 0) {
            out += '\t';
            ++i;
            continue;
        }
        lineStart = text[i] == '\n';
        out += lineStart && layout.crlf ? "\r\n" : std::string(1, text[i]);
    }
    return out;
}

using EditTable = testing::TestWithParam<std::tuple<EditCase, Layout>>;

TEST_P(EditTable, ChangesOnlyTheBytesOfTheEdit)
{
    const EditCase& row = std::get<0>(GetParam());
    const Layout& layout = std::get<1>(GetParam());
    std::string after = row.file;
    if (!row.from.empty()) {
        const size_t at = after.find(row.from);
        ASSERT_NE(at, std::string::npos) << "the row's change is not in its file";
        after.replace(at, row.from.size(), row.to);
    }
    TempDir dir;
    const std::string path = dir.Write("a.xml", InLayout(row.file, layout));
    std::vector<std::string> args{ZELCFG_BINARY};
    args.insert(args.end(), row.args.begin(), row.args.end());
    const ToolResult result = RunTool(dir.Path(), args);
    EXPECT_EQ(result.status, row.status);
    EXPECT_EQ(result.out, row.out);
    EXPECT_EQ(result.err, row.err);
    EXPECT_EQ(ReadFile(path), InLayout(after, layout));
}

const Layout kLayouts[] = {{"Lf", false, false}, {"CrLf", true, false}, {"LfTabs", false, true},
                           {"CrLfTabs", true, true}};

INSTANTIATE_TEST_SUITE_P(Zelcfg, EditTable, testing::Combine(testing::Values(
    // An index picks one element among its same-named siblings.
    EditCase{"IndexGet", kDevice, {"get", "a.xml", "Net.Interface[2].Name"}, 0, "", "", "eth1\n"},
    EditCase{"IndexGetAttribute", kDevice, {"get", "a.xml", "Net.Interface[1].id"}, 0, "", "", "1\n"},
    EditCase{"IndexSet", kDevice, {"set", "a.xml", "Net.Interface[2].Name", "eth9"}, 0,
             "<Name>eth1</Name>", "<Name>eth9</Name>"},
    EditCase{"IndexZeroRefused", kDevice, {"get", "a.xml", "Net.Interface[0].Name"}, 2, "", "", "",
             "zelcfg: a.xml: an index is [N] with N from 1, at the end of a part: Net.Interface[0].Name\n"},
    // New elements go after the last element child, indented as it is.
    EditCase{"AddAfterLastChild", kDevice, {"set", "a.xml", "Net.Interface[1].Mtu", "1500"}, 0,
             "<Name>eth0</Name>\n", "<Name>eth0</Name>\n      <Mtu>1500</Mtu>\n"},
    EditCase{"AddNested", kDevice, {"set", "a.xml", "Net.Route.Via", "a<b"}, 0, "    </Interface>\n  </Net>",
             "    </Interface>\n    <Route>\n      <Via>a&lt;b</Via>\n    </Route>\n  </Net>"},
    EditCase{"AddNextIndex", kDevice, {"set", "a.xml", "Net.Interface[3].Name", "eth2"}, 0,
             "    </Interface>\n  </Net>", "    </Interface>\n    <Interface>\n      <Name>eth2</Name>\n"
                                          "    </Interface>\n  </Net>"},
    EditCase{"AddToSelfClosing", kDevice, {"set", "a.xml", "Log.Level", "debug"}, 0, "  <Log/>\n",
             "  <Log>\n    <Level>debug</Level>\n  </Log>\n"},
    EditCase{"AddToEmptyParent", kDevice, {"set", "a.xml", "Empty.A", ""}, 0, "  <Empty>\n  </Empty>",
             "  <Empty>\n    <A/>\n  </Empty>"},
    EditCase{"AddAfterTrailingComment", kInline, {"set", "a.xml", "Ntp", "b"}, 0, "<!-- primary -->\n",
             "<!-- primary -->\n  <Ntp>b</Ntp>\n"},
    EditCase{"AddBesideInlineChildren", kInline, {"set", "a.xml", "Net.Mtu", "9"}, 0, "<Host>i</Host></Net>",
             "<Host>i</Host>\n    <Mtu>9</Mtu>\n  </Net>"},
    EditCase{"AddSeveralParentsRefused", kDevice, {"set", "a.xml", "Net.Interface.Mtu", "1"}, 2, "", "", "",
             "zelcfg: a.xml: Net.Interface names 2 elements; an index, as in Net.Interface[1], picks the one "
             "to add to\n"},
    EditCase{"AddSkippedIndexRefused", kDevice, {"set", "a.xml", "Net.Interface[4].Name", "x"}, 2, "", "", "",
             "zelcfg: a.xml: Net.Interface[4].Name: Net has 2 Interface elements; the next is [3]\n"},
    EditCase{"AddIntoTextRefused", kDevice, {"set", "a.xml", "Net.Interface[1].Name.X", "1"}, 2, "", "", "",
             "zelcfg: a.xml: Net.Interface[1].Name holds text, which a new element beside it would join\n"},
    EditCase{"AddNoNameRefused", kDevice, {"set", "a.xml", "Net.1x", "1"}, 2, "", "", "",
             "zelcfg: a.xml: 1x is no XML name\n"},
    // Attributes: added after the last one, in its quotes, or changed.
    EditCase{"AttributeAddDoubleQuotes", kDevice, {"set", "--attribute", "a.xml", "Net.Interface[2].speed", "1\"0"},
             0, "<Interface id=\"2\">", "<Interface id=\"2\" speed=\"1&quot;0\">"},
    EditCase{"AttributeAddSingleQuotes", kDevice, {"set", "--attribute", "a.xml", "Net.vlan", "3"}, 0,
             "<Net mode='auto'>", "<Net mode='auto' vlan='3'>"},
    EditCase{"AttributeAddFirst", kDevice, {"set", "--attribute", "a.xml", "Log.level", "2"}, 0, "<Log/>",
             "<Log level=\"2\"/>"},
    EditCase{"AttributeChange", kDevice, {"set", "--attribute", "a.xml", "Net.Interface[1].id", "5"}, 0,
             "<Interface id=\"1\">", "<Interface id=\"5\">"},
    EditCase{"AttributeWithNewElement", kDevice, {"set", "--attribute", "a.xml", "Log.File.path", "/x"}, 0,
             "  <Log/>\n", "  <Log>\n    <File path=\"/x\"/>\n  </Log>\n"},
    // Removals: an element with its line when alone on it, else its bytes.
    EditCase{"RemoveElementKeepsCommentAbove", kDevice, {"unset", "a.xml", "Net.Interface[2]"}, 0,
             "    <Interface id=\"2\">\n      <Name>eth1</Name>\n    </Interface>\n", ""},
    EditCase{"RemoveSeveralRefused", kDevice, {"unset", "a.xml", "Net", "Interface"}, 2, "", "", "",
             "zelcfg: a.xml: Net.Interface names 2 elements, on lines 5 and 9; an index picks one, as in "
             "Net.Interface[1], or --all removes every one\n"},
    EditCase{"RemoveSeveralAttributesRefused", kDevice, {"unset", "a.xml", "Net.Interface.id"}, 2, "", "", "",
             "zelcfg: a.xml: Net.Interface.id names 2 attributes, on lines 5 and 9; an index picks one, as in "
             "Net.Interface[1].id, or --all removes every one\n"},
    EditCase{"RemoveThreeRefused", kDotted, {"unset", "a.xml", "includes.include"}, 2, "", "", "",
             "zelcfg: a.xml: includes.include names 3 elements, on lines 8, 9 and 10; an index picks one, as in "
             "includes.include[1], or --all removes every one\n"},
    EditCase{"RemoveAllThree", kDotted, {"unset", "--all", "a.xml", "includes.include"}, 0,
             "    <include>a</include>\n    <include>b</include>\n    <include>c</include>\n", ""},
    EditCase{"RemoveAllKeepsCommentBetween", kDevice, {"unset", "a.xml", "Net.Interface", "--all"}, 0,
             "    <Interface id=\"1\">\n      <Name>eth0</Name>\n    </Interface>\n    <!-- second port -->\n"
             "    <Interface id=\"2\">\n      <Name>eth1</Name>\n    </Interface>\n",
             "    <!-- second port -->\n"},
    EditCase{"RemoveAllAttributes", kDevice, {"unset", "--all", "a.xml", "Net.Interface.id"}, 0,
             "<Interface id=\"1\">\n      <Name>eth0</Name>\n    </Interface>\n    <!-- second port -->\n"
             "    <Interface id=\"2\">",
             "<Interface>\n      <Name>eth0</Name>\n    </Interface>\n    <!-- second port -->\n    <Interface>"},
    EditCase{"RemoveAllOfOne", kDevice, {"unset", "--all", "a.xml", "Log"}, 0, "  <Log/>\n", ""},
    EditCase{"RemoveAllMissing", kDotted, {"unset", "--all", "a.xml", "includes.exclude"}, 1, "", "", "",
             "zelcfg: a.xml: no key includes.exclude\n"},
    EditCase{"RemoveOneOfThree", kDotted, {"unset", "a.xml", "includes.include[3]"}, 0,
             "    <include>c</include>\n", ""},
    // A name that holds dots is quoted; its dots unquoted would name other elements.
    EditCase{"DottedGet", kDotted, {"get", "a.xml", "properties.\"maven.compiler.source\""}, 0, "", "", "1.6\n"},
    EditCase{"DottedGetIndexed", kDotted, {"get", "a.xml", "properties.\"a.b\"[2]"}, 0, "", "", "u\n"},
    EditCase{"DottedGetAttribute", kDotted, {"get", "a.xml", "properties.\"a.b\"[1].\"x.y\""}, 0, "", "", "7\n"},
    EditCase{"DottedGetUnquotedHint", kDotted, {"get", "a.xml", "properties.maven.compiler.source"}, 1, "", "", "",
             "zelcfg: a.xml: no key properties.maven.compiler.source; properties.\"maven.compiler.source\" names "
             "what is there: a name that holds dots is quoted\n"},
    EditCase{"DottedSet", kDotted, {"set", "a.xml", "properties.\"maven.compiler.source\"", "11"}, 0,
             "<maven.compiler.source>1.6<", "<maven.compiler.source>11<"},
    EditCase{"DottedSetUnquotedRefused", kDotted, {"set", "a.xml", "properties.maven.compiler.source", "11"}, 2, "",
             "", "",
             "zelcfg: a.xml: properties.maven.compiler.source names no element here, but "
             "properties.\"maven.compiler.source\" names what is there: a name that holds dots is quoted\n"},
    EditCase{"DottedAddBelowRefused", kDotted, {"set", "a.xml", "properties.a.b.c", "1"}, 2, "", "", "",
             "zelcfg: a.xml: properties.a.b.c names no element here, but properties.\"a.b\".c names what is "
             "there: a name that holds dots is quoted\n"},
    EditCase{"DottedAttributeSetRefused", kDotted, {"set", "--attribute", "a.xml", "properties.a.b.c.id", "1"}, 2,
             "", "", "",
             "zelcfg: a.xml: properties.a.b.c.id names no element here, but properties.\"a.b\".c.id names what "
             "is there: a name that holds dots is quoted\n"},
    EditCase{"DottedAddQuoted", kDotted, {"set", "a.xml", "properties.\"java.version\"", "17"}, 0,
             "    <a.b>u</a.b>\n", "    <a.b>u</a.b>\n    <java.version>17</java.version>\n"},
    EditCase{"DottedUnset", kDotted, {"unset", "a.xml", "properties.\"a.b\"[1].\"x.y\""}, 0, " x.y=\"7\"", ""},
    EditCase{"DottedUnsetUnquotedRefused", kDotted, {"unset", "a.xml", "properties.maven.compiler.source"}, 2, "",
             "", "",
             "zelcfg: a.xml: properties.maven.compiler.source names no element here, but "
             "properties.\"maven.compiler.source\" names what is there: a name that holds dots is quoted\n"},
    EditCase{"DottedList", kDotted, {"list", "a.xml"}, 0, "", "",
             "properties.\"maven.compiler.source\"=1.6\nproperties.\"a.b\"[1]=t\n"
             "properties.\"a.b\"[1].\"x.y\"=7\nproperties.\"a.b\"[2]=u\nincludes.include[1]=a\n"
             "includes.include[2]=b\nincludes.include[3]=c\n"},
    EditCase{"QuoteUnclosedRefused", kDotted, {"get", "a.xml", "properties.\"a.b"}, 2, "", "", "",
             "zelcfg: a.xml: a quoted part ends with a '\"': properties.\"a.b\n"},
    EditCase{"QuoteInsidePartRefused", kDotted, {"get", "a.xml", "properties.a\"b\""}, 2, "", "", "",
             "zelcfg: a.xml: a quote opens a part, and closes it before a '.': properties.a\"b\"\n"},
    EditCase{"RemoveSelfClosing", kDevice, {"unset", "a.xml", "Log"}, 0, "  <Log/>\n", ""},
    EditCase{"RemoveInline", kInline, {"unset", "a.xml", "Net.Host[1]"}, 0, "<Host>h</Host>", ""},
    EditCase{"RemoveAttributeSingleQuotes", kDevice, {"unset", "a.xml", "Net.mode"}, 0, " mode='auto'", ""},
    EditCase{"RemoveAttributeDoubleQuotes", kDevice, {"unset", "a.xml", "Net.Interface[2].id"}, 0, " id=\"2\"", ""},
    EditCase{"NulByteRefused", kNul, {"set", "a.xml", "b", "1"}, 2, "", "", "",
             "zelcfg: a.xml: byte 15 is a NUL, where the XML ends; markup cannot be added or removed\n"},
    EditCase{"RemoveMissing", kDevice, {"unset", "a.xml", "Net.X"}, 1, "", "", "", "zelcfg: a.xml: no key Net.X\n"}),
    testing::ValuesIn(kLayouts)),
    [](const testing::TestParamInfo<EditTable::ParamType>& row) {
        return std::string(std::get<0>(row.param).name) + "_" + std::get<1>(row.param).name;
    });

// The tree's edits by node, as a merge makes them: any number recorded,
// then one render, which must change exactly the bytes of the edits.
using Tree = zelconfig::xml::XmlDocument;
using Nodes = std::map<std::string, Tree::Node>; // every element and attribute by its key

struct NodeEditRow
{
    const char* name;
    std::string file;
    std::function<int(Tree&, const Nodes&, std::string&)> edit; // 0 when every edit was recorded
    std::string rendered;
};

void PrintTo(const NodeEditRow& row, std::ostream* os)
{
    *os << row.name;
}

using NodeEdits = testing::TestWithParam<NodeEditRow>;

TEST_P(NodeEdits, RenderOnce)
{
    const NodeEditRow& row = GetParam();
    Tree tree;
    zelconfig::xml::XmlError error;
    ASSERT_EQ(tree.LoadBuffer(row.file.data(), row.file.size(), error), 0) << error.description;
    tree.SetKeyStyle(zelconfig::xml::KeyStyle::kIndexed);
    Nodes nodes;
    tree.ForEachNode([&nodes](const std::string& key, const std::string*, Tree::Node node) { nodes[key] = node; });
    std::string why, out;
    ASSERT_EQ(row.edit(tree, nodes, why), 0) << why;
    ASSERT_TRUE(tree.Render(row.file, out));
    EXPECT_EQ(out, row.rendered);
}

// A piece as another file, indented by two spaces, has it.
Tree::Piece TwoSpaced(std::string text, std::string indent = "  ")
{
    return Tree::Piece{std::move(text), std::move(indent), "  "};
}

const std::string kNodes = "<c>\n"
                           "\t<a x='1'>1</a>\n"
                           "\t<!-- about b -->\n"
                           "\t<b>2</b>\n"
                           "\t<log/>\n"
                           "</c>\n";

INSTANTIATE_TEST_SUITE_P(Tree, NodeEdits, testing::Values(
    NodeEditRow{"SetRemoveAndInsertAtOnce", kNodes, [](Tree& tree, const Nodes& nodes, std::string& why) {
                    return tree.SetNode(nodes.at("a"), "9") + tree.RemoveNode(nodes.at("b"), true, why)
                           + tree.Insert(nodes.at("a"), Tree::Where::kAfter, {TwoSpaced("<n>\n    <m/>\n  </n>")}, why);
                },
                "<c>\n\t<a x='1'>9</a>\n\t<n>\n\t\t<m/>\n\t</n>\n\t<log/>\n</c>\n"},
    NodeEditRow{"InsertBeforeGoesAboveTheComments", kNodes, [](Tree& tree, const Nodes& nodes, std::string& why) {
                    return tree.Insert(nodes.at("b"), Tree::Where::kBefore, {TwoSpaced("<n/>"), TwoSpaced("<o/>")}, why);
                },
                "<c>\n\t<a x='1'>1</a>\n\t<n/>\n\t<o/>\n\t<!-- about b -->\n\t<b>2</b>\n\t<log/>\n</c>\n"},
    NodeEditRow{"InsertIntoSelfClosingWithAnAttribute", kNodes, [](Tree& tree, const Nodes& nodes, std::string& why) {
                    return tree.InsertAttribute(nodes.at("log"), Tree::Node{}, true, "on", "1", why)
                           + tree.Insert(nodes.at("log"), Tree::Where::kInto, {TwoSpaced("<n/>"), TwoSpaced("<o/>")}, why);
                },
                "<c>\n\t<a x='1'>1</a>\n\t<!-- about b -->\n\t<b>2</b>\n\t<log on=\"1\">\n\t\t<n/>\n\t\t<o/>\n\t</log>\n</c>\n"},
    NodeEditRow{"ValuesKeepTheirBlanks", kNodes, [](Tree& tree, const Nodes& nodes, std::string& why) {
                    return tree.Insert(nodes.at("b"), Tree::Where::kAfter,
                                       {TwoSpaced("<n v='a\n    b'>\n    <t>x\n    y</t>\n    <![CDATA[>\n    <]]>\n  </n>")},
                                       why);
                },
                "<c>\n\t<a x='1'>1</a>\n\t<!-- about b -->\n\t<b>2</b>\n\t<n v='a\n    b'>\n\t\t<t>x\n    y</t>\n"
                "\t\t<![CDATA[>\n    <]]>\n\t</n>\n\t<log/>\n</c>\n"},
    NodeEditRow{"AttributesBesideTheirNeighbour", kNodes, [](Tree& tree, const Nodes& nodes, std::string& why) {
                    return tree.InsertAttribute(nodes.at("a"), nodes.at("a.x"), true, "y", "2", why)
                           + tree.InsertAttribute(nodes.at("a"), nodes.at("a.x"), false, "w", "0", why);
                },
                "<c>\n\t<a w='0' x='1' y='2'>1</a>\n\t<!-- about b -->\n\t<b>2</b>\n\t<log/>\n</c>\n"},
    NodeEditRow{"DiscardForgetsEveryEdit", kNodes, [](Tree& tree, const Nodes& nodes, std::string& why) {
                    const int status = tree.SetNode(nodes.at("a"), "9") + tree.RemoveNode(nodes.at("b"), false, why);
                    tree.Discard();
                    return status;
                },
                kNodes}));

// A piece of a file: the element with the comments directly above it, and
// without what is cut out of it.
TEST(NodeEdits, PieceOfTakesTheCommentsAboveAndLeavesOutWhatIsCut)
{
    const std::string text = "<c>\n  <!-- far -->\n\n  <!-- near -->\n  <r k=\"1\" j=\"2\">\n    <a>1</a>\n"
                             "    <b>2</b>\n  </r>\n</c>\n";
    Tree tree;
    zelconfig::xml::XmlError error;
    ASSERT_EQ(tree.LoadBuffer(text.data(), text.size(), error), 0);
    Nodes nodes;
    tree.ForEachNode([&nodes](const std::string& key, const std::string*, Tree::Node node) { nodes[key] = node; });
    Tree::Piece piece;
    ASSERT_TRUE(tree.PieceOf(text, nodes.at("r"), {nodes.at("r.a"), nodes.at("r.j")}, piece));
    EXPECT_EQ(piece.text, "<!-- near -->\n  <r k=\"1\">\n    <b>2</b>\n  </r>");
    EXPECT_EQ(piece.indent, "  ");
    EXPECT_EQ(piece.step, "  ");
}

} // namespace
