// Document::Lint and XmlDocument::Lint: what each format's reading drops or
// changes, where it stands, from the document's own text and mode, after a
// failed load too. zelcfg's wording of every finding is pinned by
// tool_zelcfg_test; these rows pin what the library promises on its own.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "TestFiles.h"
#include "ZelConfigDocument.h"
#include "ZelConfigXmlDocument.h"

namespace {

using zelconfig::Document;
using zelconfig::Finding;

// The findings as "line:column: message" lines, so that a row reads as one string.
std::string Shown(const std::vector<Finding>& findings)
{
    std::string out;
    for (const Finding& finding : findings) {
        out += std::to_string(finding.line) + ":" + std::to_string(finding.column) + ": " + finding.message + "\n";
    }
    return out;
}

// A caller's check of each value, as zelcfg's --type is: it names a value
// holding '!', as it was read, carriage return and all.
std::string Bang(const std::string& value)
{
    return value.find('!') == std::string::npos ? "" : "bang in [" + value + "]";
}

struct CfgRow
{
    const char* name;
    std::string text; // the file; no file at all when "-"
    Document::Mode mode;
    bool check;       // Lint(Bang) rather than Lint()
    int status;       // of Load
    std::string findings;
};
using CfgTable = testing::TestWithParam<CfgRow>;

TEST_P(CfgTable, FindsFromTheDocumentsOwnText)
{
    const CfgRow& row = GetParam();
    TempDir dir;
    const std::string path = row.text == "-" ? dir.Path() + "/none.cfg" : dir.Write("a.cfg", row.text);
    Document document(row.mode);
    EXPECT_EQ(document.Load(path), row.status);
    // The text stays whether or not it parsed: that is what is linted.
    EXPECT_EQ(document.Text(), row.text == "-" ? "" : row.text);
    EXPECT_EQ(Shown(row.check ? document.Lint(Bang) : document.Lint()), row.findings);
}

const Document::Mode kBlock = Document::Mode::kBlock, kAnonymous = Document::Mode::kAnonymous;

INSTANTIATE_TEST_SUITE_P(Lint, CfgTable, testing::Values(
    CfgRow{"Clean", "# c\n[A]\n\nk=v\n", kBlock, true, 0, ""},
    CfgRow{"NothingLoaded", "-", kBlock, true, -2, ""},
    CfgRow{"AfterAFailedLoadTheRestToo", "[A]\nk=v\r\n[B\nj=1\n", kBlock, false, -1,
           "2:0: carriage return kept at the end of the value\n"
           "3:0: block header without ']': reading stops here and the rest of the file is lost\n"},
    CfgRow{"CheckSeesTheValueAsReadAfterTheFormatsOwn", "[A]\nk=a!\r\nk=b\nj=c!\n", kBlock, true, 0,
           "2:0: carriage return kept at the end of the value\n2:0: bang in [a!\r]\n"
           "3:0: entry 'A.k' is also on line 2: reads join the values with a line feed, and a set changes all of "
           "them\n4:0: bang in [c!]\n"},
    CfgRow{"CheckNotAskedWithoutIt", "[A]\nk=a!\n", kBlock, false, 0, ""},
    CfgRow{"BlanksKeptInBlockMode", "[A]\nk = v!\n", kBlock, true, 0,
           "2:0: blanks around the entry name and around the value are part of them in block mode: the library's "
           "key is 'A.k ' and the value is ' v!'\n2:0: bang in [ v!]\n"},
    CfgRow{"TrimmedInAnonymousMode", "k = v!\n[A]\nk=w\n", kAnonymous, true, 0,
           "1:0: bang in [v!]\n3:0: entry 'k' is also on line 1: reads join the values with a line feed, and a set "
           "changes all of them\n"},
    CfgRow{"SettledAtTheEndInLineOrder", "[A]\na=1\n[A]\nb=2\n# x\n# y\n", kBlock, false, 0,
           "3:0: block header repeats line 1: its 1 entry is lost\n"
           "5:0: comment lines 5-6 at the end of the file: a save drops them\n"}),
    RowName());

struct XmlRow
{
    const char* name;
    std::string text;
    int status;          // of Parse
    std::string set;     // a value for the key k, set before the lint, when not empty
    std::string findings;
};
using XmlTable = testing::TestWithParam<XmlRow>;

TEST_P(XmlTable, FindsInTheTextAsItStands)
{
    const XmlRow& row = GetParam();
    zelconfig::XmlDocument document;
    EXPECT_EQ(document.Parse(row.text), row.status);
    if (!row.set.empty()) {
        ASSERT_EQ(document.Set("k", row.set), 0) << document.Error();
    }
    EXPECT_EQ(Shown(document.Lint()), row.findings);
}

INSTANTIATE_TEST_SUITE_P(Lint, XmlTable, testing::Values(
    XmlRow{"Clean", "<r a=\"1\"><k>v</k></r>\n", 0, "", ""},
    XmlRow{"NotLoaded", "<r>\n<k></r>", -1, "", ""},
    XmlRow{"ColumnsInCharacters", "<r>\n<e \xC3\xA9=\"1\" \xC3\xA9=\"2\"/><k>\xFF</k></r>", 0, "",
           "2:10: duplicate attribute '\xC3\xA9': the element has one of that name at line 2, column 4 already; XML "
           "allows one, and keys read the first\n2:20: invalid UTF-8 in text: stricter XML readers refuse the file\n"},
    XmlRow{"AfterAnEdit", "<r>\n  <k>v</k>\n</r>\n", 0, "ok \xC3",
           "2:9: invalid UTF-8 in text: stricter XML readers refuse the file\n"},
    XmlRow{"EditedAway", "<r><k>\xFF</k></r>", 0, "v", ""}),
    RowName());

} // namespace
