// Quoted strings with C-like escapes.
#include <vdx/codecs.h>

#include <algorithm>
#include <string_view>

#include "text/codec_tables.h"

using vdx::base16Value;
using vdx::s_nForeign;
using vdx::s_strBase16Digits;

namespace {

constexpr std::size_t s_nPrefixLength = 34;
constexpr char s_cPrefix = 1;

// The letter behind the backslash for characters that have a short escape, 0 for all others.
char shortEscape(unsigned char c) {
    switch (c) {
        case '\t':
            return 't';
        case '\n':
            return 'n';
        case '\r':
            return 'r';
        case '"':
            return '"';
        case '\\':
            return '\\';
        default:
            return 0;
    }
}

void appendEscaped(std::string& strText, unsigned char c) {
    if (const char cLetter = shortEscape(c)) {
        strText += {'\\', cLetter};
    } else if (c < 0x20 || c >= 0x80) {
        strText += {'\\', 'x', s_strBase16Digits[c >> 4], s_strBase16Digits[c & 15]};
    } else {
        strText += static_cast<char>(c);
    }
}

char unescaped(char c) {
    switch (c) {
        case 'n':
            return '\n';
        case 'r':
            return '\r';
        case 't':
            return '\t';
        default:
            return c;
    }
}

// Appends the value of the up to two digits at the start of `strDigits`; returns how many there are.
std::size_t appendHexEscape(std::string& strText, std::string_view strDigits) {
    unsigned nValue = 0;
    std::size_t nDigits = 0;
    for (; nDigits < std::min<std::size_t>(2, strDigits.size()); ++nDigits) {
        const unsigned nDigit = base16Value(strDigits[nDigits]);
        if (nDigit == s_nForeign) break;
        nValue = nValue << 4 | nDigit;
    }
    if (nDigits != 0) strText += std::to_string(nValue);
    return nDigits;
}

// The index of the first quote or backslash from `i` on, or the length.
std::size_t plainEnd(std::string_view strQuoted, std::size_t i) {
    while (i < strQuoted.size() && strQuoted[i] != '"' && strQuoted[i] != '\\')
        ++i;
    return i;
}

// Appends to `strText` what the quoted string holds; as fromQuotaString.
std::size_t readQuoted(std::string_view strQuoted, std::string& strText) {
    for (std::size_t i = 1; i < strQuoted.size();) {
        const std::size_t nPlainEnd = plainEnd(strQuoted, i);
        strText.append(strQuoted, i, nPlainEnd - i);
        if (nPlainEnd == strQuoted.size()) break;
        if (strQuoted[nPlainEnd] == '"') return nPlainEnd;
        i = nPlainEnd + 2;
        if (i > strQuoted.size()) break;
        const char cEscape = strQuoted[i - 1];
        if (cEscape == 'x' || cEscape == 'X')
            i += appendHexEscape(strText, strQuoted.substr(i));
        else
            strText += unescaped(cEscape);
    }
    return 0;
}

}  // namespace

std::string toQuotaString(const void* pData, int nLength) {
    std::string strText(s_nPrefixLength, s_cPrefix);
    if (pData != nullptr && nLength > 0) {
        const auto nBytes = static_cast<std::size_t>(nLength);
        const auto pBytes = static_cast<const unsigned char*>(pData);
        strText.reserve(s_nPrefixLength + nBytes + 1);
        for (std::size_t i = 0; i < nBytes; ++i)
            appendEscaped(strText, pBytes[i]);
    }
    strText += '"';
    return strText;
}

int fromQuotaString(const std::string& strQuoted, std::string& strOut) {
    if (strQuoted.size() < 2 || strQuoted.front() != '"') return 0;
    // Collected aside: `strOut` may be the quoted text itself.
    std::string strText;
    const std::size_t nClosing = readQuoted(strQuoted, strText);
    strOut += strText;
    return static_cast<int>(nClosing);
}
