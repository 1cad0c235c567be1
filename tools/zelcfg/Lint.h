#ifndef ZELCONFIG_TOOLS_LINT_H
#define ZELCONFIG_TOOLS_LINT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zelcfg {

// One thing the format drops or changes silently, at a line of the file.
struct LintFinding
{
    size_t line; // counted from 1
    std::string message;
};

// A key or value as anonymous mode stores it: without the white space at its
// ends, as the classic locale (the tool's own) classes it.
std::string_view TrimAsAnonymous(std::string_view text);

// What reading (and saving) the text would drop or change, in line order.
// Lines are classified by the engine's own classifier; `anonymous` selects
// the rules of anonymous mode.
std::vector<LintFinding> LintCFG(std::string_view text, bool anonymous);

} // namespace zelcfg

#endif
