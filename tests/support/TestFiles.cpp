#include "TestFiles.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "CCFGParser.h"

TempDir::TempDir()
{
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base != nullptr ? base : "/tmp") + "/zelconfig-XXXXXX";
    if (mkdtemp(&pattern[0]) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    m_path = pattern;
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
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

namespace {

std::string Escape(const std::string& text)
{
    std::string out;
    for (const char c : text) {
        const unsigned char byte = static_cast<unsigned char>(c);
        if (c == '\r') {
            out += "\\r";
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\t') {
            out += "\\t";
        } else if (byte < 0x20 || byte >= 0x7f) {
            char hex[5];
            std::snprintf(hex, sizeof hex, "\\x%02x", byte);
            out += hex;
        } else {
            out += c;
        }
    }
    return out;
}

} // namespace

std::string DumpModel(const CCFGParser& parser)
{
    if (parser.m_pmCFGData == nullptr) {
        return "(null)";
    }
    std::string out;
    for (const auto& entry : *parser.m_pmCFGData) {
        out += "[" + Escape(entry.first) + "]";
        const CBlock* block = entry.second;
        if (block == nullptr) {
            out += " (null)\n";
            continue;
        }
        if (!block->m_strComment.empty()) {
            out += " <" + Escape(block->m_strComment) + ">";
        }
        out += "\n";
        for (const CNode& node : block->m_vecNodes) {
            out += "  ";
            if (!node.m_strComment.empty()) {
                out += "<" + Escape(node.m_strComment) + "> ";
            }
            out += Escape(node.m_strKey) + "=" + Escape(node.m_strValue) + "\n";
        }
    }
    return out;
}
