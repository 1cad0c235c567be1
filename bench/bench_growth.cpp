// How the time of zelcfg's XML commands grows with the file: with the depth
// of its nesting, and with the number of siblings, named apart or alike,
// from 1,000 to 1,000,000; and how zelcfg merge grows, on CFG, INI and XML
// files of N and 4N bytes (the benchmark's shaped files, 2,000 and 8,000
// blocks of 50 entries, with an upgrade's NEW and FILE derived from them). Each command runs in this process through the
// tool's own code, as the zelcfg set rows of zelconfig_bench do, its output
// sent to /dev/null; an edit gets a fresh copy of the file, written before
// the clock starts. The median of several runs is printed with the growth
// from each size to the next: about 10 for a cost linear in the size, 100
// for a quadratic one. Caches make a large file's bytes dearer than a small
// one's, and the machine is shared, so the times are also given as the
// instructions the process retires in user space (the kernel's performance
// counters, where it grants them), which count the work alone. Nothing is
// judged; a command that fails makes the program exit with 1.
//
//   zelconfig_bench_growth DIR [--smoke]   writes the files to DIR; --smoke
//                                          runs each command once on the two
//                                          smallest sizes (for the merge, 10
//                                          and 40 blocks)
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <iostream>
#include <linux/perf_event.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

#include "BenchFiles.h"
#include "TestFiles.h"
#include "Zelcfg.h"

namespace {

using Clock = std::chrono::steady_clock;

// A file of one shape, N being the depth or the number of siblings.
struct Shape
{
    const char* label;
    std::function<std::string(size_t)> text;
};

const Shape kShapes[] = {
    {"nested N deep, on one line",
     [](size_t n) {
         std::string text;
         text.reserve(7 * n + 2);
         for (size_t i = 0; i < n; ++i) {
             text += "<a>";
         }
         text += 'v';
         for (size_t i = 0; i < n; ++i) {
             text += "</a>";
         }
         return text + "\n";
     }},
    {"N siblings, each named apart",
     [](size_t n) {
         std::string text = "<r>\n";
         char line[48];
         for (size_t i = 0; i < n; ++i) {
             text.append(line, static_cast<size_t>(std::snprintf(line, sizeof line, "  <k%07zu>v</k%07zu>\n", i, i)));
         }
         return text + "</r>\n";
     }},
    {"N siblings of one name",
     [](size_t n) {
         std::string text = "<r>\n";
         for (size_t i = 0; i < n; ++i) {
             text += "  <k>v</k>\n";
         }
         return text + "</r>\n";
     }},
};

// A command on the file: its words after zelcfg, FILE standing for the path.
struct Command
{
    const char* label;
    std::vector<std::string> words;
    bool edits;
    int status = 0; // the exit status it is to give
};

const Command kCommands[] = {
    {"zelcfg list", {"list", "FILE"}, false},
    {"zelcfg list -z", {"list", "-z", "FILE"}, false},
    {"zelcfg set, adding an element", {"set", "FILE", "added", "1"}, true},
    {"zelcfg lint", {"lint", "FILE"}, false},
};

bool g_failed = false;

// The instructions this process retires in user space between Start and
// Stop; -1 where the kernel grants no counter (perf_event_paranoid, a
// virtual machine or container without them).
class Instructions
{
public:
    Instructions()
    {
        perf_event_attr attributes {};
        attributes.type = PERF_TYPE_HARDWARE;
        attributes.size = sizeof attributes;
        attributes.config = PERF_COUNT_HW_INSTRUCTIONS;
        attributes.disabled = 1;
        attributes.exclude_kernel = 1;
        attributes.exclude_hv = 1;
        m_fd = static_cast<int>(::syscall(SYS_perf_event_open, &attributes, 0, -1, -1, 0));
    }
    ~Instructions()
    {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
    }
    Instructions(const Instructions&) = delete;
    Instructions& operator=(const Instructions&) = delete;

    bool Counts() const { return m_fd >= 0; }

