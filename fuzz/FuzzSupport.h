#ifndef ZELCONFIG_FUZZ_FUZZSUPPORT_H
#define ZELCONFIG_FUZZ_FUZZSUPPORT_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "CaptureLog.h"
#include "TestFiles.h"

// What the harnesses add to the test support: files of this process to parse
// and save, and a way to stop on a broken property.
namespace fuzz {

// Prints what failed and aborts: libFuzzer keeps the input as a crash, the
// corpus replay fails.
[[noreturn]] inline void Fail(const char* condition, const std::string& detail)
{
    std::fprintf(stderr, "property broken: %s\n%s\n", condition, detail.c_str());
    std::abort();
}

// A file of this process in a directory of its own, the same for every input
// and removed at exit (a crashed run leaves it in TMPDIR).
inline std::string ScratchPath(const std::string& name)
{
    static const TempDir dir;
    return dir.Path() + "/" + name;
}

// Writes `bytes` to the scratch file of that name; returns its path.
inline std::string WriteScratch(const std::string& name, const std::string& bytes)
{
    const std::string path = ScratchPath(name);
    if (WriteFile(path, bytes) != 0) {
        Fail("WriteScratch", path);
    }
    return path;
}

} // namespace fuzz

#define FUZZ_REQUIRE(condition, detail)                \
    do {                                               \
        if (!(condition)) {                            \
            ::fuzz::Fail(#condition, (detail));        \
        }                                              \
    } while (0)

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

#endif
