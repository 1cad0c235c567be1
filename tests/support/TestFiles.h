#ifndef ZELCONFIG_TESTS_TESTFILES_H
#define ZELCONFIG_TESTS_TESTFILES_H

#include <string>

#include <gtest/gtest.h>

class CCFGParser;

// A fresh directory for one test, removed with everything in it afterwards.
class TempDir
{
public:
    TempDir();
    ~TempDir();
    const std::string& Path() const { return m_path; }
    // Writes `bytes` to a file of that name in the directory; returns its path.
    std::string Write(const std::string& name, const std::string& bytes) const;

private:
    std::string m_path;
};

std::string ReadFile(const std::string& path);

// The model as text, one line per block and per entry, bytes as they are:
// "[Net] <# network>\n  <; comment> Host=10.0.0.1\n  Port=80\n"; "(null)" for no map.
// The map must not hold NULL blocks.
std::string DumpModel(const CCFGParser& parser);

// Names each test of a table after its row's `name` field.
struct RowName
{
    template <class Row>
    std::string operator()(const testing::TestParamInfo<Row>& row) const { return row.param.name; }
};

#endif
