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

// The vector sets take clean text in blocks; without vectors nothing is gained over the caller's loop.
std::size_t decodeNothing(const char*, std::size_t, std::uint8_t*) {
    return 0;
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

const codecKernels portableCodecKernels = {"portable",           portableEncodeBase16, portableEncodeSpaced,
                                           portableEncodeBase64, decodeNothing,        decodeNothing,
                                           decodeNothing};

}  // namespace vdx
