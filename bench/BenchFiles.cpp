#include "BenchFiles.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string_view>

#include "TestFiles.h"

namespace zelbench {

namespace {

// splitmix64: tiny, fast and the same everywhere, unlike the distributions of <random>.
class Random
{
public:
    explicit Random(uint64_t seed) : m_state(seed) {}
    uint64_t Next()
    {
        uint64_t z = (m_state += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    // Uniform in [low, high].
    size_t Between(size_t low, size_t high) { return low + static_cast<size_t>(Next() % (high - low + 1)); }

private:
    uint64_t m_state;
};

const char kLower[] = "abcdefghijklmnopqrstuvwxyz";
const char kText[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./:, ";

// `count` random bytes of `alphabet`, for names and values.
void AppendRandom(std::string& out, Random& random, const char* alphabet, size_t alphabetSize, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        out += alphabet[random.Next() % alphabetSize];
    }
}

// A name of `length` bytes that is unique for each `index`: random letters,
// then the index in base 26 (five letters cover 11 million indices).
std::string UniqueName(Random& random, size_t length, size_t index)
{
    std::string name;
    AppendRandom(name, random, kLower, 26, length - 5);
    for (int digit = 0; digit < 5; ++digit) {
        name += kLower[index % 26];
        index /= 26;
    }
    return name;
}

// Printable text that neither starts nor ends with a blank, so that every
// peer and both modes read the same value.
std::string Value(Random& random, size_t length)
{
    std::string value;
    value += kLower[random.Next() % 26];
    if (length > 2) {
        AppendRandom(value, random, kText, sizeof(kText) - 1, length - 2);
    }
    if (length > 1) {
        value += kLower[random.Next() % 26];
    }
    return value;
}

// The file's lines, gathered in memory and written in one go by Close.
class Writer
{
public:
    explicit Writer(const std::string& path) : m_path(path) {}
    bool Close() { return WriteFile(m_path, m_text) == 0; }
    void Line(const std::string& text, FileFacts& facts)
    {
        m_text += text;
        m_text += '\n';
        facts.bytes += text.size() + 1;
        ++facts.lines;
    }

private:
    std::string m_path;
    std::string m_text;
};

} // namespace

const std::vector<FileShape>& Shapes()
{
    static const std::vector<FileShape> shapes = {
        {"typical", 10, 10, 10, 0, 60},
        {"large", 20000, 50, 10, 500, 200},
        {"wide", 1, 1200000, 10, 500, 70},
    };
    return shapes;
}

const FileShape* FindShape(const std::string& name)
{
    for (const FileShape& shape : Shapes()) {
        if (name == shape.name) {
            return &shape;
        }
    }
    return nullptr;
}

bool WriteShapedFile(const FileShape& shape, const std::string& path, FileFacts& facts, FileStyle style)
{
    facts = FileFacts();
    Writer out(path);
    Random random(0x5EEDu + shape.blocks);
    const bool ini = style == FileStyle::kIni;
    const bool xml = style == FileStyle::kXml;
    // About 32 lookup keys, the same number of misses, spread evenly.
    const size_t totalEntries = shape.blocks * shape.entriesPerBlock;
    const size_t keyStride = totalEntries / 32 == 0 ? 1 : totalEntries / 32;
    size_t entryIndex = 0;
    if (xml) {
        out.Line("<?xml version=\"1.0\"?>", facts);
        out.Line("<Config>", facts);
    }
    // The comments are drawn in every style, so that the names and values are the same.
    const auto comment = [&](const std::string& text) {
        if (!xml) {
            out.Line(text, facts);
        }
    };
    for (size_t block = 0; block < shape.blocks; ++block) {
        const std::string blockName = UniqueName(random, random.Between(8, 20), block);
        if (random.Next() % shape.commentEvery == 0) {
            comment("# " + Value(random, random.Between(20, shape.commentMax)));
        }
        out.Line(xml ? "  <" + blockName + ">" : "[" + blockName + "]", facts);
        ++facts.blocks;
        for (size_t entry = 0; entry < shape.entriesPerBlock; ++entry, ++entryIndex) {
            if (random.Next() % shape.commentEvery == 0) {
                const std::string text = Value(random, random.Between(20, shape.commentMax));
                comment((entry % 2 == 0 ? "# " : "; ") + text);
            }
            const std::string key = UniqueName(random, random.Between(8, 16), entry);
            std::string value;
            if (entry % 10 == 0) {
                // Integers for the typed lookups of the peers.
                value = std::to_string(random.Between(10000, 2000000000));
            } else if (shape.longValueEvery != 0 && random.Next() % shape.longValueEvery == 0) {
                value = Value(random, random.Between(257, 2000));
            } else {
                value = Value(random, random.Between(5, 40));
            }
            if (ini && entry % 10 == 5) {
                // The value's bytes cut in thirds, the last two on indented
                // lines of their own: the twin adds only the dialect's bytes.
                const size_t third = value.size() / 3;
                out.Line(key + " = " + value.substr(0, third), facts);
                out.Line("    " + value.substr(third, third), facts);
                out.Line("    " + value.substr(2 * third), facts);
            } else if (xml) {
                // Values hold no '<' or '&' (kText): nothing to escape.
                out.Line("    <" + key + ">" + value + "</" + key + ">", facts);
            } else {
                out.Line(key + (ini ? " = " : "=") + value, facts);
            }
            ++facts.entries;
            const bool spread = entryIndex / 10 % (keyStride / 10 + 1) == 0;
            if (entry % 10 == 0 && spread && facts.keyBlocks.size() < 32) {
                facts.keyBlocks.push_back(blockName);
                facts.keyEntries.push_back(key);
            }
        }
        if (xml) {
            out.Line("  </" + blockName + ">", facts);
        }
    }
    if (xml) {
        out.Line("</Config>", facts);
    }
    return out.Close();
}

namespace {

// The key of an entry line as the style writes it; false for any other line
// (a header, a comment, a continuation line, an XML block's tags).
bool EntryKey(std::string_view line, FileStyle style, std::string_view& key)
{
    if (style == FileStyle::kXml) {
        const size_t close = line.find('>');
        if (line.compare(0, 5, "    <") != 0 || close == std::string_view::npos) {
            return false;
        }
        key = line.substr(5, close - 5);
        return true;
    }
    const size_t equals = line.find('=');
    if (line.empty() || std::string_view("#;[ \t").find(line[0]) != std::string_view::npos
        || equals == std::string_view::npos) {
        return false;
    }
    key = line.substr(0, style == FileStyle::kIni && equals > 0 && line[equals - 1] == ' ' ? equals - 1 : equals);
    return true;
}

// An entry's line in the style, line feed included.
std::string EntryLine(FileStyle style, std::string_view key, const std::string& value)
{
    const std::string name(key);
    switch (style) {
    case FileStyle::kIni:
        return name + " = " + value + "\n";
    case FileStyle::kXml:
        return "    <" + name + ">" + value + "</" + name + ">\n";
    case FileStyle::kCfg:
        break;
    }
    return name + "=" + value + "\n";
}

} // namespace

size_t UpgradeStride(size_t entries)
{
    return entries >= 10000 ? 1000 : std::max<size_t>(10, entries / 10);
}

UpgradeFiles DeriveUpgrade(const std::string& old, FileStyle style, size_t stride)
{
    UpgradeFiles files;
    files.updated.reserve(old.size() + old.size() / 100);
    files.user.reserve(old.size() + old.size() / 100);
    const auto lineEnd = [&old](size_t at) {
        const size_t feed = old.find('\n', at);
        return feed == std::string::npos ? old.size() : feed + 1;
    };
    size_t entry = 0;
    for (size_t at = 0; at < old.size();) {
        size_t next = lineEnd(at);
        std::string_view key;
        if (!EntryKey(std::string_view(old).substr(at, next - at), style, key)) {
            files.updated.append(old, at, next - at);
            files.user.append(old, at, next - at);
            at = next;
            continue;
        }
        while (style == FileStyle::kIni && next < old.size() && old[next] == ' ') {
            next = lineEnd(next); // a continuation line
        }
        const std::string_view whole = std::string_view(old).substr(at, next - at);
        const size_t nth = entry % stride, round = entry / stride % 4;
        const std::string number = std::to_string(entry++);
        at = next;
        // NEW: a changed value, a removed entry, an added one.
        if (nth == 1) {
            files.updated += EntryLine(style, key, "new" + number);
        } else if (nth != 2) {
            files.updated += whole;
        }
        if (nth == 3) {
            files.updated += EntryLine(style, "added" + number, "new" + number);
        }
        // FILE: the user's changes, some of the same entries.
        if ((nth == 1 && round == 0) || (nth == 2 && round == 1) || nth == 6) {
            files.user += EntryLine(style, key, "yours" + number);
            files.conflicts += nth == 1 ? 1 : 0;
        } else if (nth == 1 && round == 2) {
            files.user += EntryLine(style, key, "new" + number);
        } else if (nth != 7) {
            files.user += whole;
        }
        if (nth == 8) {
            files.user += EntryLine(style, "mine" + number, "yours" + number);
        }
    }
    return files;
}

bool SaveFacts(const FileFacts& facts, const std::string& path)
{
    std::string text = std::to_string(facts.bytes) + " " + std::to_string(facts.lines) + " "
                       + std::to_string(facts.entries) + " " + std::to_string(facts.blocks) + "\n";
    for (size_t i = 0; i < facts.keyBlocks.size(); ++i) {
        text += facts.keyBlocks[i] + " " + facts.keyEntries[i] + "\n";
    }
    return WriteFile(path + ".facts", text) == 0;
}

bool LoadFacts(const std::string& path, FileFacts& facts)
{
    facts = FileFacts();
    std::FILE* file = std::fopen((path + ".facts").c_str(), "r");
    if (file == nullptr) {
        return false;
    }
    bool ok = std::fscanf(file, "%zu %zu %zu %zu", &facts.bytes, &facts.lines, &facts.entries,
                          &facts.blocks) == 4;
    // Names are lower-case letters only, at most 20 of them.
    char block[64];
    char entry[64];
    while (ok && std::fscanf(file, "%63s %63s", block, entry) == 2) {
        facts.keyBlocks.emplace_back(block);
        facts.keyEntries.emplace_back(entry);
    }
    std::fclose(file);
    return ok && !facts.keyBlocks.empty();
}

} // namespace zelbench
