// zelcfg's outputs, exit statuses and saved files, one invocation per row.
#include <vector>

#include <gtest/gtest.h>

#include "RunTool.h"
#include "TestFiles.h"

namespace {

using namespace std::string_literals; // NUL-separated outputs

const std::string kSample = "# net\n[Net]\nHost=10.0.0.1\nPort=80\nPort=81\nRatio=0.1\nOn=True\n"
                            "Big=4294967296\nHex=0x1F\n[Log]\nLevel=warn\r\n";
const std::string kUnchanged = "(unchanged)";
const std::string kUnit = "[Unit]\nAfter=a\nAfter=b\nWants=w\n"; // a key of two entries
const std::string kLint = std::string(ZELCONFIG_TEST_DATA) + "/lint/";
const std::string kFindings = ReadFile(kLint + "every-finding.cfg");

struct ToolCase
{
    const char* name;
    std::string file, content;
    std::vector<std::string> args; // after the program's name
    int status;
    std::string out, err;
    std::string saved = kUnchanged; // the file afterwards
    std::string shell = "";         // after the command line: "<file"
};

using ToolTable = testing::TestWithParam<ToolCase>;

TEST_P(ToolTable, PrintsExitsAndSaves)
{
    const ToolCase& row = GetParam();
    TempDir dir;
    const std::string path = dir.Write(row.file, row.content);
    std::vector<std::string> args{ZELCFG_BINARY};
    args.insert(args.end(), row.args.begin(), row.args.end());
    const ToolResult result = RunTool(dir.Path(), args, "", row.shell);
    EXPECT_EQ(result.status, row.status);
    EXPECT_EQ(result.out, row.out);
    EXPECT_EQ(result.err, row.err);
    EXPECT_EQ(ReadFile(path), row.saved == kUnchanged ? row.content : row.saved);
}

INSTANTIATE_TEST_SUITE_P(Get, ToolTable, testing::Values(
    ToolCase{"String", "a.cfg", kSample, {"get", "a.cfg", "Net.Host"}, 0, "10.0.0.1\n", ""},
    ToolCase{"EveryEntryOfKey", "a.cfg", kSample, {"get", "a.cfg", "Net.Port"}, 0, "80\n81\n", ""},
    ToolCase{"TrailingCrDropped", "a.cfg", kSample, {"get", "a.cfg", "Log.Level"}, 0, "warn\n", ""},
    ToolCase{"IntHex", "a.cfg", kSample, {"get", "--type", "int", "a.cfg", "Net.Hex"}, 0, "31\n", ""},
    ToolCase{"IntOverflowPrintedAndFlagged", "a.cfg", kSample, {"get", "a.cfg", "Net.Big", "--type=int"},
             3, "-1\n", "zelcfg: a.cfg: Net.Big: the value is out of range; printed as converted\n"},
    ToolCase{"FloatShortest", "a.cfg", kSample, {"get", "a.cfg", "Net.Ratio", "--type", "float"}, 0, "0.1\n", ""},
    ToolCase{"Double", "a.cfg", kSample, {"get", "a.cfg", "Net.Ratio", "--type", "double"}, 0, "0.1\n", ""},
    ToolCase{"BoolAnyCase", "a.cfg", kSample, {"get", "a.cfg", "Net.On", "--type", "bool"}, 0, "true\n", ""},
    ToolCase{"NotABool", "a.cfg", kSample, {"get", "a.cfg", "Net.Host", "--type", "bool"}, 3, "",
             "zelcfg: a.cfg: Net.Host: the value is neither \"true\" nor \"false\"\n"},
    ToolCase{"MissingKey", "a.cfg", kSample, {"get", "a.cfg", "Net.port"}, 1, "",
             "zelcfg: a.cfg: no key Net.port\n"},
    ToolCase{"MissingKeyWithBlanksInTheFile", "pip.cfg", "[global]\ncert = a.pem\n", {"get", "pip.cfg", "global.cert"},
             1, "", "zelcfg: pip.cfg: no key global.cert; line 2 holds 'global.cert ': blanks around an entry name "
             "are part of it in block mode, so address it as 'global.cert ' (quoted)\n"},
    ToolCase{"BlanksHintInDottedBlockNamesItApart", "a.cfg", "[a.b]\nk =1\n", {"get", "a.cfg", "a.b", "k"}, 1, "",
             "zelcfg: a.cfg: no key [a.b]k; line 2 holds '[a.b]k ': blanks around an entry name are part of it in "
             "block mode, so address it as 'a.b' 'k ' (quoted)\n"},
    ToolCase{"TwoEntriesUnderOneRepeatedHeader", "l.cfg", "[D]\n[D]\nO=1\nO=2\n", {"get", "l.cfg", "D.O"}, 1, "",
             "zelcfg: l.cfg: no key D.O; line 3 holds it under a repeated header (line 2), which the library does "
             "not read: merge the two blocks; line 4 holds it under a repeated header (line 2), which the library "
             "does not read: merge the two blocks\n"},
    ToolCase{"MissingKeyInBlockWithBlanks", "a.cfg", "[ s ]\na=1\n[t.u ]\n", {"get", "a.cfg", "s.a"}, 1, "",
             "zelcfg: a.cfg: no key s.a; line 1 holds the block ' s ': blanks around a block name are part of it, "
             "so address it as ' s .a' (quoted)\n"},
    ToolCase{"MissingKeyInDottedBlockWithBlanks", "a.cfg", "[ s ]\na=1\n[t.u ]\n", {"get", "a.cfg", "t.u", "a"},
             1, "", "zelcfg: a.cfg: no key [t.u]a; line 3 holds the block 't.u ': blanks around a block name are "
             "part of it, so address it as 't.u ' 'a' (quoted)\n"},
    ToolCase{"MissingFile", "a.cfg", "", {"get", "b.cfg", "A.b"}, 2, "",
             "zelcfg: b.cfg: cannot be read: No such file or directory\n"},
    ToolCase{"HeaderWithoutBracket", "a.cfg", "[A\nk=1\n", {"get", "a.cfg", "A.k"}, 2, "",
             "zelcfg: a.cfg: line 1: a block header has no ']'\n"},
    ToolCase{"EntryAboveHeader", "a.cfg", "k=1\n[A]\n", {"get", "a.cfg", "A.k"}, 2, "",
             "zelcfg: a.cfg: line 1: an entry stands above the first block header\n"},
    ToolCase{"ByteOrderMarkNamed", "a.cfg", "\xEF\xBB\xBF[A]\nk=1\n", {"get", "a.cfg", "A.k"}, 2, "",
             "zelcfg: a.cfg: line 2: an entry stands above the first block header (a byte-order mark: its three "
             "bytes start the first line, which is therefore no header or comment)\n"},
    ToolCase{"XmlNamedCfgHintsXml", "p.cfg", "<?xml version=\"1.0\"?>\n<a><b>1</b></a>\n", {"get", "p.cfg", "a.b"},
             2, "", "zelcfg: p.cfg: line 1: an entry stands above the first block header; it starts with '<': "
             "--xml reads it as XML\n"},
    ToolCase{"KeyOfDottedBlockHintsApart", "d.cfg", "[Net.eth0]\nAddress=1\n", {"get", "d.cfg", "Net.eth0.Address"},
             1, "", "zelcfg: d.cfg: no key Net.eth0.Address; line 1 holds the block 'Net.eth0', whose name holds "
             "'.': address its entry as 'Net.eth0' 'Address' (BLOCK ENTRY apart)\n"},
    ToolCase{"InfIsAnonymous", "a.inf", " k = 1 \n", {"get", "a.inf", "k"}, 0, "1\n", ""},
    ToolCase{"ForcedAnonymous", "a.conf", "[X]\nk=1\n", {"--anonymous", "get", "a.conf", "k"}, 0, "1\n", ""},
    ToolCase{"ForcedBlock", "a.inf", "[X]\n k=1\n", {"get", "--block", "a.inf", "X. k"}, 0, "1\n", ""},
    ToolCase{"BlockAndEntryApartReachDottedBlock", "a.cfg", "[a.b]\nk=1\n", {"get", "a.cfg", "a.b", "k"}, 0,
             "1\n", ""},
    ToolCase{"EmptyKeyNamesNothing", "a.cfg", "[]\n=v\n", {"get", "a.cfg", ""}, 1, "", "zelcfg: a.cfg: no key \n"},
    ToolCase{"EmptyBlockAndEntryApart", "a.cfg", "[]\n=v\n", {"get", "a.cfg", "", ""}, 0, "v\n", ""},
    ToolCase{"NullEndsEveryValueEmptyOnesToo", "a.cfg", "[N]\nP=\nP=b\r\n", {"get", "-z", "a.cfg", "N.P"}, 0,
             "\0b\0"s, ""},
    ToolCase{"StandardInput", "in", "[N]\nP=1\n", {"get", "-", "N.P"}, 0, "1\n", "", kUnchanged, "<in"},
    ToolCase{"StandardInputAnonymous", "in", " k = 1 \n", {"get", "--anonymous", "-", "k"}, 0, "1\n", "",
             kUnchanged, "<in"},
    ToolCase{"PartialIntPrintedWithoutStrict", "a.cfg", "[N]\nP=80abc\n", {"get", "--type", "int", "a.cfg", "N.P"},
             0, "80\n", ""},
    ToolCase{"StrictTrailingText", "a.cfg", "[N]\nP=80abc\n", {"get", "--strict", "--type", "int", "a.cfg", "N.P"},
             3, "", "zelcfg: a.cfg: N.P: an int reads only '80' of '80abc'\n"},
    ToolCase{"StrictEmpty", "a.cfg", "[N]\nP=\n", {"get", "--strict", "--type", "double", "a.cfg", "N.P"}, 3, "",
             "zelcfg: a.cfg: N.P: the value is empty: a double reads it as 0\n"},
    ToolCase{"StrictNoNumber", "a.cfg", "[N]\nP=yes\n", {"get", "--strict", "--type", "int", "a.cfg", "N.P"}, 3,
             "", "zelcfg: a.cfg: N.P: 'yes' holds no number: an int reads it as 0\n"},
    ToolCase{"StrictDecimalBeyondInt", "a.cfg", "[N]\nP=4294967295\n",
             {"get", "--strict", "--type", "int", "a.cfg", "N.P"}, 3, "",
             "zelcfg: a.cfg: N.P: '4294967295' is out of range for an int\n"},
    ToolCase{"StrictFloatOutOfRange", "a.cfg", "[N]\nP=1e39\n", {"get", "--strict", "--type", "float", "a.cfg", "N.P"},
             3, "", "zelcfg: a.cfg: N.P: '1e39' is out of range for a float\n"},
    ToolCase{"StrictSeveralEntries", "a.cfg", kSample, {"get", "--strict", "--type", "int", "a.cfg", "Net.Port"}, 3,
             "", "zelcfg: a.cfg: Net.Port: an int reads only '80' of '80\n81'\n"},
    ToolCase{"StrictWholeHexWithCrlf", "a.cfg", "[N]\r\nP=0xffffffff\r\n",
             {"get", "--strict", "--type", "int", "a.cfg", "N.P"}, 0, "-1\n", ""},
    ToolCase{"StrictTextAfterNul", "a.cfg", "[N]\nP=80\0abc\n"s,
             {"get", "--strict", "--type", "int", "a.cfg", "N.P"}, 3, "",
             "zelcfg: a.cfg: N.P: an int reads only '80' of '80\0abc'\n"s},
    ToolCase{"StrictBoolQuotedWithoutLineEnd", "a.cfg", "[N]\r\nB=yes\r\n",
             {"get", "--strict", "--type", "bool", "a.cfg", "N.B"}, 3, "",
             "zelcfg: a.cfg: N.B: 'yes' is neither true nor false\n"},
    ToolCase{"StrictBoolTextAfterNul", "a.cfg", "[N]\nB=true\0x\n"s,
             {"get", "--strict", "--type", "bool", "a.cfg", "N.B"}, 3, "",
             "zelcfg: a.cfg: N.B: a bool reads only 'true' of 'true\0x'\n"s},
    ToolCase{"StrictWholeFloat", "a.cfg", "[N]\nP=1e3\n", {"get", "--strict", "--type", "float", "a.cfg", "N.P"},
             0, "1000\n", ""}),
    RowName());

INSTANTIATE_TEST_SUITE_P(Edit, ToolTable, testing::Values(
    ToolCase{"SetEveryEntryWithAll", "a.cfg", "[N]\n# p\nP=1\nP=2\n", {"set", "--all", "a.cfg", "N.P", "3"}, 0, "",
             "", "[N]\n# p\nP=3\nP=3\n"},
    ToolCase{"SetRepeatedKeyRefused", "g.cfg", kUnit, {"set", "g.cfg", "Unit.After", "x"}, 2, "",
             "zelcfg: g.cfg: Unit.After names 2 entries (lines 2 and 3): --all sets every one, --index N the Nth, "
             "--add appends another\n"},
    ToolCase{"SetIndexOfRepeatedKey", "g.cfg", kUnit, {"set", "--index", "2", "g.cfg", "Unit.After", "x"}, 0, "", "",
             "[Unit]\nAfter=a\nAfter=x\nWants=w\n"},
    ToolCase{"SetIndexBeyondTheEntries", "g.cfg", kUnit, {"set", "--index=3", "g.cfg", "Unit.After", "x"}, 1, "",
             "zelcfg: g.cfg: no entry 3 of Unit.After: it names 2 entries (lines 2 and 3)\n"},
    ToolCase{"SetAddAfterTheLastOfTheKey", "g.cfg", kUnit, {"set", "--add", "g.cfg", "Unit.After", "c"}, 0, "", "",
             "[Unit]\nAfter=a\nAfter=b\nAfter=c\nWants=w\n"},
    ToolCase{"SetAddOfANewKeyAdds", "g.cfg", kUnit, {"set", "--add", "g.cfg", "Unit.Before", "c"}, 0, "", "",
             kUnit + "Before=c\n"},
    ToolCase{"SetAllAndIndexExclude", "g.cfg", kUnit, {"set", "--all", "--index", "1", "g.cfg", "Unit.After", "c"}, 2,
             "", "zelcfg: --all, --index and --add exclude each other\nTry 'zelcfg --help'.\n"},
    ToolCase{"IndexFromOne", "g.cfg", kUnit, {"unset", "--index", "0", "g.cfg", "Unit.After"}, 2, "",
             "zelcfg: --index needs a whole number from 1, the entry's place among the key's in file order\n"
             "Try 'zelcfg --help'.\n"},
    ToolCase{"UnsetRepeatedKeyRefused", "g.cfg", kUnit, {"unset", "g.cfg", "Unit.After"}, 2, "",
             "zelcfg: g.cfg: Unit.After names 2 entries (lines 2 and 3): --all removes every one, --index N the "
             "Nth\n"},
    ToolCase{"UnsetIndexOfRepeatedKey", "g.cfg", kUnit, {"unset", "--index", "1", "g.cfg", "Unit.After"}, 0, "", "",
             "[Unit]\nAfter=b\nWants=w\n"},
    ToolCase{"UnsetAllOfRepeatedKey", "g.cfg", kUnit, {"unset", "--all", "g.cfg", "Unit.After"}, 0, "", "",
             "[Unit]\nWants=w\n"},
    ToolCase{"AddRefusedOnXml", "a.xml", "<a><b>1</b></a>\n", {"set", "--add", "a.xml", "a.b", "2"}, 2, "",
             "zelcfg: a.xml: --index and --add work on CFG and INI files only; an XML key takes [N]\n"},
    ToolCase{"SetAppendsAndCreatesBlock", "a.cfg", "[N]\nP=1\n# end\n", {"set", "a.cfg", "M.Q", "x y"}, 0, "",
             "", "[N]\nP=1\n[M]\nQ=x y\n# end\n"},
    ToolCase{"SetNormalise", "a.cfg", "[B]\nb=1\n\n[A]\na = 1\nnoise\n",
             {"set", "--normalise", "a.cfg", "B.b", "2"}, 0, "", "", "[A]\na = 1\n[B]\nb=2\n"},
    ToolCase{"SetKeepsCrlfInBlockMode", "a.cfg", "[N]\r\nP=1\r\n", {"set", "a.cfg", "N.Q", "2"}, 0, "", "",
             "[N]\r\nP=1\r\nQ=2\r\n"},
    ToolCase{"SetSameValueOnCrlfLastLineWithoutFeed", "a.cfg", "[N]\r\nP=1", {"set", "a.cfg", "N.P", "1"}, 0, "", ""},
    ToolCase{"SetFileWithLongestName", std::string(251, 'n') + ".cfg", "[N]\nP=1\n",
             {"set", std::string(251, 'n') + ".cfg", "N.P", "2"}, 0, "", "", "[N]\nP=2\n"},
    ToolCase{"SetRefusesNameWithBlanks", "pip.cfg", "[global]\ncert = a.pem\n", {"set", "pip.cfg", "global.cert", "b"},
             2, "", "zelcfg: pip.cfg: refusing to add global.cert; line 2 holds 'global.cert ': blanks around an "
             "entry name are part of it in block mode, so address it as 'global.cert ' (quoted)\n"},
    ToolCase{"SetRefusesKeyUnderRepeatedHeader", "l.cfg", "[D]\nB=80\n[D]\nO=land\n",
             {"set", "l.cfg", "D.O", "port"}, 2, "", "zelcfg: l.cfg: refusing to add D.O; line 4 holds it under a "
             "repeated header (line 3), which the library does not read: merge the two blocks\n"},
    ToolCase{"NormaliseRefusedWhenItWouldLoseEntries", "l.cfg", "[D]\nB=80\n[D]\nO=land\n",
             {"set", "--normalise", "l.cfg", "D.B", "90"}, 2, "", "zelcfg: l.cfg: refusing to normalise: 1 entries "
             "under repeated block headers would be lost ('zelcfg lint' shows where)\n"},
    ToolCase{"SetRefusesBlockWithBlanks", "a.cfg", "[ s ]\na=1\n", {"set", "a.cfg", "s.a", "2"}, 2, "",
             "zelcfg: a.cfg: refusing to add s.a; line 1 holds the block ' s ': blanks around a block name are part "
             "of it, so address it as ' s .a' (quoted)\n"},
    ToolCase{"SetNegativeValue", "a.cfg", "[N]\nP=1\n", {"set", "a.cfg", "N.P", "-5", "--type", "int"}, 0,
             "", "", "[N]\nP=-5\n"},
    ToolCase{"SetOptionLikeValue", "a.cfg", "[N]\n", {"set", "a.cfg", "N.P", "--", "--x"}, 0, "", "",
             "[N]\nP=--x\n"},
    ToolCase{"SetIntWrittenAsLibrary", "a.cfg", "[N]\n", {"set", "a.cfg", "N.P", "0x10", "--type", "int"}, 0,
             "", "", "[N]\nP=16\n"},
    ToolCase{"SetIntHasNoOctal", "a.cfg", "[N]\n", {"set", "a.cfg", "N.P", "010", "--type", "int"}, 0, "", "",
             "[N]\nP=10\n"},
    ToolCase{"SetFloatOutOfRange", "a.cfg", "[N]\n", {"set", "a.cfg", "N.F", "1e39", "--type", "float"}, 2, "",
             "zelcfg: a.cfg: '1e39' is no number in range\n"},
    ToolCase{"SetFloatWrittenAsLibrary", "a.cfg", "[N]\n", {"set", "a.cfg", "N.F", "0.1", "--type", "float"},
             0, "", "", "[N]\nF=0.1\n"},
    ToolCase{"SetDoubleLossyWarns", "a.cfg", "[N]\n", {"set", "--type", "double", "a.cfg", "N.F", "3.14159265358979"},
             0, "", "zelcfg: a.cfg: warning: '3.14159265358979' is written as '3.14159', which reads back as another "
             "double (the library's setters keep six significant digits)\n", "[N]\nF=3.14159\n"},
    ToolCase{"SetFloatLossyStrictRefused", "a.cfg", "[N]\n",
             {"set", "--strict", "--type", "float", "a.cfg", "N.F", "1234567"}, 3, "",
             "zelcfg: a.cfg: '1234567' is written as '1.23457e+06', which reads back as another float (the "
             "library's setters keep six significant digits)\n"},
    ToolCase{"SetDoubleExactStrict", "a.cfg", "[N]\n", {"set", "--strict", "--type", "double", "a.cfg", "N.F", "2.5"},
             0, "", "", "[N]\nF=2.5\n"},
    ToolCase{"SetBool", "a.cfg", "[N]\n", {"set", "a.cfg", "N.B", "1", "--type", "bool"}, 0, "", "",
             "[N]\nB=TRUE\n"},
    ToolCase{"SetBadInt", "a.cfg", "[N]\n", {"set", "a.cfg", "N.P", "12x", "--type", "int"}, 2, "",
             "zelcfg: a.cfg: '12x' is no int in range\n"},
    ToolCase{"SetKeyWithoutDot", "a.cfg", "[N]\n", {"set", "a.cfg", "P", "1"}, 2, "",
             "zelcfg: a.cfg: the key 'P' is not BLOCK.ENTRY\n"},
    ToolCase{"SetEntryReadAsComment", "a.cfg", "[N]\n", {"set", "a.cfg", "N.#P", "1"}, 2, "",
             "zelcfg: a.cfg: an entry name cannot hold '=' or a line feed, nor begin with '#', ';' or '['; "
             "a value cannot hold a line feed\n"},
    ToolCase{"SetValueWithLineFeed", "a.cfg", "[N]\n", {"set", "a.cfg", "N.P", "1\n[X]"}, 2, "",
             "zelcfg: a.cfg: a value cannot hold a line feed\n"},
    ToolCase{"SetBlockWithBracket", "a.cfg", "[N]\n", {"set", "a.cfg", "a]b.P", "1"}, 2, "",
             "zelcfg: a.cfg: a block name cannot hold ']' or a line feed\n"},
    ToolCase{"SetEmptyEntryRefused", "a.cfg", "[s]\n", {"set", "a.cfg", "s.", "1"}, 2, "",
             "zelcfg: a.cfg: an entry name cannot be empty\n"},
    ToolCase{"SetEmptyBlockApartRefused", "a.cfg", "[s]\n", {"set", "a.cfg", "", "k", "1"}, 2, "",
             "zelcfg: a.cfg: a block name cannot be empty\n"},
    ToolCase{"UnsetEmptyEntryRefused", "a.cfg", "[s]\n=1\n", {"unset", "a.cfg", "s", ""}, 2, "",
             "zelcfg: a.cfg: an entry name cannot be empty\n"},
    ToolCase{"RemoveBlockEmptyRefused", "a.cfg", "[]\n=1\n", {"remove-block", "a.cfg", ""}, 2, "",
             "zelcfg: a.cfg: a block name cannot be empty\n"},
    ToolCase{"SetAnonymousBareKey", "a.inf", "k = 1\n", {"set", "a.inf", "j", "2"}, 0, "", "", "k = 1\nj=2\n"},
    ToolCase{"SetAnonymousOtherBlock", "a.inf", "k=1\n", {"set", "a.inf", "X.j", "2"}, 2, "",
             "zelcfg: a.inf: in anonymous mode every entry is in the block \"anonymous\"\n"},
    ToolCase{"SetAnonymousValueTrimmed", "a.inf", "k=1\n", {"set", "a.inf", "k", "2 "}, 2, "",
             "zelcfg: a.inf: anonymous mode trims white space at the ends of names and values\n"},
    ToolCase{"SetOnBrokenFile", "a.cfg", "[N\n", {"set", "a.cfg", "N.P", "1"}, 2, "",
             "zelcfg: a.cfg: line 1: a block header has no ']'\n"},
    ToolCase{"SetBlockAndEntryApart", "a.cfg", "[a.b]\nk=1\n", {"set", "a.cfg", "a.b", "k", "2"}, 0, "", "",
             "[a.b]\nk=2\n"},
    ToolCase{"SetAddsDottedBlock", "a.cfg", "[N]\n", {"set", "a.cfg", "x.y", "k", "1"}, 0, "", "",
             "[N]\n[x.y]\nk=1\n"},
    ToolCase{"UnsetBlockAndEntryApart", "a.cfg", "[a.b]\nk=1\nj=2\n", {"unset", "a.cfg", "a.b", "k"}, 0, "", "",
             "[a.b]\nj=2\n"},
    ToolCase{"UnsetApartMissingShownAsListed", "a.cfg", "[a.b]\nk=1\n", {"unset", "a.cfg", "a.b", "j"}, 1, "",
             "zelcfg: a.cfg: no key [a.b]j\n"},
    ToolCase{"SetStandardInputRefused", "a.cfg", "", {"set", "-", "A.k", "1"}, 2, "",
             "zelcfg: set cannot edit standard input; a file named '-' is './-'\nTry 'zelcfg --help'.\n"},
    ToolCase{"UnsetMissing", "a.cfg", "[N]\nP=1\n\n", {"unset", "a.cfg", "N.Q"}, 1, "",
             "zelcfg: a.cfg: no key N.Q\n"},
    ToolCase{"RemoveBlock", "a.cfg", "# n\n[N]\nP=1\n# m\n[M]\n[N]\nQ=2\n", {"remove-block", "a.cfg", "N"}, 0, "",
             "", "# m\n[M]\n"},
    ToolCase{"UnsetKeepsCommentAboveBlankLine", "f.cfg", "[a]\nx=1\n# about y\n\ny=2\n# z\nz=3\n",
             {"unset", "f.cfg", "a.y"}, 0, "", "", "[a]\nx=1\n# about y\n\n# z\nz=3\n"},
    ToolCase{"RemoveBlockKeepsBanner", "f.cfg", "# banner\n\n[a]\nx=1\n[b]\nk=v\n", {"remove-block", "f.cfg", "a"},
             0, "", "", "# banner\n\n[b]\nk=v\n"},
    ToolCase{"SetRefusesKeyOfDottedBlock", "d.cfg", "[Net.eth0]\nAddress=1\n",
             {"set", "d.cfg", "Net.eth0.Address", "2"}, 2, "", "zelcfg: d.cfg: refusing to add Net.eth0.Address; "
             "line 1 holds the block 'Net.eth0', whose name holds '.': address its entry as 'Net.eth0' 'Address' "
             "(BLOCK ENTRY apart)\n"},
    ToolCase{"UnsetKeyOfDottedBlockHintsApart", "d.cfg", "[Net.eth0]\nAddress=1\n",
             {"unset", "d.cfg", "Net.eth0.Address"}, 1, "", "zelcfg: d.cfg: no key Net.eth0.Address; line 1 holds the "
             "block 'Net.eth0', whose name holds '.': address its entry as 'Net.eth0' 'Address' (BLOCK ENTRY apart)\n"},
    ToolCase{"SetOnEntryAboveHeader", "s.cfg", "net.ipv4.ip_forward=0\n", {"set", "s.cfg", "net.ipv4.ip_forward", "1"},
             2, "", "zelcfg: s.cfg: line 1: an entry stands above the first block header\n"},
    ToolCase{"UnsetOnEntryAboveHeader", "a.cfg", "k=1\n[A]\nk=1\n", {"unset", "a.cfg", "A.k"}, 2, "",
             "zelcfg: a.cfg: line 1: an entry stands above the first block header\n"},
    ToolCase{"RemoveBlockOnHeaderWithoutBracket", "a.cfg", "[A]\n[B\n", {"remove-block", "a.cfg", "A"}, 2, "",
             "zelcfg: a.cfg: line 2: a block header has no ']'\n"},
    ToolCase{"RemoveBlockTakesIgnoredLines", "tox.ini", "[tox]\nenv=py3\n[docs]\ndeps =\n    sphinx\n\n# b\n[b]\n",
             {"--block", "remove-block", "tox.ini", "docs"}, 0, "", "", "[tox]\nenv=py3\n# b\n[b]\n"},
    ToolCase{"RemoveBlockMissing", "a.cfg", "[N]\n", {"remove-block", "a.cfg", "M"}, 1, "",
             "zelcfg: a.cfg: no block M\n"},
    ToolCase{"RemoveBlockMissingWithBlanks", "a.cfg", "[N ]\n", {"remove-block", "a.cfg", "N"}, 1, "",
             "zelcfg: a.cfg: no block N; line 1 holds the block 'N ': blanks around a block name are part of it, "
             "so address it as 'N ' (quoted)\n"}),
    RowName());

INSTANTIATE_TEST_SUITE_P(Show, ToolTable, testing::Values(
    ToolCase{"ListInFileOrder", "a.cfg", "[B]\nb=1\nb=2\n[A]\n[C]\n=c\n[B]\nx=1\n", {"list", "a.cfg"}, 0,
             "B.b=1\nB.b=2\nC.=c\n", ""},
    ToolCase{"ListValuesAsGetPrintsThem", "a.cfg", "[s]\r\na=1\r\nb=\r\n", {"list", "a.cfg"}, 0, "s.a=1\ns.b=\n", ""},
    ToolCase{"ListNullKeepsTheBytes", "a.cfg", "[s]\r\na=1\r\n", {"list", "-z", "a.cfg"}, 0, "s\0a\0001\r\0"s, ""},
    ToolCase{"ListAnonymous", "a.cksum", "[H]\nx = 1\n", {"list", "a.cksum"}, 0, "anonymous.x=1\n", ""},
    ToolCase{"Blocks", "a.cfg", "[b]\n[B]\n[a]\n[b]\n", {"blocks", "a.cfg"}, 0, "b\nB\na\n", ""},
    ToolCase{"FormatLeavesFileAlone", "a.cfg", "# c\n\n[B]\nb=1\n[A]\n# x\n", {"format", "a.cfg"}, 0,
             "[A]\n# c\n[B]\nb=1\n", ""},
    ToolCase{"LintClean", "a.cfg", "# c\n[A]\n\nk=v\n", {"lint", "a.cfg"}, 0, "", ""},
    ToolCase{"LintEntryAboveHeaderStops", "a.cfg", "k=1\n[A]\nv=1\r\n", {"lint", "a.cfg"}, 1,
             "a.cfg:1: entry above the first block header: reading stops here and the rest of the file is lost\n",
             ""},
    ToolCase{"LintHeaderWithoutBracketStops", "a.cfg", "[A]\n# c\n[B\n# d\n", {"lint", "a.cfg"}, 1,
             "a.cfg:3: block header without ']': reading stops here and the rest of the file is lost\n", ""},
    ToolCase{"LintBlockNameWithBlanks", "a.cfg", "[ s ]\na=1\n[ s ]\nb=2\n", {"lint", "a.cfg"}, 1,
             "a.cfg:1: blanks around the block name are part of it: the library's block name is ' s '\n"
             "a.cfg:3: block header repeats line 1: its 1 entry is lost\n", ""},
    // Anonymous mode's block exists before any header: "[anonymous]" repeats it and loses its comment.
    ToolCase{"LintAnonymousHeaderRepeatsItsBlock", "a.cksum", "# a\n# b\n[anonymous]\n# c\n# d\nk=v\n",
             {"lint", "a.cksum"}, 1, "a.cksum:4: comment lines 4-5 are joined into one line, without separators, "
             "when saved\n", ""},
    ToolCase{"LintDiffNothingToNormalise", "a.cfg", "[A]\nk=v\n", {"lint", "--diff", "a.cfg"}, 0, "", ""},
    ToolCase{"LintDiffRefusedAfterParseError", "a.cfg", "[A\n", {"lint", "--diff", "a.cfg"}, 2,
             "a.cfg:1: block header without ']': reading stops here and the rest of the file is lost\n",
             "zelcfg: a.cfg: no normalised form to compare: line 1: a block header has no ']'\n"},
    ToolCase{"LintDiffCannotNormalise", "a.cksum", " #x=1\n", {"lint", "--diff", "a.cksum"}, 2,
             "a.cksum:1: indented comment: only a line's first byte counts, so it is read as an entry\n",
             "zelcfg: a.cksum: the normalised form would not read back: in anonymous mode an entry name begins "
             "with '#', ';' or '[' once trimmed\n"},
    ToolCase{"LintTypeBoolWholeValues", "a.cfg", "[A]\na=true\nb=1\n", {"lint", "--type", "bool", "a.cfg"}, 1,
             "a.cfg:3: --type bool: '1' is neither true nor false\n", ""},
    ToolCase{"UnknownNameRefusedWhenStrict", "a.cfg", "", {"lint", "--strict-name", "/"}, 2, "",
             "zelcfg: /: the name contains none of .cfg, .inf, .cksum, .xml; say --block, --anonymous, --xml or "
             "--ini\n"},
    ToolCase{"LintDirectoryForced", "a.cfg", "", {"lint", "--block", "."}, 2, "",
             "zelcfg: .: cannot be read: Is a directory\n"},
    ToolCase{"ListMarksEntriesNoKeyReaches", "a.cfg", "[a.b]\nk=v\n[c]\nd=e\n", {"list", "a.cfg"}, 0,
             "[a.b]k=v\nc.d=e\n", ""},
    ToolCase{"ListNullThreeFields", "a.cfg", "[a=b]\nk=v\n[c.d]\n=\n", {"list", "-z", "a.cfg"}, 0,
             "a=b\0k\0v\0c.d\0\0\0"s, ""},
    ToolCase{"BlocksNull", "a.cfg", "[b]\n[a]\n", {"blocks", "--null", "a.cfg"}, 0, "b\0a\0"s, ""},
    ToolCase{"BlocksAnonymousStandardInput", "in", "[H]\nx=1\n[anonymous]\n[A]\n", {"blocks", "--anonymous", "-"}, 0,
             "anonymous\nH\nA\n", "", kUnchanged, "<in"},
    ToolCase{"FormatStandardInput", "in", "[B]\nb=1\n\n[A]\n", {"format", "-"}, 0, "[A]\n[B]\nb=1\n", "",
             kUnchanged, "<in"},
    ToolCase{"LintStandardInput", "in", "[A]\nk=v\r\n", {"lint", "-"}, 1,
             "-:2: carriage return kept at the end of the value\n", "", kUnchanged, "<in"},
    ToolCase{"NullNotForFormat", "a.cfg", "", {"format", "-z", "a.cfg"}, 2, "",
             "zelcfg: --null goes with get, edit, list, blocks, diff and merge\nTry 'zelcfg --help'.\n"},
    ToolCase{"StrictNeedsAType", "a.cfg", "", {"get", "--strict", "a.cfg", "A.b"}, 2, "",
             "zelcfg: --strict needs --type int, float, double or bool\nTry 'zelcfg --help'.\n"},
    ToolCase{"ForceOnlyForEdits", "a.cfg", "", {"get", "--force", "a.cfg", "A.b"}, 2, "",
             "zelcfg: --force goes with set, unset, remove-block, edit and merge\nTry 'zelcfg --help'.\n"},
    ToolCase{"WaitNeedsSeconds", "a.cfg", "", {"set", "--wait", "1.5", "a.cfg", "A.b", "1"}, 2, "",
             "zelcfg: --wait needs a whole number of seconds, at most 86400\nTry 'zelcfg --help'.\n"},
    ToolCase{"UnsetInPlace", "a.cfg", "[A]\nb=1\nc=2\n", {"unset", "--in-place", "--wait=0", "a.cfg", "A.b"}, 0,
             "", "", "[A]\nc=2\n"},
    // One case of every finding, in both modes and with --type, and a --diff.
    ToolCase{"LintEveryFindingBlock", "every-finding.cfg", kFindings, {"lint", "--block", "every-finding.cfg"}, 1,
             ReadFile(kLint + "every-finding.block.lint"), ""},
    ToolCase{"LintEveryFindingAnonymous", "every-finding.cfg", kFindings,
             {"lint", "--anonymous", "every-finding.cfg"}, 1, ReadFile(kLint + "every-finding.anonymous.lint"), ""},
    ToolCase{"LintEveryFindingInt", "every-finding.cfg", kFindings, {"lint", "--type", "int", "every-finding.cfg"},
             1, ReadFile(kLint + "every-finding.int.lint"), ""},
    ToolCase{"LintDiff", "normalise.cfg", ReadFile(kLint + "normalise.cfg"), {"lint", "--diff", "normalise.cfg"}, 1,
             ReadFile(kLint + "normalise.diff"), ""},
    ToolCase{"Version", "a.cfg", "", {"--version"}, 0, "zelcfg " ZELCONFIG_VERSION "\n", ""},
    ToolCase{"NoCommand", "a.cfg", "", {}, 2, "", "zelcfg: no command given\nTry 'zelcfg --help'.\n"},
    ToolCase{"UnknownCommand", "a.cfg", "", {"show", "a.cfg"}, 2, "",
             "zelcfg: unknown command 'show'\nTry 'zelcfg --help'.\n"},
    ToolCase{"UnknownOption", "a.cfg", "", {"get", "-x", "a.cfg", "A.b"}, 2, "",
             "zelcfg: unknown option '-x'\nTry 'zelcfg --help'.\n"},
    ToolCase{"ModesExcludeEachOther", "a.cfg", "", {"--xml", "get", "--block", "a.cfg", "A.b"}, 2, "",
             "zelcfg: --block, --anonymous, --xml and --ini exclude each other\nTry 'zelcfg --help'.\n"},
    ToolCase{"UnknownType", "a.cfg", "", {"get", "--type", "long", "a.cfg", "A.b"}, 2, "",
             "zelcfg: unknown type 'long' (known: int, float, double, bool, string)\nTry 'zelcfg --help'.\n"},
    ToolCase{"WrongOperandCount", "a.cfg", "", {"set", "a.cfg", "A.b"}, 2, "",
             "zelcfg: set takes 3 or 4 arguments, not 2\nTry 'zelcfg --help'.\n"}),
    RowName());

const std::string kPip = "[global]\ncert = a.pem\n\n[install]\nhosts =\n    a\n    b\n";
const std::string kSysctl = "net.ipv4.ip_forward = 0\n[A]\nk: v\n"; // an entry above the first header
const std::string kAfter = "[Unit]\nAfter = a\nAfter = b\n";
const std::string kPhp = "[PHP]\nmemory_limit = 128M\n";
const std::string kNamed = ": the name contains none of .cfg, .inf, .cksum, .xml and ";
const std::string kByte = "its first non-blank byte ";

// Which reading FILE gets: the name the library reads, else the first byte.
INSTANTIATE_TEST_SUITE_P(Reading, ToolTable, testing::Values(
    ToolCase{"OtherNameInIni", "pip.conf", kPip, {"get", "pip.conf", "global.cert"}, 0, "a.pem\n", ""},
    ToolCase{"BlankFileInIni", "e.conf", " \n", {"list", "e.conf"}, 0, "", ""},
    ToolCase{"FirstByteAngleAsXml", "p.conf", " \n<r><b>1</b></r>", {"get", "p.conf", "b"}, 0, "1\n", ""},
    ToolCase{"MarkThenAngleAsXml", "p.conf", "\xEF\xBB\xBF<r><b>1</b></r>", {"-v", "get", "p.conf", "b"}, 0, "1\n",
             "zelcfg: p.conf: note: reading it as XML" + kNamed + kByte + "after the byte order mark is '<' "
             "(--block, --anonymous or --ini says otherwise)\n"},
    ToolCase{"MarkThenHeaderInIni", "u.service", "\xEF\xBB\xBF[Unit]\nAfter = a\n", {"-v", "get", "u.service",
             "Unit.After"}, 0, "a\n", "zelcfg: u.service: note: reading it in the INI dialect" + kNamed + kByte
             + "after the byte order mark is not '<' (--block, --anonymous or --xml says otherwise)\n"},
    ToolCase{"CfgNameInBlockMode", "pip.cfg", kPip, {"-v", "get", "pip.cfg", "global.cert "}, 0, " a.pem\n",
             "zelcfg: pip.cfg: note: reading it in block mode, as the library reads a name containing .cfg "
             "(--anonymous, --xml or --ini says otherwise)\n"},
    ToolCase{"IniForced", "pip.cfg", kPip, {"--ini", "-v", "get", "pip.cfg", "global.cert"}, 0, "a.pem\n",
             "zelcfg: pip.cfg: note: reading it in the INI dialect, as --ini says\n"},
    ToolCase{"BlockForced", "pip.conf", kPip, {"--block", "get", "pip.conf", "global.cert "}, 0, " a.pem\n", ""},
    ToolCase{"StandardInputInBlockMode", "in", kPip, {"-v", "get", "-", "global.cert "}, 0, " a.pem\n",
             "zelcfg: -: note: reading it in block mode: it is standard input (--anonymous, --xml or --ini says "
             "otherwise)\n", kUnchanged, "<in"},
    ToolCase{"StandardInputIni", "in", kPip, {"--ini", "get", "-", "global.cert"}, 0, "a.pem\n", "", kUnchanged,
             "<in"},
    ToolCase{"MissingFileCreatedInIni", "in", "", {"-v", "set", "n.conf", "a.b", "1"}, 0, "[a]\nb = 1\n",
             "zelcfg: n.conf: note: reading it in the INI dialect" + kNamed + "it does not exist (--block, "
             "--anonymous or --xml says otherwise)\n", kUnchanged, "&& cat n.conf"},
    ToolCase{"UnreadableKeepsItsMessage", "a.cfg", "", {"lint", "."}, 2, "",
             "zelcfg: .: cannot be read: Is a directory\n"}),
    RowName());

// Every command on INI files.
INSTANTIATE_TEST_SUITE_P(Ini, ToolTable, testing::Values(
    ToolCase{"GetContinuationLines", "pip.conf", kPip, {"get", "pip.conf", "install.hosts"}, 0, "\na\nb\n", ""},
    ToolCase{"GetEmptyBlockApart", "s.conf", kSysctl, {"get", "s.conf", "", "net.ipv4.ip_forward"}, 0, "0\n", ""},
    ToolCase{"GetDotKey", "s.conf", kSysctl, {"get", "s.conf", ".net.ipv4.ip_forward"}, 0, "0\n", ""},
    ToolCase{"GetNullEveryEntry", "u.conf", kAfter, {"get", "-z", "u.conf", "Unit.After"}, 0, "a\0b\0"s, ""},
    ToolCase{"GetStrictInt", "php.ini", kPhp, {"get", "--strict", "--type", "int", "php.ini", "PHP.memory_limit"}, 3,
             "", "zelcfg: php.ini: PHP.memory_limit: an int reads only '128' of '128M'\n"},
    ToolCase{"SetBoolAddedInStyle", "php.ini", kPhp, {"set", "--type", "bool", "php.ini", "PHP.on", "1"}, 0, "", "",
             kPhp + "on = TRUE\n"},
    ToolCase{"SetLineFeedsContinue", "pip.conf", kPip, {"set", "pip.conf", "install.hosts", "c\nd"}, 0, "", "",
             "[global]\ncert = a.pem\n\n[install]\nhosts = c\n    d\n"},
    ToolCase{"SetRepeatedKeyRefused", "u.conf", kAfter, {"set", "u.conf", "Unit.After", "x"}, 2, "",
             "zelcfg: u.conf: Unit.After names 2 entries (lines 2 and 3): --all sets every one, --index N the Nth, "
             "--add appends another\n"},
    ToolCase{"SetIndex", "u.conf", kAfter, {"set", "--index", "2", "u.conf", "Unit.After", "x"}, 0, "", "",
             "[Unit]\nAfter = a\nAfter = x\n"},
    ToolCase{"SetAdd", "u.conf", kAfter, {"set", "--add", "u.conf", "Unit.After", "c"}, 0, "", "",
             kAfter + "After = c\n"},
    ToolCase{"UnsetAll", "u.conf", kAfter, {"unset", "--all", "u.conf", "Unit.After"}, 0, "", "", "[Unit]\n"},
    ToolCase{"SetEmptyBlockApart", "s.conf", kSysctl, {"set", "s.conf", "", "net.ipv4.ip_forward", "1"}, 0, "", "",
             "net.ipv4.ip_forward = 1\n[A]\nk: v\n"},
    ToolCase{"SetDotKeyAddsAboveHeader", "s.conf", kSysctl, {"set", "s.conf", ".kernel.x", "2"}, 0, "", "",
             "net.ipv4.ip_forward = 0\nkernel.x = 2\n[A]\nk: v\n"},
    ToolCase{"SetKeyWithoutDot", "s.conf", kSysctl, {"set", "s.conf", "k", "1"}, 2, "", "zelcfg: s.conf: the key "
             "'k' is not BLOCK.ENTRY, nor .ENTRY for an entry above the first header\n"},
    ToolCase{"UnsetDotKey", "s.conf", kSysctl, {"unset", "s.conf", ".net.ipv4.ip_forward"}, 0, "", "", "[A]\nk: v\n"},
    ToolCase{"RemoveBlockAboveHeader", "s.conf", kSysctl, {"remove-block", "s.conf", ""}, 0, "", "", "[A]\nk: v\n"},
    ToolCase{"RemoveBlockWithContinuation", "pip.conf", kPip, {"remove-block", "pip.conf", "install"}, 0, "", "",
             "[global]\ncert = a.pem\n"},
    ToolCase{"List", "s.conf", kSysctl, {"list", "s.conf"}, 0, ".net.ipv4.ip_forward=0\nA.k=v\n", ""},
    ToolCase{"ListNull", "pip.conf", kPip, {"list", "-z", "pip.conf"}, 0,
             "global\0cert\0a.pem\0install\0hosts\0\na\nb\0"s, ""},
    ToolCase{"BlocksEmptyFirst", "s.conf", kSysctl, {"blocks", "s.conf"}, 0, "\nA\n", ""},
    ToolCase{"LintType", "php.ini", kPhp, {"lint", "--type", "int", "php.ini"}, 1,
             "php.ini:2: --type int: an int reads only '128' of '128M'\n", ""},
    ToolCase{"FormatRefused", "pip.conf", kPip, {"format", "pip.conf"}, 2, "",
             "zelcfg: pip.conf: INI files have no normalised form: each keeps its own\n"},
    ToolCase{"NormaliseRefused", "pip.conf", kPip, {"set", "--normalise", "pip.conf", "global.cert", "b"}, 2, "",
             "zelcfg: pip.conf: INI files have no normalised form: each keeps its own\n"},
    ToolCase{"CrlfGet", "c.conf", "[a]\r\nk = 1\r\n", {"get", "c.conf", "a.k"}, 0, "1\n", ""},
    ToolCase{"CrlfSetKept", "c.conf", "[a]\r\nk = 1\r\n", {"set", "c.conf", "a.j", "2"}, 0, "", "",
             "[a]\r\nk = 1\r\nj = 2\r\n"}),
    RowName());

#ifdef ZELCONFIG_TEST_XML
const std::string kRefused = ": stricter XML readers refuse the file\n";
const std::string kKeysReadTheFirst = " already; XML allows one, and keys read the first\n";
// Past the pairwise comparison of an element's attributes: 20, and the fourth again.
std::string ManyAttributes()
{
    std::string text = "<e";
    for (int i = 0; i < 20; ++i) {
        text += " a" + std::to_string(i) + "=\"\"";
    }
    return text + " a3=\"x\"/>";
}

// An XML file's findings: LINE:COLUMN in characters, one row per kind.
INSTANTIATE_TEST_SUITE_P(XmlLint, ToolTable, testing::Values(
    ToolCase{"Clean", "a.xml", "<r a=\"1\"><k b=\"\xC3\xA9\">v\xE2\x82\xAC\xF0\x9F\x98\x80</k></r>\n",
             {"lint", "a.xml"}, 0, "", ""},
    ToolCase{"DuplicateAttribute", "a.xml", "<r>\n  <e a=\"0\" a=\"1\"/>\n</r>\n", {"lint", "a.xml"}, 1,
             "a.xml:2:12: duplicate attribute 'a': the element has one of that name at line 2, column 6"
                 + kKeysReadTheFirst, ""},
    ToolCase{"DuplicateAmongManyAttributes", "a.xml", ManyAttributes(), {"lint", "a.xml"}, 1,
             "a.xml:1:134: duplicate attribute 'a3': the element has one of that name at line 1, column 22"
                 + kKeysReadTheFirst, ""},
    ToolCase{"ElementNameNotUtf8", "a.xml", "<r>\n<k\xFF>1</k\xFF>\n</r>", {"lint", "a.xml"}, 1,
             "a.xml:2:3: invalid UTF-8 in an element name" + kRefused, ""},
    ToolCase{"AttributeNameNotUtf8", "a.xml", "<r k\xC3=\"1\"/>", {"lint", "a.xml"}, 1,
             "a.xml:1:5: invalid UTF-8 in an attribute name" + kRefused, ""},
    ToolCase{"AttributeValueSurrogate", "a.xml", "<r k='\xED\xA0\x80'/>", {"lint", "a.xml"}, 1,
             "a.xml:1:7: invalid UTF-8 in an attribute value" + kRefused, ""},
    ToolCase{"TextOverlong", "a.xml", "<r>ok \xC0\xAF</r>", {"lint", "a.xml"}, 1,
             "a.xml:1:7: invalid UTF-8 in text" + kRefused, ""},
    ToolCase{"CdataCutShort", "a.xml", "<r><![CDATA[\xE2\x82]]></r>", {"lint", "a.xml"}, 1,
             "a.xml:1:13: invalid UTF-8 in a CDATA section" + kRefused, ""},
    ToolCase{"BytesAfterNul", "a.xml", "<r/>\n\0<x/>\n"s, {"lint", "a.xml"}, 1,
             "a.xml:2:1: NUL byte: every reader stops at it, so the 5 bytes after it are ignored; set and unset "
             "cannot add or remove markup\n", ""},
    ToolCase{"ColumnsCountCharacters", "a.xml", "\xEF\xBB\xBF<r>\r\n<e \xC3\xA9=\"1\" \xC3\xA9=\"2\"/></r>",
             {"lint", "a.xml"}, 1,
             "a.xml:2:10: duplicate attribute '\xC3\xA9': the element has one of that name at line 2, column 4"
                 + kKeysReadTheFirst, ""},
    ToolCase{"StandardInput", "in", "<e a=\"0\" a=\"1\"/>", {"--xml", "lint", "-"}, 1,
             "-:1:10: duplicate attribute 'a': the element has one of that name at line 1, column 4"
                 + kKeysReadTheFirst, "", kUnchanged, "<in"}),
    RowName());

// `count` elements <i>, one a line, from line 2.
std::string Repeated(int count)
{
    std::string text = "<r>\n";
    for (int i = 0; i < count; ++i) {
        text += "<i/>\n";
    }
    return text + "</r>\n";
}

// Names that hold dots: quoted in the keys printed, read back quoted.
const std::string kPom = "<project><properties><maven.compiler.source>1.6</maven.compiler.source>"
                         "<a.b c.d=\"2\"/></properties></project>\n";
INSTANTIATE_TEST_SUITE_P(XmlDottedNames, ToolTable, testing::Values(
    ToolCase{"ListNull", "pom.xml", kPom, {"list", "-z", "pom.xml"}, 0,
             "properties.\"maven.compiler.source\"\0" "1.6\0properties.\"a.b\"\0\0"
             "properties.\"a.b\".\"c.d\"\0" "2\0"s, ""},
    ToolCase{"GetApart", "pom.xml", kPom, {"get", "pom.xml", "properties", "\"maven.compiler.source\""}, 0,
             "1.6\n", ""},
    ToolCase{"GetApartUnquotedHint", "pom.xml", kPom, {"get", "pom.xml", "properties.a", "b.c.d"}, 1, "",
             "zelcfg: pom.xml: no key properties.a.b.c.d; properties.\"a.b\".\"c.d\" names what is there: a name "
             "that holds dots is quoted\n"},
    ToolCase{"SetApartUnquotedRefused", "pom.xml", kPom, {"set", "pom.xml", "properties", "maven.compiler.source",
             "11"}, 2, "", "zelcfg: pom.xml: properties.maven.compiler.source names no element here, but "
             "properties.\"maven.compiler.source\" names what is there: a name that holds dots is quoted\n"},
    ToolCase{"UnsetOfManyNamesTheFirstLines", "a.xml", Repeated(12), {"unset", "a.xml", "i"}, 2, "",
             "zelcfg: a.xml: i names 12 elements, on lines 2, 3, 4, 5, 6, 7, 8, 9, 10, 11 and 2 more; an index "
             "picks one, as in i[1], or --all removes every one\n"}),
    RowName());
#endif

// -v hands the library's own log lines to stderr; without it the tool alone speaks.
TEST(Tool, VerboseShowsTheLibraryLog)
{
    TempDir dir;
    dir.Write("a.cfg", "[A\n");
    const ToolResult quiet = RunTool(dir.Path(), {ZELCFG_BINARY, "get", "a.cfg", "A.k"});
    const ToolResult verbose = RunTool(dir.Path(), {ZELCFG_BINARY, "-v", "get", "a.cfg", "A.k"});
    const ToolResult traces = RunTool(dir.Path(), {ZELCFG_BINARY, "-vv", "get", "a.cfg", "A.k"});
    EXPECT_EQ(quiet.err.find("ZelConfig["), std::string::npos) << quiet.err;
    EXPECT_NE(verbose.err.find("ZelConfig[9] Load:"), std::string::npos) << verbose.err;
    EXPECT_EQ(verbose.err.find("ZelConfig[29]"), std::string::npos) << verbose.err;
    EXPECT_NE(traces.err.find("ZelConfig[29] Load:"), std::string::npos) << traces.err;
}

} // namespace
