#ifndef ZELCONFIG_TOOLS_LINT_H
#define ZELCONFIG_TOOLS_LINT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Zelcfg.h"

namespace zelcfg {

// One thing the format drops or changes silently, at a line of the file.
struct LintFinding
{
    size_t line; // counted from 1
    std::string message;
};

// What reading (and saving) the text would drop or change, in line order.
// The engine's own reading decides what each line is and what becomes of
// it; `anonymous` selects the rules of anonymous mode. A `type` other than string also reports the
// values that its typed getter would read only partly.
std::vector<LintFinding> LintCFG(std::string_view text, bool anonymous, ValueType type = ValueType::kString);

// The lines that differ between `from` and `to` as a unified diff with three
// lines of context, under the headers "--- fromName" and "+++ toName"; empty
// when the texts are equal. Lines end at line feeds; a last line without one
// is followed by "\ No newline at end of file", so that it differs from the
// same line with one.
std::string UnifiedDiff(std::string_view from, std::string_view to, const std::string& fromName,
                        const std::string& toName);

} // namespace zelcfg

#endif
