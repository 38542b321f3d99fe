// Carrying of a part into its whole: microseconds into seconds, milliseconds into days.
#pragma once

#include <cstdint>

namespace vdx {

// 32-bit arithmetic that wraps.
inline std::int32_t wrapAdd(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}
inline std::int32_t wrapSub(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}
inline std::int32_t wrapMul(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

// One step, so that the part lies in [0, nUnit). Kept: an exact negative multiple
// of the unit ends as a part equal to the unit and a whole one too small.
inline void normalise(std::int32_t& nWhole, std::int32_t& nPart, std::int32_t nUnit) {
    if (nPart >= nUnit) {
        nWhole = wrapAdd(nWhole, nPart / nUnit);
        nPart %= nUnit;
    } else if (nPart < 0) {
        const std::int32_t nQuotient = nPart / nUnit;
        nWhole = wrapAdd(nWhole, nQuotient - 1);
        nPart = nPart - nQuotient * nUnit + nUnit;
    }
}

}  // namespace vdx
