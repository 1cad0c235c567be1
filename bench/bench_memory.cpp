// Inputs far larger than any configuration file, each parsed in a child
// process of its own, which reports the status, whether the model is what the
// input says, and how much memory the parse took: the peak of resident memory
// during the parse and the heap the model keeps after it. Memory must stay
// within a generous multiple of the file's size (measured, never timed).
//
//   zelconfig_bench_memory DIR   writes the inputs to DIR; exits 1 when a
//                                status, a model or a bound is wrong
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <functional>
#include <malloc.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "CCFGParser.h"

namespace {

constexpr size_t kMiB = size_t{1} << 20;

// Writes the file a piece at a time, so that the parent stays small.
using Generator = std::function<void(std::ofstream&)>;

struct HostileCase
{
    const char* name;
    unsigned mode;
    Generator write;
    int status;
    std::function<bool(CCFGParser&)> modelIsRight;
    double peakPerByte, keptPerByte; // bounds: this many bytes of memory per byte of file
};

struct Report
{
    int status;
    bool modelIsRight;
    long long peakBytes, keptBytes;
};

long long StatusKiB(const char* field)
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind(field, 0) == 0) {
            return std::stoll(line.substr(std::string(field).size()));
        }
    }
    return -1;
}

// In the child: resets the peak of resident memory, parses, measures.
Report ParseAndMeasure(const HostileCase& row, const std::string& path)
{
    std::ofstream("/proc/self/clear_refs") << "5"; // VmHWM := VmRSS
    const long long residentBefore = StatusKiB("VmRSS:");
    // The heap in use, the large blocks that malloc maps on their own included.
    const auto heap = [] { return static_cast<long long>(mallinfo2().uordblks + mallinfo2().hblkhd); };
    const long long heapBefore = heap();
    CCFGParser parser(row.mode);
    Report report{};
    report.status = parser.CFGParseFile(path);
    report.peakBytes = (StatusKiB("VmHWM:") - residentBefore) * 1024;
    // After the checks, whose lookups must not keep memory either.
    report.modelIsRight = row.modelIsRight(parser);
    report.keptBytes = heap() - heapBefore;
    return report;
}

// Writes the row's file, parses it in a child and checks the report; true when all holds.
bool Run(const HostileCase& row, const std::string& dir)
{
    const std::string path = dir + "/hostile.cfg";
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        row.write(out);
    }
    struct stat info {};
    const double fileBytes = ::stat(path.c_str(), &info) == 0 ? static_cast<double>(info.st_size) : 0;
    int pipeEnds[2];
    if (pipe(pipeEnds) != 0) {
        return false;
    }
    const pid_t child = fork();
    if (child == 0) {
        const Report report = ParseAndMeasure(row, path);
        _exit(write(pipeEnds[1], &report, sizeof report) == sizeof report ? 0 : 1);
    }
    close(pipeEnds[1]); // so that a child that dies ends the read
    Report report{};
    const ssize_t got = child > 0 ? read(pipeEnds[0], &report, sizeof report) : -1;
    close(pipeEnds[0]);
    int exitStatus = 0;
    if (child > 0) {
        waitpid(child, &exitStatus, 0);
    }
    ::unlink(path.c_str());
    const double slack = 16.0 * kMiB;
    const double peakBound = row.peakPerByte * fileBytes + slack, keptBound = row.keptPerByte * fileBytes + slack;
    const bool measured = got == static_cast<ssize_t>(sizeof report);
    const bool ok = measured && report.status == row.status && report.modelIsRight
                    && static_cast<double>(report.peakBytes) <= peakBound
                    && static_cast<double>(report.keptBytes) <= keptBound;
    std::printf("%-36s %6.0f %6lld %6.0f %6lld %6.0f  %d %s  %s\n", row.name, fileBytes / kMiB,
                report.peakBytes >> 20, peakBound / kMiB, report.keptBytes >> 20, keptBound / kMiB, report.status,
                report.modelIsRight ? "yes" : "no", ok ? "ok" : measured ? "FAILED" : "FAILED: the child died");
    return ok;
}

Generator Repeat(std::string head, std::string line, size_t count, std::string tail = "")
{
    return [=](std::ofstream& out) {
        out << head;
        for (size_t i = 0; i < count; ++i) {
            out << line;
        }
        out << tail;
    };
}

const std::string kMegabyte(kMiB, 'x');

size_t Entries(CCFGParser& parser, const std::string& block)
{
    const auto found = parser.m_pmCFGData->find(block);
    return found == parser.m_pmCFGData->end() ? 0 : found->second->m_vecNodes.size();
}

// The bounds: a 64 MB line is held by the reader's buffer and then by its
// value, about twice the file at the peak; a block or entry of a dozen bytes
// costs a map node, a block and an entry of some 250 bytes in the model.
const HostileCase kCases[] = {
    {"SingleLine64MiB", 0, Repeat("[A]\nk=", kMegabyte, 64, "\n"), 0,
     [](CCFGParser& p) { return p.CFGGetData("A.k").size() == 64 * kMiB; }, 4, 1.5},
    {"SingleLine64MiBTrimmed", 1, Repeat("  k  =  ", kMegabyte, 64, " \r\n"), 0,
     [](CCFGParser& p) { return p.CFGGetData("k").size() == 64 * kMiB; }, 4, 1.5},
    {"MillionBlocks", 0,
     [](std::ofstream& out) {
         char line[32];
         for (int i = 0; i < 1000000; ++i) {
             out.write(line, std::snprintf(line, sizeof line, "[B%07d]\nk=v\n", i));
         }
     },
     0, [](CCFGParser& p) { return p.m_pmCFGData->size() == 1000000 && p.CFGGetData("B0999999.k") == "v"; }, 32,
     24},
    {"MillionRepeatedHeadersKeepOneEntry", 0, Repeat("", "[A]\nk=v\n", 1000000), 0,
     [](CCFGParser& p) { return Entries(p, "A") == 1; }, 1, 0.1},
    {"LookupOfA64MiBBlockNameKeepsNoRoom", 0, Repeat("[A]\nk=v\n", "", 0), 0,
     [](CCFGParser& p) {
         return p.CFGGetData(kMegabyte + ".k").empty() && p.CFGGetData(std::string(64 * kMiB, 'x') + ".k").empty();
     },
     1, 1},
    {"MillionEntriesInOneBlock", 1, Repeat("[A]\n", "k=v\n", 1000000, "[B\n"), -1,
     [](CCFGParser& p) { return Entries(p, "anonymous") == 1000000 && Entries(p, "A") == 0; }, 40, 32},
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s DIR\n", argv[0]);
        return 2;
    }
    if (::mkdir(argv[1], 0777) != 0 && errno != EEXIST) {
        std::perror(argv[1]);
        return 2;
    }
    std::printf("Memory of hostile parses, MiB: file, peak resident and its bound, heap kept and its bound\n");
    std::printf("%-36s %6s %6s %6s %6s %6s  status model\n", "", "file", "peak", "bound", "kept", "bound");
    bool ok = true;
    for (const HostileCase& row : kCases) {
        ok = Run(row, argv[1]) && ok;
    }
    return ok ? 0 : 1;
}
