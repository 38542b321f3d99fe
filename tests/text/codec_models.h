// The codecs' rules in their plainest form, one character at a time: what the fast ones must equal.
#pragma once

#include <string>
#include <string_view>
#include <vector>

using byteVector = std::vector<unsigned char>;

inline unsigned char modelByte(std::size_t n) {
    return static_cast<unsigned char>(n);
}

// The value of a character in an alphabet; 255: none.
inline unsigned modelValue(std::string_view strAlphabet, char c) {
    return modelByte(strAlphabet.find(c));
}

inline unsigned modelDigit(char c) {
    return modelValue("0123456789abcdef", c >= 'A' && c <= 'F' ? static_cast<char>(c + 32) : c);
}

inline std::string modelHex(std::string_view strBytes, const char* szAfter = "") {
    std::string strText;
    for (const char c : strBytes) {
        strText += "0123456789ABCDEF"[modelByte(static_cast<std::size_t>(c)) / 16];
        strText += "0123456789ABCDEF"[c & 15];
        strText += szAfter;
    }
    return strText;
}

// Another character ends a byte where digits are separated, else it is passed over; a digit alone at the
// end is dropped where they are separated, else it is a byte.
inline byteVector modelFromHex(std::string_view strText, bool bSeparated) {
    byteVector bytes;
    unsigned nPending = 255;
    for (const char c : strText) {
        const unsigned nDigit = modelDigit(c);
        if (nPending == 255) {
            nPending = nDigit;
        } else if (nDigit != 255 || bSeparated) {
            bytes.push_back(modelByte(nDigit == 255 ? nPending : nPending * 16 + nDigit));
            nPending = 255;
        }
    }
    if (nPending != 255 && !bSeparated) bytes.push_back(modelByte(nPending));
    return bytes;
}

inline byteVector modelFetch(std::string_view strText) {
    byteVector bytes;
    for (std::size_t i = 0; i + 1 < strText.size(); i += 2)
        bytes.push_back(modelByte(modelDigit(strText[i]) * 16 | modelDigit(strText[i + 1])));
    return bytes;
}

inline constexpr std::string_view s_strModelBase64 =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

inline std::string modelBase64(std::string_view strBytes) {
    std::string strText;
    std::size_t nBits = 0, nPending = 0;
    for (const char c : strBytes) {
        nBits = nBits << 8 | modelByte(static_cast<std::size_t>(c));
        for (nPending += 8; nPending >= 6; nPending -= 6)
            strText += s_strModelBase64[nBits >> (nPending - 6) & 63];
    }
    if (nPending != 0) strText += s_strModelBase64[nBits << (6 - nPending) & 63];
    while (strText.size() % 4 != 0)
        strText += '=';
    return strText;
}

inline byteVector modelFromBase64(std::string_view strText) {
    byteVector bytes;
    std::size_t nBits = 0, nPending = 0;
    for (const char c : strText.substr(0, strText.find('='))) {
        const unsigned nValue = modelValue(s_strModelBase64, c);
        if (nValue == 255) continue;
        nBits = nBits << 6 | nValue;
        nPending += 6;
        if (nPending < 8) continue;
        nPending -= 8;
        bytes.push_back(modelByte(nBits >> nPending));
    }
    return bytes;
}
