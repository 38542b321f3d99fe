// Tidy paths and wildcards against slow, plain versions of both.
#include <string_view>

#include <vdx/path.h>

#include "fuzz/fuzz.h"
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

// Asks from the pattern's end on, for each place in the name, whether the rest of both match.
bool plainMatch(std::string_view pattern, std::string_view name) {
    std::vector<bool> rest(name.size() + 1);
    rest.back() = true;
    for (std::size_t i = pattern.size(); i-- > 0;) {
        const char c = pattern[i];
        std::vector<bool> longer(name.size() + 1);
        longer.back() = c == '*' && rest.back();
        for (std::size_t n = name.size(); n-- > 0;) {
            const bool bTakes = c == '*' || c == '?' ? name[n] != '\n' && name[n] != '\r' : name[n] == c;
            longer[n] = c == '*' ? rest[n] || (bTakes && longer[n + 1]) : bTakes && rest[n + 1];
        }
        rest.swap(longer);
    }
    return rest.front();
}

}  // namespace

void fuzz(const Bytes& input) {
    if (input.empty() || input.size() > 512) return;
    const std::string text = textOf(input);
    require(pathTidy(text) == plainTidy(text));
    const std::size_t nCut = std::min(text.find('\0'), text.size());
    const std::string pattern = text.substr(0, nCut), name = text.substr(std::min(nCut + 1, text.size()));
    require(vdx::Wildcard(pattern).matches(name) == plainMatch(pattern, name));
}
