// The inner loops of the wide-string functions.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

namespace vdx {

// One way to do them. The loops read behind the places named here, but never what lies
// in another page, and they write nothing else.
struct WideKernels {
    // The difference of the units at the first place where they differ or end both texts.
    int (*pCompare)(const wchar_t* szLeft, const wchar_t* szRight) noexcept;

    // The same; of those at nLast if there is no such place before it.
    int (*pCompareUpTo)(const wchar_t* szLeft, const wchar_t* szRight, std::size_t nLast) noexcept;

    // Copies all units up to the zero, and that.
    void (*pCopy)(wchar_t* pTarget, const wchar_t* szSource) noexcept;
};

extern const WideKernels portableWideKernels;
#if defined(__x86_64__)
extern const WideKernels avx2WideKernels;
#endif

// All of them that this processor runs, the best last.
std::span<const WideKernels* const> getAllWideKernels();

// The best of them. The names of the C library are called before any constructor runs:
// until ours has, it is the portable one.
extern std::atomic<const WideKernels*> g_pWideKernels;

inline const WideKernels& wideKernels() {
    return *g_pWideKernels.load(std::memory_order_relaxed);
}

// As unsigned numbers, so that it wraps instead of overflowing.
inline int wideDifference(wchar_t left, wchar_t right) {
    return static_cast<int>(static_cast<std::uint32_t>(left) - static_cast<std::uint32_t>(right));
}

}  // namespace vdx
