// The codecs' inner loops for x86 processors with AVX2: 32 characters at a time.
//
// Each half of a register works on a run of its own (halves are loaded apart where the runs do not
// follow each other), so that the shuffles, which do not cross halves, are those of the 16-byte loops.
#if defined(__x86_64__) || defined(__i386__)

#include <immintrin.h>

#include <bit>

#include "text/codec_kernels.h"
#include "text/codec_shuffles.h"
#include "text/codec_tables.h"

// Code for the newer processor stands beside code for any: each function names what it needs.
#define VDX_TARGET __attribute__((target("avx2")))

namespace vdx {

namespace {

VDX_TARGET inline __m128i loadHalf(const void* p) {
    return _mm_loadu_si128(static_cast<const __m128i*>(p));
}
VDX_TARGET inline __m256i load(const void* p) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(p));
}
VDX_TARGET inline __m256i load(const void* pLow, const void* pHigh) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(loadHalf(pLow)), loadHalf(pHigh), 1);
}
// The same shuffle for both halves.
VDX_TARGET inline __m256i both(const void* p) {
    return _mm256_broadcastsi128_si256(loadHalf(p));
}
VDX_TARGET inline __m256i both(const byteShuffle& shuffle) {
    return both(shuffle.data());
}
VDX_TARGET inline __m256i all(int n) {
    return _mm256_set1_epi8(static_cast<char>(n));
}
VDX_TARGET inline void store(void* p, __m256i v) {
    _mm256_storeu_si256(static_cast<__m256i*>(p), v);
}
VDX_TARGET inline void store(void* pLow, void* pHigh, __m256i v) {
    _mm_storeu_si128(static_cast<__m128i*>(pLow), _mm256_castsi256_si128(v));
    _mm_storeu_si128(static_cast<__m128i*>(pHigh), _mm256_extracti128_si256(v, 1));
}

struct digitPair {
    __m256i high, low;
};

// The digits of 32 bytes.
VDX_TARGET inline digitPair toDigits(__m256i bytes) {
    const __m256i digits = both(s_strBase16Digits.data());
    const __m256i high = _mm256_and_si256(_mm256_srli_epi16(bytes, 4), all(15));
    return {_mm256_shuffle_epi8(digits, high), _mm256_shuffle_epi8(digits, _mm256_and_si256(bytes, all(15)))};
}

// The values of 32 hexadecimal digits; above 15 for a character that is none. '0' to '9' come out of
// the first line as 0 to 9 and all others above 15, letters out of the second as 10 to 15.
VDX_TARGET inline __m256i toValues(__m256i text) {
    const __m256i decimal =
        _mm256_sub_epi8(_mm256_subs_epu8(_mm256_add_epi8(text, all(0xFF - '9')), all(6)), all(0xF0));
    const __m256i letter =
        _mm256_adds_epu8(_mm256_sub_epi8(_mm256_and_si256(text, all(0xDF)), all('A')), all(10));
    return _mm256_min_epu8(decimal, letter);
}

// One bit for each character that is no digit, from the values.
VDX_TARGET inline unsigned foreignBits(__m256i values) {
    return static_cast<unsigned>(_mm256_movemask_epi8(_mm256_adds_epu8(values, all(127 - 15))));
}

// In each half: 32 values in a row to 16 bytes.
VDX_TARGET inline __m256i joinValues(__m256i first, __m256i second) {
    const __m256i weights = _mm256_set1_epi16(0x0110);
    return _mm256_packus_epi16(_mm256_maddubs_epi16(first, weights), _mm256_maddubs_epi16(second, weights));
}

VDX_TARGET void encodeBase16(const std::uint8_t* pIn, std::size_t n, char* pOut) {
    for (; n >= 32; n -= 32, pIn += 32, pOut += 64) {
        const digitPair digits = toDigits(load(pIn));
        const __m256i even = _mm256_unpacklo_epi8(digits.high, digits.low);
        const __m256i odd = _mm256_unpackhi_epi8(digits.high, digits.low);
        store(pOut, _mm256_permute2x128_si256(even, odd, 0x20));
        store(pOut + 32, _mm256_permute2x128_si256(even, odd, 0x31));
    }
    ssse3CodecKernels.encodeBase16(pIn, n, pOut);
}

VDX_TARGET void encodeSpaced(const std::uint8_t* pIn, std::size_t n, char* pOut) {
    for (; n >= 32; n -= 32, pIn += 32, pOut += 96) {
        const digitPair digits = toDigits(load(pIn));
        for (std::size_t i = 0; i < 3; ++i) {
            const __m256i high = _mm256_shuffle_epi8(digits.high, both(s_spreadHigh[i]));
            const __m256i low = _mm256_shuffle_epi8(digits.low, both(s_spreadLow[i]));
            const __m256i text = _mm256_or_si256(_mm256_or_si256(high, low), both(s_spreadSpace[i]));
            store(pOut + 16 * i, pOut + 48 + 16 * i, text);
        }
    }
    ssse3CodecKernels.encodeSpaced(pIn, n, pOut);
}

