// Double-byte code pages from files.
#include <vdx/code_page.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>

#include "siblings/pmrfile/whole_file.h"
#include "text/write_string.h"

namespace {

constexpr unsigned short s_nUnknown = '?';
constexpr std::size_t s_nRecordSize = 4;
constexpr std::size_t s_nCodeOffset = 2;  // Of the multi-byte code in its record.
constexpr std::size_t s_nAllCodes = 0x10000;

// Bytes (and wide characters) that are neither ASCII nor the start of a double-byte character.
constexpr bool isNoCharacter(std::uint32_t c) {
    return c == 0x80 || c == 0xFF;
}

using byteVector = std::vector<unsigned char>;
using codeIndex = std::vector<unsigned short>;

unsigned short readAt(const byteVector& table, int nIndex, std::size_t nOffset) {
    unsigned short nValue;
    std::memcpy(&nValue, table.data() + static_cast<std::size_t>(nIndex) * s_nRecordSize + nOffset,
                sizeof nValue);
    return nValue;
}

unsigned short wideAt(const byteVector& table, int nIndex) {
    return readAt(table, nIndex, 0);
}

unsigned short codeAt(const byteVector& table, int nIndex) {
    return readAt(table, nIndex, s_nCodeOffset);
}

// Brings both halves of a record from the file's byte order to the processor's.
void makeNative(byteVector& table, int nIndex) {
    unsigned char* p = table.data() + static_cast<std::size_t>(nIndex) * s_nRecordSize;
    for (const std::size_t nOffset : {std::size_t{0}, s_nCodeOffset}) {
        const auto nValue = static_cast<unsigned short>(p[nOffset] << 8 | p[nOffset + 1]);
        std::memcpy(p + nOffset, &nValue, sizeof nValue);
    }
}

// What the linear search gives for each Unicode code: the first record that has it.
codeIndex indexByWide(const byteVector& table, int nCount) {
    codeIndex index(s_nAllCodes, s_nUnknown);
    for (int i = nCount - 1; i >= 0; --i)
        index[wideAt(table, i)] = codeAt(table, i);
    return index;
}

// What the bisection gives for each multi-byte code, where that is plain: in a table in strictly
// ascending order it finds what is there. No index for any other table.
codeIndex indexByCode(const byteVector& table, int nCount) {
    codeIndex index(s_nAllCodes, s_nUnknown);
    for (int i = 0; i < nCount; ++i) {
        if (i > 0 && codeAt(table, i) <= codeAt(table, i - 1)) return {};
        index[codeAt(table, i)] = wideAt(table, i);
    }
    return index;
}

unsigned short bisect(const byteVector& table, int nCount, unsigned short nCode) {
    int nLow = 0, nHigh = nCount - 1;
    if (codeAt(table, nLow) == nCode) return wideAt(table, nLow);
    if (codeAt(table, nHigh) == nCode) return wideAt(table, nHigh);
    if (nCode < codeAt(table, nLow) || nCode > codeAt(table, nHigh)) return s_nUnknown;
    // The records at both ends have been seen.
    while (nHigh - nLow > 1) {
        const int nProbe = nLow + (nHigh - nLow) / 2;
        const unsigned short nFound = codeAt(table, nProbe);
        if (nFound == nCode) return wideAt(table, nProbe);
        (nFound > nCode ? nHigh : nLow) = nProbe;
    }
    return s_nUnknown;
}

// The code that all double-byte characters of the text are looked up by; 0 when its second byte is a
// zero, or when there is none.
unsigned short firstCode(const std::string& strText) {
    if (strText.size() < 2 || strText[1] == 0) return 0;
    return static_cast<unsigned short>(static_cast<unsigned char>(strText[0]) << 8 |
                                       static_cast<unsigned char>(strText[1]));
}

// Widens the bytes below 0x80 from index nFirst on; returns how many there are.
std::size_t widenAscii(const std::string& strText, std::size_t nFirst, wchar_t* pOut) {
    std::size_t i = nFirst;
    for (; strText.size() - i >= 8; i += 8) {
        std::uint64_t nBytes;
        std::memcpy(&nBytes, strText.data() + i, sizeof nBytes);
        if ((nBytes & 0x8080808080808080u) != 0) break;
        for (std::size_t j = 0; j < 8; ++j)
            *pOut++ = static_cast<wchar_t>(strText[i + j]);
    }
    for (; i < strText.size() && static_cast<unsigned char>(strText[i]) < 0x80; ++i)
        *pOut++ = static_cast<wchar_t>(strText[i]);
    return i - nFirst;
}

}  // namespace

