// The search for the end of an attribute value.
#include "xml/scan.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace vdx {

const char* findQuotePortable(const char* p, const char* pEnd, char cQuote, bool& bAmpersand) {
    const char* pClose = findByte(p, pEnd, cQuote);
    bAmpersand = pClose && findByte(p, pClose, '&');
    return pClose;
}

// Most values are short: looking for both bytes at once saves two calls.
const char* findQuote(const char* p, const char* pEnd, char cQuote, bool& bAmpersand) {
#if defined(__SSE2__)
    unsigned int nAmpersands = 0;
    for (; pEnd - p >= 16; p += 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const auto nQuotes =
            static_cast<unsigned int>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(cQuote))));
        const auto nFound =
            static_cast<unsigned int>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('&'))));
        if (nQuotes) {
            // Only the ampersands below the lowest quote count.
            bAmpersand = (nAmpersands | (nFound & (nQuotes - 1) & ~nQuotes)) != 0;
            return p + __builtin_ctz(nQuotes);
        }
        nAmpersands |= nFound;
    }
    const char* pClose = findQuotePortable(p, pEnd, cQuote, bAmpersand);
    bAmpersand = bAmpersand || nAmpersands != 0;
    return pClose;
#else
    return findQuotePortable(p, pEnd, cQuote, bAmpersand);
#endif
}

}  // namespace vdx
