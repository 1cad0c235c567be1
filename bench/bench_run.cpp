// Runs every benchmark case on the synthetic files and prints one table.
//
//   zelconfig_bench [--rounds N] [--files typical,large,wide] [--data DIR] [--smoke]
//                   [--only SECTION_OR_CASE,...]
//
// Each case runs in a fresh process (zelconfig_bench_case, beside this program),
// once per round; rounds go through every case in turn, so that a slow moment
// of the machine touches all of them alike. Ratios are taken within a round
// and reported as the median over the rounds with its spread (half the range,
// in per cent of the median). --smoke runs every case once on the typical file
// and only checks that each one ran.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "BenchFiles.h"
#include "platform/FileIO.h"

using namespace zelbench;

namespace {

struct CaseInfo
{
    std::string section, name, column, label;
    std::string against; // the case this row's "x read" divides, or "-"
};

// One run of one case: its printed "name=value" pairs.
using Sample = std::map<std::string, double>;

struct Options
{
    int rounds = 5;
    std::vector<std::string> files = {"typical", "large", "wide"};
    std::string data = "bench-data";
    bool smoke = false;
    std::vector<std::string> only; // sections or cases to run; empty: all
};

// The parts between separators, empty ones included, for the cases' output.
std::vector<std::string> Split(const std::string& text, char separator)
{
    std::vector<std::string> parts;
    size_t start = 0;
    for (;;) {
        const size_t at = text.find(separator, start);
        parts.push_back(text.substr(start, at - start));
        if (at == std::string::npos) {
            return parts;
        }
        start = at + 1;
    }
}

// Runs a command and returns its standard output; `ok` tells whether it exited with 0.
std::string Run(const std::string& command, bool& ok)
{
    std::string output;
    std::FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        ok = false;
        return output;
    }
    const int readStatus = zelconfig::ReadAll(fileno(pipe), output);
    const int status = pclose(pipe);
    ok = readStatus == 0 && status != -1 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return output;
}

// A word for the shell that popen runs, whatever it holds.
std::string Quote(const std::string& text)
{
    std::string quoted = "'";
    for (char c : text) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

// The middle value, which one slow round cannot move.
double Median(std::vector<double> values)
{
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    const size_t half = values.size() / 2;
    return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2;
}

// "1.23 ±4%": the median and half the range in per cent of it.
std::string Spread(const std::vector<double>& values, const char* format)
{
    if (values.empty()) {
        return "-";
    }
    const double median = Median(values);
    char text[64];
    std::snprintf(text, sizeof text, format, median);
    std::string cell = text;
    if (values.size() > 1 && median != 0) {
        const auto range = std::minmax_element(values.begin(), values.end());
        std::snprintf(text, sizeof text, " ±%.0f%%", 50.0 * (*range.second - *range.first) / median);
        cell += text;
    }
    return cell;
}

// Printed with a width that fits the heading and the widest cell below it.
struct Table
{
    std::vector<std::string> heading;
    std::vector<std::vector<std::string>> rows;

    void Print() const
    {
        std::vector<size_t> width(heading.size());
        for (size_t c = 0; c < heading.size(); ++c) {
            width[c] = heading[c].size();
            for (const auto& row : rows) {
                width[c] = std::max(width[c], Utf8Length(row[c]));
            }
        }
        auto line = [&](const std::vector<std::string>& cells) {
            std::string text;
            for (size_t c = 0; c < cells.size(); ++c) {
                const std::string padding(width[c] - Utf8Length(cells[c]), ' ');
                text += c == 0 ? cells[c] + padding : "  " + padding + cells[c];
            }
            std::printf("%s\n", text.c_str());
        };
        line(heading);
        for (const auto& row : rows) {
            line(row);
        }
        std::printf("\n");
    }

    static size_t Utf8Length(const std::string& text)
    {
        return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) {
            return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
        }));
    }
};

class Results
{
public:
    // samples[case][round]: times
    std::map<std::string, std::vector<Sample>> samples;
    // heap[case]: counts of one run apart, which are the same in every round
    std::map<std::string, Sample> heap;

    double HeapValue(const std::string& name, const std::string& key) const
    {
        const auto found = heap.find(name);
        if (found == heap.end()) {
            return -1;
        }
        const auto value = found->second.find(key);
        return value == found->second.end() ? -1 : value->second;
    }

    std::vector<double> Values(const std::string& name, const std::string& key) const
    {
        std::vector<double> values;
        const auto found = samples.find(name);
        if (found != samples.end()) {
            for (const Sample& sample : found->second) {
                const auto value = sample.find(key);
                if (value != sample.end()) {
                    values.push_back(value->second);
                }
            }
        }
        return values;
    }

    // How many times faster `name` is than `reference`, round by round.
    std::vector<double> Ratios(const std::string& name, const std::string& reference) const
    {
        const std::vector<double> mine = Values(name, "seconds");
        const std::vector<double> theirs = Values(reference, "seconds");
        std::vector<double> ratios;
        for (size_t i = 0; i < mine.size() && i < theirs.size(); ++i) {
            if (mine[i] > 0) {
                ratios.push_back(theirs[i] / mine[i]);
            }
        }
        return ratios;
    }
};

