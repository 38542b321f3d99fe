// Tidy paths against those of the standard library, wildcards against a slow, plain version.
#include <filesystem>
#include <string_view>

#include <vdx/path.h>

#include "fuzz/fuzz.h"
#include "path/wildcard.h"

namespace {

// What comes first is taken for the root.
std::string plainTidy(const std::string& path) {
    std::string result = std::filesystem::path("/" + path.substr(1)).lexically_normal().string();
    while (result.size() > 1 && result.back() == '/')
        result.pop_back();
    return result;
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
