// Comparing and hashing of names without regard to the case of ASCII letters.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace vdx {

constexpr std::uint64_t CASE_BITS = 0x2020202020202020U;

template <class Word>
Word loadWord(const char* p) {
    Word nWord;
    std::memcpy(&nWord, p, sizeof nWord);
    return nWord;
}

// The last 1 to 8 bytes of a text of 1 or more bytes; shorter texts repeat some.
inline std::uint64_t loadTail(const char* p, std::size_t nSize) {
    if (nSize >= 8) return loadWord<std::uint64_t>(p + nSize - 8);
    if (nSize >= 4) {
        return loadWord<std::uint32_t>(p) | std::uint64_t{loadWord<std::uint32_t>(p + nSize - 4)} << 32;
    }
    const auto at = [p](std::size_t n) { return std::uint64_t{static_cast<unsigned char>(p[n])}; };
    return at(0) | at(nSize / 2) << 8 | at(nSize - 1) << 16;
}

// The same for names that sameName calls the same; mostly different for others.
inline std::uint16_t hashName(std::string_view szName) {
    constexpr std::uint64_t FACTOR = 0x9E3779B97F4A7C15U;
    std::uint64_t nHash = szName.size() * FACTOR;
    if (szName.empty()) return 0;
    for (std::size_t n = 0; n + 8 < szName.size(); n += 8) {
        nHash = (nHash ^ (loadWord<std::uint64_t>(szName.data() + n) | CASE_BITS)) * FACTOR;
        nHash ^= nHash >> 32;
    }
    nHash = (nHash ^ (loadTail(szName.data(), szName.size()) | CASE_BITS)) * FACTOR;
    return static_cast<std::uint16_t>(nHash >> 48);
}

inline unsigned char foldCase(char c) {
    const auto n = static_cast<unsigned char>(c);
    return n >= 'A' && n <= 'Z' ? static_cast<unsigned char>(n | 0x20U) : n;
}

inline bool sameFolded(std::string_view szLeft, std::string_view szRight) {
    for (std::size_t n = 0; n < szLeft.size(); ++n) {
        if (foldCase(szLeft[n]) != foldCase(szRight[n])) return false;
    }
    return true;
}

// Most different names differ in more than case bits within their last eight bytes.
inline bool sameName(std::string_view szLeft, std::string_view szRight) {
    const std::size_t nSize = szLeft.size();
    if (nSize != szRight.size()) return false;
    if (nSize == 0) return true;
    const std::uint64_t nDifference = loadTail(szLeft.data(), nSize) ^ loadTail(szRight.data(), nSize);
    if (nDifference & ~CASE_BITS) return false;
    if (nDifference == 0 && nSize <= 8) return true;
    return sameFolded(szLeft, szRight);
}

// An order in which names that are the same are equal.
struct FoldedLess {
    bool operator()(std::string_view szLeft, std::string_view szRight) const {
        if (szLeft.size() != szRight.size()) return szLeft.size() < szRight.size();
        for (std::size_t n = 0; n < szLeft.size(); ++n) {
            const unsigned char cLeft = foldCase(szLeft[n]);
            const unsigned char cRight = foldCase(szRight[n]);
            if (cLeft != cRight) return cLeft < cRight;
        }
        return false;
    }
};

}  // namespace vdx
