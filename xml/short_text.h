// Copies of short texts without calls: most names and values have less than sixteen bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace vdx {

constexpr std::size_t SHORT_TEXT = 15;  // What std::string holds without the heap.

// Copies n <= 16 bytes, by pieces that overlap.
inline void copyShort(char* pTo, const char* pFrom, std::size_t n) {
    if (n >= 8) {
        std::uint64_t nFirst, nLast;
        std::memcpy(&nFirst, pFrom, 8);
        std::memcpy(&nLast, pFrom + n - 8, 8);
        std::memcpy(pTo, &nFirst, 8);
        std::memcpy(pTo + n - 8, &nLast, 8);
    } else if (n >= 4) {
        std::uint32_t nFirst, nLast;
        std::memcpy(&nFirst, pFrom, 4);
        std::memcpy(&nLast, pFrom + n - 4, 4);
        std::memcpy(pTo, &nFirst, 4);
        std::memcpy(pTo + n - 4, &nLast, 4);
    } else if (n > 0) {
        const char cMiddle = pFrom[n / 2], cLast = pFrom[n - 1];
        pTo[0] = pFrom[0];
        pTo[n / 2] = cMiddle;
        pTo[n - 1] = cLast;
    }
}

// A text, and how far the memory from its start on may be read.
struct TextSource {
    std::string_view szText;
    const char* pReadableEnd;

    TextSource(std::string_view szSource) : TextSource(szSource, szSource.data() + szSource.size()) {}
    TextSource(std::string_view szSource, const char* pEnd) : szText(szSource), pReadableEnd(pEnd) {}
    // Behind the text lies its end mark. The rest of its capacity is nobody's to read.
    TextSource(const std::string& szSource) : TextSource(szSource, szSource.data() + szSource.size() + 1) {}

    bool isReadable(std::size_t nBytes) const {
        return pReadableEnd - szText.data() >= static_cast<std::ptrdiff_t>(nBytes);
    }
};

// Whether a string holds it without the heap.
inline bool isShort(const TextSource& source) {
    return source.szText.size() <= SHORT_TEXT;
}

// A short text with at least SHORT_TEXT bytes that may be read: where it is, or as a copy.
inline const char* withReadableEnd(const TextSource& source, char (&copy)[SHORT_TEXT + 1]) {
    if (source.isReadable(SHORT_TEXT)) return source.szText.data();
    std::memset(copy, 0, sizeof copy);
    copyShort(copy, source.szText.data(), source.szText.size());
    return copy;
}

}  // namespace vdx
