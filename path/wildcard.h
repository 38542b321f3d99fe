// Wildcard patterns matched without a regular-expression engine.
#pragma once

#include <string>
#include <string_view>

namespace vdx {

// A pattern of '*', '?' and literals. Neither '*' nor '?' matches a line end (CR, LF).
// The answers are those of the equivalent ECMAScript expression over bytes.
class Wildcard {
public:
    explicit Wildcard(std::string_view pattern);

    // Whether the whole name matches. Never recurses; the time grows at worst with the
    // name's length times that of the longest run between two stars.
    bool matches(std::string_view name) const { return mayMatch(name) && matchAll(name); }

private:
    // Cheap reasons against most names: the length, the first and the last character.
    bool mayMatch(std::string_view name) const {
        if (name.size() < m_nFixed) return false;
        if (m_bFirst && name.front() != m_pattern.front()) return false;
        return !m_bLast || name.back() == m_pattern.back();
    }

    bool matchAll(std::string_view name) const;
    static bool matchRuns(std::string_view pattern, std::string_view name);
    static bool matchAnyMiddle(std::string_view pattern, std::string_view name);

    std::string m_pattern;
    std::size_t m_nHead;   // Where the first star stands, or the end.
    std::size_t m_nTail;   // Behind the last star, or the end.
    std::size_t m_nFixed;  // Length of what lies before and behind the stars.
    bool m_bFirst;         // The first and the last character are literals.
    bool m_bLast;
    bool m_bStar;
    bool m_bLineEnds;
};

}  // namespace vdx
