// Entities: decoding where an ampersand stands, escaping where one of five bytes stands.
#include "xml/entities.h"

#include <algorithm>

#include <vdx/xml.h>

#include "xml/names.h"
#include "xml/scan.h"

namespace vdx {

namespace {

// An entity stands at the number that its first letters make. The processor cannot
// foresee which one comes: comparing with the only candidate saves it the guesses.
struct EntitySlot {
    char phrase[8] = {};
    char mask[8] = {};  // 0xFF for each byte of the phrase.
    char c = '&';
    std::uint8_t nSize = 1;

    bool begins(std::string_view szText) const {
        if (szText.size() < sizeof phrase)
            return nSize > 1 && szText.starts_with(std::string_view(phrase, nSize));
        const auto nDifference = loadWord<std::uint64_t>(szText.data()) ^ loadWord<std::uint64_t>(phrase);
        return (nDifference & loadWord<std::uint64_t>(mask)) == 0;
    }
};

constexpr std::size_t slotOf(char cFirst, char cSecond) {
    return static_cast<unsigned char>(cSecond) % 32U + static_cast<unsigned char>(cFirst) % 2U;
}

// A slot without entity takes the ampersand as it stands.
constexpr auto ENTITY_SLOTS = [] {
    std::array<EntitySlot, 33> slots{};
    for (const Entity& entity : ENTITIES) {
        EntitySlot& slot = slots[slotOf(entity.phrase[1], entity.phrase[2])];
        std::copy_n(entity.phrase, sizeof slot.phrase, slot.phrase);
        std::fill_n(slot.mask, entity.nSize, '\xFF');
        slot.c = entity.c;
        slot.nSize = entity.nSize;
    }
    return slots;
}();

// Decodes what stands at an ampersand.
void decodeOne(const char*& p, const char* pEnd, char*& pTo) {
    const EntitySlot* pSlot = ENTITY_SLOTS.data();  // Without entity, as the first one.
    if (pEnd - p > 2) pSlot = &ENTITY_SLOTS[slotOf(p[1], p[2])];
    const bool bFound = pSlot->begins(between(p, pEnd));
    *pTo++ = bFound ? pSlot->c : '&';
    p += bFound ? pSlot->nSize : 1;
}

// Copies up to the first ampersand or the end. Writes up to DECODE_SLACK bytes behind
// what it copies.
void copyPlain(const char*& p, const char* pEnd, char*& pTo) {
#ifdef VDX_BYTE_BLOCKS
    for (; pEnd - p >= ByteBlock::SIZE; p += ByteBlock::SIZE, pTo += ByteBlock::SIZE) {
        const ByteBlock block(p);
        block.storeTo(pTo);
        if (const unsigned int nAmpersands = block.equal('&')) {
            p += firstBit(nAmpersands);
            pTo += firstBit(nAmpersands);
            return;
        }
    }
#endif
    while (p != pEnd && *p != '&')
        *pTo++ = *p++;
}

}  // namespace

// One pass does what replacing the five in turn, "&amp;" last, would do: no
// replacement can complete another entity except the ampersand, which comes last.
char* decodeEntities(std::string_view szPhrase, char* pTo) {
    const char* p = szPhrase.data();
    const char* pEnd = p + szPhrase.size();
    for (;;) {
        copyPlain(p, pEnd, pTo);
        if (p == pEnd) return pTo;
        decodeOne(p, pEnd, pTo);
    }
}

void copyEscapedPortable(const char*& pFrom, const char* pFromEnd, char*& pTo, const char* pToEnd) {
    while (pFrom != pFromEnd && pToEnd - pTo >= ESCAPE_ROOM)
        pTo = putEscaped(pTo, *pFrom++);
}

}  // namespace vdx

std::string xmlText2XMLPhrase(const std::string& szText) {
    std::string szResult;
    szResult.reserve(szText.size());
    char buffer[512];
    const char* pFrom = szText.data();
    const char* pEnd = pFrom + szText.size();
    while (pFrom != pEnd) {
        char* pTo = buffer;
        vdx::copyEscaped(pFrom, pEnd, pEnd, pTo, buffer + sizeof buffer);
        szResult.append(buffer, pTo);
    }
    return szResult;
}

std::string xmlXMLPhrase2Text(const std::string& szPhrase) {
    std::string szResult(szPhrase.size() + vdx::DECODE_SLACK, '\0');
    const char* pEnd = vdx::decodeEntities(szPhrase, szResult.data());
    szResult.resize(static_cast<std::size_t>(pEnd - szResult.data()));
    return szResult;
}
