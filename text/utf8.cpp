// UTF-8 a character at a time.
#include <vdx/characters.h>

namespace {

constexpr int UNKNOWN = '?';

// Bytes of the sequence that a lead byte announces; 0 for a byte that leads none
// of those that are decoded.
constexpr std::size_t announcedSize(unsigned char lead) {
    if (lead < 0x80) return 1;
    if ((lead & 0xE0) == 0xC0) return 2;
    if ((lead & 0xF0) == 0xE0) return 3;
    return 0;
}

constexpr int lowSix(char c) {
    return c & 0x3F;
}

int decode(const char* pText, std::size_t nSize) {
    switch (nSize) {
        case 1:
            return pText[0];
        case 2:
            return (pText[0] & 0x1F) << 6 | lowSix(pText[1]);
        case 3:
            return (pText[0] & 0x0F) << 12 | lowSix(pText[1]) << 6 | lowSix(pText[2]);
        default:
            return UNKNOWN;
    }
}

std::size_t sizeAt(const char* pText) {
    return announcedSize(static_cast<unsigned char>(*pText));
}

}  // namespace

int chUTF8Word(const std::string& text) {
    if (text.empty()) return 0;
    const std::size_t nSize = sizeAt(text.data());
    return decode(text.data(), nSize <= text.size() ? nSize : 0);
}

int chUTF8Word(const char*& pNext) {
    const std::size_t nSize = sizeAt(pNext);
    const int nCharacter = decode(pNext, nSize);
    pNext += nSize ? nSize : 1;
    return nCharacter;
}

const char* chUTF8Inc(const char* pText) {
    if (*pText == 0) return nullptr;
    const std::size_t nSize = sizeAt(pText);
    return pText + (nSize ? nSize : 1);
}

const char* chUTF8Dec(const char* pBegin, const char* pText) {
    while (pText > pBegin) {
        --pText;
        if ((*pText & 0xC0) != 0x80) return pText;
    }
    return nullptr;
}

int chUTF8Inc(std::string& text) {
    const int nCharacter = chUTF8Word(text);
    std::size_t nOccupied = text.empty() ? 0 : sizeAt(text.data());
    if (nOccupied == 0 || nOccupied > text.size()) nOccupied = text.empty() ? 0 : 1;
    text += static_cast<char>(nOccupied);
    return nCharacter;
}
