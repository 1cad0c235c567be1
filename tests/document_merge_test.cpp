// Merging new defaults into a user's file, and comparing readings: each row
// "these three files become that one", in CFG, INI and XML, with the
// conflicts listed; all or nothing, byte for byte.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ZelConfigMerge.h"

namespace {

using zelconfig::Document;

struct MergeRow
{
    const char* name;
    std::string old, updated, file;
    std::string merged;    // the file afterwards; "" for "as it was"
    std::string conflicts; // "KEY: yours A, new B, old C" lines
    int status = 0;
};

std::string Listed(const std::vector<zelconfig::Conflict>& conflicts)
{
    std::string text;
    for (const zelconfig::Conflict& conflict : conflicts) {
        text += conflict.key + ": yours " + conflict.yours + ", new " + conflict.updated
                + (conflict.inOld ? ", old " + conflict.old : std::string()) + "\n";
    }
    return text;
}

// The text with CR LF line ends.
std::string Crlf(std::string text)
{
    for (size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 2)) {
        text.replace(at, 1, "\r\n");
    }
    return text;
}

template <class Doc>
void CheckMerge(const MergeRow& row, Doc old, Doc updated, Doc file)
{
    ASSERT_EQ(old.Parse(row.old), 0);
    ASSERT_EQ(updated.Parse(row.updated), 0);
    ASSERT_EQ(file.Parse(row.file), 0);
    std::vector<zelconfig::Conflict> conflicts;
    EXPECT_EQ(zelconfig::Merge(old, updated, file, conflicts), row.status) << file.Error();
    const std::string expected = row.merged.empty() ? row.file : row.merged;
    EXPECT_EQ(std::string(file.Text()), expected);
    EXPECT_EQ(file.Changed(), expected != row.file);
    EXPECT_EQ(Listed(conflicts), row.conflicts);
    // What was merged reads as the new defaults wherever the user agreed
    // with the old ones: merging again changes nothing more.
    if (row.status == 0) {
        Doc again = std::move(file);
        ASSERT_EQ(again.Parse(expected), 0);
        std::vector<zelconfig::Conflict> more;
        EXPECT_EQ(zelconfig::Merge(old, updated, again, more), 0);
        EXPECT_EQ(std::string(again.Text()), expected) << "a second merge changed more";
    }
}

using CfgMerge = testing::TestWithParam<MergeRow>;

TEST_P(CfgMerge, BecomesTheMergedFile)
{
    CheckMerge(GetParam(), Document(), Document(), Document());
}

// In LF and CR LF alike.
TEST_P(CfgMerge, KeepsCrlfLineEnds)
{
    MergeRow row = GetParam();
    row.old = Crlf(row.old);
    row.updated = Crlf(row.updated);
    row.file = Crlf(row.file);
    row.merged = Crlf(row.merged);
    CheckMerge(row, Document(), Document(), Document());
}

