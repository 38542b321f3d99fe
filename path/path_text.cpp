// Paths as texts: splitting, joining, normalising.
#include <vdx/path.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string_view>

#include <vdx/platform.h>

#include "path/path_parts.h"

namespace {

using vdx::findSeparator;
using vdx::isPathSeparator;

constexpr std::uint64_t EACH_BYTE = 0x0101010101010101U;

// The highest bit of each byte of the word that equals c, and no other bit.
constexpr std::uint64_t bytesEqual(std::uint64_t word, char c) {
    constexpr std::uint64_t LOW_BITS = EACH_BYTE * 0x7F;
    const std::uint64_t differences = word ^ EACH_BYTE * static_cast<unsigned char>(c);
    return ~(((differences & LOW_BITS) + LOW_BITS) | differences | LOW_BITS);
}

std::uint64_t load(const char* pBytes) {
    std::uint64_t word;
    std::memcpy(&word, pBytes, sizeof word);
    return word;
}

// Which byte in memory carries the first bit of a mask that is not zero.
std::size_t firstByte(std::uint64_t mask) {
    const int nBits =
        std::endian::native == std::endian::little ? std::countr_zero(mask) : std::countl_zero(mask);
    return static_cast<std::size_t>(nBits) / 8;
}

// The first separator, nFrom or behind it, that begins a part which may have to go: an
// empty one, or one with a dot in front; else the end. Most separators begin none:
// eight places are looked at together.
// Requires: no separator at the end.
std::size_t findOddPart(std::string_view text, std::size_t nFrom) {
    static_assert(vdx::PATH_SEPARATORS == "/", "the word loop knows this one only");
    std::size_t i = nFrom;
    for (; i + sizeof(std::uint64_t) < text.size(); i += sizeof(std::uint64_t)) {
        const std::uint64_t next = load(text.data() + i + 1);
        const std::uint64_t odd =
            bytesEqual(load(text.data() + i), '/') & (bytesEqual(next, '/') | bytesEqual(next, '.'));
        if (odd != 0) return i + firstByte(odd);
    }
    for (; i + 1 < text.size(); ++i) {
        if (isPathSeparator(text[i]) && (isPathSeparator(text[i + 1]) || text[i + 1] == '.')) return i;
    }
    return text.size();
}

// memmove for short runs that go towards the front: each word is read before anything
// is written over it.
void moveForward(char* pTarget, const char* pSource, std::size_t nSize) {
    for (; nSize >= sizeof(std::uint64_t); nSize -= sizeof(std::uint64_t)) {
        const std::uint64_t word = load(pSource);
        std::memcpy(pTarget, &word, sizeof word);
        pTarget += sizeof word;
        pSource += sizeof word;
    }
    for (; nSize > 0; --nSize)
        *pTarget++ = *pSource++;
}

// Tidies a path of which the first character is ignored, where it stands: what is kept
// is gathered at the start of the same text and never overtakes the place of reading.
class TidyInPlace {
public:
    // Requires: a text that is not empty.
    explicit TidyInPlace(std::string& text) : m_text(text) {}

    void run() {
        m_text[0] = '/';
        while (m_text.size() > 1 && isPathSeparator(m_text.back()))
            m_text.pop_back();
        std::size_t nRead = 0;
        while (nRead < m_text.size()) {
            const std::size_t nOdd = findOddPart(m_text, nRead);
            keep(nRead, nOdd);
            nRead = nOdd < m_text.size() ? takeOddPart(nOdd) : nOdd;
        }
        if (m_nKept == 0) m_nKept = 1;  // The separator that every text here begins with.
        m_text.resize(m_nKept);
    }

private:
    // The separator at nBegin and the part behind it; returns where the next begins.
    std::size_t takeOddPart(std::size_t nBegin) {
        const std::size_t nEnd = findSeparator(m_text, nBegin + 1);
        const std::string_view part(m_text.data() + nBegin + 1, nEnd - nBegin - 1);
        if (part == "..") {
            while (m_nKept > 0 && m_text[--m_nKept] != '/')
                continue;
        } else if (!part.empty() && part != ".") {
            keep(nBegin, nEnd);
        }
        return nEnd;
    }

    void keep(std::size_t nBegin, std::size_t nEnd) {
        if (m_nKept != nBegin) moveForward(m_text.data() + m_nKept, m_text.data() + nBegin, nEnd - nBegin);
        m_nKept += nEnd - nBegin;
    }

    std::string& m_text;
    std::size_t m_nKept = 0;  // Length of what is kept so far: parts, a '/' before each.
};

}  // namespace

std::string pathTidy(const std::string& path) {
    if (path.empty()) throw std::out_of_range("pathTidy: empty path");
    std::string text = path;
    TidyInPlace(text).run();
    return text;
}

std::string pathGetAbsolutePath(const std::string& path, const std::string& base) {
    if (!path.empty() && path[0] == '/') return pathTidy(path);
    const std::string& start = base.empty() ? pathRemoveLastPart(vdxGetExeFileName()) : base;
    std::string text;
    text.reserve(start.size() + 1 + path.size());
    text.append(start).append(1, '/').append(path);
    TidyInPlace(text).run();
    return text;
}

std::string pathGetRelativePath(const char*, const char*) {
    return {};
}

std::string pathGetFileExtension(const std::string& path) {
    for (std::size_t i = path.size(); i-- > 0 && !isPathSeparator(path[i]);) {
        if (path[i] == '.') return path.substr(i);
    }
    return {};
}

std::string pathGetFileName(const std::string& path) {
    return path.substr(vdx::fileNameBegin(path));
}

std::string pathGetFirstPart(const std::string& path) {
    std::size_t nBegin = 0;
    while (nBegin < path.size() && isPathSeparator(path[nBegin]))
        ++nBegin;
    return path.substr(nBegin, findSeparator(path, nBegin) - nBegin);
}

std::string pathGetLastPart(const std::string& path) {
    return std::string(vdx::lastPart(path));
}

std::string pathRemoveLastPart(const std::string& path) {
    return std::string(vdx::withoutLastPart(path));
}

std::string pathAppend(const std::string& a, const std::string& b) {
    std::size_t nEnd = a.size();
    while (nEnd > 0 && isPathSeparator(a[nEnd - 1]))
        --nEnd;
    std::size_t nBegin = 0;
    while (nBegin < b.size() && isPathSeparator(b[nBegin]))
        ++nBegin;
    std::string joined;
    joined.reserve(nEnd + 1 + b.size() - nBegin);
    joined.append(a, 0, nEnd).append(1, '/').append(b, nBegin);
    return joined;
}

std::string pathReplaceFileName(const std::string& path, const std::string& name) {
    const std::size_t nKept = vdx::fileNameBegin(path);
    std::string replaced;
    replaced.reserve(nKept + name.size());
    replaced.append(path, 0, nKept).append(name);
    return replaced;
}

std::string pathReplaceExtern(const std::string& path, const std::string& ext) {
    const std::size_t nDot = path.rfind('.');
    return nDot == std::string::npos ? ext : path.substr(0, nDot) + ext;
}