    void Start() const
    {
        ::ioctl(m_fd, PERF_EVENT_IOC_RESET, 0);
        ::ioctl(m_fd, PERF_EVENT_IOC_ENABLE, 0);
    }
    double Stop() const
    {
        long long count = -1;
        ::ioctl(m_fd, PERF_EVENT_IOC_DISABLE, 0);
        return m_fd >= 0 && ::read(m_fd, &count, sizeof count) == sizeof count ? static_cast<double>(count) : -1;
    }

private:
    int m_fd;
};

// One run's cost.
struct Cost
{
    double seconds, instructions;
};

const Instructions g_counter;

// One run, timed and counted, with the tool's output going nowhere.
Cost Once(const Command& command, const std::string& path, const std::string& text)
{
    const Instructions& counter = g_counter;
    if (command.edits && WriteFile(path, text) != 0) {
        g_failed = true;
    }
    zelcfg::Invocation invocation;
    for (const std::string& word : command.words) {
        if (invocation.command.empty()) {
            invocation.command = word;
        } else if (word == "-z") {
            invocation.options |= zelcfg::kOptionNull;
        } else if (word == "--ini") {
            invocation.mode = zelcfg::ModeChoice::kIni;
        } else {
            invocation.operands.push_back(word == "FILE" ? path : word);
        }
    }
    std::cout.flush();
    std::fflush(stdout);
    const int output = ::dup(1);
    const int null = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    ::dup2(null, 1);
    ::close(null);
    const Clock::time_point start = Clock::now();
    counter.Start();
    const int status = zelcfg::RunInvocation(invocation);
    std::cout.flush();
    std::fflush(stdout);
    const double instructions = counter.Stop();
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    ::dup2(output, 1);
    ::close(output);
    if (status != command.status) {
        std::fprintf(stderr, "%s on %s: exit status %d\n", command.label, path.c_str(), status);
        g_failed = true;
    }
    return Cost{seconds, instructions};
}

// The medians of at least `runs` runs, and of more while they last under 0.2 s in all.
Cost Median(const Command& command, const std::string& path, const std::string& text, size_t runs)
{
    std::vector<double> times, counts;
    double total = 0;
    while (times.size() < runs || (total < 0.2 && times.size() < 200)) {
        const Cost cost = Once(command, path, text);
        times.push_back(cost.seconds);
        counts.push_back(cost.instructions);
        total += cost.seconds;
    }
    const auto middle = [](std::vector<double>& values) {
        std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2),
                         values.end());
        return values[values.size() / 2];
    };
    return Cost{middle(times), middle(counts)};
}

// "0.42 ms", "1.3 s", "12.5 M": three digits or so.
std::string Scaled(double value, const char* unit)
{
    char text[32];
    std::snprintf(text, sizeof text, value < 10 ? "%.2f %s" : value < 100 ? "%.1f %s" : "%.0f %s", value, unit);
    return text;
}

std::string Duration(double seconds)
{
    return seconds < 1 ? Scaled(seconds * 1e3, "ms") : Scaled(seconds, "s");
}

std::string Count(double count)
{
    if (count < 0) {
        return "-";
    }
    return count < 1e6 ? Scaled(count / 1e3, "k") : count < 1e9 ? Scaled(count / 1e6, "M") : Scaled(count / 1e9, "G");
}

// A row: the label, a cell per size, and the growth from each size to the next.
void PrintRow(const char* label, const std::vector<double>& values, std::string (*cell)(double))
{
    std::printf("  %-46s", label);
    for (const double value : values) {
        std::printf("  %10s", cell(value).c_str());
    }
    std::printf("  ");
    for (size_t i = 1; i < values.size(); ++i) {
        if (values[i - 1] > 0 && values[i] >= 0) {
            std::printf(" x%.1f", values[i] / values[i - 1]);
        } else {
            std::printf(" -");
        }
    }
    std::printf("\n");
}

