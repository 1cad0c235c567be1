// Lookup: the key's split, every match appended, and the separator rule.
#include <string>

#include <gtest/gtest.h>

#include "CCFGParser.h"
#include "CaptureLog.h"
#include "RowName.h"
#include "TestFiles.h"

namespace {

const char kFile[] = "[A]\nb=1\nc=2\nb=3\nb.c=dotted\n"
                     "[E]\nb=\nb=7\nonly=\n"
                     "[]\n=root\n"
                     "[a]\nb=lower\n"
                     "[Empty]\n";

struct LookupCase
{
    const char* name;
    unsigned mode;
    std::string key;
    std::string before; // what the caller's string holds already
    int status;
    std::string after;  // the caller's string afterwards
    std::string fresh;  // what the one-argument overload returns
};

class LookupTable : public testing::TestWithParam<LookupCase>
{
};

TEST_P(LookupTable, FindsAndAppends)
{
    const LookupCase& row = GetParam();
    TempDir dir;
    const std::string path =
        dir.Write("x.cfg", std::string(kFile) + (row.mode != 0 ? "plain=anon\n" : ""));
    CCFGParser parser(path, row.mode);
    capture_log::Reset();

    std::string value = row.before;
    EXPECT_EQ(parser.CFGGetData(row.key, value), row.status);
    EXPECT_EQ(value, row.after);
    EXPECT_EQ(parser.CFGGetData(row.key), row.fresh);
    EXPECT_TRUE(capture_log::Entries().empty()) << "lookups log nothing";
}

INSTANTIATE_TEST_SUITE_P(
    Keys, LookupTable,
    testing::Values(
        LookupCase{"EveryMatchInFileOrder", 0, "A.b", "", 0, "1\n3", "1\n3"},
        LookupCase{"AppendsAfterCallerText", 0, "A.c", "x", 0, "x\n2", "2"},
        LookupCase{"MissLeavesCallerText", 0, "A.zz", "x", -2, "x", ""},
        LookupCase{"FurtherDotsBelongToEntry", 0, "A.b.c", "", 0, "dotted", "dotted"},
        LookupCase{"EmptyFirstMatchGivesNoSeparator", 0, "E.b", "", 0, "7", "7"},
        LookupCase{"EmptyOnlyMatchStillFound", 0, "E.only", "", 0, "", ""},
        LookupCase{"EmptyNamesAreLookedUp", 0, ".", "", 0, "root", "root"},
        LookupCase{"BareKeyInBlockModeMeansEmptyNames", 0, "b", "", 0, "root", "root"},
        LookupCase{"EmptyKeyMisses", 0, "", "x", -2, "x", ""},
        LookupCase{"BlockNamesAreCaseSensitive", 0, "a.b", "", 0, "lower", "lower"},
        LookupCase{"EntryNamesAreCaseSensitive", 0, "A.B", "", -2, "", ""},
        LookupCase{"BlockWithoutEntriesMisses", 0, "Empty.x", "", -2, "", ""},
        LookupCase{"MissingBlockMisses", 0, "Nope.b", "", -2, "", ""},
        LookupCase{"BareKeyInAnonymousMode", 1, "plain", "", 0, "anon", "anon"},
        LookupCase{"DottedKeyInAnonymousMode", 1, "anonymous.plain", "", 0, "anon", "anon"},
        LookupCase{"TrailingDotMeansEmptyEntry", 0, "A.", "", -2, "", ""}),
    RowName());

TEST(Lookup, WithoutModelEveryKeyMisses)
{
    CCFGParser parser;
    std::string value = "x";
    EXPECT_EQ(parser.CFGGetData("A.b", value), -2);
    EXPECT_EQ(value, "x");
    EXPECT_EQ(parser.CFGGetData("A.b"), "");
}

TEST(Lookup, NullBlockInMapIsPassedOver)
{
    TempDir dir;
    CCFGParser parser(dir.Write("x.cfg", "[A]\nb=1\n"));
    (*parser.m_pmCFGData)["B"] = nullptr;
    EXPECT_EQ(parser.CFGGetData("B.b"), "");
    EXPECT_EQ(parser.CFGGetData("A.b"), "1");
}

} // namespace
