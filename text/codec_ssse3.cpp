// The codecs' inner loops for x86 processors with SSSE3: 16 characters at a time.
#if defined(__x86_64__) || defined(__i386__)

#include <immintrin.h>

#include <bit>

#include "text/codec_kernels.h"
#include "text/codec_portable.h"
#include "text/codec_shuffles.h"
#include "text/codec_tables.h"

// Code for the newer processor stands beside code for any: each function names what it needs.
#define VDX_TARGET __attribute__((target("ssse3")))

namespace vdx {

namespace {

VDX_TARGET inline __m128i load(const void* p) {
    return _mm_loadu_si128(static_cast<const __m128i*>(p));
}
VDX_TARGET inline void store(void* p, __m128i v) {
    _mm_storeu_si128(static_cast<__m128i*>(p), v);
}
VDX_TARGET inline __m128i load(const byteShuffle& shuffle) {
    return load(shuffle.data());
}
VDX_TARGET inline __m128i all(int n) {
    return _mm_set1_epi8(static_cast<char>(n));
}

struct digitPair {
    __m128i high, low;
};

// The digits of 16 bytes.
VDX_TARGET inline digitPair toDigits(__m128i bytes) {
    const __m128i digits = load(s_strBase16Digits.data());
    const __m128i high = _mm_and_si128(_mm_srli_epi16(bytes, 4), all(15));
    return {_mm_shuffle_epi8(digits, high), _mm_shuffle_epi8(digits, _mm_and_si128(bytes, all(15)))};
}

// The values of 16 hexadecimal digits; above 15 for a character that is none. '0' to '9' come out of
// the first line as 0 to 9 and all others above 15, letters out of the second as 10 to 15.
VDX_TARGET inline __m128i toValues(__m128i text) {
    const __m128i decimal =
        _mm_sub_epi8(_mm_subs_epu8(_mm_add_epi8(text, all(0xFF - '9')), all(6)), all(0xF0));
    const __m128i letter = _mm_adds_epu8(_mm_sub_epi8(_mm_and_si128(text, all(0xDF)), all('A')), all(10));
    return _mm_min_epu8(decimal, letter);
}

// One bit for each character that is no digit, from the values.
VDX_TARGET inline unsigned foreignBits(__m128i values) {
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_adds_epu8(values, all(127 - 15))));
}

// 32 values in a row to 16 bytes.
VDX_TARGET inline __m128i joinValues(__m128i first, __m128i second) {
    const __m128i weights = _mm_set1_epi16(0x0110);
    return _mm_packus_epi16(_mm_maddubs_epi16(first, weights), _mm_maddubs_epi16(second, weights));
}

VDX_TARGET void encodeBase16(const std::uint8_t* pIn, std::size_t n, char* pOut) {
    for (; n >= 16; n -= 16, pIn += 16, pOut += 32) {
        const digitPair digits = toDigits(load(pIn));
        store(pOut, _mm_unpacklo_epi8(digits.high, digits.low));
        store(pOut + 16, _mm_unpackhi_epi8(digits.high, digits.low));
    }
    portableEncodeBase16(pIn, n, pOut);
}

VDX_TARGET void encodeSpaced(const std::uint8_t* pIn, std::size_t n, char* pOut) {
    for (; n >= 16; n -= 16, pIn += 16, pOut += 48) {
        const digitPair digits = toDigits(load(pIn));
        for (std::size_t i = 0; i < 3; ++i) {
            const __m128i high = _mm_shuffle_epi8(digits.high, load(s_spreadHigh[i]));
            const __m128i low = _mm_shuffle_epi8(digits.low, load(s_spreadLow[i]));
            store(pOut + 16 * i, _mm_or_si128(_mm_or_si128(high, low), load(s_spreadSpace[i])));
        }
    }
    portableEncodeSpaced(pIn, n, pOut);
}

