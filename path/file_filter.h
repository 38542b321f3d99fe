// The compiled patterns of a file filter.
#pragma once

#include <regex>
#include <string>
#include <string_view>
#include <vector>

#include "path/wildcard.h"

namespace vdx {

// Patterns of which any may match.
class NamePatterns {
public:
    NamePatterns() = default;
    NamePatterns(const NamePatterns&) = delete;
    NamePatterns& operator=(const NamePatterns&) = delete;

    // Throws std::regex_error.
    void add(std::string_view pattern);

    bool matchAny(std::string_view name, bool bWithoutPatterns) const {
        if (m_pOnly) return m_pOnly->matches(name);
        return empty() ? bWithoutPatterns : matchSeveral(name);
    }

private:
    bool empty() const { return m_wildcards.empty() && m_expressions.empty(); }
    bool matchSeveral(std::string_view name) const;
    bool matchAnyExpression(std::string_view name) const;

    const Wildcard* m_pOnly = nullptr;  // The pattern when there is but one, a wildcard.
    std::vector<Wildcard> m_wildcards;
    std::vector<std::regex> m_expressions;  // Of the patterns with a back-slash.
};

// The two lists of one filter.
class FilterLists {
public:
    // Adds the patterns of a filter text. Throws std::regex_error; those before the
    // invalid one then stand.
    void add(std::string_view filter);

    bool accepts(std::string_view name) const { return m_accept.matchAny(name, true); }
    bool denies(std::string_view name) const { return m_deny.matchAny(name, false); }

private:
    void addWord(std::string_view word);

    NamePatterns m_accept;
    NamePatterns m_deny;
};

}  // namespace vdx
