#include "TestFiles.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "CCFGParser.h"

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
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

std::string ReadFile(const std::string& path)
{
    std::ostringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
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
