// zelconfig::Document: every kind of edit, one row each, checked against the
// whole resulting text (so every changed line shows) and against the model
// the engine reads from it, which must be the one the edit promises. That
// reads agree with the engine is checked on fuzz_document's corpus.
#include <cerrno>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "DocumentPromise.h"
#include "TestFiles.h"
#include "ZelConfigDocument.h"

namespace {
// The inodes of the directories that were flushed, in turn.
std::vector<ino_t> g_syncedDirectories;
} // namespace

// The library's fsync calls come through here, on to the kernel.
extern "C" int fsync(int fd)
{
    struct stat info {};
    if (::fstat(fd, &info) == 0 && S_ISDIR(info.st_mode)) {
        g_syncedDirectories.push_back(info.st_ino);
    }
    return static_cast<int>(syscall(SYS_fsync, fd));
}

namespace {

using docpromise::Op;
using zelconfig::Document;

constexpr Document::Mode kBlock = Document::Mode::kBlock;
constexpr Document::Mode kAnonymous = Document::Mode::kAnonymous;

const std::string kFile = "# top\n[Net]\n; about host\nHost=10.0.0.1\nPort = 80\n\n# about log\n[Log]\nLevel=warn\n";
const std::string kRepeated = "[D]\nB=80\n[D]\nO=land\n# end\n";
const std::string kCrlf = "[A]\r\nk=1\r\n\r\n[B]\r\nb=2\r\n";
const std::string kNoFinalFeed = "[A]\n# c\nk=1";
const std::string kTwoOfK = "[A]\nk=1\nj=0\n# c\nk=2\n[B]\nk=3\n";
const std::string kBanner = "# banner\n# more banner\n\n[a]\nx=1\n# about the y group\n\ny=2\n[b]\nk=v\n";

struct EditRow
{
    const char* name;
    Document::Mode mode;
    std::string input;
    Op op;
    std::string key, value;
    int status;
    std::string output;
};

using EditTable = testing::TestWithParam<EditRow>;

TEST_P(EditTable, KeepsItsPromise)
{
    const EditRow& row = GetParam();
    docpromise::Outcome outcome;
    EXPECT_EQ(docpromise::CheckEdit(row.input, row.mode, {row.op, row.key, row.value}, outcome), "");
    EXPECT_EQ(outcome.status, row.status);
    EXPECT_EQ(outcome.text, row.output);
}

INSTANTIATE_TEST_SUITE_P(Set, EditTable, testing::Values(
    EditRow{"OneValue", kBlock, kFile, Op::kSet, "Net.Host", "10.0.0.2", 0,
            "# top\n[Net]\n; about host\nHost=10.0.0.2\nPort = 80\n\n# about log\n[Log]\nLevel=warn\n"},
    EditRow{"SeveralEntriesRefused", kBlock, "[A]\nk=1\nj=0\nk=1\n", Op::kSet, "A.k", "2", zelconfig::kEditAmbiguous,
            "[A]\nk=1\nj=0\nk=1\n"},
    EditRow{"SameValueChangesNothing", kBlock, kFile, Op::kSet, "Log.Level", "warn", 0, kFile},
    EditRow{"NameWithBlanksIsAnotherKey", kBlock, kFile, Op::kSet, "Net.Port", "81", -2, kFile},
    EditRow{"BlanksKeptAsTheKeyHasThem", kBlock, kFile, Op::kSet, "Net.Port ", "81", 0,
            "# top\n[Net]\n; about host\nHost=10.0.0.1\nPort =81\n\n# about log\n[Log]\nLevel=warn\n"},
    EditRow{"OnlyTheFirstOfRepeatedHeaders", kBlock, "[D]\nB=1\n[D]\nB=2\n", Op::kSet, "D.B", "3", 0,
            "[D]\nB=3\n[D]\nB=2\n"},
    EditRow{"CrlfKeptWhenTheValueHasIt", kBlock, kCrlf, Op::kSet, "A.k", "9\r", 0, "[A]\r\nk=9\r\n\r\n[B]\r\nb=2\r\n"},
    EditRow{"CrlfKeptWhenTheValueLacksIt", kBlock, kCrlf, Op::kSet, "A.k", "9", 0, "[A]\r\nk=9\r\n\r\n[B]\r\nb=2\r\n"},
    EditRow{"CrlfLastLineWithoutFeedStaysBare", kBlock, "[A]\r\nk=1", Op::kSet, "A.k", "9", 0, "[A]\r\nk=9"},
    EditRow{"LastLineWithoutFeed", kBlock, kNoFinalFeed, Op::kSet, "A.k", "22", 0, "[A]\n# c\nk=22"},
    EditRow{"AnonymousKeepsTheBlanks", kAnonymous, " k = 1 \r\n[H]\nj=2\n", Op::kSet, "k", "3", 0,
            " k = 3 \r\n[H]\nj=2\n"},
    EditRow{"AnonymousSeveralAcrossHeadersRefused", kAnonymous, "k=1\n[H]\nk=2\n", Op::kSet, "k", "3",
            zelconfig::kEditAmbiguous, "k=1\n[H]\nk=2\n"},
    EditRow{"AnonymousBlankValueBeforeCr", kAnonymous, "k= \r\nj=1\r\n", Op::kSet, "k", "3", 0, "k=3 \r\nj=1\r\n"},
    EditRow{"AnonymousRefusesBlanksAtEnds", kAnonymous, "k=1\n", Op::kSet, "k", " 3", 22, "k=1\n"},
    EditRow{"LineFeedRefused", kBlock, kFile, Op::kSet, "Net.Host", "a\n[X]", 22, kFile},
    EditRow{"FileReadOnlyInPart", kBlock, "[A]\nk=1\n[B\n", Op::kSet, "A.k", "2", 22, "[A]\nk=1\n[B\n"}),
    RowName());

INSTANTIATE_TEST_SUITE_P(Add, EditTable, testing::Values(
    EditRow{"AfterTheLastEntryBeforeTheNextComment", kBlock, kFile, Op::kAdd, "Net.Mask", "24", 0,
            "# top\n[Net]\n; about host\nHost=10.0.0.1\nPort = 80\nMask=24\n\n# about log\n[Log]\nLevel=warn\n"},
    EditRow{"AfterTheHeaderOfAnEmptyBlock", kBlock, "[A]\n# b\n[B]\nk=1\n", Op::kAdd, "A.n", "1", 0,
            "[A]\nn=1\n# b\n[B]\nk=1\n"},
    EditRow{"FirstSectionOfRepeatedHeaders", kBlock, kRepeated, Op::kAdd, "D.C", "5", 0,
            "[D]\nB=80\nC=5\n[D]\nO=land\n# end\n"},
    EditRow{"NewBlockBeforeTrailingComments", kBlock, kFile + "# the end\n", Op::kAdd, "New.k", "v", 0,
            kFile + "[New]\nk=v\n# the end\n"},
    EditRow{"NewBlockInAnEmptyFile", kBlock, "", Op::kAdd, "A.k", "v", 0, "[A]\nk=v\n"},
    EditRow{"NewBlockAboveCommentsOnly", kBlock, "# only\n", Op::kAdd, "A.k", "v", 0, "[A]\nk=v\n# only\n"},
    EditRow{"CrlfHeaderBlockModeEntry", kBlock, kCrlf, Op::kAdd, "C.k", "v\r", 0, kCrlf + "[C]\r\nk=v\r\n"},
    EditRow{"CrlfEntryWithoutItsOwnCr", kBlock, kCrlf, Op::kAdd, "A.j", "v", 0,
            "[A]\r\nk=1\r\nj=v\r\n\r\n[B]\r\nb=2\r\n"},
    EditRow{"LastLineWithoutFeedStaysSo", kBlock, kNoFinalFeed, Op::kAdd, "B.k", "v", 0, kNoFinalFeed + "\n[B]\nk=v"},
    EditRow{"AnonymousAfterTheLastEntry", kAnonymous, "k=1\r\n# x\r\n[H]\r\n", Op::kAdd, "j", "2", 0,
            "k=1\r\nj=2\r\n# x\r\n[H]\r\n"},
    EditRow{"AnonymousOtherBlockRefused", kAnonymous, "k=1\n", Op::kAdd, "H.j", "2", 22, "k=1\n"},
    EditRow{"EntryReadAsCommentRefused", kBlock, kFile, Op::kAdd, "Net.#x", "1", 22, kFile},
    EditRow{"BlockNameWithBracketRefused", kBlock, kFile, Op::kAdd, "a]b.x", "1", 22, kFile},
    EditRow{"BesideAnEntryWithBlanksRefused", kBlock, kFile, Op::kAdd, "Net.Port", "8080", zelconfig::kEditAmbiguous,
            kFile},
    EditRow{"BesideABlockWithBlanksRefused", kBlock, "[ A ]\nk=1\n", Op::kAdd, "A.k", "2", zelconfig::kEditAmbiguous,
            "[ A ]\nk=1\n"},
    EditRow{"UnderARepeatedHeaderRefused", kBlock, kRepeated, Op::kAdd, "D.O", "1", zelconfig::kEditAmbiguous,
            kRepeated},
    EditRow{"BesideADottedBlockRefused", kBlock, "[Net.eth0]\nAddress=1\n", Op::kAdd, "Net.eth0.Address", "2",
            zelconfig::kEditAmbiguous, "[Net.eth0]\nAddress=1\n"},
    EditRow{"BesideADottedBlockNextToItsPrefixRefused", kBlock, "[Net]\n[Net.eth0]\n", Op::kAdd, "Net.eth0.A", "2",
            zelconfig::kEditAmbiguous, "[Net]\n[Net.eth0]\n"},
    EditRow{"DottedBlockOfAnotherPrefixIsNoBar", kBlock, "[Net.eth0]\n", Op::kAdd, "Net.eth01", "2", 0,
            "[Net.eth0]\n[Net]\neth01=2\n"}),
    RowName());

INSTANTIATE_TEST_SUITE_P(Remove, EditTable, testing::Values(
    EditRow{"EntryWithItsComment", kBlock, kFile, Op::kRemove, "Net.Host", "", 0,
            "# top\n[Net]\nPort = 80\n\n# about log\n[Log]\nLevel=warn\n"},
    EditRow{"SeveralEntriesRefused", kBlock, "[A]\n# one\nk=1\nj=0\n\n# two\nk=2\n# end\n", Op::kRemove, "A.k", "",
            zelconfig::kEditAmbiguous, "[A]\n# one\nk=1\nj=0\n\n# two\nk=2\n# end\n"},
    EditRow{"CommentAboveABlankLineStays", kBlock, kBanner, Op::kRemove, "a.y", "", 0,
            "# banner\n# more banner\n\n[a]\nx=1\n# about the y group\n\n[b]\nk=v\n"},
    EditRow{"CrlfBlankLineKeepsTheComment", kBlock, "[A]\r\n# c\r\n\r\nk=1\r\n", Op::kRemove, "A.k", "", 0,
            "[A]\r\n# c\r\n\r\n"},
    EditRow{"NotUnderARepeatedHeader", kBlock, "[D]\nO=1\n[D]\nO=2\n", Op::kRemove, "D.O", "", 0, "[D]\n[D]\nO=2\n"},
    EditRow{"OnlyUnderARepeatedHeader", kBlock, kRepeated, Op::kRemove, "D.O", "", -2, kRepeated},
    EditRow{"LastLineWithoutFeed", kBlock, kNoFinalFeed, Op::kRemove, "A.k", "", 0, "[A]"},
    EditRow{"Crlf", kBlock, kCrlf, Op::kRemove, "B.b", "", 0, "[A]\r\nk=1\r\n\r\n[B]\r\n"},
    EditRow{"AnonymousAboveAHeader", kAnonymous, "# a\n k =1\n[H]\nj=3\n", Op::kRemove, "k", "", 0, "[H]\nj=3\n"},
    EditRow{"AnonymousSeveralRefused", kAnonymous, "# a\n k =1\n[H]\nk=2\nj=3\n", Op::kRemove, "k", "",
            zelconfig::kEditAmbiguous, "# a\n k =1\n[H]\nk=2\nj=3\n"}),
    RowName());

INSTANTIATE_TEST_SUITE_P(RemoveBlock, EditTable, testing::Values(
    EditRow{"WholeTextUpToTheNextHeadersComment", kBlock, kFile, Op::kRemoveBlock, "Net", "", 0,
            "# about log\n[Log]\nLevel=warn\n"},
    EditRow{"CommentsAboveABlankLineBeforeItStay", kBlock, kBanner, Op::kRemoveBlock, "a", "", 0,
            "# banner\n# more banner\n\n[b]\nk=v\n"},
    EditRow{"IgnoredLinesGoWithIt", kBlock, "[tox]\nenv=py3\n[docs]\ndeps =\n    sphinx\n\n  x\n[b]\nk=v\n",
            Op::kRemoveBlock, "docs", "", 0, "[tox]\nenv=py3\n[b]\nk=v\n"},
    EditRow{"LastBlockToTheEnd", kBlock, kFile + "# the end\n", Op::kRemoveBlock, "Log", "", 0,
            "# top\n[Net]\n; about host\nHost=10.0.0.1\nPort = 80\n"},
    EditRow{"EveryRepeatedHeader", kBlock, "[D]\nB=1\n# e\n[E]\ne=1\n[D]\nO=2\n# end\n", Op::kRemoveBlock, "D", "",
            0, "# e\n[E]\ne=1\n"},
    EditRow{"LastLineWithoutFeed", kBlock, "[A]\na=1\n[B]\nb=1", Op::kRemoveBlock, "B", "", 0, "[A]\na=1"},
    EditRow{"Crlf", kBlock, kCrlf, Op::kRemoveBlock, "A", "", 0, "[B]\r\nb=2\r\n"},
    EditRow{"Missing", kBlock, kFile, Op::kRemoveBlock, "None", "", -2, kFile},
    EditRow{"AnonymousOnlyTheHeaders", kAnonymous, "# h\n[H]\nk=1\n[H]\nj=2\n", Op::kRemoveBlock, "H", "", 0,
            "k=1\nj=2\n"},
    EditRow{"AnonymousBlockRefused", kAnonymous, "k=1\n", Op::kRemoveBlock, "anonymous", "", 22, "k=1\n"}),
    RowName());

INSTANTIATE_TEST_SUITE_P(OneEntryOfTheKey, EditTable, testing::Values(
    EditRow{"SetTheFirst", kBlock, kTwoOfK, Op::kSetAt, "A.k", "9", 0, "[A]\nk=9\nj=0\n# c\nk=2\n[B]\nk=3\n"},
    EditRow{"RemoveTheFirst", kBlock, kTwoOfK, Op::kRemoveAt, "A.k", "", 0, "[A]\nj=0\n# c\nk=2\n[B]\nk=3\n"},
    EditRow{"AppendAfterTheLast", kBlock, kTwoOfK, Op::kAppend, "A.k", "4", 0,
            "[A]\nk=1\nj=0\n# c\nk=2\nk=4\n[B]\nk=3\n"},
    EditRow{"AnonymousAppend", kAnonymous, "k=1\n# c\nj=2\n", Op::kAppend, "anonymous.k", "3", 0,
            "k=1\nk=3\n# c\nj=2\n"}),
    RowName());

INSTANTIATE_TEST_SUITE_P(Normalise, EditTable, testing::Values(
    EditRow{"AsTheEngineSaves", kBlock, kFile, Op::kNormalise, "", "", 0,
            "# about log\n[Log]\nLevel=warn\n# top\n[Net]\n; about host\nHost=10.0.0.1\nPort = 80\n"},
    EditRow{"Anonymous", kAnonymous, " k = 1\n", Op::kNormalise, "", "", 0, "[anonymous]\nk=1\n"}),
    RowName());

// One entry of a key that names several: SetAt and RemoveAt take the Nth in
// file order, Append adds after the last; Lines says where they stand.
enum class OneOf { kSetAt, kRemoveAt, kAppend };

struct OneOfRow
{
    const char* name;
    std::string input;
    OneOf op;
    size_t index;
    std::string value;
    int status;
    std::string output;
};

using OneOfTable = testing::TestWithParam<OneOfRow>;

TEST_P(OneOfTable, ChangesOnlyThatEntry)
{
    const OneOfRow& row = GetParam();
    Document document;
    ASSERT_EQ(document.Parse(row.input), 0);
    const std::vector<size_t> lines = document.Lines("A", "k");
    const int status = row.op == OneOf::kSetAt      ? document.SetAt("A", "k", row.index, row.value)
                       : row.op == OneOf::kRemoveAt ? document.RemoveAt("A", "k", row.index)
                                                    : document.Append("A", "k", row.value);
    EXPECT_EQ(status, row.status);
    EXPECT_EQ(document.Text(), row.output);
    EXPECT_EQ(lines, (row.input == kTwoOfK ? std::vector<size_t>{2, 5} : std::vector<size_t>{}));
}

INSTANTIATE_TEST_SUITE_P(Document, OneOfTable, testing::Values(
    OneOfRow{"SetTheSecond", kTwoOfK, OneOf::kSetAt, 2, "9", 0, "[A]\nk=1\nj=0\n# c\nk=9\n[B]\nk=3\n"},
    OneOfRow{"SetEveryOneWithZero", kTwoOfK, OneOf::kSetAt, 0, "9", 0, "[A]\nk=9\nj=0\n# c\nk=9\n[B]\nk=3\n"},
    OneOfRow{"SetBeyondTheEntries", kTwoOfK, OneOf::kSetAt, 3, "9", -2, kTwoOfK},
    OneOfRow{"RemoveTheSecondWithItsComment", kTwoOfK, OneOf::kRemoveAt, 2, "", 0, "[A]\nk=1\nj=0\n[B]\nk=3\n"},
    OneOfRow{"RemoveTheFirst", kTwoOfK, OneOf::kRemoveAt, 1, "", 0, "[A]\nj=0\n# c\nk=2\n[B]\nk=3\n"},
    OneOfRow{"RemoveBeyondTheEntries", kTwoOfK, OneOf::kRemoveAt, 3, "", -2, kTwoOfK},
    OneOfRow{"AppendAfterTheLast", kTwoOfK, OneOf::kAppend, 0, "4", 0, "[A]\nk=1\nj=0\n# c\nk=2\nk=4\n[B]\nk=3\n"},
    OneOfRow{"AppendWithoutEntriesAdds", "[A]\nk =1\n", OneOf::kAppend, 0, "4", zelconfig::kEditAmbiguous,
             "[A]\nk =1\n"}),
    RowName());

// Every failed load, parse and save says why, naming the line that stopped a parse.
struct FailureRow
{
    const char* name;
    Document::Mode mode;
    std::string text;
    bool fromFile; // Load a file holding the text, else Parse it
    int status;
    std::string error, saveError; // Error() after the read, and after Save()
    std::string read = "";        // BLOCK.ENTRY of every entry read, in file order, ';' after each
};

using FailureTable = testing::TestWithParam<FailureRow>;

TEST_P(FailureTable, ErrorSaysWhy)
{
    const FailureRow& row = GetParam();
    TempDir dir;
    Document document(row.mode);
    EXPECT_EQ(row.fromFile ? document.Load(dir.Write("f.cfg", row.text)) : document.Parse(row.text), row.status);
    EXPECT_EQ(document.Error(), row.error);
    std::string read;
    for (const std::string& block : document.BlockNames(Document::Order::kFile)) {
        for (const std::string& entry : document.EntryNames(block)) {
            read += block + "." + entry + ";";
        }
    }
    EXPECT_EQ(read, row.read);
    EXPECT_EQ(document.Save(), row.status == 0 && row.fromFile ? 0 : EINVAL);
    EXPECT_EQ(document.Error(), row.saveError);
}

INSTANTIATE_TEST_SUITE_P(Document, FailureTable, testing::Values(
    FailureRow{"HeaderWithoutBracket", kBlock, "[A]\nk=1\n\n[B\n", true, -1, "line 4: a block header has no ']'",
               "line 4: a block header has no ']'", "A.k;"},
    FailureRow{"NothingReadAfterTheStop", kBlock, "[A]\nk=1\n[B]\nj=2\n[C\nl=3\n[D]\n", false, -1,
               "line 5: a block header has no ']'", "no file to save to: nothing was loaded from one", "A.k;B.j;"},
    FailureRow{"HeaderWithoutBracketAnonymous", kAnonymous, "k=1\r\n[B\r\n", false, -1,
               "line 2: a block header has no ']'", "no file to save to: nothing was loaded from one", "anonymous.k;"},
    FailureRow{"EntryAboveHeader", kBlock, "# c\nk=1\n[A]\n", true, EINVAL,
               "line 2: an entry stands above the first block header",
               "line 2: an entry stands above the first block header"},
    FailureRow{"ParsedHasNoFile", kBlock, "[A]\nk=1\n", false, 0, "", "no file to save to: nothing was loaded from one",
               "A.k;"},
    FailureRow{"LoadedSavesNothingUnchanged", kBlock, "[A]\n", true, 0, "", ""}),
    RowName());

// A file loaded from disk keeps its edits beside the loaded bytes until the
// text is read again, and saves the loaded bytes' unchanged ranges between
// them: what it saves, and what it reads after edits, must be exactly what
// the same edits give on the text parsed from memory.
struct SplicedRow
{
    const char* name;
    std::vector<docpromise::Edit> edits;
};

using SplicedTable = testing::TestWithParam<SplicedRow>;

// Applies an edit as the promise table does.
int Apply(Document& document, const docpromise::Edit& edit)
{
    switch (edit.op) {
    case Op::kSet:
        return document.Set(edit.key, edit.value);
    case Op::kAdd:
        return document.Add(edit.key, edit.value);
    case Op::kRemove:
        return document.Remove(edit.key);
    case Op::kRemoveBlock:
        return document.RemoveBlock(edit.key);
    case Op::kNormalise:
        break;
    case Op::kSetAt:
    case Op::kRemoveAt:
    case Op::kAppend: {
        const size_t dot = edit.key.find('.');
        const std::string block = edit.key.substr(0, dot), entry = dot == std::string::npos ? "" : edit.key.substr(dot + 1);
        return edit.op == Op::kSetAt      ? document.SetAt(block, entry, edit.index, edit.value)
               : edit.op == Op::kRemoveAt ? document.RemoveAt(block, entry, edit.index)
                                          : document.Append(block, entry, edit.value);
    }
    }
    return document.Normalise();
}

// An edit that finds nothing, or would change what the key may not mean,
// leaves the text as it was and says in Error() what the file holds and how
// to name it.
struct RefusalRow
{
    const char* name;
    std::string text;
    docpromise::Edit edit;
    int status;
    std::string error;
};

using RefusalTable = testing::TestWithParam<RefusalRow>;

TEST_P(RefusalTable, ErrorNamesWhatWasMeant)
{
    const RefusalRow& row = GetParam();
    Document document;
    ASSERT_EQ(document.Parse(row.text), 0);
    EXPECT_EQ(Apply(document, row.edit), row.status);
    EXPECT_EQ(document.Error(), row.error);
    EXPECT_EQ(document.Text(), row.text);
}

constexpr int kAmbiguous = zelconfig::kEditAmbiguous;
const std::string kTwoK = "[A]\nk=1\nk=2\n";
const std::string kDotted = "[Net.eth0]\nAddress=1\n";
const std::string kBlanks = "[Net]\nPort = 80\n";

INSTANTIATE_TEST_SUITE_P(Document, RefusalTable, testing::Values(
    RefusalRow{"SetOfSeveral", kTwoK, {Op::kSet, "A.k", "3"}, kAmbiguous, "A.k names 2 entries (lines 2 and 3)"},
    RefusalRow{"RemoveOfSeveral", kTwoK, {Op::kRemove, "A.k", ""}, kAmbiguous, "A.k names 2 entries (lines 2 and 3)"},
    RefusalRow{"SetAtBeyond", kTwoK, {Op::kSetAt, "A.k", "3", 3}, -2,
               "no entry 3 of A.k: it names 2 entries (lines 2 and 3)"},
    RefusalRow{"RemoveAtOfNone", kTwoK, {Op::kRemoveAt, "A.j", "", 1}, -2, "no key A.j"},
    RefusalRow{"SetMissesNameWithBlanks", kBlanks, {Op::kSet, "Net.Port", "8080"}, -2,
               "no key Net.Port; line 2 holds 'Net.Port ': blanks around an entry name are part of it in block "
               "mode, so address it as 'Net.Port ' (quoted)"},
    RefusalRow{"AddBesideNameWithBlanks", kBlanks, {Op::kAdd, "Net.Port", "8080"}, kAmbiguous,
               "refusing to add Net.Port; line 2 holds 'Net.Port ': blanks around an entry name are part of it in "
               "block mode, so address it as 'Net.Port ' (quoted)"},
    RefusalRow{"RemoveMissesDottedBlock", kDotted, {Op::kRemove, "Net.eth0.Address", ""}, -2,
               "no key Net.eth0.Address; line 1 holds the block 'Net.eth0', whose name holds '.': address its "
               "entry as 'Net.eth0' 'Address' (BLOCK ENTRY apart)"},
    RefusalRow{"AddBesideDottedBlock", kDotted, {Op::kAdd, "Net.eth0.Address", "2"}, kAmbiguous,
               "refusing to add Net.eth0.Address; line 1 holds the block 'Net.eth0', whose name holds '.': address "
               "its entry as 'Net.eth0' 'Address' (BLOCK ENTRY apart)"},
    RefusalRow{"RemoveBlockMissesBlanks", "[N ]\nk=1\n", {Op::kRemoveBlock, "N", ""}, -2,
               "no block N; line 1 holds the block 'N ': blanks around a block name are part of it, so address it "
               "as 'N ' (quoted)"},
    // What no line could hold is refused in words, the text left as it was.
    RefusalRow{"AddBlockWithBracket", kTwoK, {Op::kAdd, "A]x.k", "1"}, 22,
               "a block name cannot hold ']' or a line feed"},
    RefusalRow{"AddEntryLikeComment", kTwoK, {Op::kAdd, "A.#k", "1"}, 22,
               "an entry name cannot hold '=' or a line feed, nor begin with '#', ';' or '['; a value cannot hold "
               "a line feed"},
    RefusalRow{"SetValueWithLineFeed", "[A]\nk=1\n", {Op::kSet, "A.k", "1\n2"}, 22,
               "a value cannot hold a line feed"}),
    RowName());

// Walk after an edit: reads see it at once, keys as list prints them.
struct WalkRow
{
    const char* name;
    Document::Mode mode;
    std::string text;
    docpromise::Edit edit;
    std::string walked; // KEY=VALUE lines
};

using WalkTable = testing::TestWithParam<WalkRow>;

TEST_P(WalkTable, SeesTheEdit)
{
    const WalkRow& row = GetParam();
    Document document(row.mode);
    ASSERT_EQ(document.Parse(row.text), 0);
    ASSERT_EQ(Apply(document, row.edit), 0);
    std::string walked;
    document.Walk([&](const std::string& key, const std::string& value) { walked += key + "=" + value + "\n"; });
    EXPECT_EQ(walked, row.walked);
}

INSTANTIATE_TEST_SUITE_P(Document, WalkTable, testing::Values(
    WalkRow{"SetInFileOrder", kBlock, "[B]\nk=1\n[A]\nj=2\n", {Op::kSet, "B.k", "3"}, "B.k=3\nA.j=2\n"},
    WalkRow{"AddedBlockLast", kBlock, "[B]\nk=1\n", {Op::kAdd, "A.j", "2"}, "B.k=1\nA.j=2\n"},
    WalkRow{"RemovedGone", kBlock, kTwoOfK, {Op::kRemoveAt, "A.k", "", 1}, "A.j=0\nA.k=2\nB.k=3\n"},
    WalkRow{"DottedBlockBracketed", kBlock, kDotted + "[N]\nk=1\n", {Op::kSet, "N.k", "2"},
            "[Net.eth0]Address=1\nN.k=2\n"},
    WalkRow{"RepeatedHeaderUnread", kBlock, kRepeated, {Op::kSet, "D.B", "81"}, "D.B=81\n"},
    WalkRow{"AnonymousTrimmed", kAnonymous, " k = 1 \n[H]\nj=2\n", {Op::kSet, "k", "3"},
            "anonymous.k=3\nanonymous.j=2\n"},
    WalkRow{"CrKeptInValue", kBlock, kCrlf, {Op::kSet, "B.b", "3"}, "A.k=1\r\nB.b=3\r\n"}),
    RowName());

TEST_P(SplicedTable, SavesWhatTheEditsGiveInMemory)
{
    // Blocks B0 to B9999, each "k=<n>" and a comment.
    std::string text = "# top\n";
    for (int block = 0; block < 10000; ++block) {
        const std::string n = std::to_string(block);
        text += "[B" + n + "]\n# about k\nk=" + n + "\nj=value of " + n + "\n";
    }
    TempDir dir;
    const std::string path = dir.Write("big.cfg", text);
    Document loaded, inMemory;
    ASSERT_EQ(loaded.Load(path, Document::kLock), 0);
    ASSERT_EQ(inMemory.Parse(text), 0);
    for (const docpromise::Edit& edit : GetParam().edits) {
        EXPECT_EQ(Apply(loaded, edit), Apply(inMemory, edit));
    }
    EXPECT_EQ(loaded.Save(), 0) << loaded.Error();
    EXPECT_EQ(ReadFile(path), inMemory.Text());
    EXPECT_EQ(loaded.Text(), inMemory.Text());
    EXPECT_EQ(loaded.Get("B5000.k"), inMemory.Get("B5000.k"));
}

INSTANTIATE_TEST_SUITE_P(Document, SplicedTable, testing::Values(
    SplicedRow{"NoEdit", {}},
    SplicedRow{"SetOne", {{Op::kSet, "B5000.k", "changed"}}},
    SplicedRow{"SetFirstAndLast", {{Op::kSet, "B0.k", ""}, {Op::kSet, "B9999.j", "last"}}},
    SplicedRow{"AddToABlock", {{Op::kAdd, "B7.n", "new"}}},
    SplicedRow{"AddABlockAtTheEnd", {{Op::kAdd, "New.n", "new"}}},
    SplicedRow{"RemoveWithItsComment", {{Op::kRemove, "B5000.k", ""}}},
    SplicedRow{"RemoveBlockThenSetBefore", {{Op::kRemoveBlock, "B5000", ""}, {Op::kSet, "B4999.k", "x"}}},
    SplicedRow{"SetThenNormalise", {{Op::kSet, "B1.k", "y"}, {Op::kNormalise, "", ""}}}),
    RowName());

// Runs of edits on one document, each edit's outcome and every read after
// it checked against documents loaded afresh from the bytes saved, and
// those against the engine: runs long
// enough that what the document keeps between edits (the index of blocks by
// name) is made, carried over edits and dropped by others.
struct InterleavedRow
{
    const char* name;
    Document::Mode mode;
    std::string text;
    std::vector<docpromise::Edit> edits;
    std::vector<std::string> probes; // BLOCK.ENTRY read besides the entries held: missing ones too
};

// What every read that names a block or key gives, as one text.
std::string Reads(const Document& document, const std::vector<std::string>& probes)
{
    std::vector<std::pair<std::string, std::string>> keys;
    for (const Document::Entry& entry : document.Entries(Document::Order::kFile)) {
        keys.emplace_back(entry.block, entry.name);
    }
    for (const std::string& probe : probes) {
        keys.emplace_back(probe.substr(0, probe.find('.')), probe.substr(probe.find('.') + 1));
    }
    std::string reads;
    for (const auto& key : keys) {
        std::string value;
        reads += key.first + "|" + key.second + ": " + std::to_string(document.Get(key.first, key.second, value))
                 + " " + value + " at";
        for (const size_t line : document.Lines(key.first, key.second)) {
            reads += " " + std::to_string(line);
        }
        reads += "; of " + std::to_string(document.EntryNames(key.first).size()) + "; "
                 + document.Missing(key.first, key.second) + "\n";
    }
    for (const std::string& block : document.BlockNames(Document::Order::kFile)) {
        reads += "[" + block + "]";
    }
    return reads;
}

using InterleavedTable = testing::TestWithParam<InterleavedRow>;

TEST_P(InterleavedTable, ReadsAsLoadedAfresh)
{
    const InterleavedRow& row = GetParam();
    TempDir dir;
    const std::string path = dir.Write("edited.cfg", row.text);
    Document document(row.mode);
    ASSERT_EQ(document.Load(path, Document::kLock), 0);
    for (size_t i = 0; i < row.edits.size(); ++i) {
        Document fresh(row.mode);
        ASSERT_EQ(fresh.Load(path), 0);
        const int status = Apply(document, row.edits[i]);
        EXPECT_EQ(status, Apply(fresh, row.edits[i])) << "edit " << i;
        EXPECT_EQ(status == 0 ? "" : document.Error(), status == 0 ? "" : fresh.Error()) << "edit " << i;
        EXPECT_EQ(document.Text(), fresh.Text()) << "edit " << i;
        ASSERT_EQ(document.Save(), 0) << document.Error();
        Document saved(row.mode);
        ASSERT_EQ(saved.Load(path), 0);
        EXPECT_EQ(Reads(document, row.probes), Reads(saved, row.probes)) << "after edit " << i;
        // And those reads are the engine's (the INI dialect has its reference in document_ini_test).
        if (row.mode != Document::Mode::kIni) {
            EXPECT_EQ(docpromise::CheckReads(ReadFile(path), row.mode), "") << "after edit " << i;
        }
    }
}

const std::string kBlocks = "# top\n[A]\nk=1\n# about j\nj=2\n\n[B]\nk=3\n[C]\nk=4\nl=5\n";

INSTANTIATE_TEST_SUITE_P(Document, InterleavedTable, testing::Values(
    InterleavedRow{"SetsAcrossBlocks", kBlock, kBlocks,
                   {{Op::kSet, "A.k", "a"}, {Op::kSet, "C.l", "b"}, {Op::kSet, "B.k", "c"}, {Op::kSet, "B.x", "d"},
                    {Op::kSet, "A.j", "a very much longer value than before"}, {Op::kSet, "C.k", ""},
                    {Op::kSet, "D.k", "e"}, {Op::kSet, "A.k", "f"}},
                   {"D.k", "B.x", "A. k"}},
    InterleavedRow{"NewBlocksBetweenSets", kBlock, kBlocks,
                   {{Op::kSet, "A.k", "a"}, {Op::kSet, "B.k", "b"}, {Op::kSet, "C.k", "c"}, {Op::kAdd, "Bb.k", "d"},
                    {Op::kSet, "Bb.k", "e"}, {Op::kSet, "C.l", "f"}, {Op::kAdd, "0.k", "g"}, {Op::kSet, "0.k", "h"},
                    {Op::kAdd, "A.new", "i"}, {Op::kSet, "C.k", "j"}, {Op::kAdd, "Zz.k", "k"}, {Op::kSet, "Zz.k", "l"}},
                   {"Bb.k", "0.k", "Zz.k"}},
    InterleavedRow{"BlocksRemovedAndMadeAgain", kBlock, kBlocks,
                   {{Op::kSet, "A.k", "a"}, {Op::kSet, "B.k", "b"}, {Op::kSet, "C.k", "c"}, {Op::kRemoveBlock, "B", ""},
                    {Op::kSet, "B.k", "d"}, {Op::kSet, "C.l", "e"}, {Op::kAdd, "B.k", "f"}, {Op::kSet, "B.k", "g"},
                    {Op::kRemoveBlock, "A", ""}, {Op::kSet, "C.k", "h"}, {Op::kSet, "B.k", "i"}},
                   {"A.k", "B.k"}},
    InterleavedRow{"EntriesRemovedUpToTheNextHeader", kBlock, kBlocks,
                   {{Op::kSet, "A.k", "a"}, {Op::kSet, "B.k", "b"}, {Op::kSet, "C.k", "c"}, {Op::kRemove, "A.j", ""},
                    {Op::kSet, "B.k", "d"}, {Op::kRemove, "B.k", ""}, {Op::kSet, "C.l", "e"}, {Op::kAdd, "B.k", "f"},
                    {Op::kRemove, "C.l", ""}, {Op::kSet, "C.k", "g"}},
                   {"A.j", "C.l"}},
    InterleavedRow{"NamesThatBeginAlike", kBlock, "[A]\nk=1\nkk=2\nk =3\n=4\n[B]\nk=5\n",
                   {{Op::kSet, "A.k", "a"}, {Op::kSet, "A.kk", "b"}, {Op::kSet, "B.k", "c"}, {Op::kSet, "A.k", "d"},
                    {Op::kSet, "A.k ", "e"}, {Op::kRemove, "A.k", ""}, {Op::kSet, "A.kk", "f"}, {Op::kAdd, "A.k", "g"},
                    {Op::kSet, "A.", "h"}},
                   {"A.k ", "A.kkk", "A."}},
    InterleavedRow{"RepeatedHeaders", kBlock, "[D]\nB=80\n[E]\ne=1\n[D]\nO=land\n[F]\nf=2\n",
                   {{Op::kSet, "D.B", "81"}, {Op::kSet, "E.e", "2"}, {Op::kSet, "F.f", "3"}, {Op::kSet, "D.O", "sea"},
                    {Op::kAdd, "D.O", "sea"}, {Op::kSet, "F.f", "4"}, {Op::kRemoveBlock, "D", ""},
                    {Op::kAdd, "D.n", "1"}, {Op::kSet, "D.n", "2"}, {Op::kSet, "E.e", "5"}},
                   {"D.O", "D.n"}},
    InterleavedRow{"CrlfLines", kBlock, kCrlf + "[C]\r\nc=3\r\n",
                   {{Op::kSet, "A.k", "a"}, {Op::kSet, "B.b", "b"}, {Op::kSet, "C.c", "c"}, {Op::kAdd, "B.n", "d"},
                    {Op::kAdd, "N.n", "e"}, {Op::kSet, "B.n", "f"}, {Op::kRemove, "B.b", ""}, {Op::kSet, "N.n", "g"},
                    {Op::kRemoveBlock, "A", ""}, {Op::kSet, "C.c", "h"}},
                   {"A.k", "B.b"}},
    InterleavedRow{"EmptyLastBlockWithoutFinalFeed", kBlock, "[A]\nk=1\n[B]\nj=2\n[E]",
                   {{Op::kSet, "A.k", "a"}, {Op::kSet, "B.j", "b"}, {Op::kSet, "A.k", "c"}, {Op::kAdd, "E.e", "d"},
                    {Op::kSet, "E.e", "e"}, {Op::kSet, "B.j", "f"}, {Op::kRemove, "E.e", ""}, {Op::kAdd, "E.e", "g"},
                    {Op::kSet, "E.e", "h"}},
                   {"E.e"}},
    InterleavedRow{"EntriesOfOneKey", kBlock, kTwoOfK,
                   {{Op::kSetAt, "A.k", "a", 2}, {Op::kSet, "B.k", "b"}, {Op::kSet, "A.j", "c"}, {Op::kSet, "A.k", "d"},
                    {Op::kAppend, "A.k", "e"}, {Op::kRemoveAt, "A.k", "", 1}, {Op::kSetAt, "A.k", "f", 3},
                    {Op::kAppend, "B.k", "g"}, {Op::kSetAt, "B.k", "h", 2}},
                   {"A.k"}},
    InterleavedRow{"NormalisedBetweenEdits", kBlock, kBlocks,
                   {{Op::kSet, "A.k", "a"}, {Op::kSet, "B.k", "b"}, {Op::kSet, "C.k", "c"}, {Op::kNormalise, "", ""},
                    {Op::kSet, "A.j", "d"}, {Op::kSet, "C.l", "e"}, {Op::kSet, "B.k", "f"}, {Op::kAdd, "A.m", "g"}},
                   {}},
    InterleavedRow{"DottedBlocks", kBlock, kDotted + "[Net]\nk=1\n[Z]\nz=0\n",
                   {{Op::kSet, "Net.k", "2"}, {Op::kSet, "Z.z", "1"}, {Op::kSet, "Net.k", "3"},
                    {Op::kSet, "Net.eth0.Address", "4"}, {Op::kAdd, "Net.eth0.Address", "5"}, {Op::kSet, "Z.z", "6"}},
                   {"Net.eth0.Address"}},
    InterleavedRow{"Anonymous", kAnonymous, " k = 1 \n[H]\nj=2\n",
                   {{Op::kSet, "k", "2"}, {Op::kSet, "j", "3"}, {Op::kAdd, "n", "4"}, {Op::kSet, "n", "5"},
                    {Op::kRemoveBlock, "H", ""}, {Op::kSet, "k", "6"}, {Op::kRemove, "j", ""}},
                   {"anonymous.j"}},
    InterleavedRow{"Ini", Document::Mode::kIni, "top = 0\n[a]\nk = 1\n  more\n[b]\nj: 2\n[a]\nl = 3\n",
                   {{Op::kSet, ".top", "1"}, {Op::kSet, "a.k", "2"}, {Op::kSet, "b.j", "3"}, {Op::kSet, "a.l", "4"},
                    {Op::kAdd, "c.m", "5"}, {Op::kSet, "c.m", "6"}, {Op::kRemoveBlock, "b", ""},
                    {Op::kRemove, "a.k", ""}, {Op::kSet, "a.l", "7"}, {Op::kAdd, "a.k", "8"}},
                   {"b.j", ".top"}}),
    RowName());

// Loading with the lock, and saving only what changed, through links.
TEST(DocumentFile, LoadsLockedAndSavesOnlyAChange)
{
    TempDir dir;
    const std::string real = dir.Write("real.cfg", "[A]\nk=1\n");
    ASSERT_EQ(::symlink("real.cfg", (dir.Path() + "/link.cfg").c_str()), 0);
    Document document;
    ASSERT_EQ(document.Load(dir.Path() + "/link.cfg", Document::kLock), 0);
    EXPECT_EQ(document.Set("A.k", "1"), 0);
    ASSERT_EQ(::unlink(real.c_str()), 0); // a save now would bring the file back
    EXPECT_EQ(document.Save(), 0);
    EXPECT_EQ(ReadFile(real), "");
    dir.Write("real.cfg", "[A]\nk=1\n");
    ASSERT_EQ(document.Load(dir.Path() + "/link.cfg", Document::kLock), 0);
    EXPECT_EQ(document.Set("A.k", "2"), 0);
    g_syncedDirectories.clear();
    EXPECT_EQ(document.Save(), 0);
    EXPECT_FALSE(document.Changed());
    EXPECT_EQ(ReadFile(real), "[A]\nk=2\n");
    struct stat info {};
    ASSERT_EQ(::stat(dir.Path().c_str(), &info), 0);
    EXPECT_EQ(g_syncedDirectories, std::vector<ino_t>{info.st_ino}) << "the rename must survive a power cut";
    EXPECT_EQ(document.Add("A.j", "3"), 0);
    EXPECT_EQ(document.Save(), 0); // a second save, under the lock of the new file
    EXPECT_EQ(ReadFile(real), "[A]\nk=2\nj=3\n");

    Document missing;
    EXPECT_EQ(missing.Load(dir.Path() + "/none.cfg"), -2);
    EXPECT_EQ(missing.Error(), "No such file or directory");
    EXPECT_EQ(missing.Save(), 22);
}

} // namespace
