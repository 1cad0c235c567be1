// The one reading of the CFG format: the line classifier, anonymous mode's
// trimming and the reading loop, compiled into libZelConfig only.
#include "CFGRead.h"

#include <string>

#include "CFGReadLoop.h"

namespace zelconfig {

using reading::Classify;
using reading::Trim;

CFGLine CFGClassifyLine(std::string_view line)
{
    return Classify(line);
}

CFGLine CFGClassifyIniLine(std::string_view line)
{
    reading::IniContext fresh;
    return reading::ClassifyIni(line, fresh);
}

std::string_view CFGTrimAnonymous(std::string_view text, const std::ctype<char>& ctype)
{
    return Trim(text, ctype);
}

CFGWritable CFGCheckWritable(std::string_view block, std::string_view entry, std::string_view value,
                             const std::ctype<char>* anonymous)
{
    const std::string header = "[" + std::string(block) + "]";
    const CFGLine readHeader = Classify(header);
    if (readHeader.kind != CFGLineKind::kHeader || readHeader.name != block
        || block.find('\n') != std::string_view::npos) {
        return CFGWritable::kBadBlockName;
    }
    const std::string line = std::string(entry) + "=" + std::string(value);
    const CFGLine readEntry = Classify(line);
    if (readEntry.kind != CFGLineKind::kEntry || readEntry.key != entry || line.find('\n') != std::string::npos) {
        return CFGWritable::kBadEntry;
    }
    if (anonymous != nullptr) {
        if (block != kCFGAnonymousBlock) {
            return CFGWritable::kNotAnonymousBlock;
        }
        if (Trim(entry, *anonymous).size() != entry.size() || Trim(value, *anonymous).size() != value.size()) {
            return CFGWritable::kSpaceAtEnds;
        }
    }
    return CFGWritable::kWritable;
}

int CFGReadLines(CFGLineReader& reader, CFGReadMode mode, CFGListener& listener)
{
    return reading::ReadLines(reader, mode, listener);
}

} // namespace zelconfig
