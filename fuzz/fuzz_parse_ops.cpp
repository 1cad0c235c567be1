// Parses the input in both modes, then looks up, updates and saves keys
// taken from the input: its lines as they stand, and the Block.Entry names
// of what was parsed. Lookup and update split a key with a '.' alike, so
// they must agree on which entries it names. The saved form is then a fixed
// point: parse and save it again and the bytes are the same, and in block
// mode so are the model and every key's answer.
//
// Where the format's own rules make it no fixed point, the property is
// narrowed rather than the rules changed:
// - A value holding a line feed is saved as it stands and comes back as
//   several lines, so the updates made here hold none (in block mode, the
//   input's last line and a count).
// - In anonymous mode keys and values are trimmed, so a key may come to
//   begin with '#', ';' or '[' and be read back as a comment or a header:
//   the fixed point is checked there only for models without such keys.
#include <algorithm>
#include <cerrno>

#include "CCFGParser.h"
#include "FuzzSupport.h"

namespace {

std::vector<std::string> KeysOf(const CCFGParser& parser, std::vector<std::string> keys)
{
    for (const auto& [name, block] : *parser.m_pmCFGData) {
        for (const CNode& node : block->m_vecNodes) {
            if (keys.size() < 128) {
                keys.push_back(name + "." + node.m_strKey);
            }
        }
    }
    return keys;
}

// The value the update stores, joined by line feeds as a lookup returns it.
std::string Repeated(const std::string& value, size_t count)
{
    std::string out = value;
    for (size_t i = 1; i < count; ++i) {
        out += "\n" + value;
    }
    return out;
}

void CheckKey(CCFGParser& parser, const std::string& key, const std::string& prefix)
{
    std::string value;
    const int found = parser.CFGGetData(key, value);
    FUZZ_REQUIRE(found == 0 || found == -2, key);
    FUZZ_REQUIRE(parser.CFGGetData(key) == value, key);
    FUZZ_REQUIRE(found == 0 || value.empty(), key);

    const std::string update = prefix + "<" + std::to_string(key.size()) + ">";
    const int set = parser.CFGSetData(key, update);
    FUZZ_REQUIRE((set == EINVAL) == key.empty(), key);
    FUZZ_REQUIRE(set == 0 || set == -2 || set == EINVAL, key);
    if (key.find('.') == std::string::npos) {
        return; // a bare key means different entries to lookup and update
    }
    FUZZ_REQUIRE(set == found, key);
    if (set == 0) {
        // Every entry the key names now holds the update: "u", "u\nu", ...,
        // at least as many as the line feeds the old values were joined by
        // (fewer separators when a first value was empty).
        const std::string after = parser.CFGGetData(key);
        const size_t count = (after.size() + 1) / (update.size() + 1);
        const auto joins = static_cast<size_t>(std::count(value.begin(), value.end(), '\n'));
        FUZZ_REQUIRE(after == Repeated(update, count) && count > joins, key + " -> " + after);
    }
}

bool KeysReadBackAlike(const CCFGParser& parser)
{
    for (const auto& entry : *parser.m_pmCFGData) {
        for (const CNode& node : entry.second->m_vecNodes) {
            const char first = node.m_strKey.empty() ? '\0' : node.m_strKey[0];
            if (first == '#' || first == ';' || first == '[') {
                return false;
            }
        }
    }
    return true;
}

// Saves `parser`, parses what was saved in the same mode and saves that again.
void CheckFixedPoint(CCFGParser& parser, unsigned mode)
{
    const std::string first = fuzz::ScratchPath("first.cfg");
    const std::string second = fuzz::ScratchPath("second.cfg");
    FUZZ_REQUIRE(parser.CFGSaveData(first) == 0, first);
    CCFGParser reread(mode);
    FUZZ_REQUIRE(reread.CFGParseFile(first) == 0, ReadFile(first));
    FUZZ_REQUIRE(reread.CFGSaveData(second) == 0, second);
    const std::string bytes = ReadFile(first);
    FUZZ_REQUIRE(ReadFile(second) == bytes, bytes);
    if (mode != 0) {
        return; // the saved "[anonymous]" block differs from the model by design
    }
    FUZZ_REQUIRE(DumpModel(reread) == DumpModel(parser), bytes);
    for (const auto& [name, block] : *parser.m_pmCFGData) {
        for (const CNode& node : block->m_vecNodes) {
            const std::string key = name + "." + node.m_strKey;
            std::string before, after;
            const int found = parser.CFGGetData(key, before);
            FUZZ_REQUIRE(reread.CFGGetData(key, after) == found && after == before, key);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string path = fuzz::WriteScratch("input.cfg", input);
    const std::string lastLine = input.substr(input.rfind('\n') + 1);
    const std::vector<std::string> lines = Lines(input, 64);
    for (const unsigned mode : {0u, 1u}) {
        capture_log::Reset();
        CCFGParser parser(mode);
        const int status = parser.CFGParseFile(path);
        FUZZ_REQUIRE(status == 0 || status == -1 || status == EINVAL, std::to_string(status));
        FUZZ_REQUIRE(parser.m_pmCFGData != nullptr, "a parse that opened the file keeps a map");
        // A failed parse says why, once; a successful one says nothing.
        const std::string log = capture_log::Text();
        const auto messages = static_cast<size_t>(std::count(log.begin(), log.end(), '\n'));
        FUZZ_REQUIRE(messages == (status == 0 ? 0u : 1u), log);

        // Whatever was read up to a failure is looked up, updated and saved.
        for (const std::string& key : KeysOf(parser, lines)) {
            CheckKey(parser, key, mode == 0 ? lastLine : "");
        }
        if (mode == 0 || KeysReadBackAlike(parser)) {
            CheckFixedPoint(parser, mode);
        }
    }
    return 0;
}
