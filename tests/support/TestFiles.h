#ifndef ZELCONFIG_TESTS_TESTFILES_H
#define ZELCONFIG_TESTS_TESTFILES_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

class CCFGParser;

// A fresh directory, removed with everything in it afterwards.
class TempDir
{
public:
    TempDir();
    ~TempDir();
    const std::string& Path() const { return m_path; }
    // Writes `bytes` to a file of that name in the directory; returns its path
    // (a failed write shows in the test that needs the file).
    std::string Write(const std::string& name, const std::string& bytes) const;

private:
    std::string m_path;
};

// The whole file; "" when it cannot be read.
std::string ReadFile(const std::string& path);

// Replaces the file at `path` (created with mode 0666 less the umask) with
// `bytes`: 0, or the errno that stopped it. No fsync: for scratch files.
int WriteFile(const std::string& path, std::string_view bytes);

// The text's lines as the parser splits them (at line feeds only, the piece
// after the last one included), at most `limit`.
std::vector<std::string> Lines(const std::string& text, size_t limit = ~size_t{0});

// The model as text, one line per block and per entry, bytes as they are:
// "[Net] <# network>\n  <; comment> Host=10.0.0.1\n  Port=80\n"; "(null)" for no map.
// The map must not hold NULL blocks.
std::string DumpModel(const CCFGParser& parser);

// Names each test of a table after its row's `name` field.
struct RowName
{
    template <class Info>
    std::string operator()(const Info& row) const { return row.param.name; }
};

#endif
