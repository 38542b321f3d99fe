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

    // Whether the whole name matches. Never recurses; the time grows with the name's
    // length times that of the longest run between two stars.
    bool matches(std::string_view name) const;

private:
    bool matchMiddle(std::string_view name) const;

    std::string m_pattern;
    std::string_view head() const { return std::string_view(m_pattern).substr(0, m_nHead); }
    std::string_view tail() const { return std::string_view(m_pattern).substr(m_nTail); }

    std::size_t m_nHead = 0;  // Where the first star stands.
    std::size_t m_nTail = 0;  // Behind the last star.
    bool m_bStar = false;
};

}  // namespace vdx