INSTANTIATE_TEST_SUITE_P(Cfg, CfgMerge, testing::Values(
    MergeRow{"UnchangedValueFollowsNew", "[Net]\nPort=80\n", "[Net]\nPort=8080\n", "# mine\n[Net]\nPort=80\n",
             "# mine\n[Net]\nPort=8080\n", ""},
    MergeRow{"ChangedValueStays", "[Net]\nPort=80\nHost=a\n", "[Net]\nPort=80\nHost=b\n", "[Net]\nPort=81\nHost=a\n",
             "[Net]\nPort=81\nHost=b\n", ""},
    MergeRow{"AddedKeyWithItsCommentAfterItsNeighbour", "[Net]\nPort=80\nHost=a\n",
             "[Net]\nPort=80\n# how long to wait\nTimeout=5\nHost=a\n", "[Net]\nHost=a\nPort=80\n",
             "[Net]\nHost=a\nPort=80\n# how long to wait\nTimeout=5\n", ""},
    MergeRow{"AddedFirstKeyBeforeItsNeighbourAndItsComments", "[Net]\nPort=80\n", "[Net]\nMode=x\nPort=80\n",
             "[Net]\n# the port\nPort=80\n", "[Net]\nMode=x\n# the port\nPort=80\n", ""},
    MergeRow{"RemovedKeyGoesWithItsComments", "[Net]\n# old\nOld=1\nPort=80\n", "[Net]\nPort=80\n",
             "[Net]\n# old\nOld=1\nPort=80\n", "[Net]\nPort=80\n", ""},
    MergeRow{"RemovedButChangedKeyStays", "[Net]\nOld=1\nPort=80\n", "[Net]\nPort=80\n", "[Net]\nOld=2\nPort=80\n",
             "", ""},
    MergeRow{"UserAddedKeyStays", "[Net]\nPort=80\n", "[Net]\nPort=81\n", "[Net]\nPort=80\nMine=1\n",
             "[Net]\nPort=81\nMine=1\n", ""},
    MergeRow{"UserRemovedKeyStaysRemoved", "[Net]\nPort=80\nHost=a\n", "[Net]\nPort=80\nHost=b\n",
             "[Net]\nPort=80\n", "", ""},
    MergeRow{"ConflictKeepsYours", "[Net]\nPort=80\n", "[Net]\nPort=8080\n", "[Net]\nPort=81\n", "",
             "Net.Port: yours 81, new 8080, old 80\n"},
    MergeRow{"BothAddedOtherwise", "[Net]\n", "[Net]\nMode=a\n", "[Net]\nMode=b\n", "", "Net.Mode: yours b, new a\n"},
    MergeRow{"RepeatedKeysOneByOne", "[U]\nAfter=a\nAfter=b\n", "[U]\nAfter=a\nAfter=c\nAfter=d\n",
             "[U]\nAfter=a\nAfter=b\n", "[U]\nAfter=a\nAfter=c\nAfter=d\n", ""},
    MergeRow{"ReorderedBlocksChangeNothing", "[A]\nk=1\n[B]\nj=2\n", "[B]\nj=2\n\n# moved\n[A]\nk=1\n",
             "[A]\nk=1\n[B]\nj=2\n", "", ""},
    MergeRow{"NewBlockWithItsCommentsAfterTheLast", "[A]\nk=1\n\n[B]\nj=2\n",
             "[A]\nk=1\n\n# the new one\n[C]\nx=1\ny=2\n\n[B]\nj=2\n", "[A]\nk=1\n\n[B]\nj=2\n",
             "[A]\nk=1\n\n[B]\nj=2\n\n# the new one\n[C]\nx=1\ny=2\n", ""},
    MergeRow{"RemovedBlockGoesWhole", "[A]\nk=1\n\n# legacy\n[B]\nj=1\n\n[C]\nq=1\n", "[A]\nk=1\n\n[C]\nq=1\n",
             "[A]\nk=1\n\n# legacy\n[B]\nj=1\n\n[C]\nq=1\n", "[A]\nk=1\n\n[C]\nq=1\n", ""},
    MergeRow{"RemovedLastBlockTakesItsParting", "[A]\nk=1\n\n[B]\nj=1\n", "[A]\nk=1\n", "[A]\nk=1\n\n[B]\nj=1\n",
             "[A]\nk=1\n", ""},
    MergeRow{"BlockTheNewDefaultsKeepEmptyStays", "[A]\nk=1\n[B]\nj=1\n", "[A]\nk=1\n[B]\n",
             "[A]\nk=1\n[B]\nj=1\n", "[A]\nk=1\n[B]\n", ""},
    MergeRow{"RemovedBlockWithTheUsersKeyStays", "[A]\nk=1\n[B]\nj=1\n", "[A]\nk=1\n", "[A]\nk=1\n[B]\nj=1\nm=2\n",
             "[A]\nk=1\n[B]\nm=2\n", ""},
    MergeRow{"RemovedBlockWithARepeatedHeaderKeepsIt", "[A]\nk=1\n[B]\nj=1\n", "[A]\nk=1\n",
             "[A]\nk=1\n[B]\nj=1\n[B]\nx=2\n", "[A]\nk=1\n[B]\n[B]\nx=2\n", ""},
    MergeRow{"NewBlockAfterTheLinesOfARepeatedHeader", "[A]\n[A]\nk=1\n", "[A]\n[A]\nk=1\n[B]\nj=2\n",
             "[A]\n[A]\nk=1\n", "[A]\n[A]\nk=1\n[B]\nj=2\n", ""},
    MergeRow{"KeyAddedToABlockTheUserRemovedStaysOut", "[A]\nk=1\n[B]\nj=1\n", "[A]\nk=1\n[B]\nj=1\nx=2\n",
             "[A]\nk=1\n", "", ""},
    MergeRow{"KeyAddedToABlockTheUserEmptied", "[A]\nk=1\n", "[A]\nk=1\nj=2\n", "[A]\n# none\n",
             "[A]\nj=2\n# none\n", ""},
    // Comments are read only in the blocks about the edits: these are far
    // from the first, and a new block's header has its own.
    MergeRow{"EditsInLaterBlocksTakeTheirComments", "[A]\na=1\n[B]\nb=1\n[C]\n# the old one\nold=1\nc=1\n[D]\nd=1\n",
             "[A]\na=1\n[B]\nb=1\n[C]\nc=1\n# how long\nt=5\n[D]\n# first now\nf=0\nd=1\n# the new block\n[E]\ne=1\n",
             "[A]\na=1\n[B]\nb=1\n[C]\n# the old one\nold=1\nc=1\n[D]\n# mine\nd=1\n",
             "[A]\na=1\n[B]\nb=1\n[C]\nc=1\n# how long\nt=5\n[D]\n# first now\nf=0\n# mine\nd=1\n# the new block\n[E]\ne=1\n",
             ""}));

