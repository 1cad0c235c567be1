// Replays corpus files through a harness without libFuzzer, so that the
// ordinary test builds (g++ included) run every committed input. Arguments
// are files or directories; an argument that yields no input fails the run.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "FuzzSupport.h"

int main(int argc, char** argv)
{
    namespace fs = std::filesystem;
    for (int i = 1; i < argc; ++i) {
        std::vector<fs::path> inputs;
        if (fs::is_directory(argv[i])) {
            for (const auto& entry : fs::directory_iterator(argv[i])) {
                if (entry.is_regular_file()) {
                    inputs.push_back(entry.path());
                }
            }
        } else if (fs::is_regular_file(argv[i])) {
            inputs.push_back(argv[i]);
        }
        if (inputs.empty()) {
            std::fprintf(stderr, "no input in %s\n", argv[i]);
            return 1;
        }
        std::sort(inputs.begin(), inputs.end());
        for (const fs::path& input : inputs) {
            const std::string bytes = ReadFile(input.string());
            std::printf("%s (%zu bytes)\n", input.c_str(), bytes.size());
            std::fflush(stdout); // the name stands above whatever a failure prints
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
        }
    }
    return argc > 1 ? 0 : 1;
}
