#ifndef ZELCONFIG_FUZZ_FUZZSUPPORT_H
#define ZELCONFIG_FUZZ_FUZZSUPPORT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// What every harness shares: a logger that keeps one input's messages, files
// of this process to parse and save, and a way to stop on a broken property.
namespace fuzz {

// Prints what failed and aborts: libFuzzer keeps the input as a crash, the
// corpus replay fails.
[[noreturn]] void Fail(const char* condition, const std::string& detail);

// The log of the current input, one "level function: message" line per call;
// every level is enabled so that every message is formatted.
void ResetLog();
const std::string& Log();

// A file of this process in a directory of its own, the same for every input.
std::string ScratchPath(const std::string& name);
void WriteFile(const std::string& path, const std::string& bytes);
std::string ReadFile(const std::string& path);

// The input's lines as the parser splits them (at line feeds only), at most `limit`.
std::vector<std::string> Lines(const std::string& text, size_t limit);

} // namespace fuzz

#define FUZZ_REQUIRE(condition, detail)                \
    do {                                               \
        if (!(condition)) {                            \
            ::fuzz::Fail(#condition, (detail));        \
        }                                              \
    } while (0)

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

#endif