using IniMerge = testing::TestWithParam<MergeRow>;

TEST_P(IniMerge, BecomesTheMergedFile)
{
    CheckMerge(GetParam(), Document(Document::Mode::kIni), Document(Document::Mode::kIni),
               Document(Document::Mode::kIni));
}

INSTANTIATE_TEST_SUITE_P(Ini, IniMerge, testing::Values(
    MergeRow{"UnchangedValueFollowsNewInTheFilesSpacing", "[net]\nport = 80\n", "[net]\nport=8080\n",
             "[net]\nport  :  80\n", "[net]\nport  :  8080\n", ""},
    MergeRow{"ChangedValueStays", "[net]\nport = 80\n", "[net]\nport = 80\nhost = b\n", "[net]\nport = 81\n",
             "[net]\nport = 81\nhost = b\n", ""},
    MergeRow{"AddedKeyWithCommentInTheFilesStyle", "[s]\na = 1\nb = 2\n", "[s]\na=1\n; new\nc=3\nb=2\n",
             "[s]\n  a: 1\n  b: 2\n", "[s]\n  a: 1\n; new\n  c: 3\n  b: 2\n", ""},
    MergeRow{"MultiLineValueFollowsNew", "[t]\ncmd =\n  a\n", "[t]\ncmd =\n  a\n  b\n", "[t]\ncmd =\n    a\nx = 1\n",
             "[t]\ncmd =\n    a\n    b\nx = 1\n", ""},
    MergeRow{"RemovedKeyWithContinuations", "[t]\nold = a\n  b\nk = 1\n", "[t]\nk = 1\n",
             "[t]\nold = a\n  b\nk = 1\n", "[t]\nk = 1\n", ""},
    MergeRow{"Conflict", "[a]\nk = 1\n", "[a]\nk = 2\n", "[a]\nk = 3\n", "", "a.k: yours 3, new 2, old 1\n"},
    MergeRow{"EntriesAboveTheFirstHeader", "top = 1\n[a]\nk = 1\n", "top = 2\nnew = 1\n[a]\nk = 1\n",
             "top = 1\n[a]\nk = 1\n", "top = 2\nnew = 1\n[a]\nk = 1\n", ""},
    MergeRow{"RepeatedSectionsMatchedInOrder", "[a]\nk = 1\n[a]\nk = 2\n", "[a]\nk = 1\n[a]\nk = 3\n",
             "[a]\nk = 1\n\n[a]\nk = 2\n", "[a]\nk = 1\n\n[a]\nk = 3\n", ""},
    MergeRow{"NewSectionPartedAsTheFileParts", "[a]\nk = 1\n", "[a]\nk = 1\n[b]\nj = 2\n",
             "[a]\nk = 1\n\n\n[c]\nx = 1\n", "[a]\nk = 1\n\n\n[c]\nx = 1\n\n\n[b]\nj = 2\n", ""},
    MergeRow{"SectionTheNewDefaultsKeepEmptyStays", "[a]\nk = 1\n  more\n[a]\n", "[a]\n[a]\n",
             "[a]\nk = 1\n  more\n[a]\n", "[a]\n[a]\n", ""},
    MergeRow{"RemovedSectionsGoWhole", "[a]\nk = 1\n[b]\nj = 2\n[a]\nm = 3\n", "[b]\nj = 2\n",
             "[a]\nk = 1\n# b's\n[b]\nj = 2\n\n[a]\nm = 3\n", "# b's\n[b]\nj = 2\n", ""},
    MergeRow{"SetKeepsCommentsAmongContinuationLines", "[s]\nk = a\n; c\n  b\nj = 1\n", "[s]\nk = a\n  z\nj = 1\n",
             "[s]\nk = a\n; c\n  b\nj = 1\n", "[s]\nk = a\n; c\n  z\nj = 1\n", ""},
    MergeRow{"OnlyRespacedChangesNothing", "[a]\nk = 1\nj = 2\n", "[a]\nj=2\n\nk :1\n", "[a]\nk = 1\nj = 2\n",
             "", ""},
    // The last line, without a line feed, goes and two come after the one
    // above it: the file still ends without one, in its own line ends.
    MergeRow{"LastLineReplacedKeepsNoFinalLineFeed", "[a]\nk = 1\nj = 2", "[a]\nk = 1\nx = 3\ny = 4",
             "[a]\nk = 1\nj = 2", "[a]\nk = 1\nx = 3\ny = 4", ""},
    MergeRow{"LastLineReplacedKeepsCrlf", "[a]\r\nk = 1\r\nj = 2", "[a]\r\nk = 1\r\nx = 3\r\ny = 4",
             "[a]\r\nk = 1\r\nj = 2", "[a]\r\nk = 1\r\nx = 3\r\ny = 4", ""},
    MergeRow{"AddedAfterTheLastLineKeepsCrlf", "[a]\r\nk = 1", "[a]\r\nk = 1\r\nx = 3\r\ny = 4",
             "[a]\r\nk = 1", "[a]\r\nk = 1\r\nx = 3\r\ny = 4", ""},
    MergeRow{"EditsInLaterSectionsTakeTheirComments",
             "[a]\nk = 1\n[b]\nj = 2\n[c]\n; old note\nold = x\n  y\nm = 3\n[d]\nn = 4\n",
             "[a]\nk = 1\n[b]\nj = 2\n[c]\nm = 3\n; added\np = 5\n[d]\n; first\nq = 0\nn = 4\n; a new section\n[e]\nz = 1\n",
             "[a]\nk = 1\n[b]\nj = 2\n[c]\n; old note\nold = x\n; among\n  y\nm = 3\n[d]\n; mine\nn = 4\n",
             "[a]\nk = 1\n[b]\nj = 2\n[c]\nm = 3\n; added\np = 5\n[d]\n; first\nq = 0\n; mine\nn = 4\n; a new section\n[e]\nz = 1\n",
             ""}));

