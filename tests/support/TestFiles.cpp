#include "TestFiles.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

#include "CCFGParser.h"
#include "platform/FileIO.h"

TempDir::TempDir()
{
    const char* base = std::getenv("TMPDIR");
    m_path = std::string(base != nullptr ? base : "/tmp") + "/zelconfig-XXXXXX";
    if (mkdtemp(&m_path[0]) == nullptr) {
        std::abort();
    }
}

TempDir::~TempDir()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string TempDir::Write(const std::string& name, const std::string& bytes) const
{
    const std::string path = m_path + "/" + name;
    WriteFile(path, bytes);
    return path;
}

std::string ReadFile(const std::string& path)
{
    std::string bytes;
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const int status = fd >= 0 ? zelconfig::ReadAll(fd, bytes) : errno;
    if (fd >= 0) {
        ::close(fd);
    }
    return status == 0 ? bytes : std::string();
}

int WriteFile(const std::string& path, std::string_view bytes)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0) {
        return errno;
    }
    int status = zelconfig::WriteAll(fd, bytes.data(), bytes.size());
    if (::close(fd) != 0 && status == 0 && errno != EINTR) {
        status = errno;
    }
    return status;
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

std::string DumpModel(const CCFGParser& parser)
{
    if (parser.m_pmCFGData == nullptr) {
        return "(null)";
    }
    std::string out;
    for (const auto& [name, block] : *parser.m_pmCFGData) {
        out += "[" + name + "]";
        out += block->m_strComment.empty() ? "\n" : " <" + block->m_strComment + ">\n";
        for (const CNode& node : block->m_vecNodes) {
            out += node.m_strComment.empty() ? "  " : "  <" + node.m_strComment + "> ";
            out += node.m_strKey + "=" + node.m_strValue + "\n";
        }
    }
    return out;
}
