// Copying while escaping, sixteen bytes at a time where every processor of the kind can.
#include "xml/entities.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "xml/names.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

namespace vdx {

namespace {

// Copies sixteen bytes and gives the position of the first that needs escaping,
// or 16. Of the five, & and ' (0x26, 0x27), and < and > (0x3C, 0x3E), differ in one
// bit each.
#if defined(__SSE2__)

#define VDX_ESCAPE_BLOCKS 1
unsigned int copyBlock(const char* pFrom, char* pTo) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pFrom));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(pTo), bytes);
    const __m128i quote = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('"'));
    const __m128i ampersand = _mm_cmpeq_epi8(_mm_or_si128(bytes, _mm_set1_epi8(1)), _mm_set1_epi8('\''));
    const __m128i angle = _mm_cmpeq_epi8(_mm_or_si128(bytes, _mm_set1_epi8(2)), _mm_set1_epi8('>'));
    const int nMask = _mm_movemask_epi8(_mm_or_si128(quote, _mm_or_si128(ampersand, angle)));
    return static_cast<unsigned int>(__builtin_ctz(static_cast<unsigned int>(nMask) | 0x10000U));
}

#elif defined(__aarch64__)

#define VDX_ESCAPE_BLOCKS 1
unsigned int copyBlock(const char* pFrom, char* pTo) {
    const uint8x16_t bytes = vld1q_u8(reinterpret_cast<const std::uint8_t*>(pFrom));
    vst1q_u8(reinterpret_cast<std::uint8_t*>(pTo), bytes);
    const uint8x16_t quote = vceqq_u8(bytes, vdupq_n_u8('"'));
    const uint8x16_t ampersand = vceqq_u8(vorrq_u8(bytes, vdupq_n_u8(1)), vdupq_n_u8('\''));
    const uint8x16_t angle = vceqq_u8(vorrq_u8(bytes, vdupq_n_u8(2)), vdupq_n_u8('>'));
    const uint8x16_t found = vorrq_u8(quote, vorrq_u8(ampersand, angle));
    // Four bits for each byte.
    const std::uint64_t nMask =
        vget_lane_u64(vreinterpret_u64_u8(vshrn_n_u16(vreinterpretq_u16_u8(found), 4)), 0);
    return nMask ? static_cast<unsigned int>(__builtin_ctzll(nMask)) / 4 : 16;
}

#endif

#ifdef VDX_ESCAPE_BLOCKS
// The position of the first byte of a word that needs escaping, or the word's size.
// Taking 1 from each byte borrows into the high bit of those that are 0: from the first
// on, which is all that counts.
template <class Word>
std::size_t firstEscape(std::uint64_t nWord) {
    constexpr std::uint64_t ONES = std::numeric_limits<Word>::max() / 0xFFU;
    const auto zeros = [](std::uint64_t n) { return (n - ONES) & ~n & (ONES * 0x80); };
    const std::uint64_t nFound = zeros(nWord ^ ONES * '"') | zeros((nWord | ONES) ^ ONES * '\'') |
                                 zeros((nWord | ONES * 2) ^ ONES * '>');
    return nFound ? static_cast<std::size_t>(__builtin_ctzll(nFound)) / 8 : sizeof(Word);
}

// The same for a text of one to two words, as its first and its last one.
template <class Word>
std::size_t copyTwoWords(const char* pFrom, std::size_t nSize, char* pTo) {
    const std::size_t nLast = nSize - sizeof(Word);
    const auto nFirstWord = loadWord<Word>(pFrom);
    const auto nLastWord = loadWord<Word>(pFrom + nLast);
    std::memcpy(pTo, &nFirstWord, sizeof(Word));
    std::memcpy(pTo + nLast, &nLastWord, sizeof(Word));
    const std::size_t nPlain = firstEscape<Word>(nFirstWord);
    return nPlain < sizeof(Word) ? nPlain : nLast + firstEscape<Word>(nLastWord);
}

// The same for the last bytes of a text, of which there are fewer.
std::size_t copyLast(const char* pFrom, std::size_t nSize, const char* pReadableEnd, char* pTo) {
    if (pReadableEnd - pFrom >= 16) return std::min<std::size_t>(copyBlock(pFrom, pTo), nSize);
    if (nSize >= 8) return copyTwoWords<std::uint64_t>(pFrom, nSize, pTo);
    if (nSize >= 4) return copyTwoWords<std::uint32_t>(pFrom, nSize, pTo);
    if (nSize >= 2) return copyTwoWords<std::uint16_t>(pFrom, nSize, pTo);
    return copyTwoWords<std::uint8_t>(pFrom, nSize, pTo);
}
#endif

}  // namespace

void copyEscaped(const char*& pFrom, const char* pFromEnd, [[maybe_unused]] const char* pReadableEnd,
                 char*& pTo, const char* pToEnd) {
#ifdef VDX_ESCAPE_BLOCKS
    const char* p = pFrom;
    char* pOut = pTo;
    while (p != pFromEnd && pToEnd - pOut >= ESCAPE_ROOM) {
        const auto nLeft = static_cast<std::size_t>(pFromEnd - p);
        std::size_t nSize = 16;
        std::size_t nPlain = 0;
        if (nLeft >= 16) {
            nPlain = copyBlock(p, pOut);
            // Going on by a known size does not wait for the answer.
            if (nPlain == 16) {
                p += 16;
                pOut += 16;
                continue;
            }
        } else {
            nSize = nLeft;
            nPlain = copyLast(p, nSize, pReadableEnd, pOut);
        }
        p += nPlain;
        pOut += nPlain;
        if (nPlain != nSize) pOut = putEscaped(pOut, *p++);
    }
    pFrom = p;
    pTo = pOut;
#else
    copyEscapedPortable(pFrom, pFromEnd, pTo, pToEnd);
#endif
}

}  // namespace vdx