using XmlMerge = testing::TestWithParam<MergeRow>;

TEST_P(XmlMerge, BecomesTheMergedFile)
{
    CheckMerge(GetParam(), zelconfig::XmlDocument(), zelconfig::XmlDocument(), zelconfig::XmlDocument());
}

INSTANTIATE_TEST_SUITE_P(Xml, XmlMerge, testing::Values(
    MergeRow{"UnchangedValueFollowsNew", "<c><port>80</port></c>", "<c><port>8080</port></c>",
             "<c>\n  <!-- mine -->\n  <port>80</port>\n</c>\n", "<c>\n  <!-- mine -->\n  <port>8080</port>\n</c>\n", ""},
    MergeRow{"ChangedValueStays", "<c><port>80</port><host>a</host></c>", "<c><port>80</port><host>b</host></c>",
             "<c><port>81</port><host>a</host></c>", "<c><port>81</port><host>b</host></c>", ""},
    MergeRow{"AddedElementIndentedAsItsSiblings", "<c>\n  <port>80</port>\n</c>\n",
             "<c>\n  <port>80</port>\n  <timeout>5</timeout>\n</c>\n", "<c>\n    <port>81</port>\n</c>\n",
             "<c>\n    <port>81</port>\n    <timeout>5</timeout>\n</c>\n", ""},
    MergeRow{"AddedAttribute", "<c><if name=\"eth0\"/></c>", "<c><if name=\"eth0\" mtu=\"1500\"/></c>",
             "<c><if name='eth0'/></c>", "<c><if name='eth0' mtu='1500'/></c>", ""},
    MergeRow{"RemovedElement", "<c>\n  <old>1</old>\n  <port>80</port>\n</c>\n", "<c>\n  <port>80</port>\n</c>\n",
             "<c>\n  <old>1</old>\n  <port>80</port>\n</c>\n", "<c>\n  <port>80</port>\n</c>\n", ""},
    MergeRow{"RemovedButChangedStays", "<c><old>1</old></c>", "<c></c>", "<c><old>2</old></c>", "", ""},
    MergeRow{"UserAddedStays", "<c><port>80</port></c>", "<c><port>81</port></c>",
             "<c><port>80</port><mine>1</mine></c>", "<c><port>81</port><mine>1</mine></c>", ""},
    MergeRow{"Conflict", "<c><port>80</port></c>", "<c><port>8080</port></c>", "<c><port>81</port></c>", "",
             "port: yours 81, new 8080, old 80\n"},
    MergeRow{"RepeatedElementsByIndex", "<c><s>a</s><s>b</s></c>", "<c><s>a</s><s>c</s><s>d</s></c>",
             "<c><s>a</s><s>b</s></c>", "<c><s>a</s><s>c</s><s>d</s></c>", ""},
    MergeRow{"OnlyRespacedChangesNothing", "<c><a>1</a><b x=\"2\"/></c>", "<c>\n <b x='2' />\n <a>1</a>\n</c>",
             "<c><a>1</a><b x=\"2\"/></c>", "", ""},
    // What NEW adds goes beside the neighbour it has there, with the
    // comments directly above it, indented as FILE indents.
    MergeRow{"AddedAfterItsNeighbourWithItsComments", "<c>\n  <a>1</a>\n  <b>2</b>\n</c>\n",
             "<c>\n  <a>1</a>\n  <!-- not this one -->\n\n  <!-- seconds -->\n  <!-- to wait -->\n  <t>5</t>\n"
             "  <b>2</b>\n</c>\n",
             "<c>\n\t<b>2</b>\n\t<a>1</a> <!-- mine -->\n</c>\n",
             "<c>\n\t<b>2</b>\n\t<a>1</a> <!-- mine -->\n\t<!-- seconds -->\n\t<!-- to wait -->\n\t<t>5</t>\n</c>\n", ""},
    MergeRow{"AddedFirstGoesBeforeItsNeighbourAndItsComments", "<c>\n  <a>1</a>\n</c>",
             "<c>\n  <m>x</m>\n  <a>1</a>\n</c>", "<c>\n    <!-- about a -->\n    <a>1</a>\n</c>",
             "<c>\n    <m>x</m>\n    <!-- about a -->\n    <a>1</a>\n</c>", ""},
    MergeRow{"ContainersAreNeighboursToo", "<c><g><x>1</x></g><h><y>2</y></h></c>",
             "<c><g><x>1</x></g><n>3</n><h><y>2</y></h></c>", "<c><h><y>2</y></h><g><x>1</x></g></c>",
             "<c><h><y>2</y></h><g><x>1</x></g><n>3</n></c>", ""},
    MergeRow{"AddedWithoutNeighboursAtTheParentsEnd", "<c>\n  <g>\n    <x>1</x>\n  </g>\n</c>\n",
             "<c>\n  <g>\n    <x>1</x>\n    <y>2</y>\n  </g>\n</c>\n",
             "<c>\n  <g>\n    <mine>0</mine>\n  </g>\n</c>\n",
             "<c>\n  <g>\n    <mine>0</mine>\n    <y>2</y>\n  </g>\n</c>\n", ""},
    MergeRow{"NewSubtreeInOnePieceReindented", "<c>\n  <a>1</a>\n</c>\n",
             "<c>\n  <a>1</a>\n  <!-- how to get there -->\n  <route kind=\"static\">\n    <via>x</via>\n"
             "    <metric>\n      <hops>2</hops>\n    </metric>\n  </route>\n</c>\n",
             "<c>\n\t<a>2</a>\n</c>\n",
             "<c>\n\t<a>2</a>\n\t<!-- how to get there -->\n\t<route kind=\"static\">\n\t\t<via>x</via>\n"
             "\t\t<metric>\n\t\t\t<hops>2</hops>\n\t\t</metric>\n\t</route>\n</c>\n", ""},
    MergeRow{"NewSubtreeIntoAnUnindentedFile", "<c><a>1</a></c>", "<c>\n  <a>1</a>\n  <r>\n    <v>x</v>\n  </r>\n</c>",
             "<c><a>1</a></c>\n", "<c><a>1</a><r>\n  <v>x</v>\n</r></c>\n", ""},
    MergeRow{"NothingAddedToAnElementTheUserRemoved", "<c>\n  <r>\n    <a>1</a>\n  </r>\n</c>\n",
             "<c>\n  <r>\n    <a>1</a>\n    <b>2</b>\n  </r>\n</c>\n", "<c>\n</c>\n", "", ""},
    MergeRow{"AttributeAfterItsNeighbour", "<c><if name=\"a\" speed=\"2\"/></c>",
             "<c><if name=\"a\" mtu=\"1500\" speed=\"2\"/></c>", "<c><if speed='2' name='a'/></c>",
             "<c><if speed='2' name='a' mtu='1500'/></c>", ""},
    MergeRow{"AttributeBeforeItsNeighbour", "<c><if name=\"a\"/></c>", "<c><if mtu=\"1\" name=\"a\"/></c>",
             "<c><if name='a'>x</if></c>", "<c><if mtu='1' name='a'>x</if></c>", ""},
    MergeRow{"AttributeAndChildOfOneElement", "<c>\n  <if/>\n</c>", "<c>\n  <if on=\"1\">\n    <mtu>9</mtu>\n  </if>\n</c>",
             "<c>\n  <if/>\n</c>", "<c>\n  <if on=\"1\">\n    <mtu>9</mtu>\n  </if>\n</c>", ""},
    MergeRow{"RemovedWithItsAttributes", "<c>\n  <if name=\"a\"/>\n  <if name=\"b\"><m>1</m></if>\n</c>\n",
             "<c>\n  <if name=\"a\"/>\n</c>\n", "<c>\n  <if name=\"a\"/>\n  <if name=\"b\"><m>1</m></if>\n</c>\n",
             "<c>\n  <if name=\"a\"/>\n</c>\n", ""},
    MergeRow{"EmptiedElementKeepsWhatTheUserChanged", "<c>\n  <g>\n    <a>1</a>\n    <b>2</b>\n  </g>\n</c>\n",
             "<c>\n  <g/>\n</c>\n", "<c>\n  <g>\n    <a>5</a>\n    <b>2</b>\n  </g>\n</c>\n",
             "<c>\n  <g>\n    <a>5</a>\n  </g>\n</c>\n", ""},
    MergeRow{"ElementGivenTextKeepsWhatTheUserChanged", "<c>\n  <g>\n    <a>1</a>\n  </g>\n</c>\n",
             "<c>\n  <g>9</g>\n</c>\n", "<c>\n  <g>\n    <a>5</a>\n  </g>\n</c>\n", "", ""},
    MergeRow{"EmptiedElementEmptied", "<c>\n  <g k=\"1\">\n    <a>1</a>\n  </g>\n</c>\n", "<c>\n  <g k=\"1\"/>\n</c>\n",
             "<c>\n  <g k=\"1\">\n    <a>1</a>\n  </g>\n</c>\n", "<c>\n  <g k=\"1\">\n  </g>\n</c>\n", ""},
    MergeRow{"NothingAddedInWhatTheUserRemoved", "<c><a>1</a><if>x</if></c>", "<c><a>2</a><if on=\"1\">x</if></c>",
             "<c><a>1</a></c>", "<c><a>2</a></c>", ""},
    MergeRow{"RemovedWithItsComments", "<c>\n  <a>1</a>\n  <!-- going -->\n  <old>1</old>\n</c>\n",
             "<c>\n  <a>1</a>\n</c>\n", "<c>\n  <a>1</a>\n  <!-- going -->\n  <old>1</old>\n</c>\n",
             "<c>\n  <a>1</a>\n</c>\n", ""},
    MergeRow{"ManyEditsOnce", "<c><a>1</a><b>2</b><c>3</c><d>4</d></c>", "<c><a>5</a><n>0</n><c>7</c><d>4</d></c>",
             "<c><a>1</a><b>2</b><c>9</c><d>4</d></c>", "<c><a>5</a><n>0</n><c>9</c><d>4</d></c>",
             "c: yours 9, new 7, old 3\n"}));

