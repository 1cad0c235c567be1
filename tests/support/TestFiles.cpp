#include "TestFiles.h"

#include <cstdio>
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

static std::string Escape(const std::string& text)
{
    std::string out;
    for (const char c : text) {
        const unsigned char byte = static_cast<unsigned char>(c);
        char hex[8];
        std::snprintf(hex, sizeof hex, "\\x%02x", byte);
        out += c == '\r' ? "\\r" : c == '\n' ? "\\n" : byte < 0x20 || byte >= 0x7f ? hex : std::string(1, c);
    }
    return out;
}

std::string DumpModel(const CCFGParser& parser)
{
    if (parser.m_pmCFGData == nullptr) {
        return "(null)";
    }
    std::string out;
    for (const auto& [name, block] : *parser.m_pmCFGData) {
        out += "[" + Escape(name) + "]";
        out += block->m_strComment.empty() ? "\n" : " <" + Escape(block->m_strComment) + ">\n";
        for (const CNode& node : block->m_vecNodes) {
            out += node.m_strComment.empty() ? "  " : "  <" + Escape(node.m_strComment) + "> ";
            out += Escape(node.m_strKey) + "=" + Escape(node.m_strValue) + "\n";
        }
    }
    return out;
}
