#include "FuzzSupport.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <unistd.h>

#include "platform/ZelLog.h"

namespace {
std::string g_log;
} // namespace

extern "C" {

TovLogParams g_TovLogParams = {~0u};

void ZelLog(int /*line*/, int level, const char* function, const char* format, ...)
{
    // Whole, however long: a message cut short would hide its end from the checks.
    va_list args, copy;
    va_start(args, format);
    va_copy(copy, args);
    const int length = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    std::vector<char> message(length > 0 ? static_cast<size_t>(length) + 1 : 1, '\0');
    std::vsnprintf(message.data(), message.size(), format, args);
    va_end(args);
    if (g_log.size() < (size_t{1} << 20)) { // bounded, whatever an input makes the library say
        g_log += std::to_string(level) + " " + function + ": " + message.data() + "\n";
    }
}

} // extern "C"

namespace fuzz {

void Fail(const char* condition, const std::string& detail)
{
    std::fprintf(stderr, "property broken: %s\n%s\n", condition, detail.c_str());
    std::abort();
}

void ResetLog()
{
    g_log.clear();
}

const std::string& Log()
{
    return g_log;
}

namespace {

// Removes the scratch directory at exit; a crashed run leaves it in TMPDIR.
struct ScratchDir
{
    std::string path;
    std::vector<std::string> files;
    ScratchDir()
    {
        const char* base = std::getenv("TMPDIR");
        path = std::string(base != nullptr ? base : "/tmp") + "/zelconfig-fuzz-XXXXXX";
        if (mkdtemp(&path[0]) == nullptr) {
            Fail("mkdtemp", path);
        }
    }
    ~ScratchDir()
    {
        for (const std::string& file : files) {
            unlink(file.c_str());
        }
        rmdir(path.c_str());
    }
};

} // namespace

std::string ScratchPath(const std::string& name)
{
    static ScratchDir dir;
    const std::string path = dir.path + "/" + name;
    bool known = false;
    for (const std::string& file : dir.files) {
        known = known || file == path;
    }
    if (!known) {
        dir.files.push_back(path);
    }
    return path;
}

void WriteFile(const std::string& path, const std::string& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!out) {
        Fail("WriteFile", path);
    }
}

std::string ReadFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::vector<std::string> Lines(const std::string& text, size_t limit)
{
    std::vector<std::string> lines;
    size_t begin = 0;
    while (lines.size() < limit) {
        const size_t end = text.find('\n', begin);
        lines.push_back(text.substr(begin, end == std::string::npos ? std::string::npos : end - begin));
        if (end == std::string::npos) {
            break;
        }
        begin = end + 1;
    }
    return lines;
}

} // namespace fuzz
