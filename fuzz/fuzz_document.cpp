// A document reads every file as the engine does, and keeps the promise of
// every edit: a random file (after two bytes that choose the edit), a random
// edit of a key the file holds or of a new one.
#include "DocumentPromise.h"
#include "FuzzSupport.h"
#include "cfg/CFGLine.h"

namespace {

using docpromise::Op;
using zelconfig::Document;

// The names of the file's entries and blocks, in file order as the
// classifier sees them, to pick keys that exist.
std::vector<std::string> Names(const std::string& text)
{
    std::vector<std::string> names;
    std::string block;
    for (const std::string& line : Lines(text, 64)) {
        const zelconfig::CFGLine classified = zelconfig::CFGClassifyLine(line);
        if (classified.kind == zelconfig::CFGLineKind::kHeader) {
            block = classified.name;
            names.push_back(block);
        } else if (classified.kind == zelconfig::CFGLineKind::kEntry) {
            names.push_back(block + "." + std::string(classified.key));
        }
    }
    return names;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2) {
        return 0;
    }
    const unsigned choice = data[0], pick = data[1];
    const std::string text(reinterpret_cast<const char*>(data) + 2, size - 2);
    const Document::Mode mode = (choice & 1) != 0 ? Document::Mode::kAnonymous : Document::Mode::kBlock;
    const std::string reads = docpromise::CheckReads(text, mode);
    FUZZ_REQUIRE(reads.empty(), reads);

    static const char* const kValues[] = {"", "v", "x y", " pad ", "a=b", "tail\r", "two\nlines"};
    docpromise::Edit edit{static_cast<Op>((choice >> 1) % 8), "", kValues[(choice >> 4) % 7], (pick >> 4) % 4};
    const std::vector<std::string> names = Names(text);
    if ((pick & 0x80) == 0 && !names.empty()) {
        edit.key = names[pick % names.size()];
        if (edit.op == Op::kRemoveBlock) {
            edit.key = edit.key.substr(0, edit.key.find('.'));
        } else if (edit.key.find('.') == std::string::npos) {
            edit.key += ".k";
        }
        if ((choice & 1) != 0 && (pick & 0x40) != 0) {
            edit.key = edit.key.substr(edit.key.find('.') + 1); // a bare key
        }
    } else {
        edit.key = (pick & 1) != 0 ? "anonymous.new" : "New.key";
    }
    docpromise::Outcome outcome;
    const std::string broken = docpromise::CheckEdit(text, mode, edit, outcome);
    FUZZ_REQUIRE(broken.empty(), broken + "\nkey '" + edit.key + "' value '" + edit.value + "' op "
                                     + std::to_string(static_cast<int>(edit.op)) + "\nresult:\n" + outcome.text);
    return 0;
}
