// Comparing two wide texts.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

namespace vdx {

// The difference of the units at the first place where they differ or end both texts,
// of those at nLast if there is no such place before it. Reads no unit behind that place
// but what lies in the same page.
using wideComparison = int (*)(const wchar_t* szLeft, const wchar_t* szRight, std::size_t nLast) noexcept;

int compareWidePortable(const wchar_t* szLeft, const wchar_t* szRight, std::size_t nLast) noexcept;

#if defined(__x86_64__)
int compareWideAvx2(const wchar_t* szLeft, const wchar_t* szRight, std::size_t nLast) noexcept;
#endif

// All of them that this processor runs, the best last.
std::span<const wideComparison> getAllWideComparisons();

// The best of them; before the first call, one that finds it.
extern std::atomic<wideComparison> g_pCompareWide;

inline int compareWide(const wchar_t* szLeft, const wchar_t* szRight, std::size_t nLast) noexcept {
    return g_pCompareWide.load(std::memory_order_relaxed)(szLeft, szRight, nLast);
}

// As unsigned numbers, so that it wraps instead of overflowing.
inline int wideDifference(wchar_t left, wchar_t right) {
    return static_cast<int>(static_cast<std::uint32_t>(left) - static_cast<std::uint32_t>(right));
}

}  // namespace vdx
