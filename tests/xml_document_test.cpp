// zelconfig::XmlDocument: edits change only their bytes, reads after an
// edit see it, refusals write nothing and say why, saves are guarded.

#include <memory>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "TestFiles.h"
#include "ZelConfigXmlDocument.h"

namespace {

using zelconfig::XmlDocument;

enum class Op { kSet, kSetAll, kSetAttribute, kAdd, kRemove, kRemoveAll };

struct EditRow
{
    const char* name;
    std::string text;
    Op op;
    std::string key, value;
    int status;
    std::string after; // the text after the edit; empty: unchanged
    std::string error; // Error() after a refusal
    std::string read = {}; // Get(key) after the edit, when not empty
};

int Apply(XmlDocument& document, const EditRow& row)
{
    switch (row.op) {
    case Op::kSet:
        return document.Set(row.key, row.value);
    case Op::kSetAll:
        return document.SetAll(row.key, row.value);
    case Op::kSetAttribute:
        return document.SetAttribute(row.key, row.value);
    case Op::kAdd:
        return document.Add(row.key, row.value);
    case Op::kRemove:
        return document.Remove(row.key);
    case Op::kRemoveAll:
        break;
    }
    return document.RemoveAll(row.key);
}

using EditTable = testing::TestWithParam<EditRow>;

TEST_P(EditTable, ChangesOnlyItsBytesAndReadsSeeIt)
{
    const EditRow& row = GetParam();
    XmlDocument document;
    ASSERT_EQ(document.Parse(row.text), 0) << document.Error();
    EXPECT_EQ(Apply(document, row), row.status);
    const std::string after = row.after.empty() ? row.text : row.after;
    EXPECT_EQ(document.Text(), after);
    EXPECT_EQ(document.Changed(), after != row.text);
    if (row.status != 0) {
        EXPECT_EQ(document.Error(), row.error);
    }
    if (!row.read.empty()) {
        std::string value;
        EXPECT_EQ(document.Get(row.key, value), row.read == "-" ? -2 : 0);
        EXPECT_EQ(value, row.read == "-" ? "" : row.read);
    }
}

const std::string kTwo = "<a>\n  <b>1</b>\n  <!-- c -->\n  <b x='1'>2</b>\n</a>\n";
const std::string kDotted = "<p>\n\t<m.c.s>1.6</m.c.s>\n</p>\n";
constexpr int kAmbiguous = zelconfig::kEditAmbiguous;

INSTANTIATE_TEST_SUITE_P(XmlDocument, EditTable, testing::Values(
    EditRow{"SetOne", kTwo, Op::kSet, "b[2]", "9", 0, "<a>\n  <b>1</b>\n  <!-- c -->\n  <b x='1'>9</b>\n</a>\n", "",
            "9"},
    EditRow{"SetOfSeveralRefused", kTwo, Op::kSet, "b", "9", kAmbiguous, "",
            "b names 2 elements, on lines 2 and 4; an index picks one, as in b[1]"},
    EditRow{"LinesCountedInTheBytesAsGiven", "<a>\n  <b\n  >1</b>\n  <b>2</b>\n</a>\n", Op::kSet, "b", "9",
            kAmbiguous, "", "b names 2 elements, on lines 2 and 4; an index picks one, as in b[1]"},
    EditRow{"SetAll", kTwo, Op::kSetAll, "b", "9", 0, "<a>\n  <b>9</b>\n  <!-- c -->\n  <b x='1'>9</b>\n</a>\n", "",
            "9\n9"},
    EditRow{"SetMissingAddsNothing", kTwo, Op::kSet, "c", "9", -2, "", "no key c"},
    EditRow{"SetMissesDottedName", kDotted, Op::kSet, "m.c.s", "11", -2, "",
            "no key m.c.s; \"m.c.s\" names what is there: a name that holds dots is quoted"},
    EditRow{"SetQuotedDottedName", kDotted, Op::kSet, "\"m.c.s\"", "11", 0, "<p>\n\t<m.c.s>11</m.c.s>\n</p>\n", "",
            "11"},
    EditRow{"SetValueXmlCannotHold", kTwo, Op::kSet, "b[1]", std::string("a\0b", 3), 22, "",
            "an XML file cannot hold a NUL byte or another control character"},
    EditRow{"SetBadKey", kTwo, Op::kSet, "b..c", "1", 22, "", "an empty part names nothing: b..c"},
    EditRow{"AddIndentedAsSiblings", kTwo, Op::kAdd, "d", "4", 0,
            "<a>\n  <b>1</b>\n  <!-- c -->\n  <b x='1'>2</b>\n  <d>4</d>\n</a>\n", "", "4"},
    EditRow{"AddOfWhatIsThereRefused", kTwo, Op::kAdd, "b[1]", "4", kAmbiguous, "", "b[1] is there already"},
    EditRow{"SetAttributeAdds", kTwo, Op::kSetAttribute, "b[1].y", "2", 0,
            "<a>\n  <b y=\"2\">1</b>\n  <!-- c -->\n  <b x='1'>2</b>\n</a>\n", "", "2"},
    EditRow{"SetAttributeKeepsQuotes", kTwo, Op::kSetAttribute, "b[2].x", "3", 0,
            "<a>\n  <b>1</b>\n  <!-- c -->\n  <b x='3'>2</b>\n</a>\n", "", "3"},
    EditRow{"RemoveOneWithItsLine", kTwo, Op::kRemove, "b[1]", "", 0, "<a>\n  <!-- c -->\n  <b x='1'>2</b>\n</a>\n",
            "", "2"},
    EditRow{"RemoveOfSeveralRefused", kTwo, Op::kRemove, "b", "", kAmbiguous, "",
            "b names 2 elements, on lines 2 and 4; an index picks one, as in b[1]"},
    EditRow{"RemoveAll", kTwo, Op::kRemoveAll, "b", "", 0, "<a>\n  <!-- c -->\n</a>\n", "", "-"},
    EditRow{"RemoveMissing", kTwo, Op::kRemove, "c", "", -2, "", "no key c"}),
    RowName());

// Several edits before one save: each sees the ones before it, and the file
// gets them all at once, or nothing when another program changed it.
TEST(XmlDocumentFile, EditsThenOneGuardedSave)
{
    TempDir dir;
    const std::string path = dir.Write("d.xml", "<d>\r\n  <n>1</n>\r\n</d>\r\n");
    auto document = std::make_unique<XmlDocument>(); // holds the lock until reset
    ASSERT_EQ(document->Load(path, zelconfig::Document::kLock), 0) << document->Error();
    EXPECT_EQ(document->Add("m", "2"), 0);
    EXPECT_EQ(document->Set("m", "3"), 0) << "the added element is read back";
    EXPECT_EQ(document->SetAttribute("m.k", "v"), 0);
    EXPECT_EQ(ReadFile(path), "<d>\r\n  <n>1</n>\r\n</d>\r\n") << "nothing written before the save";
    EXPECT_EQ(document->Save(), 0) << document->Error();
    EXPECT_EQ(ReadFile(path), "<d>\r\n  <n>1</n>\r\n  <m k=\"v\">3</m>\r\n</d>\r\n");
    EXPECT_FALSE(document->Changed());
    document.reset();

    XmlDocument unlocked;
    ASSERT_EQ(unlocked.Load(path), 0);
    EXPECT_EQ(unlocked.Set("n", "5"), 0);
    dir.Write("d.xml", "<d/>\n");
    EXPECT_EQ(unlocked.Save(), zelconfig::kReplaceChanged);
    EXPECT_EQ(ReadFile(path), "<d/>\n");
}

// Both documents read standard input, or any descriptor, from where it
// stands to its end; one that cannot be read is -2 with the reason.
TEST(DocumentsRead, WhatADescriptorHoldsFromItsPosition)
{
    int pipeEnds[2];
    ASSERT_EQ(::pipe(pipeEnds), 0);
    const std::string bytes = "skip<a><b>1</b></a>";
    ASSERT_EQ(::write(pipeEnds[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    ::close(pipeEnds[1]);
    char skipped[4];
    ASSERT_EQ(::read(pipeEnds[0], skipped, sizeof skipped), 4);
    XmlDocument xml;
    EXPECT_EQ(xml.Read(pipeEnds[0]), 0) << xml.Error();
    EXPECT_EQ(xml.Text(), "<a><b>1</b></a>");
    ::close(pipeEnds[0]);
    EXPECT_EQ(xml.Read(pipeEnds[0]), -2);
    EXPECT_EQ(xml.Error(), "Bad file descriptor");

    ASSERT_EQ(::pipe(pipeEnds), 0);
    ASSERT_EQ(::write(pipeEnds[1], "[A]\nk=1\n", 8), 8);
    ::close(pipeEnds[1]);
    zelconfig::Document cfg;
    EXPECT_EQ(cfg.Read(pipeEnds[0]), 0) << cfg.Error();
    EXPECT_EQ(cfg.Get("A.k"), "1");
    EXPECT_EQ(cfg.Save(), 22) << "no file to save to";
    ::close(pipeEnds[0]);
}

struct LoadRow
{
    const char* name;
    std::string text;
    int status;
    std::string error;
};

using LoadTable = testing::TestWithParam<LoadRow>;

TEST_P(LoadTable, ErrorSaysWhereAndEditsAreRefused)
{
    const LoadRow& row = GetParam();
    XmlDocument document;
    EXPECT_EQ(document.Parse(row.text), row.status);
    EXPECT_EQ(document.Error(), row.error);
    EXPECT_EQ(document.Set("a", "1"), 22);
    EXPECT_EQ(document.Save(), 22);
}

INSTANTIATE_TEST_SUITE_P(XmlDocument, LoadTable, testing::Values(
    LoadRow{"Unclosed", "<a>\n<b>\n</a>\n", -1, "not well-formed XML at line 3, column 3: Start-end tags mismatch"},
    LoadRow{"DeclaredEntity", "<!DOCTYPE a [<!ENTITY e \"x\">]>\n<a>&e;</a>\n", -1,
            "line 1, column 14: entity declarations in a DOCTYPE are not supported"}),
    RowName());

} // namespace