chCodePage::chCodePage(const std::string& strPath) {
    if (!strPath.empty()) LoadCodePageFile(strPath);
}

chCodePage::~chCodePage() = default;

bool chCodePage::LoadCodePageFile(const std::string& strPath) {
    UnloadCodePageFile();
    std::vector<unsigned char> bytes;
    if (!vdxDumpBinFile(strPath, bytes) || bytes.size() < s_nRecordSize) return false;
    m_table = std::move(bytes);
    m_nCount = static_cast<int>(std::min<std::size_t>(m_table.size() / s_nRecordSize, INT_MAX));
    for (int i = 0; i < m_nCount; ++i)
        makeNative(m_table, i);
    m_codes = indexByWide(m_table, m_nCount);
    m_wides = indexByCode(m_table, m_nCount);
    return true;
}

void chCodePage::UnloadCodePageFile() {
    m_nCount = 0;
    m_table.clear();
    m_codes.clear();
    m_wides.clear();
}

unsigned short chCodePage::MBCS2W_fast(unsigned short nCode) const {
    if (!m_wides.empty()) return m_wides[nCode];
    return m_nCount < 1 ? s_nUnknown : bisect(m_table, m_nCount, nCode);
}

unsigned short chCodePage::W2MBCS_slow(unsigned short nWide) const {
    return m_codes.empty() ? s_nUnknown : m_codes[nWide];
}

std::wstring chCodePage::MBCS2W(const std::string& strText) const {
    const unsigned short nCode = firstCode(strText);
    const auto cDouble = static_cast<wchar_t>(nCode != 0 ? MBCS2W_fast(nCode) : s_nUnknown);
    const std::size_t nDouble = nCode != 0 ? 2 : 1;  // Bytes that a lead byte accounts for.
    return vdx::writeString<wchar_t>(strText.size(), [&](wchar_t* const pBegin) {
        wchar_t* pOut = pBegin;
        for (std::size_t i = 0; i < strText.size();) {
            const auto c = static_cast<unsigned char>(strText[i]);
            if (c < 0x80) {
                const std::size_t nAscii = widenAscii(strText, i, pOut);
                pOut += nAscii;
                i += nAscii;
            } else {
                *pOut++ = isNoCharacter(c) ? static_cast<wchar_t>(s_nUnknown) : cDouble;
                i += isNoCharacter(c) ? 1 : nDouble;
            }
        }
        return static_cast<std::size_t>(pOut - pBegin);
    });
}

std::string chCodePage::W2MBCS(const std::wstring& strText) const {
    return vdx::writeString<char>(2 * strText.size(), [&](char* const pBegin) {
        char* pOut = pBegin;
        for (const wchar_t cWide : strText) {
            // NOLINTNEXTLINE(bugprone-signed-char-misuse): no char.
            const auto c = static_cast<std::uint32_t>(cWide);
            if (c < 0x80 || isNoCharacter(c)) {
                *pOut++ = c < 0x80 ? static_cast<char>(c) : '?';
                continue;
            }
            const unsigned short nCode = W2MBCS_slow(static_cast<unsigned short>(c));
            *pOut++ = static_cast<char>(nCode >> 8);
            *pOut++ = static_cast<char>(nCode);
        }
        return static_cast<std::size_t>(pOut - pBegin);
    });
}
