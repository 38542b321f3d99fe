// Growable buffers of audio samples: 16-bit PCM, mu-law and A-law.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include <vdx/export.h>

// Example:
//   uLawSample tone;
//   tone.AllocSampleBuffer(nSamples);
//   for (int i = 0; i < nSamples; ++i)
//       tone.AppendSample(0.5 * std::sin(kTurn * frequency * i / kRate));
//   ...
//   std::fwrite(tone.GetBuffer(), 1, nSamples, pFile) == nSamples;
//
// Samples are given as numbers from -1.0 to 1.0 and stored as x * 32767 without
// its fraction. Nothing is clipped before that: a number outside this range wraps
// around to the low 16 bits; one that is not finite, or 2^63 and more after the
// multiplication, gives 0.
//
// Thread-safety: none; a buffer belongs to one thread at a time.
// Errors: std::length_error where said, std::bad_alloc.

// The conversions, here so that a loop that appends samples needs no call for each.
namespace vdx_g711 {

// A type of its own: unlike a store of unsigned char, one of it cannot change the
// buffer's own pointers.
enum class Code : unsigned char {};

constexpr int kBias = 132;           // What mu-law adds, so that its segments begin at powers of two.
constexpr int kMuLawShift = 3;       // Bits that no segment of mu-law looks at.
constexpr int kALawShift = 4;        // The same of A-law.
constexpr int kTop = 32768 + kBias;  // No magnitude is higher, with the bias or without.

// Codes by magnitude (mu-law: with the bias), first of positive samples, then of negative ones.
constexpr int kMuLawHalf = (kTop >> kMuLawShift) + 1;
constexpr int kALawHalf = (kTop >> kALawShift) + 1;
extern VDX_API const std::array<Code, 2 * kMuLawHalf> muLawCodes;
extern VDX_API const std::array<Code, 2 * kALawHalf> aLawCodes;

// The fraction is cut off and the low 16 bits are kept.
inline short toPcm16(double x) {
    constexpr double kTooBig = 9223372036854775808.0;  // 2^63
    const double scaled = x * 32767.0;
    return std::fabs(scaled) < kTooBig ? static_cast<short>(static_cast<std::int64_t>(scaled)) : short{0};
}

inline Code muLaw(short sample) {
    constexpr int kNegative = (kMuLawHalf << kMuLawShift) + kBias;
    const int nPlace = sample < 0 ? kNegative - sample : kBias + sample;
    return muLawCodes[static_cast<unsigned>(nPlace) >> kMuLawShift];
}

inline Code aLaw(short sample) {
    constexpr int kNegative = kALawHalf << kALawShift;
    const int nPlace = sample < 0 ? kNegative - sample : int{sample};
    return aLawCodes[static_cast<unsigned>(nPlace) >> kALawShift];
}

}  // namespace vdx_g711

// Samples as signed 16-bit numbers in the processor's byte order.
class VDX_API pcm16Sample {
public:
    // Appends one sample.
    void AppendSample(double x) { m_samples.push_back(vdx_g711::toPcm16(x)); }

    // Makes room for n samples in all; what is there stays. Throws
    // std::length_error for a negative n.
    void AllocSampleBuffer(int n);

    // Makes room for n more samples and fills that room with zero bytes. Kept: the
    // size stays, so the zeros are no part of the output and the next sample
    // overwrites them; append samples of 0.0 for silence. Throws
    // std::length_error for a negative n.
    void AppendMuteSample(int n);

    // The samples, GetBufferSize() bytes of them; valid until the next change.
    const void* GetBuffer() const;

    // Bytes used: twice the number of samples; INT_MAX when there are more.
    int GetBufferSize() const;

    // Drops the samples and keeps the room.
    void Clear();

private:
    std::vector<short> m_samples;
};

// Samples as G.711 mu-law bytes. Magnitudes above 32635 are clipped.
class VDX_API uLawSample {
public:
    // Appends the code of one sample.
    void AppendSample(double x) { m_samples.push_back(vdx_g711::muLaw(vdx_g711::toPcm16(x))); }

    // As in pcm16Sample; a negative n does nothing.
    void AllocSampleBuffer(int n);

    // As in pcm16Sample; a negative n does nothing. Kept: the room is filled with
    // zero bytes, which are not the code of silence (0xFF).
    void AppendMuteSample(int n);

    const void* GetBuffer() const;  // The codes, a byte each; valid until the next change.
    int GetBufferSize() const;      // The number of samples.
    void Clear();                   // Drops the samples and keeps the room.

private:
    std::vector<vdx_g711::Code> m_samples;
};

// Samples as G.711 A-law bytes, with even bits inverted as transmitted. Magnitudes
// above 32635 are clipped.
class VDX_API aLawSample {
public:
    // Appends the code of one sample.
    void AppendSample(double x) { m_samples.push_back(vdx_g711::aLaw(vdx_g711::toPcm16(x))); }

    // As in pcm16Sample; a negative n does nothing.
    void AllocSampleBuffer(int n);

    // As in pcm16Sample; a negative n does nothing. Kept: the room is filled with
    // zero bytes, which are not the code of silence (0xD5).
    void AppendMuteSample(int n);

    const void* GetBuffer() const;  // The codes, a byte each; valid until the next change.
    int GetBufferSize() const;      // The number of samples.
    void Clear();                   // Drops the samples and keeps the room.

private:
    std::vector<vdx_g711::Code> m_samples;
};
