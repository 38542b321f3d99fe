// The five entities of XML, both ways.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace vdx {

struct Entity {
    char c;
    std::uint8_t nSize;
    char phrase[8];

    std::string_view text() const { return {phrase, nSize}; }
};

inline constexpr Entity ENTITIES[] = {
    {'"', 6, "&quot;"}, {'&', 5, "&amp;"}, {'\'', 6, "&apos;"}, {'<', 4, "&lt;"}, {'>', 4, "&gt;"}};

// The five lie below byte 64: an entity at its byte, else an empty entry.
inline constexpr std::array<Entity, 64> ENTITY_OF_BYTE = [] {
    std::array<Entity, 64> table{};
    for (const Entity& entity : ENTITIES)
        table[static_cast<unsigned char>(entity.c)] = entity;
    return table;
}();

// Writes the decoded text to where there is room for the phrase and DECODE_SLACK more
// bytes, and gives its end. Nothing that it writes behind that end counts.
constexpr std::size_t DECODE_SLACK = 16;
char* decodeEntities(std::string_view szPhrase, char* pTo);

// Copying while escaping. Goes on until the source ends or fewer than
// ESCAPE_ROOM bytes are left in the target, and moves both pointers. Memory behind
// the source may be read, not used, up to pReadableEnd.
constexpr std::ptrdiff_t ESCAPE_ROOM = 32;
void copyEscaped(const char*& pFrom, const char* pFromEnd, const char* pReadableEnd, char*& pTo,
                 const char* pToEnd);
// The same without vector instructions: for other processors and for tests.
void copyEscapedPortable(const char*& pFrom, const char* pFromEnd, char*& pTo, const char* pToEnd);

// Writes one byte, or its entity, of up to 8 bytes to where there is room for 8.
inline char* putEscaped(char* pTo, char c) {
    const Entity& entity = ENTITY_OF_BYTE[static_cast<unsigned char>(c) % 64];
    if (entity.c != c || c == 0) {
        *pTo = c;
        return pTo + 1;
    }
    std::memcpy(pTo, entity.phrase, sizeof entity.phrase);
    return pTo + entity.nSize;
}

}  // namespace vdx
