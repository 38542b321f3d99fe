// Bytes and what they are made of: texts, hexadecimal digits, chance.
#pragma once

#include <random>
#include <string>
#include <vector>

using Bytes = std::vector<unsigned char>;

inline Bytes bytesOf(const std::string& strText) {
    return {strText.begin(), strText.end()};
}

inline std::string textOf(const Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

// The length of bytes or of a text as the library takes it.
inline int sizeOf(const auto& bytes) {
    return static_cast<int>(bytes.size());
}

inline Bytes bytesOfHex(const std::string& strHex) {
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < strHex.size(); i += 2)
        bytes.push_back(static_cast<unsigned char>(std::stoi(strHex.substr(i, 2), nullptr, 16)));
    return bytes;
}

// The same ones in every run.
inline Bytes randomBytes(std::size_t n) {
    std::mt19937 random(1);
    Bytes bytes(n);
    for (unsigned char& b : bytes)
        b = static_cast<unsigned char>(random());
    return bytes;
}