VDX_TARGET void encodeBase64(const std::uint8_t* pIn, std::size_t n, char* pOut) {
    for (; n >= 28; n -= 24, pIn += 24, pOut += 32) {
        const __m256i in = _mm256_shuffle_epi8(load(pIn, pIn + 12), both(s_base64Spread));
        const __m256i odd = _mm256_mulhi_epu16(_mm256_and_si256(in, _mm256_set1_epi32(0x0FC0FC00)),
                                               _mm256_set1_epi32(0x04000040));
        const __m256i even = _mm256_mullo_epi16(_mm256_and_si256(in, _mm256_set1_epi32(0x003F03F0)),
                                                _mm256_set1_epi32(0x01000010));
        const __m256i values = _mm256_or_si256(odd, even);
        const __m256i isUpper = _mm256_cmpgt_epi8(all(26), values);
        const __m256i kind =
            _mm256_or_si256(_mm256_subs_epu8(values, all(51)), _mm256_and_si256(isUpper, all(13)));
        store(pOut, _mm256_add_epi8(values, _mm256_shuffle_epi8(both(s_base64Offsets), kind)));
    }
    ssse3CodecKernels.encodeBase64(pIn, n, pOut);
}

VDX_TARGET std::size_t decodeBase16(const char* pText, std::size_t n, std::uint8_t* pOut) {
    std::size_t i = 0;
    for (; n - i >= 64; i += 64, pOut += 32) {
        const __m256i first = toValues(load(pText + i, pText + i + 32));
        const __m256i second = toValues(load(pText + i + 16, pText + i + 48));
        if (foreignBits(_mm256_max_epu8(first, second)) != 0) break;
        store(pOut, joinValues(first, second));
    }
    return i + ssse3CodecKernels.decodeBase16(pText + i, n - i, pOut);
}

// The bits of the separators in vector i of three, in both halves.
constexpr unsigned spacedForeign(unsigned i) {
    const auto nDigits = static_cast<unsigned>(s_nSpacedDigits >> 16 * i & 0xFFFFu);
    return ~(nDigits | nDigits << 16);
}

VDX_TARGET std::size_t decodeSpaced(const char* pText, std::size_t n, std::uint8_t* pOut) {
    std::size_t i = 0;
    for (; n - i >= 96; i += 96, pOut += 32) {
        const char* p = pText + i;
        const __m256i v0 = toValues(load(p, p + 48));
        const __m256i v1 = toValues(load(p + 16, p + 64));
        const __m256i v2 = toValues(load(p + 32, p + 80));
        const unsigned nWrong = (foreignBits(v0) ^ spacedForeign(0)) | (foreignBits(v1) ^ spacedForeign(1)) |
                                (foreignBits(v2) ^ spacedForeign(2));
        if (nWrong != 0) break;
        const __m256i first = _mm256_or_si256(_mm256_shuffle_epi8(v0, both(s_gather00)),
                                              _mm256_shuffle_epi8(v1, both(s_gather01)));
        const __m256i second = _mm256_or_si256(_mm256_shuffle_epi8(v1, both(s_gather11)),
                                               _mm256_shuffle_epi8(v2, both(s_gather12)));
        store(pOut, joinValues(first, second));
    }
    return i + ssse3CodecKernels.decodeSpaced(pText + i, n - i, pOut);
}

VDX_TARGET std::size_t decodeBase64(const char* pText, std::size_t n, std::uint8_t* pOut) {
    std::size_t i = 0;
    for (; n - i >= 32; i += 32, pOut += 24) {
        const __m256i text = load(pText + i);
        const __m256i high = _mm256_and_si256(_mm256_srli_epi32(text, 4), all(0x2F));
        const __m256i low = _mm256_and_si256(text, all(0x2F));
        const __m256i foreign = _mm256_and_si256(_mm256_shuffle_epi8(both(s_base64ByHigh), high),
                                                 _mm256_shuffle_epi8(both(s_base64ByLow), low));
        const __m256i offset = _mm256_add_epi8(_mm256_cmpeq_epi8(text, all('/')), high);
        const __m256i values = _mm256_add_epi8(text, _mm256_shuffle_epi8(both(s_base64Values16), offset));
        const __m256i pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi32(0x01400140));
        const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
        const __m256i bytes = _mm256_shuffle_epi8(groups, both(s_base64Pack));
        store(pOut, _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7)));
        const auto nClean = static_cast<unsigned>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(foreign, all(0))));
        if (nClean != ~0u) return i + static_cast<std::size_t>(std::countr_one(nClean)) / 4 * 4;
    }
    return i + ssse3CodecKernels.decodeBase64(pText + i, n - i, pOut);
}

}  // namespace

const codecKernels avx2CodecKernels = {"AVX2",       encodeBase16, encodeSpaced, encodeBase64,
                                       decodeBase16, decodeSpaced, decodeBase64};

}  // namespace vdx

#endif
