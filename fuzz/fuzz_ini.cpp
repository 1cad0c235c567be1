// The INI dialect: a document reads every text as the reference reading
// does, and keeps the promise of every edit: a random text (after two bytes
// that choose the edit), a random edit of a key the text holds or of a new one.
#include "FuzzSupport.h"
#include "IniPromise.h"

namespace {

using docpromise::Op;

// The keys and section names the reference reads, to pick ones that exist.
std::vector<std::string> Names(const std::string& text)
{
    std::vector<std::string> names;
    for (const inipromise::Entry& entry : inipromise::ReferenceRead(text)) {
        names.push_back(entry.block + "." + entry.key);
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
    const std::string reads = inipromise::CheckReads(text);
    FUZZ_REQUIRE(reads.empty(), reads);

    static const Op kOps[] = {Op::kSet, Op::kAdd, Op::kRemove, Op::kRemoveBlock, Op::kSetAt, Op::kRemoveAt,
                              Op::kAppend, Op::kSet};
    static const char* const kValues[] = {"", "v", "x = y", " pad", "a:b", "two\nlines", "\nafter\n\nblank",
                                          "# no", "x\n; no"};
    docpromise::Edit edit{kOps[choice % 8], "", kValues[(choice >> 3) % 9], (pick >> 4) % 4};
    const std::vector<std::string> names = Names(text);
    if ((pick & 0x80) == 0 && !names.empty()) {
        edit.key = names[pick % names.size()];
    } else {
        edit.key = (pick & 1) != 0 ? ".new" : "New.key";
    }
    if (edit.op == Op::kRemoveBlock) {
        edit.key = edit.key.substr(0, edit.key.find('.'));
    }
    docpromise::Outcome outcome;
    const std::string broken = inipromise::CheckEdit(text, edit, outcome);
    FUZZ_REQUIRE(broken.empty(), broken + "\nkey '" + edit.key + "' value '" + edit.value + "' op "
                                     + std::to_string(static_cast<int>(edit.op)) + "\nresult:\n" + outcome.text);
    return 0;
}