VDX_TARGET void encodeBase64(const std::uint8_t* pIn, std::size_t n, char* pOut) {
    for (; n >= 16; n -= 12, pIn += 12, pOut += 16) {
        const __m128i in = _mm_shuffle_epi8(load(pIn), load(s_base64Spread));
        const __m128i odd =
            _mm_mulhi_epu16(_mm_and_si128(in, _mm_set1_epi32(0x0FC0FC00)), _mm_set1_epi32(0x04000040));
        const __m128i even =
            _mm_mullo_epi16(_mm_and_si128(in, _mm_set1_epi32(0x003F03F0)), _mm_set1_epi32(0x01000010));
        const __m128i values = _mm_or_si128(odd, even);
        const __m128i isUpper = _mm_cmpgt_epi8(all(26), values);
        const __m128i kind = _mm_or_si128(_mm_subs_epu8(values, all(51)), _mm_and_si128(isUpper, all(13)));
        store(pOut, _mm_add_epi8(values, _mm_shuffle_epi8(load(s_base64Offsets), kind)));
    }
    portableEncodeBase64(pIn, n, pOut);
}

VDX_TARGET std::size_t decodeBase16(const char* pText, std::size_t n, std::uint8_t* pOut) {
    std::size_t i = 0;
    for (; n - i >= 32; i += 32, pOut += 16) {
        const __m128i first = toValues(load(pText + i));
        const __m128i second = toValues(load(pText + i + 16));
        if (foreignBits(_mm_max_epu8(first, second)) != 0) break;
        store(pOut, joinValues(first, second));
    }
    if (n - i >= 16) {
        const __m128i values = toValues(load(pText + i));
        if (foreignBits(values) == 0) {
            _mm_storel_epi64(reinterpret_cast<__m128i*>(pOut), joinValues(values, values));
            i += 16;
            pOut += 8;
        }
    }
    return i + portableDecodeBase16(pText + i, n - i, pOut);
}

VDX_TARGET std::size_t decodeSpaced(const char* pText, std::size_t n, std::uint8_t* pOut) {
    std::size_t i = 0;
    for (; n - i >= 48; i += 48, pOut += 16) {
        const __m128i v0 = toValues(load(pText + i));
        const __m128i v1 = toValues(load(pText + i + 16));
        const __m128i v2 = toValues(load(pText + i + 32));
        const std::uint64_t nForeign = std::uint64_t{foreignBits(v0)} | std::uint64_t{foreignBits(v1)} << 16 |
                                       std::uint64_t{foreignBits(v2)} << 32;
        if ((nForeign ^ s_nSpacedDigits) != 0xFFFFFFFFFFFFu) break;
        const __m128i first =
            _mm_or_si128(_mm_shuffle_epi8(v0, load(s_gather00)), _mm_shuffle_epi8(v1, load(s_gather01)));
        const __m128i second =
            _mm_or_si128(_mm_shuffle_epi8(v1, load(s_gather11)), _mm_shuffle_epi8(v2, load(s_gather12)));
        store(pOut, joinValues(first, second));
    }
    return i + portableDecodeSpaced(pText + i, n - i, pOut);
}

VDX_TARGET std::size_t decodeBase64(const char* pText, std::size_t n, std::uint8_t* pOut) {
    std::size_t i = 0;
    for (; n - i >= 16; i += 16, pOut += 12) {
        const __m128i text = load(pText + i);
        const __m128i high = _mm_and_si128(_mm_srli_epi32(text, 4), all(0x2F));
        const __m128i foreign =
            _mm_and_si128(_mm_shuffle_epi8(load(s_base64ByHigh), high),
                          _mm_shuffle_epi8(load(s_base64ByLow), _mm_and_si128(text, all(0x2F))));
        const __m128i isSlash = _mm_cmpeq_epi8(text, all('/'));
        const __m128i values =
            _mm_add_epi8(text, _mm_shuffle_epi8(load(s_base64Values16), _mm_add_epi8(isSlash, high)));
        const __m128i pairs = _mm_maddubs_epi16(values, _mm_set1_epi32(0x01400140));
        const __m128i groups = _mm_madd_epi16(pairs, _mm_set1_epi32(0x00011000));
        store(pOut, _mm_shuffle_epi8(groups, load(s_base64Pack)));
        const auto nClean = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(foreign, all(0))));
        if (nClean != 0xFFFFu) return i + static_cast<std::size_t>(std::countr_one(nClean)) / 4 * 4;
    }
    return i + portableDecodeBase64(pText + i, n - i, pOut);
}

}  // namespace

const codecKernels ssse3CodecKernels = {"SSSE3",      encodeBase16, encodeSpaced, encodeBase64,
                                        decodeBase16, decodeSpaced, decodeBase64};

}  // namespace vdx

#endif
