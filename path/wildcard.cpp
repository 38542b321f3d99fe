// Wildcard patterns matched without a regular-expression engine.
#include "path/wildcard.h"

#include <cstdint>
#include <cstring>

namespace vdx {

namespace {

constexpr bool isLineEnd(char c) {
    return c == '\n' || c == '\r';
}

constexpr std::uint64_t EACH_BYTE = 0x0101010101010101U;

// Not zero when one of the eight bytes is zero.
constexpr std::uint64_t zeroBytes(std::uint64_t word) {
    return (word - EACH_BYTE) & ~word & (EACH_BYTE << 7U);
}

bool hasLineEnd(std::string_view text) {
    std::size_t i = 0;
    for (; i + sizeof(std::uint64_t) <= text.size(); i += sizeof(std::uint64_t)) {
        std::uint64_t word;
        std::memcpy(&word, text.data() + i, sizeof word);
        if (zeroBytes(word ^ EACH_BYTE * '\n') | zeroBytes(word ^ EACH_BYTE * '\r')) return true;
    }
    for (; i < text.size(); ++i) {
        if (isLineEnd(text[i])) return true;
    }
    return false;
}

bool matchOne(char wanted, char c) {
    return wanted == '?' ? !isLineEnd(c) : wanted == c;
}

// Requires: a pattern without stars, of the text's length.
bool matchFixed(std::string_view pattern, std::string_view text) {
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (!matchOne(pattern[i], text[i])) return false;
    }
    return true;
}

}  // namespace

Wildcard::Wildcard(std::string_view pattern) : m_pattern(pattern) {
    m_nHead = m_pattern.find('*');
    m_bStar = m_nHead != std::string::npos;
    if (m_bStar) {
        m_nTail = m_pattern.rfind('*') + 1;
    } else {
        m_nHead = m_nTail = m_pattern.size();
    }
}

bool Wildcard::matches(std::string_view name) const {
    if (!m_bStar) return name.size() == m_pattern.size() && matchFixed(m_pattern, name);
    const std::size_t nTailSize = m_pattern.size() - m_nTail;
    if (name.size() < m_nHead + nTailSize) return false;
    if (!matchFixed(tail(), name.substr(name.size() - nTailSize)) || !matchFixed(head(), name)) return false;
    return matchMiddle(name.substr(m_nHead, name.size() - m_nHead - nTailSize));
}

// Matches what lies between the ends against the pattern from its first star to its
// last. On a mismatch only the latest star takes one character more: an earlier place
// for all that lies before it never makes the rest harder. That holds for line ends
// too, since each must meet its own literal in the pattern, whatever the stars take.
bool Wildcard::matchMiddle(std::string_view name) const {
    const std::string_view pattern = std::string_view(m_pattern).substr(m_nHead, m_nTail - m_nHead);
    if (pattern.size() == 1) return !hasLineEnd(name);
    std::size_t nPattern = 0;
    std::size_t nName = 0;
    std::size_t nStar = 0;
    std::size_t nResume = 0;  // Where the text behind the latest star was tried last.
    while (nName < name.size()) {
        if (nPattern < pattern.size() && pattern[nPattern] == '*') {
            nStar = nPattern++;
            nResume = nName;
        } else if (nPattern < pattern.size() && matchOne(pattern[nPattern], name[nName])) {
            ++nPattern;
            ++nName;
        } else {
            if (isLineEnd(name[nResume])) return false;
            nPattern = nStar + 1;
            nName = ++nResume;
        }
    }
    return pattern.find_first_not_of('*', nPattern) == std::string_view::npos;
}

}  // namespace vdx