// The machine the numbers come from: processor, cores, kernel.
void PrintMachine()
{
    std::string model = "unknown processor";
    if (std::FILE* info = std::fopen("/proc/cpuinfo", "r")) {
        char line[512];
        while (std::fgets(line, sizeof line, info) != nullptr) {
            const std::string text = line;
            const size_t colon = text.find(':');
            if (text.compare(0, 10, "model name") == 0 && colon != std::string::npos) {
                model = text.substr(colon + 2, text.size() - colon - 3);
                break;
            }
        }
        std::fclose(info);
    }
    utsname system;
    const bool named = ::uname(&system) == 0;
    std::printf("Machine: %s, %ld cores online, %s %s\n", model.c_str(), ::sysconf(_SC_NPROCESSORS_ONLN),
                named ? system.sysname : "", named ? system.release : "");
}

// "49.1 MB (49052415 bytes), 1122070 lines", for a file's heading.
std::string Size(const FileFacts& facts)
{
    const bool small = facts.bytes < 1000000;
    char text[128];
    std::snprintf(text, sizeof text, "%.1f %s (%zu bytes), %zu lines",
                  static_cast<double>(facts.bytes) / (small ? 1e3 : 1e6), small ? "KB" : "MB", facts.bytes,
                  facts.lines);
    return text;
}

