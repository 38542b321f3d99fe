// Comparing two wide texts on any processor; and the choice of the best way.
#include "text/wide_compare.h"

#include <array>

// The vector loop looks at whole registers and so behind the end of a text, though never
// into another page. The sanitizers mean to see every such look: they get the plain loop.
#if defined(__x86_64__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define VDX_WIDE_VECTORS 1
#endif
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#undef VDX_WIDE_VECTORS
#endif
#endif

namespace vdx {

namespace {

bool hasVectors() {
#if defined(VDX_WIDE_VECTORS)
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2");
#else
    return false;
#endif
}

constexpr std::array WAYS = {
    compareWidePortable,
#if defined(VDX_WIDE_VECTORS)
    compareWideAvx2,
#endif
};

int chooseFirst(const wchar_t* szLeft, const wchar_t* szRight, std::size_t nLast) noexcept {
    const wideComparison pBest = getAllWideComparisons().back();
    g_pCompareWide.store(pBest, std::memory_order_relaxed);
    return pBest(szLeft, szRight, nLast);
}

}  // namespace

// Set without any constructor: the names of the C library are called before those run.
constinit std::atomic<wideComparison> g_pCompareWide{chooseFirst};

int compareWidePortable(const wchar_t* szLeft, const wchar_t* szRight, std::size_t nLast) noexcept {
    std::size_t i = 0;
    while (i < nLast && szLeft[i] != 0 && szLeft[i] == szRight[i])
        ++i;
    return wideDifference(szLeft[i], szRight[i]);
}

std::span<const wideComparison> getAllWideComparisons() {
    return {WAYS.data(), hasVectors() ? WAYS.size() : 1};
}

}  // namespace vdx
