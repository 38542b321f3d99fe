// Tidy paths and wildcards against slow, plain versions of both.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include <vdx/path.h>

#include "path/wildcard.h"

namespace {

std::string plainTidy(std::string_view path) {
    std::vector<std::string_view> kept;
    for (std::size_t nBegin = 1; nBegin < path.size();) {
        const std::size_t nEnd = std::min(path.find('/', nBegin), path.size());
        const std::string_view part = path.substr(nBegin, nEnd - nBegin);
        if (part == "..") {
            if (!kept.empty()) kept.pop_back();
        } else if (!part.empty() && part != ".") {
            kept.push_back(part);
        }
        nBegin = nEnd + 1;
    }
    std::string result;
    for (const std::string_view part : kept)
        result.append("/").append(part);
    return result.empty() ? "/" : result;
}

// All places of the pattern that can be reached, a character of the name at a time.
bool plainMatch(std::string_view pattern, std::string_view name) {
    std::vector<bool> reached(pattern.size() + 1);
    const auto spread = [&] {
        for (std::size_t i = 0; i < pattern.size(); ++i) {
            if (reached[i] && pattern[i] == '*') reached[i + 1] = true;
        }
    };
    reached[0] = true;
    spread();
    for (const char c : name) {
        std::vector<bool> next(pattern.size() + 1);
        const bool bLineEnd = c == '\n' || c == '\r';
        for (std::size_t i = 0; i < pattern.size(); ++i) {
            if (!reached[i]) continue;
            if (pattern[i] == '*' && !bLineEnd) next[i] = true;
            if (pattern[i] == '?' ? !bLineEnd : pattern[i] == c && c != '*') next[i + 1] = true;
        }
        reached.swap(next);
        spread();
    }
    return reached[pattern.size()];
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    if (nSize == 0 || nSize > 512) return 0;
    const std::string text(reinterpret_cast<const char*>(pData), nSize);
    if (pathTidy(text) != plainTidy(text)) abort();
    const std::size_t nCut = std::min(text.find('\0'), text.size());
    const std::string_view pattern = std::string_view(text).substr(0, nCut);
    const std::string_view name = std::string_view(text).substr(std::min(nCut + 1, text.size()));
    if (vdx::Wildcard(pattern).matches(name) != plainMatch(pattern, name)) abort();
    return 0;
}