void PrintFile(const FileFacts& facts, const FileFacts& iniFacts, const std::string& file,
               const std::vector<CaseInfo>& cases, const Results& results, int rounds)
{
    std::printf("== %s: %s, %zu entries in %zu blocks; %d round%s\n", file.c_str(), Size(facts).c_str(),
                facts.entries, facts.blocks, rounds, rounds == 1 ? "" : "s");
    std::printf("   INI twin: %s\n\n", Size(iniFacts).c_str());
    const double entries = static_cast<double>(facts.entries);
    for (const char* section : {"parse", "lookup", "save", "merge"}) {
        std::vector<const CaseInfo*> references;
        for (const CaseInfo& c : cases) {
            if (c.section == section && c.column != "-") {
                references.push_back(&c);
            }
        }
        Table table;
        const std::string what = std::string(section) == "parse"   ? "Parsing"
                                 : std::string(section) == "save"  ? "Saving"
                                 : std::string(section) == "merge" ? "Diff and merge (MB/s of the files read)"
                                                                    : "Lookups (per call)";
        table.heading = {what, std::string(section) == "lookup" ? "ns" : "MB/s"};
        for (const CaseInfo* reference : references) {
            table.heading.push_back("x " + reference->column);
        }
        // Rows measured against a row of their own choosing: one column.
        const bool against = std::any_of(cases.begin(), cases.end(), [&](const CaseInfo& c) {
            return c.section == section && c.against != "-";
        });
        if (against) {
            table.heading.push_back("x read");
        }
        if (std::string(section) == "parse") {
            for (const char* heading : {"allocs/entry", "kept B/entry", "peak B/entry", "need B/entry"}) {
                table.heading.push_back(heading);
            }
        } else if (std::string(section) == "lookup") {
            table.heading.push_back("allocs/call");
        }
        for (const CaseInfo& c : cases) {
            if (c.section != section) {
                continue;
            }
            std::vector<std::string> row = {c.label};
            std::vector<double> speed;
            const std::vector<double> seconds = results.Values(c.name, "seconds");
            const std::vector<double> saved = results.Values(c.name, "saved_bytes");
            // A parse says what it read: the file, or its INI twin.
            const std::vector<double> read = results.Values(c.name, "input_bytes");
            for (size_t i = 0; i < seconds.size(); ++i) {
                if (std::string(section) == "lookup") {
                    speed.push_back(seconds[i] * 1e9);
                } else if (seconds[i] > 0) {
                    double bytes = static_cast<double>(facts.bytes);
                    if (std::string(section) == "save" && i < saved.size()) {
                        bytes = saved[i];
                    } else if (i < read.size() && read[i] > 0) {
                        bytes = read[i];
                    }
                    speed.push_back(bytes / seconds[i] / 1e6);
                }
            }
            row.push_back(Spread(speed, "%.0f"));
            for (const CaseInfo* reference : references) {
                row.push_back(Spread(results.Ratios(c.name, reference->name), "%.2f"));
            }
            if (against) {
                // Three decimals: a row many times slower than its reading still shows its ratio.
                row.push_back(c.against == "-" ? "-" : Spread(results.Ratios(c.name, c.against), "%.3f"));
            }
            auto perEntry = [&](const char* key) {
                const double value = results.HeapValue(c.name, key);
                char text[32];
                std::snprintf(text, sizeof text, "%.1f", value / entries);
                const bool none = value < 0 || (std::string(key) == "need" && value == 0);
                return none ? std::string("-") : std::string(text);
            };
            if (std::string(section) == "parse") {
                for (const char* key : {"allocations", "kept", "peak", "need"}) {
                    row.push_back(perEntry(key));
                }
            } else if (std::string(section) == "lookup") {
                const double value = results.HeapValue(c.name, "allocations_per_call");
                char text[32];
                std::snprintf(text, sizeof text, "%.2f", value);
                row.push_back(value < 0 ? std::string("-") : std::string(text));
            }
            table.rows.push_back(row);
        }
        if (!table.rows.empty()) { // --only may leave a section without a case
            table.Print();
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--rounds" && i + 1 < argc) {
            options.rounds = std::max(1, std::atoi(argv[++i]));
        } else if (arg == "--files" && i + 1 < argc) {
            options.files = Split(argv[++i], ',');
        } else if (arg == "--data" && i + 1 < argc) {
            options.data = argv[++i];
        } else if (arg == "--smoke") {
            options.smoke = true;
        } else if (arg == "--only" && i + 1 < argc) {
            options.only = Split(argv[++i], ',');
        } else {
            std::fprintf(stderr, "usage: %s [--rounds N] [--files NAME,...] [--data DIR] [--smoke] [--only NAME,...]\n",
                         argv[0]);
            return 2;
        }
    }
    if (options.smoke) {
        options.rounds = 1;
        options.files = {"typical"};
    }
    std::string self = argv[0];
    const size_t slash = self.rfind('/');
    const std::string caseProgram = (slash == std::string::npos ? std::string(".") : self.substr(0, slash))
                                    + "/zelconfig_bench_case";

    bool ok = true;
    std::vector<CaseInfo> cases;
    for (const std::string& line : Split(Run(Quote(caseProgram) + " --list", ok), '\n')) {
        const std::vector<std::string> fields = Split(line, '\t');
        const auto chosen = [&options](const std::string& name) {
            return std::find(options.only.begin(), options.only.end(), name) != options.only.end();
        };
        if (fields.size() == 5 && (options.only.empty() || chosen(fields[0]) || chosen(fields[1]))) {
            cases.push_back({fields[0], fields[1], fields[2], fields[3], fields[4]});
        }
    }
    if (!ok || cases.empty()) {
        std::fprintf(stderr, "cannot list the cases of %s\n", caseProgram.c_str());
        return 1;
    }

    ::mkdir(options.data.c_str(), 0777);
    std::map<std::string, FileFacts> facts, iniFacts;
    std::map<std::string, std::string> paths;
    for (const std::string& name : options.files) {
        const FileShape* shape = FindShape(name);
        // The INI twin beside each file, which the INI cases find by its name.
        const std::string path = options.data + "/" + name + ".cfg";
        const std::string iniPath = options.data + "/" + name + ".ini";
        if (shape == nullptr || !WriteShapedFile(*shape, path, facts[name]) || !SaveFacts(facts[name], path)
            || !WriteShapedFile(*shape, iniPath, iniFacts[name], FileStyle::kIni)
            || !SaveFacts(iniFacts[name], iniPath)) {
            std::fprintf(stderr, "cannot generate %s and its INI twin\n", path.c_str());
            return 1;
        }
        paths[name] = path;
    }

    std::map<std::string, Results> results;
    int failures = 0;
    for (int round = 0; round < options.rounds; ++round) {
        for (const std::string& file : options.files) {
            std::fprintf(stderr, "round %d/%d: %s\n", round + 1, options.rounds, file.c_str());
            for (const CaseInfo& c : cases) {
                const std::string arguments =
                    Quote(c.name) + " " + Quote(paths[file]) + " " + Quote(options.data);
                // Heap use is counted once, in a run of its own, since it does not vary.
                const bool countHeap = round == 0 && (c.section == "parse" || c.section == "lookup");
                for (const bool heap : {false, true}) {
                    if (heap && !countHeap) {
                        continue;
                    }
                    bool ran = true;
                    const std::string output =
                        Run(Quote(caseProgram) + (heap ? " --heap " : " ") + arguments, ran);
                    Sample sample;
                    for (const std::string& pair : Split(output.substr(0, output.find('\n')), ' ')) {
                        const size_t equals = pair.find('=');
                        if (equals != std::string::npos) {
                            sample[pair.substr(0, equals)] = std::atof(pair.c_str() + equals + 1);
                        }
                    }
                    if (!ran || sample.empty() || (!heap && sample.count("seconds") == 0)) {
                        std::fprintf(stderr, "case %s%s on %s failed\n", c.name.c_str(),
                                     heap ? " --heap" : "", file.c_str());
                        ++failures;
                    } else if (heap) {
                        results[file].heap[c.name] = sample;
                    } else {
                        results[file].samples[c.name].push_back(sample);
                    }
                }
            }
        }
    }

    PrintMachine();
    std::printf("Speeds and ratios: median over rounds, ±half the range in per cent of the median.\n"
                "\"x NAME\": how many times faster than NAME the row is"
                " (time of NAME / time of the row).\n\n");
    for (const std::string& file : options.files) {
        PrintFile(facts[file], iniFacts[file], file, cases, results[file], options.rounds);
    }
    if (failures > 0) {
        std::fprintf(stderr, "%d case run%s failed\n", failures, failures == 1 ? "" : "s");
        return 1;
    }
    if (options.smoke) {
        std::printf("bench smoke: %zu cases ran once on the typical file\n", cases.size());
    }
    return 0;
}
