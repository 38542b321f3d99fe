// The codecs' inner loops in plain C++: the tails of the vector sets, and all of it elsewhere.
#include "text/codec_portable.h"

#include "text/codec_kernels.h"
#include "text/codec_tables.h"

namespace vdx {

namespace {

char base16Digit(unsigned nValue) {
    return s_strBase16Digits[nValue & 15u];
}
char base64Digit(unsigned nValue) {
    return s_strBase64Digits[nValue & 63u];
}

}  // namespace

void portableEncodeBase16(const std::uint8_t* pIn, std::size_t n, char* pOut) {
    for (std::size_t i = 0; i < n; ++i) {
        *pOut++ = base16Digit(pIn[i] >> 4);
        *pOut++ = base16Digit(pIn[i]);
    }
}

void portableEncodeSpaced(const std::uint8_t* pIn, std::size_t n, char* pOut) {
    for (std::size_t i = 0; i < n; ++i) {
        *pOut++ = base16Digit(pIn[i] >> 4);
        *pOut++ = base16Digit(pIn[i]);
        *pOut++ = ' ';
    }
}

void portableEncodeBase64(const std::uint8_t* pIn, std::size_t n, char* pOut) {
    for (; n >= 3; n -= 3, pIn += 3) {
        const unsigned nGroup = unsigned{pIn[0]} << 16 | unsigned{pIn[1]} << 8 | pIn[2];
        *pOut++ = base64Digit(nGroup >> 18);
        *pOut++ = base64Digit(nGroup >> 12);
        *pOut++ = base64Digit(nGroup >> 6);
        *pOut++ = base64Digit(nGroup);
    }
    if (n == 0) return;
    const unsigned nGroup = unsigned{pIn[0]} << 16 | (n == 2 ? unsigned{pIn[1]} << 8 : 0u);
    *pOut++ = base64Digit(nGroup >> 18);
    *pOut++ = base64Digit(nGroup >> 12);
    *pOut++ = n == 2 ? base64Digit(nGroup >> 6) : '=';
    *pOut++ = '=';
}

// In the decoders, s_nForeign shows in the values joined by "or".

std::size_t portableDecodeBase16(const char* pText, std::size_t n, std::uint8_t* pOut) {
    std::size_t i = 0;
    for (; n - i >= 2; i += 2) {
        const unsigned nHigh = base16Value(pText[i]), nLow = base16Value(pText[i + 1]);
        if ((nHigh | nLow) > 15) break;
        *pOut++ = static_cast<std::uint8_t>(nHigh << 4 | nLow);
    }
    return i;
}

std::size_t portableDecodeSpaced(const char* pText, std::size_t n, std::uint8_t* pOut) {
    std::size_t i = 0;
    for (; n - i >= 3; i += 3) {
        const unsigned nHigh = base16Value(pText[i]), nLow = base16Value(pText[i + 1]);
        if ((nHigh | nLow) > 15 || base16Value(pText[i + 2]) != s_nForeign) break;
        *pOut++ = static_cast<std::uint8_t>(nHigh << 4 | nLow);
    }
    return i;
}

std::size_t portableDecodeBase64(const char* pText, std::size_t n, std::uint8_t* pOut) {
    std::size_t i = 0;
    for (; n - i >= 4; i += 4) {
        const unsigned a = base64Value(pText[i]), b = base64Value(pText[i + 1]);
        const unsigned c = base64Value(pText[i + 2]), d = base64Value(pText[i + 3]);
        if ((a | b | c | d) > 63) break;
        *pOut++ = static_cast<std::uint8_t>(a << 2 | b >> 4);
        *pOut++ = static_cast<std::uint8_t>(b << 4 | c >> 2);
        *pOut++ = static_cast<std::uint8_t>(c << 6 | d);
    }
    return i;
}

const codecKernels portableCodecKernels = {"portable",           portableEncodeBase16, portableEncodeSpaced,
                                           portableEncodeBase64, portableDecodeBase16, portableDecodeSpaced,
                                           portableDecodeBase64};

}  // namespace vdx
