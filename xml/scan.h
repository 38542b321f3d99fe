// Byte classes and the small scans of the parser.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "xml/byte_block.h"

namespace vdx {

constexpr std::uint8_t CLASS_WHITE = 1;      // Space, tab, carriage return, line feed; nothing else.
constexpr std::uint8_t CLASS_SEPARATOR = 2;  // What no name may hold: white space and "=<>
constexpr std::uint8_t CLASS_AMPERSAND = 4;

constexpr std::array<std::uint8_t, 256> makeByteClasses() {
    std::array<std::uint8_t, 256> classes{};
    for (const char c : {' ', '\t', '\r', '\n'})
        classes[static_cast<unsigned char>(c)] |= CLASS_WHITE | CLASS_SEPARATOR;
    for (const char c : {'"', '=', '<', '>'})
        classes[static_cast<unsigned char>(c)] |= CLASS_SEPARATOR;
    classes['&'] |= CLASS_AMPERSAND;
    return classes;
}

inline constexpr std::array<std::uint8_t, 256> BYTE_CLASSES = makeByteClasses();

inline std::uint8_t classOf(char c) {
    return BYTE_CLASSES[static_cast<unsigned char>(c)];
}
inline bool isWhite(char c) {
    return static_cast<unsigned char>(c) <= ' ' && (classOf(c) & CLASS_WHITE) != 0;
}

// The next such byte, or null.
inline const char* findByte(const char* p, const char* pEnd, char c) {
    return static_cast<const char*>(std::memchr(p, c, static_cast<std::size_t>(pEnd - p)));
}

inline std::string_view between(const char* pBegin, const char* pEnd) {
    return {pBegin, static_cast<std::size_t>(pEnd - pBegin)};
}

// The scans below come in two forms. The portable one looks at one byte after the
// other: for other processors, for the last bytes of a text, and for tests. Names,
// values and indentation have lengths that no processor foresees, and a wrong guess costs
// it more than looking at sixteen bytes at once.

inline const char* skipWhitePortable(const char* p, const char* pEnd) {
    while (p != pEnd && isWhite(*p))
        ++p;
    return p;
}

// None or one white byte is the usual case within tags.
inline const char* skipWhite(const char* p, const char* pEnd) {
    if (p == pEnd || !isWhite(*p)) return p;
    if (++p == pEnd || !isWhite(*p)) return p;
#ifdef VDX_BYTE_BLOCKS
    for (; pEnd - p >= ByteBlock::SIZE; p += ByteBlock::SIZE) {
        const unsigned int nOther = ByteBlock(p).white() ^ 0xFFFFU;
        if (nOther) return p + firstBit(nOther);
    }
#endif
    return skipWhitePortable(p, pEnd);
}

inline const char* skipWhiteBack(const char* pBegin, const char* p) {
    while (p != pBegin && isWhite(p[-1]))
        --p;
    return p;
}

#ifdef VDX_BYTE_BLOCKS
// The first byte among whole blocks for which endsIn sets a bit. Null if there is none: p is
// behind these blocks then. Sets bAmpersand if one was passed.
template <class EndsIn>
const char* findInBlocks(const char*& p, const char* pEnd, bool& bAmpersand, EndsIn endsIn) {
    for (; pEnd - p >= ByteBlock::SIZE; p += ByteBlock::SIZE) {
        const ByteBlock block(p);
        const unsigned int nEnds = endsIn(block);
        const unsigned int nAmpersands = block.equal('&');
        if (nEnds) {
            bAmpersand = bAmpersand || (nAmpersands & bitsBefore(nEnds)) != 0;
            return p + firstBit(nEnds);
        }
        bAmpersand = bAmpersand || nAmpersands != 0;
    }
    return nullptr;
}
#endif

// The end of a name: the first separator, or pEnd. Sets bAmpersand if one is before it.
inline const char* findNameEndPortable(const char* p, const char* pEnd, bool& bAmpersand) {
    for (; p != pEnd; ++p) {
        const std::uint8_t nClass = classOf(*p);
        if (nClass & CLASS_SEPARATOR) break;
        bAmpersand = bAmpersand || (nClass & CLASS_AMPERSAND) != 0;
    }
    return p;
}

inline const char* findNameEnd(const char* p, const char* pEnd, bool& bAmpersand) {
#ifdef VDX_BYTE_BLOCKS
    const auto endsIn = [](const ByteBlock& block) { return block.separators(); };
    if (const char* pFound = findInBlocks(p, pEnd, bAmpersand, endsIn)) return pFound;
#endif
    return findNameEndPortable(p, pEnd, bAmpersand);
}

// The first of either byte, or pEnd. Sets bAmpersand if one is before it.
inline const char* findEitherPortable(const char* p, const char* pEnd, char c1, char c2, bool& bAmpersand) {
    for (; p != pEnd && *p != c1 && *p != c2; ++p)
        bAmpersand = bAmpersand || *p == '&';
    return p;
}

inline const char* findEither(const char* p, const char* pEnd, char c1, char c2, bool& bAmpersand) {
#ifdef VDX_BYTE_BLOCKS
    const auto endsIn = [c1, c2](const ByteBlock& block) { return block.equalAny(c1, c2); };
    if (const char* pFound = findInBlocks(p, pEnd, bAmpersand, endsIn)) return pFound;
#endif
    return findEitherPortable(p, pEnd, c1, c2, bAmpersand);
}

// The ">" of the next mark "cc>" that lies wholly at or after p, or null. The mark
// is searched by its ">": texts hold fewer of these than of "-".
inline const char* findDoubleClose(const char* p, const char* pEnd, char c) {
    const char* pBegin = p;
    while (const char* pClose = findByte(p, pEnd, '>')) {
        if (pClose - pBegin >= 2 && pClose[-1] == c && pClose[-2] == c) return pClose;
        p = pClose + 1;
    }
    return nullptr;
}

}  // namespace vdx
