// zelconfig::Document in the INI dialect: what it reads (checked against the
// reference reading too), each edit as "this text becomes that" in LF and in
// CR LF, with the edit's promise checked on the result, and what lint says.
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "IniPromise.h"
#include "TestFiles.h"
#include "ZelConfigDocument.h"

namespace {

using docpromise::Op;
using zelconfig::Document;

constexpr int kAmbiguous = zelconfig::kEditAmbiguous;

// The entries as "[block]key=value" lines.
std::string Shown(const Document& document)
{
    std::string shown;
    for (const Document::Entry& entry : document.Entries(Document::Order::kFile)) {
        shown += "[" + entry.block + "]" + entry.name + "=" + entry.value + "\n";
    }
    return shown;
}

struct ReadRow
{
    const char* name;
    std::string text;
    std::string entries; // as Shown gives them
};

using ReadTable = testing::TestWithParam<ReadRow>;

TEST_P(ReadTable, ReadsAsOrdinaryIniReaders)
{
    const ReadRow& row = GetParam();
    Document document(Document::Mode::kIni);
    ASSERT_EQ(document.Parse(row.text), 0);
    EXPECT_EQ(Shown(document), row.entries);
    EXPECT_EQ(inipromise::CheckReads(row.text), "");
}

INSTANTIATE_TEST_SUITE_P(Ini, ReadTable, testing::Values(
    ReadRow{"BlanksAroundNamesAndBothDelimiters", "[a]\nk = v\nj: w\n  i=x\nl :m\n", "[a]k=v\n[a]j=w\ni=x\n[a]l=m\n"},
    ReadRow{"CommentsAfterBlanks", "# c\n[a]\n  ; c2\nk=v\n", "[a]k=v\n"},
    ReadRow{"ContinuationLinesJoined", "[t]\ncommands =\n    pytest\n\n    flake8\n# no part\n\nnext = 1\n",
            "[t]commands=\npytest\n\nflake8\n[t]next=1\n"},
    ReadRow{"CommentBetweenContinuationsSkipped", "[a]\nk = one\n# c\n  two\n", "[a]k=one\ntwo\n"},
    ReadRow{"EntriesAboveTheFirstHeader", "top = 1\n[a]\nk=v\n", "[]top=1\n[a]k=v\n"},
    ReadRow{"ByteOrderMarkSkipped", "\xEF\xBB\xBF[a]\nk=v\n", "[a]k=v\n"},
    ReadRow{"CrlfLines", "[a]\r\nk = v \r\n  w\r\n", "[a]k=v\nw\n"},
    ReadRow{"HeadersIndentedOrFollowedByText", "  [a]  \n k=1\n[b] ; note\nj=2\n[c]d]\nx=3\n",
            "[a]k=1\n[b]j=2\n[c]d]x=3\n"},
    ReadRow{"RepeatedNamesAllKept", "[a]\nk=1\n[b]\nj=2\n[a]\nk=3\n", "[a]k=1\n[b]j=2\n[a]k=3\n"},
    ReadRow{"LinesThatAreNoEntryIgnored", "[a]\nnot an entry\n=nameless\n[]\nk=v\n", "[a]k=v\n"},
    ReadRow{"FirstDelimiterSplits", "[a]\nurl: http://x=1\nk=a:b\n", "[a]url=http://x=1\n[a]k=a:b\n"},
    ReadRow{"IndentedKeysUnderAHeader", "[a]\n  k = 1\n  j = 2\n    more\n", "[a]k=1\n[a]j=2\nmore\n"},
    ReadRow{"DefaultIsAnOrdinarySection", "[DEFAULT]\nk=1\n[a]\nj=2\n", "[DEFAULT]k=1\n[a]j=2\n"},
    ReadRow{"EmptyValues", "[a]\nk =\nj=\n", "[a]k=\n[a]j=\n"}),
    RowName());

struct EditRow
{
    const char* name;
    std::string input;
    Op op;
    std::string key, value;
    int status;
    std::string output;
    size_t index = 1;
};

// Every row in LF, and again with each line feed of the file a CR LF.
using EditTable = testing::TestWithParam<std::tuple<EditRow, bool>>;

std::string Crlf(const std::string& text)
{
    std::string out;
    for (char c : text) {
        out += c == '\n' ? std::string("\r\n") : std::string(1, c);
    }
    return out;
}

TEST_P(EditTable, BecomesExactlyThis)
{
    const EditRow& row = std::get<0>(GetParam());
    const bool crlf = std::get<1>(GetParam());
    const std::string input = crlf ? Crlf(row.input) : row.input;
    docpromise::Outcome outcome;
    EXPECT_EQ(inipromise::CheckEdit(input, {row.op, row.key, row.value, row.index}, outcome), "");
    EXPECT_EQ(outcome.status, row.status);
    EXPECT_EQ(outcome.text, crlf ? Crlf(row.output) : row.output);
}

std::string EditRowName(const testing::TestParamInfo<std::tuple<EditRow, bool>>& info)
{
    return std::string(std::get<0>(info.param).name) + (std::get<1>(info.param) ? "Crlf" : "Lf");
}

const std::string kPhp = "[PHP]\nmemory_limit = 128M\nshort: 1\n";
const std::string kTox = "[t]\ncommands =\n    pytest\n\n    flake8\nnext = 1\n\n\n[u]\nx = 1\n";

const EditRow kSets[] = {
    {"KeepsSpacing", kPhp, Op::kSet, "PHP.memory_limit", "256M", 0, "[PHP]\nmemory_limit = 256M\nshort: 1\n"},
    {"KeepsDelimiter", kPhp, Op::kSet, "PHP.short", "2", 0, "[PHP]\nmemory_limit = 128M\nshort: 2\n"},
    {"EmptyValueGetsTheSpacing", "[a]\nk =\nj = 1\n", Op::kSet, "a.k", "v", 0, "[a]\nk = v\nj = 1\n"},
    {"LinesIndentedAsTheFilesContinuations", kTox, Op::kSet, "t.next", "x\ny", 0,
     "[t]\ncommands =\n    pytest\n\n    flake8\nnext = x\n    y\n\n\n[u]\nx = 1\n"},
    {"TabWhereNoContinuationIs", "[a]\nk = v\n", Op::kSet, "a.k", "x\n\ny", 0, "[a]\nk = x\n\n\ty\n"},
    // Comments among the value's lines stay above the line they stood above.
    {"CommentsAmongTheLinesStay", "[s]\nk = a\n; c\n  b\n# d\n  e\nj = 1\n", Op::kSet, "s.k", "x\ny", 0,
     "[s]\nk = x\n; c\n  y\n# d\nj = 1\n"},
    {"CommentsKeptBelowAOneLineValue", "[s]\nk = a\n  b\n# c\n  d\nj = 1\n", Op::kSet, "s.k", "x", 0,
     "[s]\nk = x\n# c\nj = 1\n"},
    {"OneLineOverSeveral", kTox, Op::kSet, "t.commands", "tox", 0,
     "[t]\ncommands = tox\nnext = 1\n\n\n[u]\nx = 1\n"},
    {"EntryAboveTheFirstHeader", "a = 1\n[s]\nb = 2\n", Op::kSet, ".a", "3", 0, "a = 3\n[s]\nb = 2\n"},
    {"ByteOrderMarkKept", "\xEF\xBB\xBFk = 1\n", Op::kSet, ".k", "2", 0, "\xEF\xBB\xBFk = 2\n"},
    {"NoFinalLineFeedKept", "[a]\nk = 1", Op::kSet, "a.k", "2\n3", 0, "[a]\nk = 2\n\t3"},
    {"RepeatedKeyRefused", "[a]\nk=1\n[a]\nk=2\n", Op::kSet, "a.k", "3", kAmbiguous, "[a]\nk=1\n[a]\nk=2\n"},
    {"OneOfARepeatedKey", "[a]\nk=1\n[a]\nk=2\n", Op::kSetAt, "a.k", "3", 0, "[a]\nk=1\n[a]\nk=3\n", 2},
    {"BlankAtAnEndRefused", kPhp, Op::kSet, "PHP.short", "v ", 22, kPhp},
    {"ValueLineLikeACommentRefused", kPhp, Op::kSet, "PHP.short", "x\n# y", 22, kPhp},
    {"MissingKey", kPhp, Op::kSet, "PHP.nope", "1", -2, kPhp},
};

const EditRow kAdds[] = {
    {"CopiesItsSectionsStyle", "[a]\nk: 1\n\n[b]\nj = 2\n", Op::kAdd, "a.n", "5", 0, "[a]\nk: 1\nn: 5\n\n[b]\nj = 2\n"},
    {"AfterContinuationsBeforeBlankLines", kTox, Op::kAdd, "t.n", "1", 0,
     "[t]\ncommands =\n    pytest\n\n    flake8\nnext = 1\nn = 1\n\n\n[u]\nx = 1\n"},
    {"NewSectionPartedAsTheFileParts", "[a]\nk = 1\n\n\n[b]\nj = 2\n", Op::kAdd, "c.x", "3", 0,
     "[a]\nk = 1\n\n\n[b]\nj = 2\n\n\n[c]\nx = 3\n"},
    {"NewSectionInTheFilesStyle", "[a]\nk=1\n", Op::kAdd, "b.j", "2", 0, "[a]\nk=1\n\n[b]\nj=2\n"},
    {"AboveTheFirstHeaderAfterTheMark", "\xEF\xBB\xBF[a]\nk = 1\n", Op::kAdd, ".top", "1", 0,
     "\xEF\xBB\xBFtop = 1\n[a]\nk = 1\n"},
    {"IndentedKeysCopied", "[remote \"origin\"]\n\turl = x\n", Op::kAdd, "remote \"origin\".fetch", "y", 0,
     "[remote \"origin\"]\n\turl = x\n\tfetch = y\n"},
    {"UnderAnEmptySectionIndentedAsBelow", "[a]\n[b]\n", Op::kAdd, "a.k", "1", 0, "[a]\nk = 1\n[b]\n"},
    {"NoFinalLineFeedKept", "[a]\nk = 1", Op::kAdd, "a.j", "2", 0, "[a]\nk = 1\nj = 2"},
    {"SeveralLines", "[a]\nk = 1\n", Op::kAdd, "a.j", "x\ny", 0, "[a]\nk = 1\nj = x\n\ty\n"},
    {"AnotherOfARepeatedKey", "[Unit]\nAfter=a\nAfter=b\nX=1\n", Op::kAppend, "Unit.After", "c", 0,
     "[Unit]\nAfter=a\nAfter=b\nAfter=c\nX=1\n"},
    {"NameWithADelimiterRefused", kPhp, Op::kAdd, "PHP.a=b", "1", 22, kPhp},
    {"NameLikeAHeaderRefused", kPhp, Op::kAdd, "PHP.[x]", "1", 22, kPhp},
    {"WholeKeyAboveTheFirstHeaderRefused", "net.ipv4.ip_forward = 0\n[a]\nk=1\n", Op::kAdd, "net.ipv4.ip_forward",
     "1", kAmbiguous, "net.ipv4.ip_forward = 0\n[a]\nk=1\n"},
    {"SectionWithBlanksNearbyRefused", "[ a ]\nk=1\n", Op::kAdd, "a.j", "1", kAmbiguous, "[ a ]\nk=1\n"},
    {"WouldSwallowTheLineBelowRefused", "[a]\n    junk\n", Op::kAdd, "b.k", "1", 22, "[a]\n    junk\n"},
};

const EditRow kRemovals[] = {
    {"WithContinuationsAndCommentsAbove", "[a]\n# about k\nk = 1\n  more\n\n  still\nj = 2\n", Op::kRemove, "a.k",
     "", 0, "[a]\nj = 2\n"},
    {"BlankLinesBelowStay", kTox, Op::kRemove, "t.next", "", 0,
     "[t]\ncommands =\n    pytest\n\n    flake8\n\n\n[u]\nx = 1\n"},
    {"OneOfARepeatedKey", "[Unit]\nAfter=a\nAfter=b\n", Op::kRemoveAt, "Unit.After", "", 0, "[Unit]\nAfter=b\n", 1},
    {"RepeatedKeyRefused", "[Unit]\nAfter=a\nAfter=b\n", Op::kRemove, "Unit.After", "", kAmbiguous,
     "[Unit]\nAfter=a\nAfter=b\n"},
    {"EverySectionOfTheName", "[a]\nk=1\n\n# about b\n[b]\nj=2\n\n[a]\nm=3\n", Op::kRemoveBlock, "a", "", 0,
     "# about b\n[b]\nj=2\n"},
    {"TheNamelessSection", "top=1\n# c\n\n# about a\n[a]\nk=1\n", Op::kRemoveBlock, "", "", 0,
     "# about a\n[a]\nk=1\n"},
    {"SectionWhoseRemovalJoinsLinesRefused", "[a]\nk = v\n[b]\n    x = 1\n  [c]\ny=1\n", Op::kRemoveBlock, "b", "",
     22, "[a]\nk = v\n[b]\n    x = 1\n  [c]\ny=1\n"},
    {"NoNormalisedForm", kPhp, Op::kNormalise, "", "", 22, kPhp},
};

INSTANTIATE_TEST_SUITE_P(Set, EditTable, testing::Combine(testing::ValuesIn(kSets), testing::Bool()), EditRowName);
INSTANTIATE_TEST_SUITE_P(Add, EditTable, testing::Combine(testing::ValuesIn(kAdds), testing::Bool()), EditRowName);
INSTANTIATE_TEST_SUITE_P(Remove, EditTable, testing::Combine(testing::ValuesIn(kRemovals), testing::Bool()),
                         EditRowName);

struct LintRow
{
    const char* name;
    std::string text;
    std::string findings; // "line: message" lines
};

using LintTable = testing::TestWithParam<LintRow>;

TEST_P(LintTable, SaysWhatOtherReadersDoDifferently)
{
    const LintRow& row = GetParam();
    Document document(Document::Mode::kIni);
    document.Parse(row.text);
    std::string shown;
    for (const zelconfig::Finding& finding : document.Lint()) {
        shown += std::to_string(finding.line) + ": " + finding.message + "\n";
    }
    EXPECT_EQ(shown, row.findings);
}

INSTANTIATE_TEST_SUITE_P(Ini, LintTable, testing::Values(
    LintRow{"NothingToSay", "[a]\nk = v\n  more\n; c\n", ""},
    LintRow{"RepeatedSectionAndKey", "[a]\nk=1\n[a]\nk=2\n",
            "3: section 'a' repeats line 1: other INI readers merge the two, keeping the last value of a key both "
            "hold\n4: key 'a.k' is also on line 2: other INI readers keep only the last value; here every value is "
            "read, and an edit must name which\n"},
    LintRow{"LinesOtherReadersRefuse", "top=1\n[a]\n  junk\nx\n=v\n",
            "1: entry above the first section header: it is read as the section '' (key .top), and other INI "
            "readers refuse the file\n3: indented line with no entry above it to continue: it is ignored, and other "
            "INI readers refuse the file\n4: line without '=' or ':': it is ignored, and other INI readers refuse the "
            "file\n5: entry without a name before its '=': it is ignored, and other INI readers refuse the file\n"}),
    RowName());

} // namespace
