// The inner loops of the wide-string functions for x86 processors with AVX2: eight units at a time.
//
// Where a text ends is not known before it is read, so a register may be filled from
// behind the end. Memory can be touched or not by whole pages: a load that stays in the
// page of a unit that is known to be there never fails. At the end of a page the last
// register of a comparison is filled from further back, with some units that were
// compared already.
#if defined(__x86_64__)

#include <immintrin.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>

#include "text/wide_kernels.h"

#define VDX_TARGET __attribute__((target("avx2,bmi")))

namespace vdx {

namespace {

constexpr std::size_t PAGE = 4096;  // The smallest there is.
constexpr std::size_t UNITS = sizeof(__m256i) / sizeof(wchar_t);
constexpr std::size_t BLOCK = 4 * UNITS;

std::size_t placeInPage(const wchar_t* p) {
    return reinterpret_cast<std::uintptr_t>(p) % PAGE;
}

// How many units lie between the last place with the alignment of a register and this one.
std::size_t oddUnits(const wchar_t* p) {
    return reinterpret_cast<std::uintptr_t>(p) % sizeof(__m256i) / sizeof(wchar_t);
}

std::size_t firstOf(unsigned units) {
    return static_cast<unsigned>(std::countr_zero(units));
}

VDX_TARGET inline __m256i load(const wchar_t* p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

VDX_TARGET inline void store(wchar_t* p, __m256i units) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), units);
}

// A bit for each zero unit.
VDX_TARGET inline unsigned zeroUnits(__m256i units) {
    const __m256i zeros = _mm256_cmpeq_epi32(units, _mm256_setzero_si256());
    return static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(zeros)));
}

// --- Comparing ------------------------------------------------------------------

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
    __m256i left = load(pLeft);
    // Keeps it in its register: g++ would load it for each of both uses, and loads are
    // what the time goes to.
    asm("" : "+x"(left));
    return _mm256_and_si256(left, _mm256_cmpeq_epi32(left, load(pRight)));
}

// The first unit of a block that ends the left text or differs; BLOCK for none.
VDX_TARGET inline std::size_t findStop(const wchar_t* pLeft, const wchar_t* pRight) {
    const __m256i a = agreement(pLeft, pRight);
    const __m256i b = agreement(pLeft + UNITS, pRight + UNITS);
    const __m256i c = agreement(pLeft + 2 * UNITS, pRight + 2 * UNITS);
    const __m256i d = agreement(pLeft + 3 * UNITS, pRight + 3 * UNITS);
    if (zeroUnits(_mm256_min_epu32(_mm256_min_epu32(a, b), _mm256_min_epu32(c, d))) == 0) return BLOCK;
    if (const unsigned stops = zeroUnits(a)) return firstOf(stops);
    if (const unsigned stops = zeroUnits(b)) return UNITS + firstOf(stops);
    if (const unsigned stops = zeroUnits(c)) return 2 * UNITS + firstOf(stops);
    return 3 * UNITS + firstOf(zeroUnits(d));
}

int differenceAt(const wchar_t* szLeft, const wchar_t* szRight, std::size_t i) {
    return wideDifference(szLeft[i], szRight[i]);
}

// From place i on, all units before which agree.
VDX_TARGET int compareFrom(const wchar_t* szLeft, const wchar_t* szRight, std::size_t i, std::size_t nLast) {
    while (i < nLast) {
        const std::size_t nEnd = i + std::min(unitsInPages(szLeft + i, szRight + i), nLast - i);
        for (; i + BLOCK <= nEnd; i += BLOCK) {
            const std::size_t nStop = findStop(szLeft + i, szRight + i);
            if (nStop < BLOCK) return differenceAt(szLeft, szRight, i + nStop);
        }
        while (i < nEnd) {
            if (nEnd < UNITS) {
                if (szLeft[i] == 0 || szLeft[i] != szRight[i]) return differenceAt(szLeft, szRight, i);
                ++i;
                continue;
            }
            const std::size_t nFrom = std::min(i, nEnd - UNITS);
            const unsigned stops = zeroUnits(agreement(szLeft + nFrom, szRight + nFrom));
            if (stops != 0) return differenceAt(szLeft, szRight, nFrom + firstOf(stops));
            i = nFrom + UNITS;
        }
    }
    return differenceAt(szLeft, szRight, nLast);
}

// Short texts first: a register at a time, each with its answer.
template <bool LIMITED>
VDX_TARGET inline int compareAll(const wchar_t* szLeft, const wchar_t* szRight, std::size_t nLast) {
    if (!isBlockInPages(szLeft, szRight)) return compareFrom(szLeft, szRight, 0, nLast);
    for (std::size_t i = 0; i < BLOCK; i += UNITS) {
        unsigned stops = zeroUnits(agreement(szLeft + i, szRight + i));
        if (LIMITED && nLast - i < UNITS) stops |= 1U << (nLast - i);
        if (stops != 0) return differenceAt(szLeft, szRight, i + firstOf(stops));
    }
    // On from where the left text is aligned; some units are compared once more.
    return compareFrom(szLeft, szRight, BLOCK - oddUnits(szLeft), nLast);
}

VDX_TARGET int compareUpTo(const wchar_t* szLeft, const wchar_t* szRight, std::size_t nLast) noexcept {
    return compareAll<true>(szLeft, szRight, nLast);
}

VDX_TARGET int compare(const wchar_t* szLeft, const wchar_t* szRight) noexcept {
    return compareAll<false>(szLeft, szRight, std::numeric_limits<std::size_t>::max());
}

// --- Copying --------------------------------------------------------------------

// The first and the last part of a copy, which may overlap.
template <std::size_t SIZE>
inline void copyEnds(wchar_t* pTarget, const wchar_t* pSource, std::size_t nUnits) {
    constexpr std::size_t PART = SIZE / sizeof(wchar_t);
    std::memcpy(pTarget, pSource, SIZE);
    std::memcpy(pTarget + nUnits - PART, pSource + nUnits - PART, SIZE);
}

// From 1 to 8 units.
inline void copyFew(wchar_t* pTarget, const wchar_t* pSource, std::size_t nUnits) {
    if (nUnits >= 4) return copyEnds<16>(pTarget, pSource, nUnits);
    if (nUnits >= 2) return copyEnds<8>(pTarget, pSource, nUnits);
    *pTarget = *pSource;
}

VDX_TARGET void copy(wchar_t* pTarget, const wchar_t* szSource) noexcept {
    if (placeInPage(szSource) > PAGE - sizeof(__m256i)) return portableWideKernels.pCopy(pTarget, szSource);
    __m256i units = load(szSource);
    unsigned stops = zeroUnits(units);
    if (stops != 0) return copyFew(pTarget, szSource, firstOf(stops) + 1);
    store(pTarget, units);
    // On where the source is aligned: no load crosses a page any more.
    std::size_t i = UNITS - oddUnits(szSource);
    for (; (stops = zeroUnits(units = load(szSource + i))) == 0; i += UNITS)
        store(pTarget + i, units);
    i += firstOf(stops) + 1 - UNITS;  // The last register ends with the zero.
    store(pTarget + i, load(szSource + i));
}

}  // namespace

constexpr WideKernels avx2WideKernels = {compare, compareUpTo, copy};

}  // namespace vdx

#endif
