// Sixteen bytes looked at together, on processors that can.
#pragma once

#include <cstddef>

#if defined(__SSE2__)
#include <emmintrin.h>
#define VDX_BYTE_BLOCKS 1
#endif

namespace vdx {

#ifdef VDX_BYTE_BLOCKS

// Each question gives a bit for each byte, the lowest for the first.
class ByteBlock {
public:
    static constexpr std::ptrdiff_t SIZE = 16;

    explicit ByteBlock(const char* p) : m_bytes(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))) {}

    void storeTo(char* p) const { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), m_bytes); }

    unsigned int equal(char c) const { return bits(same(m_bytes, c)); }
    unsigned int equalAny(char c1, char c2) const {
        return bits(_mm_or_si128(same(m_bytes, c1), same(m_bytes, c2)));
    }

    // Tab and carriage return differ in one bit, and so do space and quote, < and >.
    unsigned int white() const { return bits(_mm_or_si128(lineWhite(), same(m_bytes, ' '))); }
    unsigned int separators() const {
        const __m128i pairs = _mm_or_si128(m_bytes, _mm_set1_epi8('>' ^ '<'));
        const __m128i marks = _mm_or_si128(same(pairs, '"'), same(pairs, '>'));
        return bits(_mm_or_si128(_mm_or_si128(marks, same(m_bytes, '=')), lineWhite()));
    }

private:
    static __m128i same(__m128i bytes, char c) { return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(c)); }
    static unsigned int bits(__m128i found) { return static_cast<unsigned int>(_mm_movemask_epi8(found)); }
    __m128i lineWhite() const {
        return _mm_or_si128(same(_mm_or_si128(m_bytes, _mm_set1_epi8('\t' ^ '\r')), '\r'),
                            same(m_bytes, '\n'));
    }

    __m128i m_bytes;
};

// The position of the first set bit of an answer that has one.
inline int firstBit(unsigned int nBits) {
    return __builtin_ctz(nBits);
}
// The bits below the first set bit.
inline unsigned int bitsBefore(unsigned int nBits) {
    return (nBits - 1) & ~nBits;
}

#endif

}  // namespace vdx
