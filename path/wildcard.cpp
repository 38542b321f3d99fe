// Wildcard patterns matched without a regular-expression engine.
#include "path/wildcard.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace vdx {

namespace {

constexpr bool isLineEnd(char c) {
    return c == '\n' || c == '\r';
}

using Word = std::uint64_t;
using WordPair [[gnu::vector_size(2 * sizeof(Word))]] = Word;  // Computed with as one.

// Not 0 if any of the bytes is a control character below 0x10, as both line ends are.
template <class Words>
Words lowControls(const char* pBytes) {
    constexpr Word EACH_BYTE = 0x0101010101010101U;
    Words words;
    std::memcpy(&words, pBytes, sizeof words);
    return (words - EACH_BYTE * 0x10) & ~words & EACH_BYTE * 0x80;
}

// The same for a text of at least the size of Words.
template <class Words>
Words lowControls(std::string_view text) {
    const char* pLast = text.data() + text.size() - sizeof(Words);
    Words controls = lowControls<Words>(pLast);
    for (const char* pNext = text.data(); pNext < pLast; pNext += sizeof(Words))
        controls |= lowControls<Words>(pNext);
    return controls;
}

// Apart, so that the usual ways need no stack frame for this rare one.
[[gnu::noinline]] bool findLineEnd(std::string_view text) {
    return text.find_first_of("\n\r") != std::string_view::npos;
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

}  // namespace

Wildcard::Wildcard(std::string_view pattern) : m_pattern(pattern) {
    const std::size_t nStar = m_pattern.find('*');
    m_bStar = nStar != std::string::npos;
    m_nHead = m_bStar ? nStar : m_pattern.size();
    m_nTail = m_bStar ? m_pattern.rfind('*') + 1 : m_pattern.size();
    m_nShortest =
        m_pattern.size() - static_cast<std::size_t>(std::count(m_pattern.begin(), m_pattern.end(), '*'));
    m_bFirst = isLiteralAt(pattern, 0);
    m_bLast = isLiteralAt(pattern, pattern.size() - 1);
    if (!pattern.empty()) {
        m_cFirst = pattern.front();
        m_cLast = pattern.back();
    }
    m_bLineEnds = findLineEnd(pattern);
    m_bAnything = m_bStar && m_nShortest == 0;
    if (m_bStar) findRuns();
}

void Wildcard::findRuns() {
    std::size_t nBegin = m_nHead + 1;
    while (nBegin < m_nTail) {
        const std::size_t nSize = m_pattern.find('*', nBegin) - nBegin;
        const std::string_view run(m_pattern.data() + nBegin, nSize);
        if (nSize != 0) m_runs.push_back({nBegin, nSize, run.find('?') != std::string_view::npos});
        nBegin += nSize + 1;
    }
}

// Names hardly ever have a line end: words are sifted first.
bool Wildcard::isOneLine(std::string_view text) {
    if (text.size() < sizeof(Word)) {
        for (const char c : text) {
            if (isLineEnd(c)) return false;
        }
        return true;
    }
    if (text.size() < sizeof(WordPair)) return lowControls<Word>(text) == 0 || !findLineEnd(text);
    const WordPair controls = lowControls<WordPair>(text);
    return (controls[0] | controls[1]) == 0 || !findLineEnd(text);
}

// Requires: at least m_nShortest characters.
bool Wildcard::matchAll(std::string_view name) const {
    const std::string_view pattern = m_pattern;
    if (!m_bStar) return name.size() == pattern.size() && matchFixed(pattern, name.data());
    const std::size_t nTailSize = pattern.size() - m_nTail;
    if (!matchFixed({pattern.data(), m_nHead}, name.data())) return false;
    if (!matchFixed({pattern.data() + m_nTail, nTailSize}, name.data() + name.size() - nTailSize))
        return false;
    const std::string_view middle(name.data() + m_nHead, name.size() - m_nHead - nTailSize);
    if (m_bLineEnds) return matchAnyMiddle({pattern.data() + m_nHead, m_nTail - m_nHead}, middle);
    return matchRuns(middle) && isOneLine(middle);
}

// What stands for the stars and all between them, in a pattern without a line end: each
// run is taken at its first place, since a later one never makes the rest easier.
bool Wildcard::matchRuns(std::string_view name) const {
    std::size_t nName = 0;
    for (const Run& run : m_runs) {
        const std::size_t nFound = findRun(name, run, nName);
        if (nFound == std::string_view::npos) return false;
        nName = nFound + run.nSize;
    }
    return true;
}

// The first place, nFrom or behind it, where a run matches.
std::size_t Wildcard::findRun(std::string_view name, const Run& run, std::size_t nFrom) const {
    const std::string_view text(m_pattern.data() + run.nBegin, run.nSize);
    if (!run.bQuestion) return name.find(text, nFrom);
    for (; nFrom + run.nSize <= name.size(); ++nFrom) {
        if (matchFixed(text, name.data() + nFrom)) return nFrom;
    }
    return std::string_view::npos;
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
