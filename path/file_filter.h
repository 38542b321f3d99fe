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
    // Throws std::regex_error.
    void add(std::string_view pattern);

    bool empty() const { return m_wildcards.empty() && m_expressions.empty(); }
    bool matchAny(std::string_view name) const {
        for (const Wildcard& wildcard : m_wildcards) {
            if (wildcard.matches(name)) return true;
        }
        return !m_expressions.empty() && matchAnyExpression(name);
    }

private:
    bool matchAnyExpression(std::string_view name) const;

    std::vector<Wildcard> m_wildcards;
    std::vector<std::regex> m_expressions;  // Of the patterns with a back-slash.
};

// The two lists of one filter.
class FilterLists {
public:
    FilterLists() = default;
    FilterLists(const FilterLists&) = delete;
    FilterLists& operator=(const FilterLists&) = delete;

    // Adds the patterns of a filter text. Throws std::regex_error; those before the
    // invalid one then stand.
    void add(std::string_view filter);

    bool accepts(std::string_view name) const { return m_accept.empty() || m_accept.matchAny(name); }
    bool denies(std::string_view name) const { return m_deny.matchAny(name); }

private:
    void addWord(std::string_view word);

    NamePatterns m_accept;
    NamePatterns m_deny;
};

}  // namespace vdx
