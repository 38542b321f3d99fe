// How far two wide texts agree, eight units at a time.
//
// Where a text ends is not known before it is read, so a register may be filled from
// behind the end. Memory can be touched or not by whole pages: a load that stays in the
// page of a unit that is known to be there never fails. Loads that would cross into the
// next page are replaced by steps of one unit.
#if defined(__x86_64__)

#include <immintrin.h>

#include <algorithm>
#include <bit>
#include <cstdint>

#include "text/wide_compare.h"

#define VDX_TARGET __attribute__((target("avx2,bmi")))

namespace vdx {

namespace {

constexpr std::size_t PAGE = 4096;  // The smallest there is.
constexpr std::size_t UNITS = sizeof(__m256i) / sizeof(wchar_t);
constexpr std::size_t BLOCK = 4 * UNITS;

// How many units can be loaded at the place without leaving its page.
std::size_t unitsInPage(const wchar_t* p) {
    return (PAGE - reinterpret_cast<std::uintptr_t>(p) % PAGE) / sizeof(wchar_t);
}

// Zero in each unit that ends the left text or differs.
VDX_TARGET inline __m256i agreement(const wchar_t* pLeft, const wchar_t* pRight) {
    const __m256i left = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pLeft));
    const __m256i right = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pRight));
    return _mm256_and_si256(left, _mm256_cmpeq_epi32(left, right));
}

// A bit for each zero unit.
VDX_TARGET inline unsigned zeroUnits(__m256i units) {
    const __m256i zeros = _mm256_cmpeq_epi32(units, _mm256_setzero_si256());
    return static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(zeros)));
}

VDX_TARGET inline bool blockAgrees(const wchar_t* pLeft, const wchar_t* pRight) {
    const __m256i first =
        _mm256_min_epu32(agreement(pLeft, pRight), agreement(pLeft + UNITS, pRight + UNITS));
    const __m256i second = _mm256_min_epu32(agreement(pLeft + 2 * UNITS, pRight + 2 * UNITS),
                                            agreement(pLeft + 3 * UNITS, pRight + 3 * UNITS));
    return zeroUnits(_mm256_min_epu32(first, second)) == 0;
}

}  // namespace

VDX_TARGET std::size_t wideAgreementAvx2(const wchar_t* szLeft, const wchar_t* szRight, std::size_t nLast) {
    std::size_t i = 0;
    if (std::min(unitsInPage(szLeft), unitsInPage(szRight)) >= UNITS) {
        const unsigned stops = zeroUnits(agreement(szLeft, szRight));
        if (stops != 0) return std::min(nLast, static_cast<std::size_t>(std::countr_zero(stops)));
        // On to where the left text is aligned; some units are compared once more.
        i = UNITS - reinterpret_cast<std::uintptr_t>(szLeft) % sizeof(__m256i) / sizeof(wchar_t);
    }
    while (i < nLast) {
        std::size_t nSafe = std::min(unitsInPage(szLeft + i), unitsInPage(szRight + i));
        if (nSafe < UNITS) {
            if (szLeft[i] == 0 || szLeft[i] != szRight[i]) return i;
            ++i;
            continue;
        }
        for (; nSafe >= BLOCK && i < nLast && blockAgrees(szLeft + i, szRight + i); nSafe -= BLOCK)
            i += BLOCK;
        for (; nSafe >= UNITS && i < nLast; nSafe -= UNITS) {
            const unsigned stops = zeroUnits(agreement(szLeft + i, szRight + i));
            if (stops != 0) return std::min(nLast, i + static_cast<std::size_t>(std::countr_zero(stops)));
            i += UNITS;
        }
    }
    return nLast;
}

}  // namespace vdx

#endif
