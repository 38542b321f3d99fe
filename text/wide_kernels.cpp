// The inner loops of the wide-string functions on any processor; and the choice of the best way.
#include "text/wide_kernels.h"

#include <array>
#include <cstring>
#include <cwchar>
#include <limits>

// The vector loops look at whole registers and so behind the end of a text, though never
// into another page. The sanitizers mean to see every such look: they get the plain loops.
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

int compareUpTo(const wchar_t* szLeft, const wchar_t* szRight, std::size_t nLast) noexcept {
    std::size_t i = 0;
    while (i < nLast && szLeft[i] != 0 && szLeft[i] == szRight[i])
        ++i;
    return wideDifference(szLeft[i], szRight[i]);
}

int compare(const wchar_t* szLeft, const wchar_t* szRight) noexcept {
    return compareUpTo(szLeft, szRight, std::numeric_limits<std::size_t>::max());
}

void copy(wchar_t* pTarget, const wchar_t* szSource) noexcept {
    // Short texts are done before two calls would be.
    for (std::size_t i = 0; i < 12; ++i) {
        if ((pTarget[i] = szSource[i]) == 0) return;
    }
    std::memcpy(pTarget, szSource, (std::wcslen(szSource) + 1) * sizeof(wchar_t));
}

bool hasVectors() {
#if defined(VDX_WIDE_VECTORS)
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2");
#else
    return false;
#endif
}

constexpr std::array WAYS = {
    &portableWideKernels,
#if defined(VDX_WIDE_VECTORS)
    &avx2WideKernels,
#endif
};

}  // namespace

constexpr WideKernels portableWideKernels = {compare, compareUpTo, copy};

std::span<const WideKernels* const> getAllWideKernels() {
    return {WAYS.data(), hasVectors() ? WAYS.size() : 1};
}

constinit std::atomic<const WideKernels*> g_pWideKernels{&portableWideKernels};

namespace {

[[maybe_unused]] const bool s_bChosen =
    (g_pWideKernels.store(getAllWideKernels().back(), std::memory_order_relaxed), true);

}  // namespace

}  // namespace vdx
