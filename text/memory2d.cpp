// Copying rectangles between two-dimensional areas of memory.
#include <vdx/memory2d.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>

namespace {

// A stretch along one axis, in both surfaces. 64 bits hold every sum of two ints.
struct Stretch {
    std::int64_t nTarget;
    std::int64_t nSource;
    std::int64_t nLength;

    bool clip(int nTargetSize, int nSourceSize) {
        const std::int64_t nBefore = std::max<std::int64_t>({-nTarget, -nSource, 0});
        nTarget += nBefore;
        nSource += nBefore;
        nLength = std::min({nLength - nBefore, nTargetSize - nTarget, nSourceSize - nSource});
        return nLength > 0;
    }
};

}  // namespace

void vdxMemcpy2D(void* pTarget, int nTargetPitch, const void* pSource, int nSourcePitch, int nWidth,
                 int nRows) {
    if (nWidth < 1 || nRows < 1) return;
    auto* pTo = static_cast<unsigned char*>(pTarget);
    const auto* pFrom = static_cast<const unsigned char*>(pSource);
    const auto nBytes = static_cast<std::size_t>(nWidth);
    if (nTargetPitch == nWidth && nSourcePitch == nWidth) {
        std::memmove(pTo, pFrom, nBytes * static_cast<std::size_t>(nRows));
        return;
    }
    std::ptrdiff_t nToStep = nTargetPitch;
    std::ptrdiff_t nFromStep = nSourcePitch;
    // Overlapping rows are read before they are overwritten if the copy begins at the
    // end towards which it moves.
    const bool bTargetAbove = std::less<>{}(static_cast<const void*>(pFrom), static_cast<const void*>(pTo));
    if (bTargetAbove == (nSourcePitch > 0)) {
        pTo += nToStep * (nRows - 1);
        pFrom += nFromStep * (nRows - 1);
        nToStep = -nToStep;
        nFromStep = -nFromStep;
    }
    for (int i = 0; i < nRows; ++i)
        std::memmove(pTo + nToStep * i, pFrom + nFromStep * i, nBytes);
}

bool vdxClipMemcpy2D(void* pTarget, int nTargetPitch, int nTargetWidth, int nTargetRows, int nTargetX,
                     int nTargetY, const void* pSource, int nSourcePitch, int nSourceWidth, int nSourceRows,
                     int nSourceX, int nSourceY, int nWidth, int nRows) {
    Stretch across{nTargetX, nSourceX, nWidth};
    Stretch down{nTargetY, nSourceY, nRows};
    if (!across.clip(nTargetWidth, nSourceWidth) || !down.clip(nTargetRows, nSourceRows)) return false;
    auto* pTo = static_cast<unsigned char*>(pTarget) + down.nTarget * nTargetPitch + across.nTarget;
    const auto* pFrom =
        static_cast<const unsigned char*>(pSource) + down.nSource * nSourcePitch + across.nSource;
    vdxMemcpy2D(pTo, nTargetPitch, pFrom, nSourcePitch, static_cast<int>(across.nLength),
                static_cast<int>(down.nLength));
    return true;
}