// In CR LF too, whatever line ends NEW has.
TEST_P(XmlMerge, KeepsCrlfLineEnds)
{
    MergeRow row = GetParam();
    row.file = Crlf(row.file);
    row.merged = Crlf(row.merged);
    CheckMerge(row, zelconfig::XmlDocument(), zelconfig::XmlDocument(), zelconfig::XmlDocument());
}

struct CompareRow
{
    const char* name;
    std::string first, second;
    std::string differences; // "-KEY=VALUE" and "+KEY=VALUE" lines
};

std::string Listed(const std::vector<zelconfig::Difference>& differences)
{
    std::string text;
    for (const zelconfig::Difference& difference : differences) {
        text += difference.inFirst ? "-" + difference.key + "=" + difference.first + "\n" : "";
        text += difference.inSecond ? "+" + difference.key + "=" + difference.second + "\n" : "";
    }
    return text;
}

using CfgCompare = testing::TestWithParam<CompareRow>;

TEST_P(CfgCompare, ListsWhatDiffers)
{
    const CompareRow& row = GetParam();
    Document first, second;
    ASSERT_EQ(first.Parse(row.first), 0);
    ASSERT_EQ(second.Parse(row.second), 0);
    EXPECT_EQ(Listed(zelconfig::Compare(first, second)), row.differences);
}

INSTANTIATE_TEST_SUITE_P(Cfg, CfgCompare, testing::Values(
    CompareRow{"LayoutAndLineEndsAreNoDifference", "[a]\nk=1\n# c\n[b]\nj=2\n", "[b]\r\nj=2\r\n\r\n[a]\r\nk=1\r\n", ""},
    CompareRow{"InTheSecondsOrderRemovedWhereTheyStood", "[a]\nx=0\nk=1\ny=9\nj=2\n", "[a]\nj=3\nk=1\nn=4\n",
               "-a.x=0\n-a.j=2\n+a.j=3\n-a.y=9\n+a.n=4\n"},
    CompareRow{"RepeatedKeysOneByOne", "[u]\nA=a\nA=b\n", "[u]\nA=a\nA=c\nA=d\n", "-u.A=b\n+u.A=c\n+u.A=d\n"},
    CompareRow{"DottedBlocksShownAsListShowsThem", "[a.b]\nk=1\n", "[a.b]\nk=2\n", "-[a.b]k=1\n+[a.b]k=2\n"}));

} // namespace
