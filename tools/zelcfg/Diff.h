#ifndef ZELCONFIG_TOOLS_DIFF_H
#define ZELCONFIG_TOOLS_DIFF_H

#include <string>
#include <string_view>

namespace zelcfg {

// The lines that differ between `from` and `to` as a unified diff with three
// lines of context, under the headers "--- fromName" and "+++ toName"; empty
// when the texts are equal. Lines end at line feeds; a last line without one
// is followed by "\ No newline at end of file", so that it differs from the
// same line with one.
std::string UnifiedDiff(std::string_view from, std::string_view to, const std::string& fromName,
                        const std::string& toName);

} // namespace zelcfg

#endif