// zelcfg merge OLD NEW FILE on shaped files of each size in each style,
// FILE written afresh before each run; the growth from each size to the
// next is about x4 for a linear cost, x16 for a quadratic one.
void MergeGrowth(const std::string& dir, const std::vector<size_t>& blocks, size_t runs)
{
    std::printf("\nzelcfg merge OLD NEW FILE as the files grow: files of");
    for (const size_t count : blocks) {
        std::printf(" %zu", count);
    }
    std::printf(" blocks of 50 entries\n(growth x4 for a linear cost, x16 for a quadratic one)\n");
    struct Style
    {
        const char* label;
        zelbench::FileStyle style;
        const char* extension;
    };
    const Style styles[] = {{"zelcfg merge, CFG", zelbench::FileStyle::kCfg, ".cfg"},
                            {"zelcfg merge --ini", zelbench::FileStyle::kIni, ".ini"},
                            {"zelcfg merge, XML", zelbench::FileStyle::kXml, ".xml"}};
    for (const Style& style : styles) {
        const std::string old = dir + "/merge-old" + style.extension, updated = dir + "/merge-new" + style.extension;
        const std::string file = dir + "/merge-file" + style.extension;
        Command merge{style.label, {"merge", old, updated, "FILE"}, true, 1};
        if (style.style == zelbench::FileStyle::kIni) {
            merge.words.insert(merge.words.begin() + 1, "--ini");
        }
        std::vector<double> seconds, instructions;
        std::string sizes;
        for (const size_t count : blocks) {
            const zelbench::FileShape shape{"growth", count, 50, 10, 500, 200};
            zelbench::FileFacts facts;
            if (!zelbench::WriteShapedFile(shape, old, facts, style.style)) {
                g_failed = true;
                return;
            }
            const zelbench::UpgradeFiles files =
                zelbench::DeriveUpgrade(ReadFile(old), style.style, zelbench::UpgradeStride(facts.entries));
            if (WriteFile(updated, files.updated) != 0) {
                g_failed = true;
            }
            const Cost cost = Median(merge, file, files.user, runs);
            seconds.push_back(cost.seconds);
            instructions.push_back(cost.instructions);
            sizes += (sizes.empty() ? "" : ", ") + Scaled(static_cast<double>(facts.bytes) / 1e6, "MB");
        }
        const std::string label = std::string(style.label) + " (" + sizes + ")";
        PrintRow(label.c_str(), seconds, Duration);
        if (g_counter.Counts()) {
            PrintRow("  instructions", instructions, Count);
        }
        std::fflush(stdout);
        for (const std::string& path : {old, updated, file}) {
            ::unlink(path.c_str());
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    std::string dir;
    bool smoke = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--smoke") == 0) {
            smoke = true;
        } else if (dir.empty() && argv[i][0] != '-') { // an option it does not know is no directory
            dir = argv[i];
        } else {
            dir.clear();
            break;
        }
    }
    if (dir.empty()) {
        std::fprintf(stderr, "usage: %s DIR [--smoke]\n", argv[0]);
        return 2;
    }
    ::mkdir(dir.c_str(), 0777);
    const std::vector<size_t> sizes =
        smoke ? std::vector<size_t>{1000, 10000} : std::vector<size_t>{1000, 10000, 100000, 1000000};
    const size_t runs = smoke ? 1 : 3;
    const std::string path = dir + "/growth.xml";

    std::printf("zelcfg's XML commands as the file grows: the median time of %zu run%s or more (0.2 s at\n"
                "least) and the instructions retired in user space, with the growth from each size to the\n"
                "next, about x10 for a linear cost, x100 for a quadratic one.\n\n",
                runs, runs == 1 ? "" : "s");
    if (!g_counter.Counts()) {
        std::printf("(No instruction counts: the kernel grants no hardware counter here.)\n\n");
    }
    std::printf("%-48s", "Case");
    for (const size_t size : sizes) {
        std::printf("  %10zu", size);
    }
    std::printf("   growth per x10\n");
    for (const Shape& shape : kShapes) {
        std::vector<std::string> texts;
        for (const size_t size : sizes) {
            texts.push_back(shape.text(size));
        }
        std::printf("%s (%.1f MB at N = %zu)\n", shape.label, static_cast<double>(texts.back().size()) / 1e6,
                    sizes.back());
        for (const Command& command : kCommands) {
            std::vector<double> seconds, instructions;
            for (const std::string& text : texts) {
                if (!command.edits && WriteFile(path, text) != 0) {
                    g_failed = true;
                }
                const Cost cost = Median(command, path, text, runs);
                seconds.push_back(cost.seconds);
                instructions.push_back(cost.instructions);
            }
            PrintRow(command.label, seconds, Duration);
            if (g_counter.Counts()) {
                PrintRow("  instructions", instructions, Count);
            }
            std::fflush(stdout);
        }
    }
    ::unlink(path.c_str());
    MergeGrowth(dir, smoke ? std::vector<size_t>{10, 40} : std::vector<size_t>{2000, 8000}, runs);
    return g_failed ? 1 : 0;
}
