// The XML plug-in contract, against test plug-ins of the real library name.
// Each suite is one scenario and runs as a process of its own, since the
// library handle is process-wide: CTest points LD_LIBRARY_PATH at the
// scenario's plug-in (see CMakeLists.txt).
#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <string>

#include <gtest/gtest.h>

#include "CZelConfigParser.h"
#include "CZelConfigReader.h"
#include "CZelConfigWriter.h"
#include "CaptureLog.h"

namespace {

const char kPlugin[] = "libZel_XMLConfigParser.so";

// Calls of dlopen for the plug-in, counted by the wrapper below.
int g_pluginOpens = 0;
int g_pluginOpenModes = 0;

using DlopenFunction = void* (*)(const char*, int);

DlopenFunction RealDlopen()
{
    static const DlopenFunction real = reinterpret_cast<DlopenFunction>(dlsym(RTLD_NEXT, "dlopen"));
    return real;
}

} // namespace

// Wraps the C library's dlopen for the whole process, the library included.
extern "C" void* dlopen(const char* pszFile, int iMode)
{
    if (pszFile != nullptr && std::strcmp(pszFile, kPlugin) == 0) {
        ++g_pluginOpens;
        g_pluginOpenModes |= iMode;
    }
    return RealDlopen()(pszFile, iMode);
}

