// Wildcard patterns matched without a regular-expression engine.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vdx {

// A pattern of '*', '?' and literals. Neither '*' nor '?' matches a line end (CR, LF).
// The answers are those of the equivalent ECMAScript expression over bytes.
class Wildcard {
public:
    explicit Wildcard(std::string_view pattern);

    // Whether the whole name matches. Never recurses; the time grows at worst with the
    // name's length times that of the longest run between two stars.
    bool matches(std::string_view name) const {
        if (!mayMatch(name)) return false;
        return m_bAnything ? isOneLine(name) : matchAll(name);
    }

private:
    // A part of the pattern without stars, with one on either side.
    struct Run {
        std::size_t nBegin;
        std::size_t nSize;
        bool bQuestion;  // Has a '?'.
    };

    // Cheap reasons against most names: the length, the first and the last character.
    bool mayMatch(std::string_view name) const {
        if (name.size() < m_nShortest) return false;
        if (m_bFirst && name.front() != m_cFirst) return false;
        return !m_bLast || name.back() == m_cLast;
    }

    static bool isOneLine(std::string_view text);
    bool matchAll(std::string_view name) const;
    void findRuns();
    bool matchRuns(std::string_view name) const;
    std::size_t findRun(std::string_view name, const Run& run, std::size_t nFrom) const;
    static bool matchAnyMiddle(std::string_view pattern, std::string_view name);

    std::string m_pattern;
    std::vector<Run> m_runs;
    std::size_t m_nHead;      // Where the first star stands, or the end.
    std::size_t m_nTail;      // Behind the last star, or the end.
    std::size_t m_nShortest;  // Length without the stars.
    bool m_bFirst;            // The first and the last character are literals, these:
    bool m_bLast;
    char m_cFirst = 0;
    char m_cLast = 0;
    bool m_bStar;
    bool m_bAnything;  // Has stars only.
    bool m_bLineEnds;
};

}  // namespace vdx
