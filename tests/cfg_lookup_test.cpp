// Lookup: the key's split, every match appended, and the separator rule.
#include <gtest/gtest.h>

#include "CCFGParser.h"
#include "CaptureLog.h"
#include "TestFiles.h"

namespace {

const char kFile[] = "[A]\nb=1\nc=2\nb=3\nb.c=dotted\n[E]\nb=\nb=7\nonly=\n[]\n=root\n"
                     "[a]\nb=lower\n[L]\nlong entry name=1\nlong entry name=2\n[Empty]\n";

// `value` is what both overloads yield, starting from an empty string.
struct LookupCase { const char* name; unsigned mode; std::string key; int status; std::string value; };

using LookupTable = testing::TestWithParam<LookupCase>;

TEST_P(LookupTable, FindsEveryMatch)
{
    const LookupCase& row = GetParam();
    TempDir dir;
    // The extra entry would land in [Empty] in block mode; only anonymous mode gets it.
    const std::string text = std::string(kFile) + (row.mode != 0 ? "plain=anon\n" : "");
    CCFGParser parser(dir.Write("x.cfg", text), row.mode);
    capture_log::Reset();
    std::string value;
    EXPECT_EQ(parser.CFGGetData(row.key, value), row.status);
    EXPECT_EQ(value, row.value);
    EXPECT_EQ(parser.CFGGetData(row.key), row.value);
    EXPECT_EQ(capture_log::Text(), "") << "lookups log nothing";
}

INSTANTIATE_TEST_SUITE_P(Keys, LookupTable, testing::Values(
    LookupCase{"EveryMatchInFileOrder", 0, "A.b", 0, "1\n3"},
    LookupCase{"FurtherDotsBelongToEntry", 0, "A.b.c", 0, "dotted"},
    LookupCase{"EmptyFirstMatchGivesNoSeparator", 0, "E.b", 0, "7"},
    LookupCase{"EmptyOnlyMatchIsFound", 0, "E.only", 0, ""},
    LookupCase{"LoneDotMeansEmptyNames", 0, ".", 0, "root"},
    LookupCase{"BareKeyInBlockModeMeansEmptyNames", 0, "b", 0, "root"},
    LookupCase{"EmptyKeyMisses", 0, "", -2, ""},
    LookupCase{"CaseSensitiveBlocks", 0, "a.b", 0, "lower"},
    LookupCase{"CaseSensitiveEntries", 0, "A.B", -2, ""},
    LookupCase{"BlockWithoutEntriesMisses", 0, "Empty.x", -2, ""},
    LookupCase{"MissingBlockMisses", 0, "Nope.b", -2, ""},
    LookupCase{"BareKeyInAnonymousMode", 1, "plain", 0, "anon"},
    LookupCase{"DottedKeyInAnonymousMode", 1, "anonymous.b", 0, "1\n3\n\n7\nlower"}),
    RowName());

TEST(Lookup, AppendsToWhatTheCallerHolds)
{
    TempDir dir;
    CCFGParser parser(dir.Write("x.cfg", kFile));
    // A NULL block is passed over here, and by the destructor (LeakSanitizer
    // then checks that the other blocks are freed).
    (*parser.m_pmCFGData)["B"] = nullptr;
    std::string value = "x";
    EXPECT_EQ(parser.CFGGetData("A.c", value), 0);
    EXPECT_EQ(value, "x\n2");
    for (const char* miss : {"A.zz", "", "B.b"}) {
        EXPECT_EQ(parser.CFGGetData(miss, value), -2);
        EXPECT_EQ(CCFGParser().CFGGetData(miss, value), -2) << "no model";
    }
    EXPECT_EQ(value, "x\n2");
    std::string both = "L.long entry name"; // the key is the output too
    EXPECT_EQ(parser.CFGGetData(both, both), 0);
    EXPECT_EQ(both, "L.long entry name\n1\n2");
    std::string& first = parser.m_pmCFGData->at("L")->m_vecNodes[0].m_strValue;
    first = both.substr(0, 17); // an update's key that is a value it overwrites
    EXPECT_EQ(parser.CFGSetData(first, "new"), 0);
    EXPECT_EQ(parser.CFGGetData("L.long entry name"), "new\nnew");
}

} // namespace
