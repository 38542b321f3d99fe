// Comparing two wide texts eight units at a time.
//
// Where a text ends is not known before it is read, so a register may be filled from
// behind the end. Memory can be touched or not by whole pages: a load that stays in the
// page of a unit that is known to be there never fails. At the end of a page the last
// register is filled from further back, with some units that were compared already.
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

std::size_t placeInPage(const wchar_t* p) {
    return reinterpret_cast<std::uintptr_t>(p) % PAGE;
}

// How many units can be loaded at both places without leaving their pages.
std::size_t unitsInPages(const wchar_t* pLeft, const wchar_t* pRight) {
    return (PAGE - std::max(placeInPage(pLeft), placeInPage(pRight))) / sizeof(wchar_t);
}

// The same question for a block; now and then the answer is no without need.
bool isBlockInPages(const wchar_t* pLeft, const wchar_t* pRight) {
    return (placeInPage(pLeft) | placeInPage(pRight)) <= PAGE - BLOCK * sizeof(wchar_t);
}

// Zero in each unit that ends the left text or differs.
VDX_TARGET inline __m256i agreement(const wchar_t* pLeft, const wchar_t* pRight) {
    __m256i left = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pLeft));
    // Keeps it in its register: g++ would load it for each of both uses, and loads are
    // what the time goes to.
    asm("" : "+x"(left));
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

int differenceAt(const wchar_t* szLeft, const wchar_t* szRight, std::size_t i) {
    return wideDifference(szLeft[i], szRight[i]);
}

// From place i on, all units before which agree.
VDX_TARGET int compareFrom(const wchar_t* szLeft, const wchar_t* szRight, std::size_t i, std::size_t nLast) {
    while (i < nLast) {
        const std::size_t nEnd = i + std::min(unitsInPages(szLeft + i, szRight + i), nLast - i);
        while (i + BLOCK <= nEnd && blockAgrees(szLeft + i, szRight + i))
            i += BLOCK;
        while (i < nEnd) {
            if (nEnd < UNITS) {
                if (szLeft[i] == 0 || szLeft[i] != szRight[i]) return differenceAt(szLeft, szRight, i);
                ++i;
                continue;
            }
            const std::size_t nFrom = std::min(i, nEnd - UNITS);
            const unsigned stops = zeroUnits(agreement(szLeft + nFrom, szRight + nFrom));
            if (stops != 0)
                return differenceAt(szLeft, szRight, nFrom + static_cast<unsigned>(std::countr_zero(stops)));
            i = nFrom + UNITS;
        }
    }
    return differenceAt(szLeft, szRight, nLast);
}

}  // namespace

VDX_TARGET int compareWideAvx2(const wchar_t* szLeft, const wchar_t* szRight, std::size_t nLast) noexcept {
    if (!isBlockInPages(szLeft, szRight)) return compareFrom(szLeft, szRight, 0, nLast);
    for (std::size_t i = 0; i < BLOCK; i += UNITS) {
        if (i >= nLast) return differenceAt(szLeft, szRight, nLast);
        const unsigned stops = zeroUnits(agreement(szLeft + i, szRight + i));
        if (stops != 0)
            return differenceAt(szLeft, szRight,
                                std::min(nLast, i + static_cast<unsigned>(std::countr_zero(stops))));
    }
    // On from where the left text is aligned; some units are compared once more.
    const std::size_t nOdd = reinterpret_cast<std::uintptr_t>(szLeft) % sizeof(__m256i) / sizeof(wchar_t);
    return compareFrom(szLeft, szRight, BLOCK - nOdd, nLast);
}

}  // namespace vdx

#endif
