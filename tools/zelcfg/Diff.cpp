#include "Diff.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace zelcfg {

namespace {

using Lines = std::vector<std::string_view>;

// The lines of a text, each with its line feed; the last may lack one.
Lines SplitLines(std::string_view text)
{
    Lines lines;
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size() - 1) + 1;
        lines.push_back(text.substr(0, end));
        text.remove_prefix(end);
    }
    return lines;
}

// One step of an edit script: keep a[from] (== b[to]), delete a[from] or
// insert b[to].
struct Step
{
    char op; // ' ', '-' or '+'
    size_t from, to;
};

// Every line of a deleted, then every line of b inserted: the script when a
// shortest one would take too much memory to find.
std::vector<Step> ReplaceAll(const Lines& a, const Lines& b)
{
    std::vector<Step> steps;
    for (size_t i = 0; i < a.size(); ++i) {
        steps.push_back({'-', i, 0});
    }
    for (size_t j = 0; j < b.size(); ++j) {
        steps.push_back({'+', a.size(), j});
    }
    return steps;
}

// A shortest edit script from a to b, by Myers' greedy search. Each round d
// keeps its diagonals' furthest reach for the walk back; the rounds are as
// many as the lines that differ, which a lint of a config file keeps small.
std::vector<Step> EditScript(const Lines& a, const Lines& b)
{
    const long kMaxRounds = 2048; // about 32 MiB of kept reaches
    const long n = static_cast<long>(a.size()), m = static_cast<long>(b.size());
    std::vector<long> reach(static_cast<size_t>(2 * (n + m) + 3), 0);
    const auto at = [&reach, n, m](long k) -> long& { return reach[static_cast<size_t>(k + n + m + 1)]; };
    std::vector<std::vector<long>> rounds; // rounds[d][k + d]: reach before round d
    long d = 0;
    for (;; ++d) {
        if (d > kMaxRounds) {
            // The kept rounds grow with the square of the changes: past a
            // bound, every line of a is replaced by every line of b.
            return ReplaceAll(a, b);
        }
        rounds.emplace_back(&at(-d), &at(d) + 1);
        bool done = false;
        for (long k = -d; k <= d && !done; k += 2) {
            long x = (k == -d || (k != d && at(k - 1) < at(k + 1))) ? at(k + 1) : at(k - 1) + 1;
            long y = x - k;
            while (x < n && y < m && a[static_cast<size_t>(x)] == b[static_cast<size_t>(y)]) {
                ++x;
                ++y;
            }
            at(k) = x;
            done = x >= n && y >= m;
        }
        if (done) {
            break;
        }
    }
    std::vector<Step> steps;
    long x = n, y = m;
    for (; d >= 0; --d) {
        const std::vector<long>& before = rounds[static_cast<size_t>(d)];
        const auto was = [&before, d](long k) { return before[static_cast<size_t>(k + d)]; };
        const long k = x - y;
        // Round d's edit: an insertion (down from diagonal k + 1) or a
        // deletion (right from k - 1); then its snake of kept lines.
        const bool down = d == 0 || k == -d || (k != d && was(k - 1) < was(k + 1));
        const long snakeX = d == 0 ? 0 : down ? was(k + 1) : was(k - 1) + 1;
        while (x > snakeX) {
            --x;
            --y;
            steps.push_back({' ', static_cast<size_t>(x), static_cast<size_t>(y)});
        }
        if (d > 0 && down) {
            --y;
            steps.push_back({'+', static_cast<size_t>(x), static_cast<size_t>(y)});
        } else if (d > 0) {
            --x;
            steps.push_back({'-', static_cast<size_t>(x), static_cast<size_t>(y)});
        }
    }
    std::reverse(steps.begin(), steps.end());
    return steps;
}

// A line of a hunk: its mark, its text, and the note after a last line
// without a line feed.
void PutLine(std::string& out, char op, std::string_view line)
{
    out += op;
    out.append(line.data(), line.size());
    if (line.empty() || line.back() != '\n') {
        out += "\n\\ No newline at end of file\n";
    }
}

// "a,b" of a hunk header: an empty range starts at the line before it.
std::string Range(size_t before, size_t count)
{
    return std::to_string(count == 0 ? before : before + 1) + "," + std::to_string(count);
}

} // namespace

std::string UnifiedDiff(std::string_view from, std::string_view to, const std::string& fromName,
                        const std::string& toName)
{
    const size_t kContext = 3;
    const Lines a = SplitLines(from), b = SplitLines(to);
    const std::vector<Step> steps = EditScript(a, b);
    std::string out;
    size_t i = 0;
    while (true) {
        while (i < steps.size() && steps[i].op == ' ') {
            ++i;
        }
        if (i == steps.size()) {
            break;
        }
        // A hunk: from kContext steps before its first change to kContext
        // after its last, changes less than 2 * kContext + 1 apart joined.
        const size_t begin = i >= kContext ? i - kContext : 0;
        size_t last = i;
        for (size_t j = i + 1; j < steps.size() && j - last <= 2 * kContext; ++j) {
            if (steps[j].op != ' ') {
                last = j;
            }
        }
        const size_t end = std::min(steps.size(), last + 1 + kContext);
        size_t fromCount = 0, toCount = 0;
        for (size_t j = begin; j < end; ++j) {
            fromCount += steps[j].op != '+';
            toCount += steps[j].op != '-';
        }
        if (out.empty()) {
            out = "--- " + fromName + "\n+++ " + toName + "\n";
        }
        out += "@@ -" + Range(steps[begin].from, fromCount) + " +" + Range(steps[begin].to, toCount) + " @@\n";
        for (size_t j = begin; j < end; ++j) {
            PutLine(out, steps[j].op, steps[j].op == '+' ? b[steps[j].to] : a[steps[j].from]);
        }
        i = end;
    }
    return out;
}

} // namespace zelcfg
