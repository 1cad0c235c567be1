#ifndef ZELCONFIG_TESTS_TESTFILES_H
#define ZELCONFIG_TESTS_TESTFILES_H

#include <string>

class CCFGParser;

// A fresh directory for one test, removed with everything in it afterwards.
class TempDir
{
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& Path() const { return m_path; }
    // Writes `bytes` to a file of that name in the directory; returns its path.
    std::string Write(const std::string& name, const std::string& bytes) const;

private:
    std::string m_path;
};

std::string ReadFile(const std::string& path);

// The model as text, one line per block and per entry, control bytes escaped:
//   [Net] <# network>
//     <; comment> Host=10.0.0.1
//     Port=80
// A NULL map reads "(null)"; a NULL block "[name] (null)".
std::string DumpModel(const CCFGParser& parser);

#endif
