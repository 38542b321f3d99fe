// Wildcard patterns matched without a regular-expression engine.
#include "path/wildcard.h"

#include <cstdint>
#include <cstring>

namespace vdx {

namespace {

constexpr bool isLineEnd(char c) {
    return c == '\n' || c == '\r';
}

constexpr std::size_t WORD = sizeof(std::uint64_t);

// Whether any of eight bytes is a control character below 0x10, as both line ends are.
// (Bytes behind such a one may be taken for one wrongly; the answer is the same.)
bool hasLowControl(const char* pBytes) {
    constexpr std::uint64_t EACH_BYTE = 0x0101010101010101U;
    std::uint64_t word;
    std::memcpy(&word, pBytes, WORD);
    return ((word - EACH_BYTE * 0x10) & ~word & EACH_BYTE * 0x80) != 0;
}

bool findLineEnd(std::string_view text) {
    return text.find_first_of("\n\r") != std::string_view::npos;
}

// Names hardly ever have one: words are sifted first.
bool hasLineEnd(std::string_view text) {
    if (text.size() < WORD) {
        bool bFound = false;
        for (const char c : text)
            bFound |= isLineEnd(c);
        return bFound;
    }
    const char* pLast = text.data() + text.size() - WORD;
    for (const char* pNext = text.data(); pNext < pLast; pNext += WORD) {
        if (hasLowControl(pNext)) return findLineEnd(text);
    }
    return hasLowControl(pLast) && findLineEnd(text);
}

bool matchOne(char wanted, char c) {
    return wanted == '?' ? !isLineEnd(c) : wanted == c;
}

// Requires: a pattern without stars, and a text of at least its length.
bool matchFixed(std::string_view pattern, const char* pText) {
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (!matchOne(pattern[i], pText[i])) return false;
    }
    return true;
}

bool isLiteralAt(std::string_view pattern, std::size_t i) {
    return i < pattern.size() && pattern[i] != '*' && pattern[i] != '?';
}

// The first place, nFrom or behind it, where a run without stars matches.
std::size_t findRun(std::string_view name, std::string_view run, std::size_t nFrom) {
    if (run.find('?') == std::string_view::npos) return name.find(run, nFrom);
    for (; nFrom + run.size() <= name.size(); ++nFrom) {
        if (matchFixed(run, name.data() + nFrom)) return nFrom;
    }
    return std::string_view::npos;
}

}  // namespace

Wildcard::Wildcard(std::string_view pattern) : m_pattern(pattern) {
    const std::size_t nStar = m_pattern.find('*');
    m_bStar = nStar != std::string::npos;
    m_nHead = m_bStar ? nStar : m_pattern.size();
    m_nTail = m_bStar ? m_pattern.rfind('*') + 1 : m_pattern.size();
    m_nFixed = m_nHead + (m_pattern.size() - m_nTail);
    m_bFirst = isLiteralAt(pattern, 0);
    m_bLast = isLiteralAt(pattern, pattern.size() - 1);
    m_bLineEnds = findLineEnd(pattern);
}

// Requires: at least m_nFixed characters.
bool Wildcard::matchAll(std::string_view name) const {
    const std::string_view pattern = m_pattern;
    if (!m_bStar) return name.size() == pattern.size() && matchFixed(pattern, name.data());
    const std::size_t nTailSize = pattern.size() - m_nTail;
    if (!matchFixed({pattern.data(), m_nHead}, name.data())) return false;
    if (!matchFixed({pattern.data() + m_nTail, nTailSize}, name.data() + name.size() - nTailSize))
        return false;
    const std::string_view middle(name.data() + m_nHead, name.size() - m_nHead - nTailSize);
    const std::string_view stars(pattern.data() + m_nHead, m_nTail - m_nHead);
    if (m_bLineEnds) return matchAnyMiddle(stars, middle);
    return !hasLineEnd(middle) && (stars.size() == 1 || matchRuns(stars, middle));
}

// A pattern from its first star to its last, neither it nor the name with a line end:
// each run between stars is taken at its first place, since a later one never makes
// the rest easier.
bool Wildcard::matchRuns(std::string_view pattern, std::string_view name) {
    std::size_t nName = 0;
    std::size_t nRun = 1;
    while (nRun < pattern.size()) {
        const std::size_t nStar = pattern.find('*', nRun);
        const std::string_view run = pattern.substr(nRun, nStar - nRun);
        const std::size_t nFound = findRun(name, run, nName);
        if (nFound == std::string_view::npos) return false;
        nName = nFound + run.size();
        nRun = nStar + 1;
    }
    return true;
}

// The same where the pattern has line ends. On a mismatch the latest star takes one
// character more; an earlier star cannot help, since each line end of the name must
// meet its own one in the pattern, whatever the stars take.
bool Wildcard::matchAnyMiddle(std::string_view pattern, std::string_view name) {
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
