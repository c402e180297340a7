#include "host/CaseMap.h"
#include "host/Strings.h"

#include <cstddef>

namespace {

bool sameChar(wchar_t a, wchar_t b, bool ignoreCase) {
    return a == b || (ignoreCase && wkhost::ToLowerChar(a) == wkhost::ToLowerChar(b));
}

} // namespace

// Greedy matching that remembers only the last star: when a later literal fails, the last
// star takes one more character and matching resumes after it. Going back to an earlier
// star is never needed, because the last star can already absorb anything an earlier one
// could, which keeps the work within text length times pattern length.
bool MatchPattern(const WStr& text, const WStr& pattern, bool ignoreCase) {
    const std::wstring_view t = text.view();
    const std::wstring_view p = pattern.view();
    std::size_t ti = 0;
    std::size_t pi = 0;
    std::size_t starPi = std::wstring_view::npos; // pattern position after the last star
    std::size_t starTi = 0;                       // text position that star resumes from
    while (ti < t.size()) {
        if (pi < p.size() && p[pi] == L'*') {
            starPi = ++pi;
            starTi = ti;
        } else if (pi < p.size() && (p[pi] == L'?' || sameChar(p[pi], t[ti], ignoreCase))) {
            ++pi;
            ++ti;
        } else if (starPi != std::wstring_view::npos) {
            pi = starPi;
            ti = ++starTi;
        } else {
            return false;
        }
    }
    while (pi < p.size() && p[pi] == L'*') {
        ++pi;
    }
    return pi == p.size();
}
