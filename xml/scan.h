// Byte classes and the small scans of the parser.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace vdx {

constexpr std::uint8_t CLASS_WHITE = 1;      // Space, tab, carriage return, line feed; nothing else.
constexpr std::uint8_t CLASS_SEPARATOR = 2;  // What no name may hold: white space and "=<>
constexpr std::uint8_t CLASS_ESCAPE = 4;     // What is written as an entity.
constexpr std::uint8_t CLASS_AMPERSAND = 8;

constexpr std::array<std::uint8_t, 256> makeByteClasses() {
    std::array<std::uint8_t, 256> classes{};
    for (const char c : {' ', '\t', '\r', '\n'})
        classes[static_cast<unsigned char>(c)] |= CLASS_WHITE | CLASS_SEPARATOR;
    for (const char c : {'"', '=', '<', '>'})
        classes[static_cast<unsigned char>(c)] |= CLASS_SEPARATOR;
    for (const char c : {'"', '&', '\'', '<', '>'})
        classes[static_cast<unsigned char>(c)] |= CLASS_ESCAPE;
    classes['&'] |= CLASS_AMPERSAND;
    return classes;
}

inline constexpr std::array<std::uint8_t, 256> BYTE_CLASSES = makeByteClasses();

inline std::uint8_t classOf(char c) {
    return BYTE_CLASSES[static_cast<unsigned char>(c)];
}
inline bool isWhite(char c) {
    return (classOf(c) & CLASS_WHITE) != 0;
}

inline const char* skipWhite(const char* p, const char* pEnd) {
    while (p != pEnd && isWhite(*p))
        ++p;
    return p;
}

inline const char* skipWhiteBack(const char* pBegin, const char* p) {
    while (p != pBegin && isWhite(p[-1]))
        --p;
    return p;
}

// The next such byte, or null.
inline const char* findByte(const char* p, const char* pEnd, char c) {
    return static_cast<const char*>(std::memchr(p, c, static_cast<std::size_t>(pEnd - p)));
}

// The end of a name: the first separator, or pEnd. Says whether an ampersand is in it.
inline const char* findNameEnd(const char* p, const char* pEnd, bool& bAmpersand) {
    std::uint8_t nClasses = 0;
    for (; p != pEnd; ++p) {
        const std::uint8_t nClass = classOf(*p);
        if (nClass & CLASS_SEPARATOR) break;
        nClasses = static_cast<std::uint8_t>(nClasses | nClass);
    }
    bAmpersand = (nClasses & CLASS_AMPERSAND) != 0;
    return p;
}

// The closing quote of a value, or null. Says whether an ampersand is before it.
const char* findQuote(const char* p, const char* pEnd, char cQuote, bool& bAmpersand);
// The same without vector instructions: for other processors and for tests.
const char* findQuotePortable(const char* p, const char* pEnd, char cQuote, bool& bAmpersand);

inline std::string_view between(const char* pBegin, const char* pEnd) {
    return {pBegin, static_cast<std::size_t>(pEnd - pBegin)};
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
