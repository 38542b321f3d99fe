// Byte shuffles shared by the vector sets of the codecs: where in a block which character belongs.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vdx {

// A shuffle index with this bit gives a zero byte, with the shuffles of all families used here.
inline constexpr std::uint8_t s_nShuffleZero = 0x80;

using byteShuffle = std::array<std::uint8_t, 16>;
using byteShuffles3 = std::array<byteShuffle, 3>;

// 16 bytes as spaced text are 48 characters, three vectors: byte i gives characters 3i to 3i + 2, of
// which number nPart is the high digit (0), the low digit (1) or the space (2). The shuffles bring the
// digit of each byte to the places of nPart.
constexpr byteShuffles3 makeSpread(std::size_t nPart) {
    byteShuffles3 shuffles{};
    for (std::size_t i = 0; i < 48; ++i)
        shuffles[i / 16][i % 16] = i % 3 == nPart ? static_cast<std::uint8_t>(i / 3) : s_nShuffleZero;
    return shuffles;
}

// Spaces at the third of every three places.
constexpr byteShuffles3 makeSpaces() {
    byteShuffles3 spaces{};
    for (std::size_t i = 0; i < 48; ++i)
        spaces[i / 16][i % 16] = i % 3 == 2 ? ' ' : 0;
    return spaces;
}

// The way back: out of vector nSource of 48 characters, the digits that belong to half nHalf (0 or 1)
// of their 32 digits in a row.
constexpr byteShuffle makeGather(std::size_t nHalf, std::size_t nSource) {
    byteShuffle shuffle{};
    for (std::size_t i = 0; i < 16; ++i) {
        const std::size_t nDigit = nHalf * 16 + i;
        const std::size_t nPlace = nDigit / 2 * 3 + nDigit % 2;
        shuffle[i] = nPlace / 16 == nSource ? static_cast<std::uint8_t>(nPlace % 16) : s_nShuffleZero;
    }
    return shuffle;
}

inline constexpr byteShuffles3 s_spreadHigh = makeSpread(0);
inline constexpr byteShuffles3 s_spreadLow = makeSpread(1);
inline constexpr byteShuffles3 s_spreadSpace = makeSpaces();
inline constexpr byteShuffle s_gather00 = makeGather(0, 0);
inline constexpr byteShuffle s_gather01 = makeGather(0, 1);
inline constexpr byteShuffle s_gather11 = makeGather(1, 1);
inline constexpr byteShuffle s_gather12 = makeGather(1, 2);

// Which of 48 characters are digits in clean spaced text, one bit each.
inline constexpr std::uint64_t s_nSpacedDigits = 0x6DB6DB6DB6DBu;

// Base-64: three bytes b0 b1 b2 become the 32-bit word b1 b0 b2 b1, in which all four 6-bit values can
// be shifted to their places by two multiplications.
inline constexpr byteShuffle s_base64Spread = {1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10};
// The way back: the three low bytes of each 32-bit word, the highest first.
inline constexpr byteShuffle s_base64Pack = {2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, 128, 128, 128, 128};

// What to add to a 6-bit value to get its character, by class of value: 0 to 25 are class 13, 26 to 51
// class 0, 52 and up class value - 51.
inline constexpr byteShuffle s_base64Offsets = {'a' - 26,
                                                static_cast<std::uint8_t>('0' - 52),
                                                static_cast<std::uint8_t>('0' - 52),
                                                static_cast<std::uint8_t>('0' - 52),
                                                static_cast<std::uint8_t>('0' - 52),
                                                static_cast<std::uint8_t>('0' - 52),
                                                static_cast<std::uint8_t>('0' - 52),
                                                static_cast<std::uint8_t>('0' - 52),
                                                static_cast<std::uint8_t>('0' - 52),
                                                static_cast<std::uint8_t>('0' - 52),
                                                static_cast<std::uint8_t>('0' - 52),
                                                static_cast<std::uint8_t>('+' - 62),
                                                static_cast<std::uint8_t>('/' - 63),
                                                'A',
                                                0,
                                                0};

// A character is foreign to base-64 when its entries by high half and by low half share a bit.
inline constexpr byteShuffle s_base64ByHigh = {0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08,
                                               0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10};
inline constexpr byteShuffle s_base64ByLow = {0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                                              0x11, 0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A};
// What to add to a character to get its value, by high half; '/' uses the entry before its own.
inline constexpr byteShuffle s_base64Values16 = {0,
                                                 16,
                                                 19,
                                                 4,
                                                 static_cast<std::uint8_t>(-65),
                                                 static_cast<std::uint8_t>(-65),
                                                 static_cast<std::uint8_t>(-71),
                                                 static_cast<std::uint8_t>(-71),
                                                 0,
                                                 0,
                                                 0,
                                                 0,
                                                 0,
                                                 0,
                                                 0,
                                                 0};

}  // namespace vdx
