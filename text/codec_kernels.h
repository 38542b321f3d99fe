// The inner loops of the codecs, one set per instruction set, chosen at run time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace vdx {

// Decoders may write up to this many bytes beyond their result, where stated.
inline constexpr std::size_t s_nCodecSlack = 32;

// One set of inner loops. Every set gives the same texts and bytes; they differ in speed only.
//
// Encoders write the whole text of n bytes, and nothing beyond it. Decoders take clean text only: they
// decode from the start of the text while it stays in their clean form, in whole groups, and return the
// characters taken, which may be fewer than are clean. The caller handles the rest character by character,
// and may come back behind it.
struct codecKernels {
    const char* szName;

    void (*encodeBase16)(const std::uint8_t* pIn, std::size_t n, char* pOut);  // 2 characters a byte.
    void (*encodeSpaced)(const std::uint8_t* pIn, std::size_t n, char* pOut);  // 3 characters a byte.
    void (*encodeBase64)(const std::uint8_t* pIn, std::size_t n, char* pOut);  // Padded.

    // Groups of two digits, one byte each. Writes nothing beyond the result.
    std::size_t (*decodeBase16)(const char* pText, std::size_t n, std::uint8_t* pOut);
    // Groups of two digits and one character that is no digit, one byte each. Writes nothing beyond.
    std::size_t (*decodeSpaced)(const char* pText, std::size_t n, std::uint8_t* pOut);
    // Groups of four characters, three bytes each. May write s_nCodecSlack bytes beyond the result.
    std::size_t (*decodeBase64)(const char* pText, std::size_t n, std::uint8_t* pOut);
};

// The set that the exported functions use: the best that this processor runs.
const codecKernels& getCodecKernels();

// All sets that this processor runs, the portable one first and the best one last.
std::span<const codecKernels* const> getAllCodecKernels();

extern const codecKernels portableCodecKernels;
// Defined where the processor's family has them; only to be called when the processor does.
extern const codecKernels ssse3CodecKernels;
extern const codecKernels avx2CodecKernels;
extern const codecKernels neonCodecKernels;

}  // namespace vdx
