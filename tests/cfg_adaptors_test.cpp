// CCFGReader and CCFGWriter: argument checks, status codes, traces, and the
// shallow sharing of one parser between objects.
#include <cerrno>
#include <cstdio>
#include <filesystem>

#include <gtest/gtest.h>

#include "CCFGParser.h"
#include "CCFGReader.h"
#include "CCFGWriter.h"
#include "CaptureLog.h"
#include "TestFiles.h"

namespace {

const char kFile[] = "[Net]\nPort=80\nPort=81\n[Log]\nLevel=info\n";

struct LookupCase { const char* name; bool loaded; const char* key; int status; const char* value, *log; };
using LookupTable = testing::TestWithParam<LookupCase>;

TEST_P(LookupTable, StatusesAndMessages)
{
    const LookupCase& row = GetParam();
    TempDir dir;
    CCFGReader reader;
    ASSERT_EQ(row.loaded ? reader.ParseFile(dir.Write("a.cfg", kFile)) : 0, 0);
    capture_log::Reset(1u << 9);
    std::string value = "keep";
    EXPECT_EQ(reader.GetValue(row.key, value), row.status);
    EXPECT_EQ(value, row.value);
    EXPECT_EQ(capture_log::Text(), row.log);
    capture_log::Reset();
    EXPECT_EQ(reader.GetValue(row.key), row.status == 0 ? "80\n81" : "");
    EXPECT_EQ(capture_log::Text(), "") << "the string form logs nothing";
}

const char kNoParser[] = "9 GetValue: Parser object(m_pCFGParser) is NULL\n";

INSTANTIATE_TEST_SUITE_P(Keys, LookupTable, testing::Values(
    LookupCase{"NoParser", false, "Net.Port", EINVAL, "keep", kNoParser},
    LookupCase{"NoParserEmptyKey", false, "", EINVAL, "keep", kNoParser},
    LookupCase{"EmptyKey", true, "", 7, "keep", "9 GetValue: Invalid Key\n"},
    LookupCase{"Missing", true, "Net.Host", -2, "keep", ""},
    LookupCase{"Appended", true, "Net.Port", 0, "keep\n80\n81", ""}),
    RowName());

TEST(CfgReader, ParseFileTracesAndKeepsAFailedParser)
{
    TempDir dir;
    const std::string missing = dir.Path() + "/missing.cfg";
    capture_log::Reset((1u << 9) | (1u << 11) | (1u << 29));
    {
        CCFGReader reader;
        EXPECT_EQ(reader.ParseFile(missing), -2);
        EXPECT_NE(reader.GetDataPtr(), nullptr) << "the parser stays after a failed parse";
        EXPECT_EQ(reader.GetDataPtr(), reader.GetDataPtr());
    }
    EXPECT_EQ(capture_log::Text(), "11 IConfigReader: +\n"
                                   "11 ParseFile: +\n"
                                   "29 ParseFile: File Path " + missing + "\n"
                                   "9 CFGParseFile: Error Opening File\n"
                                   "11 ParseFile: -\n"
                                   "11 ~IConfigReader: +\n");
}

TEST(CfgReader, ConstructorsChooseTheMode)
{
    TempDir dir;
    const std::string path = dir.Write("a.inf", "[Net]\n k = v \n");
    auto mode = [](CCFGReader& reader) {
        return static_cast<CCFGParser*>(reader.GetDataPtr())->m_uiAnonymousMode;
    };
    CCFGReader block;
    CCFGReader anonymous(3u);
    EXPECT_EQ(anonymous.GetDataPtr(), nullptr) << "the mode constructor parses nothing";
    block.ParseFile(path);
    anonymous.ParseFile(path);
    EXPECT_EQ(mode(block), 0u);
    EXPECT_EQ(mode(anonymous), 3u);
    EXPECT_EQ(anonymous.GetValue("k"), "v");

    capture_log::Reset(1u << 11);
    CCFGReader parsedAtOnce(path, 1);
    EXPECT_EQ(mode(parsedAtOnce), 1u);
    EXPECT_EQ(parsedAtOnce.GetValue("k"), "v");
    CCFGReader missing(dir.Path() + "/none.cfg");
    EXPECT_NE(missing.GetDataPtr(), nullptr) << "constructed although the file is missing";
    EXPECT_EQ(capture_log::Text(), "11 IConfigReader: +\n11 CCFGReader: File Path " + path
                                       + "\n11 IConfigReader: +\n11 CCFGReader: File Path "
                                       + dir.Path() + "/none.cfg\n");
}

TEST(CfgReader, SecondParseFileAbandonsTheFirstParser)
{
    TempDir dir;
    CCFGReader reader;
    reader.ParseFile(dir.Write("a.cfg", "[A]\nk=1\n"));
    CCFGParser* first = static_cast<CCFGParser*>(reader.GetDataPtr());
    reader.ParseFile(dir.Write("b.cfg", "[A]\nk=2\n"));
    EXPECT_NE(reader.GetDataPtr(), first);
    EXPECT_EQ(first->CFGGetData("A.k"), "1") << "the first parser was not destroyed";
    EXPECT_EQ(reader.GetValue("A.k"), "2");
    delete first; // handed over to the caller by the second ParseFile
}

TEST(CfgReader, CopiesShareTheParser)
{
    TempDir dir;
    CCFGReader original(2u);
    original.ParseFile(dir.Write("a.inf", "k=1\n"));
    CCFGReader target;
    target.ParseFile(dir.Write("b.cfg", "[A]\nk=2\n"));

    CCFGReader copy(original);
    EXPECT_EQ(copy.GetDataPtr(), original.GetDataPtr());
    EXPECT_EQ(copy.GetValue("k"), "1");
    target = original; // frees target's own parser (LeakSanitizer checks)
    EXPECT_EQ(target.GetDataPtr(), original.GetDataPtr());

    // A new parse leaves the shared parser to the original alone again; the
    // copies keep the mode they copied.
    copy.ParseFile(dir.Path() + "/a.inf");
    target.ParseFile(dir.Path() + "/a.inf");
    for (CCFGReader* reader : {&copy, &target}) {
        EXPECT_EQ(static_cast<CCFGParser*>(reader->GetDataPtr())->m_uiAnonymousMode, 2u);
    }

    CCFGReader& alias = copy;
    copy = alias;
    EXPECT_EQ(copy.GetDataPtr(), nullptr) << "self-assignment frees the parser";
}

TEST(CfgWriter, StatusesWithoutData)
{
    TempDir dir;
    const std::string path = dir.Write("a.cfg", kFile);
    capture_log::Reset();
    CCFGWriter writer;
    EXPECT_EQ(writer.SetValue("Net.Port", "1"), 7);
    EXPECT_EQ(writer.SaveData(), EINVAL);
    EXPECT_EQ(writer.SetPath(""), 7);
    EXPECT_EQ(writer.SetPath(dir.Path() + "/none.cfg"), 0) << "not checked";
    EXPECT_EQ(writer.SetPath(path), 0);
    EXPECT_EQ(writer.SaveData(), EINVAL) << "a path alone is no data";
    writer.SetDataPtr(nullptr);
    EXPECT_EQ(capture_log::Text(),
              "11 IConfigWriter: +\n11 CCFGWriter: +\n9 SetDataPtr: Data Pointer not set in cfg writer\n");
    EXPECT_EQ(ReadFile(path), kFile);
}

TEST(CfgWriter, ChangesAndSavesItsOwnData)
{
    TempDir dir;
    const std::string path = dir.Write("a.cfg", kFile);
    CCFGWriter writer;
    capture_log::Reset((1u << 11) | (1u << 29));
    EXPECT_EQ(writer.ParseFile(path), 0);
    EXPECT_EQ(capture_log::Text(),
              "11 ParseFile: +\n29 ParseFile: File Path " + path + "\n11 ParseFile: -\n");

    EXPECT_EQ(writer.SetValue("", "1"), 7);
    EXPECT_EQ(writer.SetValue("Net.Host", "h"), -2);
    EXPECT_EQ(writer.SetValue("Net.Port", "8080"), 0);
    EXPECT_EQ(writer.SaveData(), 0);
    EXPECT_EQ(ReadFile(path), "[Log]\nLevel=info\n[Net]\nPort=8080\nPort=8080\n");

    // The writer only rewrites existing files.
    std::remove(path.c_str());
    EXPECT_EQ(writer.SaveData(), -2);
    EXPECT_FALSE(std::filesystem::exists(path)) << "nothing was created";

    capture_log::Reset(1u << 11);
    CCFGWriter parsedAtOnce(dir.Write("b.cfg", "[A]\nk=1\n"));
    EXPECT_EQ(parsedAtOnce.SetValue("A.k", "2"), 0);
    EXPECT_EQ(parsedAtOnce.SaveData(), 0);
    EXPECT_EQ(ReadFile(dir.Path() + "/b.cfg"), "[A]\nk=2\n");
    EXPECT_EQ(capture_log::Text(), "11 IConfigWriter: +\n11 CCFGWriter: File Path " + dir.Path()
                                       + "/b.cfg\n");
}

TEST(CfgWriter, EditsAndSavesAReadersData)
{
    TempDir dir;
    const std::string path = dir.Write("a.cfg", kFile);
    const std::string other = dir.Write("other.cfg", "");
    CCFGReader reader(path);
    CCFGWriter writer;
    writer.SetPath(other);
    writer.SetDataPtr(reader.GetDataPtr());

    EXPECT_EQ(writer.SetValue("Log.Level", "debug"), 0);
    EXPECT_EQ(reader.GetValue("Log.Level"), "debug") << "one parser, seen at once";
    EXPECT_EQ(writer.SaveData(), 0);
    EXPECT_EQ(ReadFile(other), "[Log]\nLevel=debug\n[Net]\nPort=80\nPort=81\n");
    EXPECT_EQ(ReadFile(path), kFile) << "the writer's own path is the one written";

    // Copies and assignment share the parser too; each is detached before it goes.
    CCFGWriter copy(writer);
    CCFGWriter assigned(dir.Write("b.cfg", "[A]\nk=1\n"));
    assigned = writer; // frees its own parser (LeakSanitizer checks)
    EXPECT_EQ(copy.SetValue("Net.Port", "1"), 0);
    EXPECT_EQ(assigned.SetValue("Log.Level", "warn"), 0);
    EXPECT_EQ(reader.GetValue("Net.Port"), "1\n1");
    EXPECT_EQ(reader.GetValue("Log.Level"), "warn");
    for (CCFGWriter* sharer : {&writer, &copy, &assigned}) {
        sharer->SetDataPtr(nullptr);
    }
}

TEST(CfgWriter, SetDataPtrNeverFreesWhatItHeld)
{
    CCFGParser* held = new CCFGParser();
    CCFGParser* next = new CCFGParser();
    {
        CCFGWriter writer;
        writer.SetDataPtr(held);
        writer.SetDataPtr(next); // AddressSanitizer: `held` stays valid
        EXPECT_EQ(writer.SetValue("A.k", "1"), EINVAL) << "the engine's answer: no map";
        writer.SetDataPtr(nullptr);
    }
    delete held;
    delete next;
}

} // namespace
