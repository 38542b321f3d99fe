// The code tables of G.711.
#include <algorithm>
#include <array>
#include <cstddef>

#include <vdx/sample_buffer.h>

namespace {

using vdx_g711::Code;

constexpr int kClip = 32635;  // Greater magnitudes have its code, in A-law too.

// Number of the segment: that of the highest set bit, from bit 7 (0) to bit 14 (7).
constexpr int segmentOf(int nMagnitude) {
    int nSegment = 0;
    for (int n = nMagnitude >> 8; n != 0; n >>= 1)
        ++nSegment;
    return nSegment;
}

// Segment and the four bits after the highest one.
constexpr int codeOf(int nSegment, int nMagnitude) {
    return nSegment << 4 | (nMagnitude >> (nSegment + 3) & 0x0F);
}

constexpr int muLawCode(int nBiased) {
    const int nClipped = std::min(nBiased, kClip + vdx_g711::kBias);
    return codeOf(segmentOf(nClipped), nClipped) ^ 0xFF;
}

constexpr int aLawCode(int nMagnitude) {
    const int nClipped = std::min(nMagnitude, kClip);
    const int nSegment = segmentOf(nClipped);
    return (nSegment == 0 ? nClipped >> 4 : codeOf(nSegment, nClipped)) ^ 0xD5;
}

// The codes of positive samples, then those of negative ones, which differ in the sign bit
// alone.
template <std::size_t nHalf, int nShift, int (*code)(int)>
constexpr std::array<Code, 2 * nHalf> makeTable() {
    std::array<Code, 2 * nHalf> codes{};
    for (std::size_t i = 0; i < nHalf; ++i) {
        const int nCode = code(static_cast<int>(i) << nShift);
        codes[i] = static_cast<Code>(nCode);
        codes[nHalf + i] = static_cast<Code>(nCode ^ 0x80);
    }
    return codes;
}

}  // namespace

namespace vdx_g711 {

constinit const std::array<Code, 2 * kMuLawHalf> muLawCodes = makeTable<kMuLawHalf, kMuLawShift, muLawCode>();
constinit const std::array<Code, 2 * kALawHalf> aLawCodes = makeTable<kALawHalf, kALawShift, aLawCode>();

}  // namespace vdx_g711
