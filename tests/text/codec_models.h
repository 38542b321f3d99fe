// The codecs' rules in their plainest form, one character at a time: what the fast ones must equal.
#pragma once

#include <string>
#include <string_view>
#include <vector>

using byteVector = std::vector<unsigned char>;

inline int modelDigit(char c) {
    const auto n =
        std::string_view("0123456789abcdef").find(c >= 'A' && c <= 'F' ? static_cast<char>(c + 32) : c);
    return n == std::string_view::npos ? -1 : static_cast<int>(n);
}

inline std::string modelHex(std::string_view strBytes, const char* szAfter) {
    std::string strText;
    for (const char c : strBytes) {
        const auto n = static_cast<unsigned char>(c);
        strText += "0123456789ABCDEF"[n / 16];
        strText += "0123456789ABCDEF"[n % 16];
        strText += szAfter;
    }
    return strText;
}

inline byteVector modelText2Bin(std::string_view strText) {
    byteVector bytes;
    int nPending = -1;
    for (const char c : strText) {
        const int nDigit = modelDigit(c);
        if (nDigit >= 0 && nPending < 0) {
            nPending = nDigit;
            continue;
        }
        if (nDigit >= 0)
            bytes.push_back(static_cast<unsigned char>(nPending * 16 + nDigit));
        else if (nPending >= 0)
            bytes.push_back(static_cast<unsigned char>(nPending));
        nPending = -1;
    }
    return bytes;
}

inline byteVector modelBase162Bin(std::string_view strText) {
    byteVector bytes;
    int nPending = -1;
    for (const char c : strText) {
        const int nDigit = modelDigit(c);
        if (nDigit < 0) continue;
        if (nPending < 0) {
            nPending = nDigit;
        } else {
            bytes.push_back(static_cast<unsigned char>(nPending * 16 + nDigit));
            nPending = -1;
        }
    }
    if (nPending >= 0) bytes.push_back(static_cast<unsigned char>(nPending));
    return bytes;
}

inline byteVector modelFetch(std::string_view strText) {
    byteVector bytes;
    for (std::size_t i = 0; i + 1 < strText.size(); i += 2) {
        const int nHigh = modelDigit(strText[i]) & 255;
        const int nLow = modelDigit(strText[i + 1]) & 255;
        bytes.push_back(static_cast<unsigned char>(nHigh * 16 | nLow));
    }
    return bytes;
}

inline std::string_view modelAlphabet() {
    return "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
}

// Base-64 as strings of bits.
inline std::string modelBin2Base64(std::string_view strBytes) {
    std::string strBits, strText;
    for (const char c : strBytes)
        for (int i = 7; i >= 0; --i)
            strBits += (c >> i & 1) != 0 ? '1' : '0';
    while (strBits.size() % 6 != 0)
        strBits += '0';
    for (std::size_t i = 0; i < strBits.size(); i += 6)
        strText += modelAlphabet()[std::stoul(strBits.substr(i, 6), nullptr, 2)];
    while (strText.size() % 4 != 0)
        strText += '=';
    return strText;
}

inline byteVector modelBase642Bin(std::string_view strText) {
    std::vector<bool> bits;
    for (const char c : strText.substr(0, strText.find('='))) {
        const auto nValue = modelAlphabet().find(c);
        if (nValue == std::string_view::npos) continue;
        for (int i = 5; i >= 0; --i)
            bits.push_back((nValue >> i & 1) != 0);
    }
    byteVector bytes;
    for (std::size_t i = 0; i + 8 <= bits.size(); i += 8) {
        unsigned nByte = 0;
        for (std::size_t j = 0; j < 8; ++j)
            nByte = nByte * 2 + (bits[i + j] ? 1 : 0);
        bytes.push_back(static_cast<unsigned char>(nByte));
    }
    return bytes;
}
