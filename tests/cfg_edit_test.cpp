// Adding and removing entries, and writing the model to a stream.
#include <cerrno>
#include <sstream>

#include "CCFGParser.h"
#include "CaptureLog.h"
#include "TestFiles.h"

namespace {

enum class Op { kAdd, kRemove };

// One edit on a parsed file; the result is shown by what a stream write gives.
struct EditCase
{
    const char* name;
    unsigned mode;
    std::string input;
    Op op;
    std::string key, value;
    int status;
    std::string written, log;
};

using EditTable = testing::TestWithParam<EditCase>;

TEST_P(EditTable, EditsTheModel)
{
    const EditCase& row = GetParam();
    TempDir dir;
    CCFGParser parser(dir.Write("in.cfg", row.input), row.mode);
    capture_log::Reset();
    const int status = row.op == Op::kAdd ? parser.CFGAddData(row.key, row.value)
                                          : parser.CFGRemoveData(row.key);
    EXPECT_EQ(status, row.status);
    EXPECT_EQ(capture_log::Text(), row.log);
    std::ostringstream os;
    ASSERT_EQ(parser.CFGWriteData(os), 0);
    EXPECT_EQ(os.str(), row.written);
}

INSTANTIATE_TEST_SUITE_P(Rows, EditTable, testing::Values(
    EditCase{"AddAppendsAtEndOfBlock", 0, "[A]\n# c\nk=1\n[B]\nz=0\n", Op::kAdd, "A.n", "2", 0,
             "[A]\n# c\nk=1\nn=2\n[B]\nz=0\n", ""},
    EditCase{"AddCreatesBlockInOrder", 0, "[C]\nk=1\n", Op::kAdd, "B.n", "v", 0,
             "[B]\nn=v\n[C]\nk=1\n", ""},
    EditCase{"AddFillsEmptyBlock", 0, "# top\n[A]\n", Op::kAdd, "A.k", "", 0, "# top\n[A]\nk=\n", ""},
    EditCase{"AddKeepsExistingEntry", 0, "[A]\nk=1\n", Op::kAdd, "A.k", "2", 0, "[A]\nk=1\nk=2\n", ""},
    EditCase{"AddBareKeyAnonymous", 1, "x=1\n", Op::kAdd, "y", "2", 0, "[anonymous]\nx=1\ny=2\n", ""},
    EditCase{"AddFurtherDotsInEntry", 0, "", Op::kAdd, "A.b.c", "1", 0, "[A]\nb.c=1\n", ""},
    EditCase{"AddEmptyKeyRefused", 0, "[A]\n", Op::kAdd, "", "1", EINVAL, "[A]\n",
             "9 CFGAddData: m_pmCFGData is NULL\n"},
    EditCase{"RemoveEveryEntryOfName", 0, "[A]\n# one\nk=1\nj=0\n# two\nk=2\n", Op::kRemove, "A.k", "",
             0, "[A]\nj=0\n", ""},
    EditCase{"RemoveLastKeepsHeader", 0, "# blk\n[A]\nk=1\n", Op::kRemove, "A.k", "", 0, "# blk\n[A]\n", ""},
    EditCase{"RemoveMissingEntry", 0, "[A]\nk=1\n", Op::kRemove, "A.x", "", -2, "[A]\nk=1\n", ""},
    EditCase{"RemoveFromMissingBlock", 0, "[A]\nk=1\n", Op::kRemove, "a.k", "", -2, "[A]\nk=1\n", ""},
    EditCase{"RemoveBareKeyAnonymous", 1, "x=1\ny=2\n", Op::kRemove, "x", "", 0, "[anonymous]\ny=2\n", ""},
    EditCase{"RemoveEmptyKeyRefused", 0, "[A]\nk=1\n", Op::kRemove, "", "", EINVAL, "[A]\nk=1\n",
             "9 CFGRemoveData: m_pmCFGData is NULL\n"}),
    RowName());

// The stream writer and the file save must never disagree on a byte.
TEST(WriteData, SameBytesAsSave)
{
    const std::string inputs[] = {
        "",
        "# only a comment\n",
        "# a\n; b\n[B]\nk = v\r\n\n[A]\n#c\n=\n[A]\nlost=1\n[]\nx=y=z\n",
        "[Wide]\n" + std::string(3000, 'k') + "=" + std::string(5000, 'v') + "\n",
        "k=1\n[H]\n m = 2 \n",
    };
    const std::string data = ZELCONFIG_TEST_DATA;
    TempDir dir;
    int index = 0;
    for (const std::string& input : inputs) {
        for (unsigned mode : {0u, 1u}) {
            SCOPED_TRACE(testing::Message() << "input " << index << " mode " << mode);
            CCFGParser parser(dir.Write("in.cfg", input), mode);
            const std::string saved = dir.Path() + "/saved.cfg";
            ASSERT_EQ(parser.CFGSaveData(saved), 0);
            std::ostringstream os;
            ASSERT_EQ(parser.CFGWriteData(os), 0);
            EXPECT_EQ(os.str(), ReadFile(saved));
        }
        ++index;
    }
    std::ostringstream os;
    ASSERT_EQ(CCFGParser(data + "/example.cfg", 0).CFGWriteData(os), 0);
    EXPECT_EQ(os.str(), ReadFile(data + "/example.block.saved"));
}

TEST(WriteData, FailuresAndTheirMessages)
{
    capture_log::Reset();
    CCFGParser unparsed;
    std::ostringstream os;
    EXPECT_EQ(unparsed.CFGWriteData(os), EINVAL);
    EXPECT_EQ(unparsed.CFGAddData("A.b", "1"), EINVAL);
    EXPECT_EQ(unparsed.CFGRemoveData("A.b"), EINVAL);
    EXPECT_EQ(os.str(), "");
    EXPECT_EQ(capture_log::Text(), "9 CFGWriteData: m_pmCFGData is NULL\n"
                                   "9 CFGAddData: m_pmCFGData is NULL\n"
                                   "9 CFGRemoveData: m_pmCFGData is NULL\n");

    TempDir dir;
    CCFGParser parser(dir.Write("in.cfg", "[A]\nk=v\n"), 0);
    std::ostringstream broken;
    broken.setstate(std::ios::badbit);
    capture_log::Reset();
    EXPECT_EQ(parser.CFGWriteData(broken), -2);
    EXPECT_EQ(capture_log::Text(), "9 CFGWriteData: Cannot Write Stream\n");
    // An empty model writes nothing and is no failure.
    CCFGParser empty(dir.Write("empty.cfg", ""), 0);
    std::ostringstream none;
    EXPECT_EQ(empty.CFGWriteData(none), 0);
    EXPECT_EQ(none.str(), "");
}

} // namespace
