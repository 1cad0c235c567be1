// One benchmark case on one file, in a process of its own: a parse is timed
// on a fresh heap, as a program that loads its configuration meets it.
//
//   zelconfig_bench_case --list                         the cases, one a line
//   zelconfig_bench_case [--heap] CASE FILE SCRATCH_DIR  run one; prints "name=value ..."
//
// A run either times the case or, with --heap, counts its heap use: counting
// every malloc would slow the timed runs down.
//
// The driver (zelconfig_bench) runs every case in rounds and prints the table.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <functional>
#include <memory>
#include <ostream>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#ifdef ZELCONFIG_XML_PLUGIN
#include <dlfcn.h>
#include <pugixml.hpp>

#include "ZelConfigXmlDocument.h"
#endif
#include <INIReader.h>
#include <SimpleIni.h>
#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <ini.h>

#include "BenchFiles.h"
#include "CCFGParser.h"
#include "CZelConfigReader.h"
#include "CZelConfigWriter.h"
#include "HeapCounter.h"
#include "TestFiles.h"
#include "ZelConfigDocument.h"
#include "Zelcfg.h"
#include "platform/FileIO.h"

using namespace zelbench;

namespace {

using Clock = std::chrono::steady_clock;

bool g_heapMode = false;

// Seconds since `start`, for the timed loops.
double Seconds(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// A case whose parser reports a failure measured the wrong thing: it still
// prints its numbers, but exits with 1 so that the driver (and CI's smoke
// run) notices.
bool g_failed = false;

void Check(bool ok, const char* what)
{
    if (!ok && !g_failed) {
        std::fprintf(stderr, "%s failed\n", what);
    }
    g_failed = g_failed || !ok;
}

// What a case needs: the file, its facts and a directory for saved copies.
struct Input
{
    std::string path;
    FileFacts facts;
    std::string scratch;
};

// ---------------------------------------------------------------- parsing

// A parse leaves its result alive until the heap has been measured.
using Parsed = std::shared_ptr<void>;
using ParseFn = std::function<Parsed(const Input&)>;

template <class T>
Parsed Keep(std::unique_ptr<T> object)
{
    return Parsed(object.release(), [](void* p) { delete static_cast<T*>(p); });
}

// The floor: read the file in chunks sized as the engine sizes them (the whole
// file at once when small) and count its lines with memchr. The read loop is
// what this row times, so it stays here rather than in zelconfig::ReadAll,
// whose fixed 64 KiB chunks and appending to a string would change the floor.
Parsed CountLines(const Input& in)
{
    constexpr size_t kMaxChunk = size_t{256} * 1024;
    static size_t countedLines = 0;
    const int fd = ::open(in.path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status;
    size_t chunk = kMaxChunk;
    if (::fstat(fd, &status) == 0 && static_cast<size_t>(status.st_size) < kMaxChunk) {
        chunk = std::max<size_t>(4096, static_cast<size_t>(status.st_size) + 1);
    }
    std::unique_ptr<char[]> buffer(new char[chunk]);
    size_t lines = 0;
    ssize_t count;
    while ((count = ::read(fd, buffer.get(), chunk)) > 0) {
        const char* at = buffer.get();
        const char* const end = at + count;
        while (const void* feed = std::memchr(at, '\n', static_cast<size_t>(end - at))) {
            ++lines;
            at = static_cast<const char*>(feed) + 1;
        }
    }
    ::close(fd);
    countedLines = lines; // keeps the count from being optimised away
    return Parsed(&countedLines, [](void*) {});
}

// inih's callback that keeps nothing, so that only the parse is timed.
int NoHandler(void*, const char*, const char*, const char*) { return 1; }

Parsed InihParse(const Input& in)
{
    static int parseResult = 0;
    parseResult = ini_parse(in.path.c_str(), NoHandler, nullptr);
    // A positive result is the first line inih rejects: lines past its 200 bytes.
    Check(parseResult >= 0, "ini_parse");
    return Parsed(&parseResult, [](void*) {});
}

Parsed InihReader(const Input& in)
{
    auto reader = std::make_unique<INIReader>(in.path);
    Check(reader->ParseError() >= 0, "INIReader");
    return Keep(std::move(reader));
}

Parsed SimpleIniLoad(const Input& in)
{
    auto ini = std::make_unique<CSimpleIniA>();
    Check(ini->LoadFile(in.path.c_str()) >= 0, "LoadFile");
    return Keep(std::move(ini));
}

Parsed BoostRead(const Input& in)
{
    auto tree = std::make_unique<boost::property_tree::ptree>();
    try {
        boost::property_tree::read_ini(in.path, *tree);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "read_ini: %s\n", error.what());
        Check(false, "read_ini");
    }
    return Keep(std::move(tree));
}

Parsed CfgParse(const Input& in, unsigned mode)
{
    auto parser = std::make_unique<CCFGParser>(mode);
    Check(parser->CFGParseFile(in.path) == 0, "CFGParseFile");
    return Keep(std::move(parser));
}

// The least heap the model's types can hold this data in: every string and
// vector allocated at its exact size, one map node and one CBlock per block.
size_t ModelNeed(const CCFGParser& parser)
{
    auto string = [](const std::string& s) { return s.size() > 15 ? UsableSizeFor(s.size() + 1) : 0; };
    // A map node: the red-black links (32 bytes) and the pair.
    size_t need = UsableSizeFor(sizeof(std::map<std::string, CBlock*>));
    for (const auto& block : *parser.m_pmCFGData) {
        need += UsableSizeFor(32 + sizeof(block)) + string(block.first) + UsableSizeFor(sizeof(CBlock));
        need += string(block.second->m_strComment);
        if (!block.second->m_vecNodes.empty()) {
            need += UsableSizeFor(block.second->m_vecNodes.size() * sizeof(CNode));
        }
        for (const CNode& node : block.second->m_vecNodes) {
            need += string(node.m_strComment) + string(node.m_strKey) + string(node.m_strValue);
        }
    }
    return need;
}

// The first parse in the process is the one measured. A small file is parsed
// again and again and its time is the median of those runs, since one run of
// microseconds is below the clock's and the system's noise.
int RunParse(const ParseFn& parse, const Input& in, bool isModel)
{
    if (g_heapMode) {
        ResetPeak();
        const HeapState before = Heap();
        Parsed result = parse(in);
        const HeapState after = Heap();
        const size_t need = isModel ? ModelNeed(*static_cast<const CCFGParser*>(result.get())) : 0;
        std::printf("allocations=%lld kept=%lld peak=%lld need=%zu\n", after.allocations - before.allocations,
                    after.live - before.live, after.peak - before.live, need);
        return 0;
    }
    auto once = [&]() {
        const Clock::time_point start = Clock::now();
        Parsed result = parse(in);
        const double seconds = Seconds(start);
        return seconds; // the result is freed after the clock stopped
    };
    std::vector<double> times = {once()};
    if (in.facts.bytes < (size_t{1} << 20)) {
        const Clock::time_point start = Clock::now();
        while (times.size() < 20000 && (times.size() < 50 || Seconds(start) < 0.2)) {
            times.push_back(once());
        }
    }
    std::nth_element(times.begin(), times.begin() + times.size() / 2, times.end());
    std::printf("seconds=%.9g runs=%zu input_bytes=%zu\n", times[times.size() / 2], times.size(),
                in.facts.bytes);
    return 0;
}

// ---------------------------------------------------------------- lookups

// Times `lookup(i)` over the file's keys, round and round, for a fifth of a
// second; reports the time and the allocations per call.
int RunLoop(const Input& in, const std::function<void(size_t)>& lookup)
{
    const size_t keys = in.facts.keyBlocks.size();
    for (size_t i = 0; i < keys; ++i) {
        lookup(i); // warm up
    }
    const HeapState before = Heap();
    size_t calls = 0;
    const Clock::time_point start = Clock::now();
    double seconds = 0;
    do {
        for (size_t i = 0; i < keys; ++i) {
            lookup(i);
        }
        calls += keys;
        seconds = Seconds(start);
    } while (seconds < 0.2);
    if (g_heapMode) {
        const long long allocations = Heap().allocations - before.allocations;
        std::printf("allocations_per_call=%.3f\n",
                    static_cast<double>(allocations) / static_cast<double>(calls));
    } else {
        std::printf("seconds=%.9g runs=%zu\n", seconds / static_cast<double>(calls), calls);
    }
    return 0;
}

// The lookup keys as BLOCK.ENTRY; `infix` makes them miss.
std::vector<std::string> CfgKeys(const Input& in, const char* infix)
{
    std::vector<std::string> keys;
    for (size_t i = 0; i < in.facts.keyBlocks.size(); ++i) {
        keys.push_back(in.facts.keyBlocks[i] + "." + infix + in.facts.keyEntries[i]);
    }
    return keys;
}

long g_sink = 0; // results of lookups, so that they are not optimised away

int CfgGet(const Input& in, const char* infix)
{
    CCFGParser parser;
    parser.CFGParseFile(in.path);
    const std::vector<std::string> keys = CfgKeys(in, infix);
    std::string value;
    value.reserve(64); // the caller's string has room: no allocation is needed
    for (const std::string& key : keys) {
        value.clear();
        Check(parser.CFGGetData(key, value) == (*infix == '\0' ? 0 : -2), "CFGGetData");
    }
    return RunLoop(in, [&](size_t i) {
        value.clear();
        g_sink += parser.CFGGetData(keys[i], value);
    });
}

int CfgSet(const Input& in)
{
    CCFGParser parser;
    parser.CFGParseFile(in.path);
    const std::vector<std::string> keys = CfgKeys(in, "");
    const std::string value = "1234567";
    for (const std::string& key : keys) {
        Check(parser.CFGSetData(key, value) == 0, "CFGSetData");
    }
    return RunLoop(in, [&](size_t i) { g_sink += parser.CFGSetData(keys[i], value); });
}

// The front end's typed getter: the engine's lookup, a copy of the value (the
// one-argument form returns it by value) and strtoul.
int ZelGetInt(const Input& in)
{
    CZelConfigReader reader(in.path);
    const std::vector<std::string> keys = CfgKeys(in, "");
    for (const std::string& key : keys) {
        int value = 0;
        Check(reader.GetInt(key, value) == 0, "GetInt");
    }
    return RunLoop(in, [&](size_t i) { g_sink += reader.GetInt(keys[i]); });
}

int InihGetInteger(const Input& in)
{
    INIReader reader(in.path);
    for (size_t i = 0; i < in.facts.keyBlocks.size(); ++i) {
        Check(reader.GetInteger(in.facts.keyBlocks[i], in.facts.keyEntries[i], -1) != -1, "GetInteger");
    }
    return RunLoop(in, [&](size_t i) {
        g_sink += reader.GetInteger(in.facts.keyBlocks[i], in.facts.keyEntries[i], -1);
    });
}

int SimpleIniGetLong(const Input& in)
{
    CSimpleIniA ini;
    ini.LoadFile(in.path.c_str());
    for (size_t i = 0; i < in.facts.keyBlocks.size(); ++i) {
        Check(ini.GetLongValue(in.facts.keyBlocks[i].c_str(), in.facts.keyEntries[i].c_str(), -1) != -1,
              "GetLongValue");
    }
    return RunLoop(in, [&](size_t i) {
        g_sink += ini.GetLongValue(in.facts.keyBlocks[i].c_str(), in.facts.keyEntries[i].c_str(), -1);
    });
}

// ---------------------------------------------------------------- XML

#ifdef ZELCONFIG_XML_PLUGIN
// The XML twin of a bench file, made once beside it: the same blocks and
// entries as <Config><Block><Entry>value</Entry>...</Block>...</Config>.
std::string XmlTwin(const Input& in)
{
    const size_t dot = in.path.rfind(".cfg");
    const std::string path = in.path.substr(0, dot) + ".xml";
    struct stat status;
    if (::stat(path.c_str(), &status) == 0) {
        return path;
    }
    CCFGParser parser;
    Check(parser.CFGParseFile(in.path) == 0, "CFGParseFile");
    std::string text = "<?xml version=\"1.0\"?>\n<Config>\n";
    for (const auto& [name, block] : *parser.m_pmCFGData) {
        text += "  <" + name + ">\n";
        for (const CNode& node : block->m_vecNodes) {
            text += "    <" + node.m_strKey + ">";
            for (char c : node.m_strValue) {
                text += c == '&' ? "&amp;" : c == '<' ? "&lt;" : std::string(1, c);
            }
            text += "</" + node.m_strKey + ">\n";
        }
        text += "  </" + name + ">\n";
    }
    text += "</Config>\n";
    const std::string temp = path + ".part";
    Check(WriteFile(temp, text) == 0 && std::rename(temp.c_str(), path.c_str()) == 0,
          "writing the XML twin");
    return path;
}

// The twin, made and the plug-in loaded before anything is timed, as a
// program's first XML file would load it; the front ends then find the
// plug-in by its SONAME.
std::string g_xmlPath;

void PrepareXml(const Input& in)
{
    g_xmlPath = XmlTwin(in);
    Check(::dlopen(ZELCONFIG_XML_PLUGIN, RTLD_NOW) != nullptr, "dlopen of the XML plug-in");
}

std::function<int(const Input&)> ParseXml(ParseFn parse)
{
    return [parse](const Input& in) {
        PrepareXml(in);
        return RunParse(parse, in, false);
    };
}

Parsed PugiLoad(const Input&)
{
    auto doc = std::make_unique<pugi::xml_document>();
    Check(static_cast<bool>(doc->load_file(g_xmlPath.c_str())), "load_file");
    return Keep(std::move(doc));
}

Parsed XmlReaderParse(const Input&)
{
    auto reader = std::make_unique<CZelConfigReader>();
    Check(reader->Parse(g_xmlPath) == 0, "CZelConfigReader::Parse on XML");
    return Keep(std::move(reader));
}

// The direct walk: root, block child, entry child, text, strtoul.
int PugiGet(const Input& in)
{
    PrepareXml(in);
    pugi::xml_document doc;
    Check(static_cast<bool>(doc.load_file(g_xmlPath.c_str())), "load_file");
    const pugi::xml_node root = doc.document_element();
    return RunLoop(in, [&](size_t i) {
        g_sink += static_cast<long>(std::strtoul(
            root.child(in.facts.keyBlocks[i].c_str()).child(in.facts.keyEntries[i].c_str()).child_value(),
            nullptr, 0));
    });
}

int XmlGetInt(const Input& in)
{
    PrepareXml(in);
    CZelConfigReader reader(g_xmlPath);
    const std::vector<std::string> keys = CfgKeys(in, "");
    for (const std::string& key : keys) {
        int value = 0;
        Check(reader.GetInt(key, value) == 0, "GetInt on XML");
    }
    return RunLoop(in, [&](size_t i) { g_sink += reader.GetInt(keys[i]); });
}
#endif

// ---------------------------------------------------------------- INI

// The INI twin of the file, which the driver writes beside it (".ini" for
// ".cfg"), with its own facts: the same names and value bytes, written
// "key = value", a tenth of the values over continuation lines.
Input IniTwin(const Input& in)
{
    Input twin = in;
    twin.path = in.path.substr(0, in.path.rfind(".cfg")) + ".ini";
    Check(LoadFacts(twin.path, twin.facts), "loading the INI twin's facts");
    return twin;
}

std::function<int(const Input&)> ParseIni(ParseFn parse)
{
    return [parse](const Input& in) { return RunParse(parse, IniTwin(in), false); };
}

// What a reader of every entry does with it, kept so that no reading is
// optimised away: entries counted, the values' bytes summed.
struct Tally
{
    size_t entries = 0;
    size_t valueBytes = 0;
};

// inih's callback for the INI twin: the least a program reading every value
// does. inih calls it once more for each continuation line.
int TallyHandler(void* user, const char*, const char*, const char* value)
{
    Tally& tally = *static_cast<Tally*>(user);
    ++tally.entries;
    tally.valueBytes += std::strlen(value);
    return 1;
}

Parsed InihTally(const Input& in)
{
    auto tally = std::make_unique<Tally>();
    // A positive result is the first line inih rejects: lines past its 200 bytes.
    Check(ini_parse(in.path.c_str(), TallyHandler, tally.get()) >= 0, "ini_parse on the INI twin");
    return Keep(std::move(tally));
}

// The dialect's reading: Load reads every line and indexes the headers.
Parsed IniLoad(const Input& in)
{
    auto document = std::make_unique<zelconfig::Document>(zelconfig::Document::Mode::kIni);
    Check(document->Load(in.path) == 0, "Document::Load in the INI dialect");
    return Keep(std::move(document));
}

// The same, then every entry visited once with its joined value, as the
// handler above visits them.
Parsed IniWalk(const Input& in)
{
    auto document = std::make_unique<zelconfig::Document>(zelconfig::Document::Mode::kIni);
    Check(document->Load(in.path) == 0, "Document::Load in the INI dialect");
    Tally tally;
    document->Walk([&tally](const std::string&, const std::string& value) {
        ++tally.entries;
        tally.valueBytes += value.size();
    });
    Check(tally.entries == in.facts.entries, "Document::Walk over every entry");
    return Keep(std::move(document));
}

// ---------------------------------------------------------------- saving

// The whole file, untimed; empty when it cannot be read.
std::string Contents(const std::string& path)
{
    return ReadFile(path);
}

// Times a save into a file that does not exist yet; the saved bytes' size is
// reported so that the driver can tell throughput. The result is the median of
// several saves: of 50 or more for a small file, as with parsing, and of up to
// three (within a second) for a large one, since a single write of 50 MB into
// the page cache varies a lot from one call to the next.
int TimeSave(const Input& in, const std::function<void(const std::string&)>& save)
{
    const std::string out = in.scratch + "/saved.cfg";
    auto once = [&]() {
        ::unlink(out.c_str());
        const Clock::time_point start = Clock::now();
        save(out);
        return Seconds(start);
    };
    std::vector<double> times = {once()};
    const size_t bytes = Contents(out).size();
    const Clock::time_point start = Clock::now();
    if (in.facts.bytes < (size_t{1} << 20)) {
        times.clear();
        while (times.size() < 20000 && (times.size() < 50 || Seconds(start) < 0.2)) {
            times.push_back(once());
        }
    } else {
        while (times.size() < 3 && Seconds(start) < 1.0) {
            times.push_back(once());
        }
    }
    ::unlink(out.c_str());
    std::nth_element(times.begin(), times.begin() + times.size() / 2, times.end());
    std::printf("seconds=%.9g runs=%zu saved_bytes=%zu\n", times[times.size() / 2], times.size(), bytes);
    return 0;
}

// The floors of a save: the bytes CFGSaveData writes, in one write, in one
// write made durable with fsync, or in one write per line as its flush per
// line requires. The per-line loop is the baseline itself and stays here;
// each write goes through zelconfig::WriteAll, one write(2) unless it comes up short.
enum class Floor { kOnce, kOnceSynced, kPerLine };

int SaveFloor(const Input& in, Floor floor)
{
    const bool perLine = floor == Floor::kPerLine;
    CCFGParser parser;
    parser.CFGParseFile(in.path);
    const std::string copy = in.scratch + "/model.cfg";
    parser.CFGSaveData(copy);
    const std::string bytes = Contents(copy);
    ::unlink(copy.c_str());
    return TimeSave(in, [&](const std::string& out) {
        const int fd = ::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        if (!perLine) {
            zelconfig::WriteAll(fd, bytes.data(), bytes.size());
        } else {
            size_t at = 0;
            while (at < bytes.size()) {
                const char* feed =
                    static_cast<const char*>(std::memchr(bytes.data() + at, '\n', bytes.size() - at));
                const size_t end = feed == nullptr ? bytes.size() : static_cast<size_t>(feed - bytes.data()) + 1;
                zelconfig::WriteAll(fd, bytes.data() + at, end - at);
                at = end;
            }
        }
        if (floor == Floor::kOnceSynced) {
            ::fsync(fd);
        }
        ::close(fd);
    });
}

// An edit of a file in place, as a user's command makes it, timed on a fresh
// copy of the input each time (made before the clock starts); the median of
// several runs, as with saves.
int TimeEdit(const Input& in, const std::function<void(const std::string&)>& edit,
             const std::string& source = {}, const char* name = "edited.cfg")
{
    const std::string target = in.scratch + "/" + name;
    const std::string original = Contents(source.empty() ? in.path : source);
    auto once = [&]() {
        WriteFile(target, original);
        const Clock::time_point start = Clock::now();
        edit(target);
        return Seconds(start);
    };
    std::vector<double> times = {once()};
    const size_t bytes = Contents(target).size();
    const Clock::time_point start = Clock::now();
    while (times.size() < (in.facts.bytes < (size_t{1} << 20) ? 50u : 3u) && Seconds(start) < 1.0) {
        times.push_back(once());
    }
    ::unlink(target.c_str());
    std::nth_element(times.begin(), times.begin() + times.size() / 2, times.end());
    std::printf("seconds=%.9g runs=%zu saved_bytes=%zu\n", times[times.size() / 2], times.size(), bytes);
    return 0;
}

// The floor of a durable edit: read the file, write the same bytes to a
// temporary file beside it, fsync, rename over the file, fsync the directory.
// The read below is part of the timed floor (one read into an unzeroed buffer
// of the file's size, the least a save can do), so it is not ReadFile.
void DurableReplace(const std::string& target)
{
    // Read in one call into a buffer of the file's size, which is not even zeroed.
    const int in = ::open(target.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    ::fstat(in, &status);
    const size_t size = static_cast<size_t>(status.st_size);
    std::unique_ptr<char[]> bytes(new char[size + 1]);
    size_t got = 0;
    ssize_t count;
    while ((count = ::read(in, bytes.get() + got, size + 1 - got)) > 0) {
        got += static_cast<size_t>(count);
    }
    ::close(in);
    std::string temporary = target + ".XXXXXX";
    const int fd = ::mkstemp(&temporary[0]);
    zelconfig::WriteAll(fd, bytes.get(), got);
    ::fsync(fd);
    ::close(fd);
    ::rename(temporary.c_str(), target.c_str());
    const int directory = ::open(target.substr(0, target.rfind('/')).c_str(), O_RDONLY | O_CLOEXEC);
    ::fsync(directory);
    ::close(directory);
}

// zelcfg set through the tool's own code (without starting a process): an
// existing key's value, or a new key in an existing block; with `ini`, the
// same existing value in the INI twin, read with --ini.
int ZelcfgSet(const Input& in, bool newKey, bool ini = false)
{
    const std::string key = in.facts.keyBlocks[0] + "." + (newKey ? "newkey" : in.facts.keyEntries[0]);
    const auto edit = [&](const std::string& target) {
        zelcfg::Invocation invocation;
        invocation.command = "set";
        invocation.operands = {target, key, "424242"};
        invocation.mode = ini ? zelcfg::ModeChoice::kIni : zelcfg::ModeChoice::kByPath;
        Check(zelcfg::RunInvocation(invocation) == 0, ini ? "zelcfg set --ini" : "zelcfg set");
    };
    return ini ? TimeEdit(in, edit, IniTwin(in).path, "edited.ini") : TimeEdit(in, edit);
}

// zelcfg edit through the tool's own code: one script of 1,000 sets of the
// facts' keys in turn, each a new value, made in one load and one save. The
// script is written before the clock starts and read from standard input,
// as a shell's here-document gives it.
int ZelcfgEdit(const Input& in)
{
    const std::string script = in.scratch + "/edit.script";
    std::string text;
    for (size_t i = 0; i < 1000; ++i) {
        const size_t key = i % in.facts.keyBlocks.size();
        text += "set " + in.facts.keyBlocks[key] + "." + in.facts.keyEntries[key] + " " + std::to_string(424242 + i)
                + "\n";
    }
    WriteFile(script, text);
    const int savedStdin = ::dup(0);
    const int status = TimeEdit(in, [&](const std::string& target) {
        const int fd = ::open(script.c_str(), O_RDONLY | O_CLOEXEC);
        ::dup2(fd, 0);
        ::close(fd);
        zelcfg::Invocation invocation;
        invocation.command = "edit";
        invocation.operands = {target};
        Check(zelcfg::RunInvocation(invocation) == 0, "zelcfg edit");
    });
    ::dup2(savedStdin, 0);
    ::close(savedStdin);
    ::unlink(script.c_str());
    return status;
}

#ifdef ZELCONFIG_XML_PLUGIN
// A value of the XML twin changed and saved, by the front end's writer (the
// plug-in's save) or by zelcfg set (the XML document's): the edits an
// application and a script make of an XML file.
int XmlSave(const Input& in, bool tool)
{
    PrepareXml(in);
    const std::string key = in.facts.keyBlocks[0] + "." + in.facts.keyEntries[0];
    return TimeEdit(
        in,
        [&](const std::string& target) {
            if (tool) {
                zelcfg::Invocation invocation;
                invocation.command = "set";
                invocation.operands = {target, key, "424242"};
                Check(zelcfg::RunInvocation(invocation) == 0, "zelcfg set on XML");
                return;
            }
            CZelConfigWriter writer(target);
            Check(writer.Set(key, 424242) == 0 && writer.Save() == 0, "CZelConfigWriter Set and Save on XML");
        },
        g_xmlPath, "edited.xml");
}
#endif

// Runs a program to its end, as a shell runs a command: false unless it
// exited with 0. posix_spawn, so that the parent's heap is not copied.
bool RunProcess(const std::vector<std::string>& args)
{
    std::vector<char*> argv;
    for (const std::string& arg : args) {
        argv.push_back(const_cast<char*>(arg.c_str()));
    }
    argv.push_back(nullptr);
    pid_t child = 0;
    if (::posix_spawn(&child, argv[0], nullptr, nullptr, argv.data(), environ) != 0) {
        return false;
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// The durable replacement by shell tools, each a process of its own: cat to a
// temporary file, sync it, mv it over the file, sync -f the directory.
void ShellReplace(const std::string& target)
{
    const std::string script = "cat \"$1\" > \"$1.tmp\" && sync \"$1.tmp\" && mv \"$1.tmp\" \"$1\" && sync -f \"${1%/*}\"";
    Check(RunProcess({"/bin/sh", "-c", script, "sh", target}), "shell replacement");
}

// zelcfg set as a process of its own: what a script pays for one edit.
void ZelcfgProcess(const Input& in, const std::string& target)
{
    const std::string key = in.facts.keyBlocks[0] + "." + in.facts.keyEntries[0];
    Check(RunProcess({ZELCFG_PROGRAM, "set", target, key, "424242"}), "zelcfg set process");
}

int CfgSave(const Input& in)
{
    CCFGParser parser;
    parser.CFGParseFile(in.path);
    return TimeSave(in, [&](const std::string& out) { parser.CFGSaveData(out); });
}

int SimpleIniSave(const Input& in)
{
    CSimpleIniA ini;
    ini.LoadFile(in.path.c_str());
    return TimeSave(in, [&](const std::string& out) { ini.SaveFile(out.c_str()); });
}

int BoostWrite(const Input& in)
{
    boost::property_tree::ptree tree;
    try {
        boost::property_tree::read_ini(in.path, tree);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "read_ini: %s\n", error.what());
    }
    return TimeSave(in, [&](const std::string& out) {
        try {
            boost::property_tree::write_ini(out, tree);
        } catch (const std::exception& error) {
            std::fprintf(stderr, "write_ini: %s\n", error.what());
        }
    });
}

// ---------------------------------------------------------------- diff and merge

// The three files of an upgrade made from one of the file's twins, written
// before anything is timed: OLD is the twin itself, NEW and FILE are derived
// from it (DeriveUpgrade: every 1,000th entry changed, removed or added,
// some by both, so that there are conflicts) and written beside it as
// NAME-new.EXT and NAME-user.EXT. Each case writes them again, so that they
// always follow the twin and the derivation.
struct Upgrade
{
    std::string old, updated, user;
    zelcfg::ModeChoice mode = zelcfg::ModeChoice::kByPath;
    zelconfig::Document::Mode documentMode = zelconfig::Document::Mode::kBlock;
    bool xml = false;
    size_t bytes[3] = {};
};

Upgrade MakeUpgrade(const Input& in, FileStyle style)
{
    Upgrade upgrade;
    if (style == FileStyle::kIni) {
        upgrade.old = IniTwin(in).path;
        upgrade.mode = zelcfg::ModeChoice::kIni;
        upgrade.documentMode = zelconfig::Document::Mode::kIni;
    } else if (style == FileStyle::kXml) {
#ifdef ZELCONFIG_XML_PLUGIN
        PrepareXml(in);
        upgrade.old = g_xmlPath;
        upgrade.xml = true;
#endif
    } else {
        upgrade.old = in.path;
    }
    const std::string old = Contents(upgrade.old);
    const UpgradeFiles files = DeriveUpgrade(old, style, UpgradeStride(in.facts.entries));
    const size_t dot = upgrade.old.rfind('.');
    upgrade.updated = upgrade.old.substr(0, dot) + "-new" + upgrade.old.substr(dot);
    upgrade.user = upgrade.old.substr(0, dot) + "-user" + upgrade.old.substr(dot);
    Check(!old.empty() && files.conflicts > 0 && WriteFile(upgrade.updated, files.updated) == 0
              && WriteFile(upgrade.user, files.user) == 0,
          "writing the files of an upgrade");
    upgrade.bytes[0] = old.size();
    upgrade.bytes[1] = files.updated.size();
    upgrade.bytes[2] = files.user.size();
    return upgrade;
}

// Times run() as TimeEdit does (the median of several runs, `prepare` made
// before each clock starts), with standard output sent to /dev/null, as a
// script that only wants the exit status has it; reports the bytes of the
// `files` files read.
int TimeUpgrade(const Input& in, const Upgrade& upgrade, size_t files, const std::function<void()>& prepare,
                const std::function<void()>& run)
{
    std::fflush(stdout);
    const int output = ::dup(1);
    const int null = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    ::dup2(null, 1);
    ::close(null);
    auto once = [&]() {
        prepare();
        const Clock::time_point start = Clock::now();
        run();
        std::fflush(stdout);
        return Seconds(start);
    };
    std::vector<double> times = {once()};
    const Clock::time_point start = Clock::now();
    while (times.size() < (in.facts.bytes < (size_t{1} << 20) ? 50u : 3u) && Seconds(start) < 1.0) {
        times.push_back(once());
    }
    ::dup2(output, 1);
    ::close(output);
    size_t bytes = 0;
    for (size_t i = 0; i < files; ++i) {
        bytes += upgrade.bytes[i];
    }
    std::nth_element(times.begin(), times.begin() + times.size() / 2, times.end());
    std::printf("seconds=%.9g runs=%zu input_bytes=%zu\n", times[times.size() / 2], times.size(), bytes);
    return 0;
}

// The baseline: OLD and NEW (and with `three` FILE) read, each loaded as
// the tool loads it (Document::Load in the file's mode, XmlDocument::Load)
// and every value of it read once by Walk, as `zelcfg list` reads it: the
// least a comparison of every key must do. The documents are freed after
// the clock stops.
int ReadUpgrade(const Input& in, FileStyle style, bool three)
{
    const Upgrade upgrade = MakeUpgrade(in, style);
    const std::vector<std::string> paths = {upgrade.old, upgrade.updated, upgrade.user};
    const size_t files = three ? 3 : 2;
    std::vector<zelconfig::Document> documents;
#ifdef ZELCONFIG_XML_PLUGIN
    std::vector<zelconfig::XmlDocument> xmlDocuments;
#endif
    size_t valueBytes = 0;
    const auto tally = [&valueBytes](const std::string&, const std::string& value) { valueBytes += value.size(); };
    return TimeUpgrade(
        in, upgrade, files,
        [&]() {
            documents.clear();
#ifdef ZELCONFIG_XML_PLUGIN
            xmlDocuments.clear();
#endif
        },
        [&]() {
            for (size_t i = 0; i < files; ++i) {
#ifdef ZELCONFIG_XML_PLUGIN
                if (upgrade.xml) {
                    xmlDocuments.emplace_back();
                    Check(xmlDocuments.back().Load(paths[i]) == 0, "XmlDocument::Load");
                    xmlDocuments.back().Walk(tally);
                    continue;
                }
#endif
                documents.emplace_back(upgrade.documentMode);
                Check(documents.back().Load(paths[i]) == 0, "Document::Load");
                documents.back().Walk(tally);
            }
            Check(valueBytes > 0, "Walk over the values");
        });
}

// zelcfg diff OLD NEW and zelcfg merge OLD NEW FILE through the tool's own
// code (RunInvocation, no process start), the files read in the twin's
// mode as the tool reads them: by the path, --ini for the INI twin. The
// merge edits a fresh copy of FILE each run, made before the clock starts,
// and saves it as the tool does (one lock, a durable replacement). Both
// exit with 1: the files differ, and the merge has conflicts.
int ZelcfgUpgrade(const Input& in, FileStyle style, bool merge)
{
    const Upgrade upgrade = MakeUpgrade(in, style);
    const std::string target = in.scratch + "/merged" + upgrade.old.substr(upgrade.old.rfind('.'));
    const std::string user = merge ? Contents(upgrade.user) : std::string();
    zelcfg::Invocation invocation;
    invocation.command = merge ? "merge" : "diff";
    invocation.operands = {upgrade.old, upgrade.updated};
    if (merge) {
        invocation.operands.push_back(target);
    }
    invocation.mode = upgrade.mode;
    const int status = TimeUpgrade(
        in, upgrade, merge ? 3 : 2,
        [&]() {
            if (merge) {
                WriteFile(target, user);
            }
        },
        [&]() { Check(zelcfg::RunInvocation(invocation) == zelcfg::kExitNotFound, merge ? "zelcfg merge" : "zelcfg diff"); });
    ::unlink(target.c_str());
    return status;
}

// ---------------------------------------------------------------- the cases

// One row of the table. `column`, when set, makes the case a reference that
// every other row of its section is compared with, under that heading.
struct Case
{
    const char* section; // parse, lookup or save
    const char* name;
    const char* label;
    const char* column;
    std::function<int(const Input&)> run;
    const char* against = nullptr; // the row whose time this row's "x read" column divides
};

std::function<int(const Input&)> Parse(ParseFn parse, bool isModel = false)
{
    return [parse, isModel](const Input& in) { return RunParse(parse, in, isModel); };
}

const std::vector<Case>& Cases()
{
    static const std::vector<Case> cases = {
        {"parse", "limit", "read + memchr line count", "limit", Parse(CountLines)},
        {"parse", "inih", "inih ini_parse, empty handler", "inih", Parse(InihParse)},
        {"parse", "inireader", "inih INIReader", "INIReader", Parse(InihReader)},
        {"parse", "simpleini", "SimpleIni LoadFile", "SimpleIni", Parse(SimpleIniLoad)},
        {"parse", "boost", "Boost read_ini", "Boost", Parse(BoostRead)},
        {"parse", "cfg-block", "CCFGParser, block mode", nullptr,
         Parse([](const Input& in) { return CfgParse(in, 0); }, true)},
        {"parse", "cfg-anonymous", "CCFGParser, anonymous mode", nullptr,
         Parse([](const Input& in) { return CfgParse(in, 1); }, true)},
#ifdef ZELCONFIG_XML_PLUGIN
        // The XML twin of the file: the plug-in through the front end
        // against pugixml alone.
        {"parse", "pugixml", "pugixml load_file (XML twin)", "pugixml", ParseXml(PugiLoad)},
        {"parse", "xml-reader", "CZelConfigReader, XML plug-in", nullptr, ParseXml(XmlReaderParse)},
#endif
        // The INI twin of the file: the dialect's reading against inih's,
        // each visiting every value the same way.
        {"parse", "inih-ini", "inih ini_parse, counting (INI twin)", "inih INI", ParseIni(InihTally)},
        {"parse", "ini-load", "Document kIni Load (INI twin)", nullptr, ParseIni(IniLoad)},
        {"parse", "ini-walk", "Document kIni Load + Walk (INI twin)", nullptr, ParseIni(IniWalk)},
#ifdef ZELCONFIG_XML_PLUGIN
        {"lookup", "pugixml-walk", "pugixml child walk + strtoul", "pugixml", PugiGet},
        {"lookup", "xml-getint", "CZelConfigReader::GetInt, XML", nullptr, XmlGetInt},
#endif
        {"lookup", "inireader-get", "INIReader GetInteger", "INIReader", InihGetInteger},
        {"lookup", "simpleini-get", "SimpleIni GetLongValue", "SimpleIni", SimpleIniGetLong},
        {"lookup", "cfg-get", "CFGGetData, present key", nullptr,
         [](const Input& in) { return CfgGet(in, ""); }},
        {"lookup", "cfg-get-missing", "CFGGetData, missing key", nullptr,
         [](const Input& in) { return CfgGet(in, "missing"); }},
        {"lookup", "zel-getint", "CZelConfigReader::GetInt", nullptr, ZelGetInt},
        {"lookup", "cfg-set", "CFGSetData", nullptr, CfgSet},
        {"save", "write-once", "one write of the same bytes", "1 write",
         [](const Input& in) { return SaveFloor(in, Floor::kOnce); }},
        {"save", "write-once-sync", "one write + fsync, same bytes", "write+fsync",
         [](const Input& in) { return SaveFloor(in, Floor::kOnceSynced); }},
        {"save", "write-lines", "one write per line, same bytes", "write/line",
         [](const Input& in) { return SaveFloor(in, Floor::kPerLine); }},
        {"save", "simpleini-save", "SimpleIni SaveFile", "SimpleIni", SimpleIniSave},
        {"save", "boost-write", "Boost write_ini", "Boost", BoostWrite},
        {"save", "cfg-save", "CFGSaveData (a write per line)", nullptr, CfgSave},
        {"save", "durable", "durable replacement floor", "durable",
         [](const Input& in) { return TimeEdit(in, DurableReplace); }},
        {"save", "zelcfg-set", "zelcfg set, existing value", "zelcfg set",
         [](const Input& in) { return ZelcfgSet(in, false); }},
        {"save", "zelcfg-set-ini", "zelcfg set --ini, existing value", nullptr,
         [](const Input& in) { return ZelcfgSet(in, false, true); }},
        {"save", "zelcfg-set-new", "zelcfg set, new key", nullptr, [](const Input& in) { return ZelcfgSet(in, true); }},
        {"save", "zelcfg-edit-1000", "zelcfg edit, 1,000 sets in one save", nullptr, ZelcfgEdit},
#ifdef ZELCONFIG_XML_PLUGIN
        {"save", "xml-writer-save", "CZelConfigWriter Set + Save, XML", nullptr,
         [](const Input& in) { return XmlSave(in, false); }},
        {"save", "zelcfg-set-xml", "zelcfg set, existing value, XML", nullptr,
         [](const Input& in) { return XmlSave(in, true); }},
#endif
        // Whole processes, process starts included, measured in the same rounds.
        {"save", "shell-durable", "cat+sync+mv+sync -f, processes", "shell floor",
         [](const Input& in) { return TimeEdit(in, ShellReplace); }},
        {"save", "zelcfg-process", "zelcfg set process, existing value", nullptr,
         [](const Input& in) {
             return TimeEdit(in, [&in](const std::string& target) { ZelcfgProcess(in, target); });
         }},
        // An upgrade's files made from each twin: each row's "x read" is
        // its time against reading the files it reads.
        {"merge", "read-2-cfg", "read OLD, NEW: Load + Walk, CFG", nullptr,
         [](const Input& in) { return ReadUpgrade(in, FileStyle::kCfg, false); }, "read-2-cfg"},
        {"merge", "diff-cfg", "zelcfg diff OLD NEW, CFG", nullptr,
         [](const Input& in) { return ZelcfgUpgrade(in, FileStyle::kCfg, false); }, "read-2-cfg"},
        {"merge", "read-3-cfg", "read OLD, NEW, FILE: Load + Walk, CFG", nullptr,
         [](const Input& in) { return ReadUpgrade(in, FileStyle::kCfg, true); }, "read-3-cfg"},
        {"merge", "merge-cfg", "zelcfg merge OLD NEW FILE, CFG", nullptr,
         [](const Input& in) { return ZelcfgUpgrade(in, FileStyle::kCfg, true); }, "read-3-cfg"},
        {"merge", "read-2-ini", "read OLD, NEW: Load + Walk, INI", nullptr,
         [](const Input& in) { return ReadUpgrade(in, FileStyle::kIni, false); }, "read-2-ini"},
        {"merge", "diff-ini", "zelcfg diff --ini OLD NEW", nullptr,
         [](const Input& in) { return ZelcfgUpgrade(in, FileStyle::kIni, false); }, "read-2-ini"},
        {"merge", "read-3-ini", "read OLD, NEW, FILE: Load + Walk, INI", nullptr,
         [](const Input& in) { return ReadUpgrade(in, FileStyle::kIni, true); }, "read-3-ini"},
        {"merge", "merge-ini", "zelcfg merge --ini OLD NEW FILE", nullptr,
         [](const Input& in) { return ZelcfgUpgrade(in, FileStyle::kIni, true); }, "read-3-ini"},
#ifdef ZELCONFIG_XML_PLUGIN
        {"merge", "read-2-xml", "read OLD, NEW: Load + Walk, XML", nullptr,
         [](const Input& in) { return ReadUpgrade(in, FileStyle::kXml, false); }, "read-2-xml"},
        {"merge", "diff-xml", "zelcfg diff OLD NEW, XML", nullptr,
         [](const Input& in) { return ZelcfgUpgrade(in, FileStyle::kXml, false); }, "read-2-xml"},
        {"merge", "read-3-xml", "read OLD, NEW, FILE: Load + Walk, XML", nullptr,
         [](const Input& in) { return ReadUpgrade(in, FileStyle::kXml, true); }, "read-3-xml"},
        {"merge", "merge-xml", "zelcfg merge OLD NEW FILE, XML", nullptr,
         [](const Input& in) { return ZelcfgUpgrade(in, FileStyle::kXml, true); }, "read-3-xml"},
#endif
    };
    return cases;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
        for (const Case& c : Cases()) {
            std::printf("%s\t%s\t%s\t%s\t%s\n", c.section, c.name, c.column != nullptr ? c.column : "-", c.label,
                        c.against != nullptr ? c.against : "-");
        }
        return 0;
    }
    if (argc == 5 && std::strcmp(argv[1], "--heap") == 0) {
        g_heapMode = true;
        StartCounting();
        ++argv;
        --argc;
    }
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s --list | [--heap] CASE FILE SCRATCH_DIR\n", argv[0]);
        return 2;
    }
    Input in;
    in.path = argv[2];
    in.scratch = argv[3];
    if (!LoadFacts(in.path, in.facts)) {
        std::fprintf(stderr, "%s: no facts beside %s\n", argv[0], argv[2]);
        return 2;
    }
    for (const Case& c : Cases()) {
        if (std::strcmp(c.name, argv[1]) == 0) {
            const int status = c.run(in);
            return status != 0 ? status : g_failed ? 1 : 0;
        }
    }
    std::fprintf(stderr, "%s: no case %s\n", argv[0], argv[1]);
    return 2;
}