namespace {

// The recording plug-in's journal; it is loaded already, so RTLD_NOLOAD finds it.
std::string TakeJournal()
{
    void* library = RealDlopen()(kPlugin, RTLD_NOW | RTLD_NOLOAD);
    if (library == nullptr) {
        return "(plug-in not loaded)";
    }
    auto take = reinterpret_cast<char* (*)()>(dlsym(library, "RecordingPluginTakeJournal"));
    char* journal = take();
    std::string text = journal;
    delete[] journal;
    dlclose(library);
    return text;
}

TEST(RecordingPlugin, ReaderGetsThePathTwiceAndIsDeletedThroughItsInterface)
{
    capture_log::Reset(1u << 11);
    {
        CZelConfigReader reader("/data/settings.xml");
        EXPECT_EQ(reader.GetInt("X.n"), 42);
        int value = 0;
        EXPECT_EQ(reader.GetInt("X.none", value), -2) << "the plug-in's own status";
    }
    EXPECT_EQ(TakeJournal(), "reader created /data/settings.xml\n"
                             "reader ParseFile /data/settings.xml\n"
                             "reader deleted\n");
    const std::string log = capture_log::Text();
    EXPECT_NE(log.find("11 IConfigReader: +\n"), std::string::npos) << log;
    EXPECT_NE(log.find("11 ~IConfigReader: +\n"), std::string::npos) << log;
}

TEST(RecordingPlugin, WriterCreatesOrParsesAndGetsTheFormattedTexts)
{
    TakeJournal();
    {
        CZelConfigWriter writer("/data/new.xml", 0);
        EXPECT_EQ(writer.Set("X.n", 1), 7) << "the plug-in's status, passed through";
        EXPECT_EQ(writer.Parse("/data/old.xml"), 0);
        EXPECT_EQ(writer.Set("X.d", 1.5), 0);
        EXPECT_EQ(writer.SetBool("X.b", 0), 0);
        EXPECT_EQ(writer.Set("X.s", std::string("text")), 0);
        EXPECT_EQ(writer.Save(), 0);
    }
    EXPECT_EQ(TakeJournal(), "writer created without path\n"
                             "writer SetPath /data/new.xml\n"
                             "writer SetValue X.n=1\n"
                             "writer deleted\n"
                             "writer created /data/old.xml\n"
                             "writer ParseFile /data/old.xml\n"
                             "writer SetValue X.d=1.5\n"
                             "writer SetValue X.b=FALSE\n"
                             "writer SetValue X.s=text\n"
                             "writer SaveData\n"
                             "writer deleted\n");
}

TEST(RecordingPlugin, ParserHandsTheReadersDataToTheWriter)
{
    TakeJournal();
    {
        CZelConfigParser parser("/data/a.xml");
        EXPECT_EQ(parser.Set("X.n", 43), 0);
        EXPECT_EQ(parser.GetInt("X.n"), 43) << "the writer changed the reader's data";
    }
    EXPECT_EQ(TakeJournal(), "reader created /data/a.xml\n"
                             "reader ParseFile /data/a.xml\n"
                             "writer created without path\n"
                             "writer SetPath /data/a.xml\n"
                             "writer SetDataPtr data\n"
                             "writer SetValue X.n=43\n"
                             "writer SetDataPtr NULL\n"
                             "writer deleted\n"
                             "reader deleted\n");
}

TEST(RecordingPlugin, OpenedOncePerFrontEndClass)
{
    for (int i = 0; i < 3; ++i) {
        CZelConfigReader reader("r.xml");
        CZelConfigWriter writer("w.xml");
        CZelConfigParser parser("p.xml");
    }
    EXPECT_EQ(g_pluginOpens, 2) << "one handle for the readers, one for the writers";
    EXPECT_EQ(g_pluginOpenModes, RTLD_NOW);
}

// What a reader, a writer's Create and a writer's Parse log for "x.xml", and
// what they return.
struct Attempts
{
    int reader, create, parse;
    std::string log;
};

Attempts AttemptAll()
{
    capture_log::Reset((1u << 9) | (1u << 31));
    CZelConfigReader reader;
    CZelConfigWriter writer;
    Attempts attempts{reader.Parse("x.xml"), writer.Create("x.xml"), writer.Parse("x.xml"), ""};
    attempts.log = capture_log::Text();
    return attempts;
}

TEST(MissingPlugin, EveryAttemptFailsAndTriesAgain)
{
    const std::string cannotOpen = "libZel_XMLConfigParser.so: cannot open shared object file";
    for (int round = 1; round <= 2; ++round) {
        const Attempts attempts = AttemptAll();
        EXPECT_EQ(attempts.reader, EINVAL);
        EXPECT_EQ(attempts.create, EINVAL);
        EXPECT_EQ(attempts.parse, EINVAL);
        EXPECT_EQ(attempts.log.rfind("31 Parse: Unable to open libZel_XMLConfigParser.so. " + cannotOpen, 0), 0u)
            << attempts.log;
        EXPECT_NE(attempts.log.find("\n31 Create: Unable to open libZel_XMLConfigParser.so. " + cannotOpen),
                  std::string::npos) << attempts.log;
        EXPECT_EQ(g_pluginOpens, 3 * round) << "a failed load is retried";
    }

    // The loader's error is taken whether or not it is logged.
    for (const unsigned mask : {0u, 1u << 31}) {
        capture_log::Reset(mask);
        CZelConfigReader reader;
        EXPECT_EQ(reader.Parse("/data/a.xml"), EINVAL);
        EXPECT_EQ(dlerror(), nullptr) << "mask " << mask;
    }

    capture_log::Reset((1u << 9) | (1u << 31));
    CZelConfigParser parser("/data/a.xml");
    const std::string log = capture_log::Text();
    EXPECT_NE(log.find("\n31 CZelConfigReader: Error Parsing file /data/a.xml\n"), std::string::npos) << log;
    EXPECT_NE(log.find("\n9 SetDataPtr: m_pWriter is NULL\n"), std::string::npos) << log;
}

TEST(NoFactoriesPlugin, LoadedOnceButNothingIsMade)
{
    for (int round = 1; round <= 2; ++round) {
        const Attempts attempts = AttemptAll();
        EXPECT_EQ(attempts.reader, EINVAL);
        EXPECT_EQ(attempts.create, EINVAL);
        EXPECT_EQ(attempts.parse, EINVAL);
        const std::string undefined = "libZel_XMLConfigParser.so: undefined symbol: ";
        std::string expected;
        const char* lines[][2] = {{"Parse", "GetCXMLReaderObject"},
                                  {"Create", "GetCXMLWriterObjectNoParam"},
                                  {"Parse", "GetCXMLWriterObject"}};
        for (const auto& line : lines) {
            EXPECT_NE(attempts.log.find(std::string("31 ") + line[0] + ": Unable to load symbol: "
                                        + line[1] + ". "),
                      std::string::npos) << attempts.log;
            EXPECT_NE(attempts.log.find(undefined + line[1] + "\n"), std::string::npos) << attempts.log;
        }
    }
    EXPECT_EQ(g_pluginOpens, 2) << "the library stays loaded";
}

TEST(NullFactoriesPlugin, NothingIsMadeSilently)
{
    const Attempts attempts = AttemptAll();
    EXPECT_EQ(attempts.reader, EINVAL);
    EXPECT_EQ(attempts.create, EINVAL);
    EXPECT_EQ(attempts.parse, EINVAL);
    EXPECT_EQ(attempts.log, "");
    CZelConfigReader reader("x.xml");
    EXPECT_EQ(reader.GetDataPtr(), nullptr);
}

} // namespace
