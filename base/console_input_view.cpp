// What a line editor shows of its line, and how it steps through UTF-8 text.
#include "base/console_input_view.h"

#include <algorithm>

namespace vdx {

namespace {

using textIndex = std::string::size_type;

// The code point of the character from nFrom to nTo; 0 when it is malformed.
char32_t codePoint(const std::string& strText, textIndex nFrom, textIndex nTo) {
    const auto cLead = static_cast<unsigned char>(strText[nFrom]);
    const textIndex nLength = cLead < 0x80 ? 1 : cLead >= 0xF0 ? 4 : cLead >= 0xE0 ? 3 : 2;
    if (nLength != nTo - nFrom || isContinuation(strText[nFrom])) return 0;
    char32_t c = nLength == 1 ? cLead : cLead & (0x7Fu >> nLength);
    for (textIndex i = nFrom + 1; i < nTo; ++i)
        c = c << 6 | (static_cast<unsigned char>(strText[i]) & 0x3Fu);
    return c;
}

struct codeRange {
    char32_t nFirst, nLast;
};

template <typename RANGES>
bool isIn(const RANGES& ranges, char32_t c) {
    return std::any_of(std::begin(ranges), std::end(ranges),
                       [c](const codeRange& range) { return c >= range.nFirst && c <= range.nLast; });
}

// Columns that terminals give a character: none to combining marks, two to the wide East Asian scripts
// and to pictures.
int columnsOf(char32_t c) {
    static constexpr codeRange NONE[] = {{0x300, 0x36F},   {0x483, 0x489},   {0x591, 0x5BD},
                                         {0x610, 0x61A},   {0x64B, 0x65F},   {0x1AB0, 0x1AFF},
                                         {0x1DC0, 0x1DFF}, {0x200B, 0x200F}, {0x20D0, 0x20FF},
                                         {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}};
    static constexpr codeRange TWO[] = {{0x1100, 0x115F},   {0x2E80, 0x303E},  {0x3041, 0xA4CF},
                                        {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},  {0xFE30, 0xFE6F},
                                        {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},  {0x1F300, 0x1F64F},
                                        {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};
    if (c < 0x300) return 1;
    return isIn(NONE, c) ? 0 : isIn(TWO, c) ? 2 : 1;
}

// Control characters would do something to the terminal: they are shown as "?".
std::string visible(std::string strText) {
    for (char& c : strText)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
    return strText;
}

int columnsAt(const std::string& strText, textIndex i) {
    return columnsOf(codePoint(strText, i, nextCharacter(strText, i)));
}

int columns(const std::string& strText, textIndex nFrom, textIndex nTo) {
    int nColumns = 0;
    for (textIndex i = nFrom; i < nTo; i = nextCharacter(strText, i))
        nColumns += columnsAt(strText, i);
    return nColumns;
}

}  // namespace

bool isContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0u) == 0x80u;
}

textIndex nextCharacter(const std::string& strText, textIndex i) {
    if (i >= strText.size()) return strText.size();
    do
        ++i;
    while (i < strText.size() && isContinuation(strText[i]));
    return i;
}

textIndex characterBefore(const std::string& strText, textIndex i) {
    if (i == 0) return 0;
    do
        --i;
    while (i > 0 && isContinuation(strText[i]));
    return i;
}

textIndex wordBefore(const std::string& strText, textIndex i) {
    while (i > 0 && strText[i - 1] == ' ')
        --i;
    while (i > 0 && strText[i - 1] != ' ')
        --i;
    return i;
}

std::string lineView(const std::string& strPrompt, const std::string& strText, textIndex nCursor,
                     int nColumns) {
    const int nPrompt = columns(strPrompt, 0, strPrompt.size());
    // The last column stays free: a terminal that has written it may have gone to the next row.
    const int nRoom = std::max(nColumns - nPrompt - 1, 1);
    textIndex nFirst = nCursor;
    int nBefore = 0;
    while (nFirst > 0) {
        const textIndex nPrevious = characterBefore(strText, nFirst);
        const int nMore = columnsAt(strText, nPrevious);
        if (nBefore + nMore > nRoom) break;
        nBefore += nMore;
        nFirst = nPrevious;
    }
    textIndex nLast = nCursor;
    for (int nShown = nBefore; nLast < strText.size(); nLast = nextCharacter(strText, nLast)) {
        nShown += columnsAt(strText, nLast);
        if (nShown > nRoom) break;
    }
    const int nColumn = nPrompt + nBefore;
    return "\r" + strPrompt + visible(strText.substr(nFirst, nLast - nFirst)) + "\x1b[K\r" +
           (nColumn > 0 ? "\x1b[" + std::to_string(nColumn) + "C" : "");
}

}  // namespace vdx
