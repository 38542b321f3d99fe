// The codecs' inner loops for 64-bit ARM processors: 16 characters at a time.
#if defined(__aarch64__)

#include <arm_neon.h>

#include <bit>

#include "text/codec_kernels.h"
#include "text/codec_portable.h"
#include "text/codec_shuffles.h"
#include "text/codec_tables.h"

namespace vdx {

namespace {

inline uint8x16_t load(const void* p) {
    return vld1q_u8(static_cast<const std::uint8_t*>(p));
}
inline void store(void* p, uint8x16_t v) {
    vst1q_u8(static_cast<std::uint8_t*>(p), v);
}
inline uint8x16_t all(int n) {
    return vdupq_n_u8(static_cast<std::uint8_t>(n));
}

// The 64 characters of base-64, in the four registers that one look-up takes.
inline uint8x16x4_t base64Digits() {
    uint8x16x4_t digits;
    for (std::size_t i = 0; i < 4; ++i)
        digits.val[i] = load(s_strBase64Digits.data() + 16 * i);
    return digits;
}

inline uint8x16_t highDigits(uint8x16_t bytes) {
    return vqtbl1q_u8(load(s_strBase16Digits.data()), vshrq_n_u8(bytes, 4));
}
inline uint8x16_t lowDigits(uint8x16_t bytes) {
    return vqtbl1q_u8(load(s_strBase16Digits.data()), vandq_u8(bytes, all(15)));
}

// The values of 16 hexadecimal digits; above 15 for a character that is none.
inline uint8x16_t toValues(uint8x16_t text) {
    const uint8x16_t decimal = vsubq_u8(text, all('0'));
    const uint8x16_t letter = vsubq_u8(vandq_u8(text, all(0xDF)), all('A'));
    const uint8x16_t isDecimal = vcltq_u8(decimal, all(10));
    const uint8x16_t isLetter = vcltq_u8(letter, all(6));
    const uint8x16_t letterValue = vbslq_u8(isLetter, vaddq_u8(letter, all(10)), all(s_nForeign));
    return vbslq_u8(isDecimal, decimal, letterValue);
}

inline bool isClean(uint8x16_t values) {
    return vmaxvq_u8(values) <= 15;
}

void encodeBase16(const std::uint8_t* pIn, std::size_t n, char* pOut) {
    for (; n >= 16; n -= 16, pIn += 16, pOut += 32) {
        const uint8x16_t bytes = load(pIn);
        const uint8x16x2_t digits = {{highDigits(bytes), lowDigits(bytes)}};
        vst2q_u8(reinterpret_cast<std::uint8_t*>(pOut), digits);
    }
    portableEncodeBase16(pIn, n, pOut);
}

void encodeSpaced(const std::uint8_t* pIn, std::size_t n, char* pOut) {
    for (; n >= 16; n -= 16, pIn += 16, pOut += 48) {
        const uint8x16_t bytes = load(pIn);
        const uint8x16x3_t digits = {{highDigits(bytes), lowDigits(bytes), all(' ')}};
        vst3q_u8(reinterpret_cast<std::uint8_t*>(pOut), digits);
    }
    portableEncodeSpaced(pIn, n, pOut);
}

void encodeBase64(const std::uint8_t* pIn, std::size_t n, char* pOut) {
    const uint8x16x4_t digits = base64Digits();
    for (; n >= 48; n -= 48, pIn += 48, pOut += 64) {
        const uint8x16x3_t in = vld3q_u8(pIn);
        const uint8x16_t second = vorrq_u8(vshlq_n_u8(in.val[0], 4), vshrq_n_u8(in.val[1], 4));
        const uint8x16_t third = vorrq_u8(vshlq_n_u8(in.val[1], 2), vshrq_n_u8(in.val[2], 6));
        uint8x16x4_t out;
        out.val[0] = vqtbl4q_u8(digits, vshrq_n_u8(in.val[0], 2));
        out.val[1] = vqtbl4q_u8(digits, vandq_u8(second, all(63)));
        out.val[2] = vqtbl4q_u8(digits, vandq_u8(third, all(63)));
        out.val[3] = vqtbl4q_u8(digits, vandq_u8(in.val[2], all(63)));
        vst4q_u8(reinterpret_cast<std::uint8_t*>(pOut), out);
    }
    portableEncodeBase64(pIn, n, pOut);
}

std::size_t decodeBase16(const char* pText, std::size_t n, std::uint8_t* pOut) {
    std::size_t i = 0;
    for (; n - i >= 32; i += 32, pOut += 16) {
        const uint8x16x2_t text = vld2q_u8(reinterpret_cast<const std::uint8_t*>(pText + i));
        const uint8x16_t high = toValues(text.val[0]);
        const uint8x16_t low = toValues(text.val[1]);
        if (!isClean(vmaxq_u8(high, low))) break;
        store(pOut, vorrq_u8(vshlq_n_u8(high, 4), low));
    }
    return i + portableDecodeBase16(pText + i, n - i, pOut);
}

std::size_t decodeSpaced(const char* pText, std::size_t n, std::uint8_t* pOut) {
    std::size_t i = 0;
    for (; n - i >= 48; i += 48, pOut += 16) {
        const uint8x16x3_t text = vld3q_u8(reinterpret_cast<const std::uint8_t*>(pText + i));
        const uint8x16_t high = toValues(text.val[0]);
        const uint8x16_t low = toValues(text.val[1]);
        const bool bSeparated = vminvq_u8(toValues(text.val[2])) > 15;
        if (!bSeparated || !isClean(vmaxq_u8(high, low))) break;
        store(pOut, vorrq_u8(vshlq_n_u8(high, 4), low));
    }
    return i + portableDecodeSpaced(pText + i, n - i, pOut);
}

// One bit in 4 for each character that belongs to the alphabet.
inline std::uint64_t cleanBits(uint8x16_t foreign) {
    const uint8x16_t isClean = vceqq_u8(foreign, all(0));
    const uint8x8_t nibbles = vshrn_n_u16(vreinterpretq_u16_u8(isClean), 4);
    return vget_lane_u64(vreinterpret_u64_u8(nibbles), 0);
}

std::size_t decodeBase64(const char* pText, std::size_t n, std::uint8_t* pOut) {
    std::size_t i = 0;
    for (; n - i >= 16; i += 16, pOut += 12) {
        const uint8x16_t text = load(pText + i);
        const uint8x16_t high = vshrq_n_u8(text, 4);
        const uint8x16_t foreign = vandq_u8(vqtbl1q_u8(load(s_base64ByHigh.data()), high),
                                            vqtbl1q_u8(load(s_base64ByLow.data()), vandq_u8(text, all(15))));
        const uint8x16_t offset = vaddq_u8(vceqq_u8(text, all('/')), high);
        const uint8x16_t values = vaddq_u8(text, vqtbl1q_u8(load(s_base64Values16.data()), offset));
        // Values a b c d of 6 bits to 24 bits in the low part of each word: first pairs, then groups.
        const uint16x8_t pairWords = vreinterpretq_u16_u8(values);
        const uint16x8_t pairs =
            vorrq_u16(vshlq_n_u16(vandq_u16(pairWords, vdupq_n_u16(0x3F)), 6), vshrq_n_u16(pairWords, 8));
        const uint32x4_t groupWords = vreinterpretq_u32_u16(pairs);
        const uint32x4_t groups = vorrq_u32(vshlq_n_u32(vandq_u32(groupWords, vdupq_n_u32(0xFFFF)), 12),
                                            vshrq_n_u32(groupWords, 16));
        store(pOut, vqtbl1q_u8(vreinterpretq_u8_u32(groups), load(s_base64Pack.data())));
        const std::uint64_t nClean = cleanBits(foreign);
        if (nClean != ~std::uint64_t{0})
            return i + static_cast<std::size_t>(std::countr_one(nClean)) / 16 * 4;
    }
    return i + portableDecodeBase64(pText + i, n - i, pOut);
}

}  // namespace

const codecKernels neonCodecKernels = {"NEON",       encodeBase16, encodeSpaced, encodeBase64,
                                       decodeBase16, decodeSpaced, decodeBase64};

}  // namespace vdx

#endif
