// The saved form is a fixed point: parse, save, parse and save again gives
// the bytes of the first save, and both models answer every key alike.
//
// Where the format's own rules make it no fixed point, the property is
// narrowed rather than the rules changed:
// - A value holding a line feed is saved as it stands and comes back as
//   several lines, so the update made here stores the input's last line,
//   which holds none.
// - In anonymous mode keys are trimmed, so a key may come to begin with '#',
//   ';' or '[' and be read back as a comment or a header: the property is
//   checked there only for models without such keys.
#include "CCFGParser.h"
#include "FuzzSupport.h"

namespace {

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

    CCFGParser blocks(0u);
    blocks.CFGParseFile(path); // any status: what was read up to a failure is saved
    if (!blocks.m_pmCFGData->empty() && !blocks.m_pmCFGData->begin()->second->m_vecNodes.empty()) {
        const auto& [name, block] = *blocks.m_pmCFGData->begin();
        const std::string last = input.substr(input.rfind('\n') + 1);
        blocks.CFGSetData(name + "." + block->m_vecNodes.front().m_strKey, last);
    }
    CheckFixedPoint(blocks, 0u);

    CCFGParser anonymous(1u);
    anonymous.CFGParseFile(path);
    if (KeysReadBackAlike(anonymous)) {
        CheckFixedPoint(anonymous, 1u);
    }
    return 0;
}
