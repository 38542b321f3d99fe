// What the tests of the ciphers share.
#pragma once

#include <cstddef>
#include <random>
#include <vector>

using Bytes = std::vector<unsigned char>;

inline Bytes randomBytes(std::size_t n, unsigned nSeed = 1) {
    std::mt19937 random(nSeed);
    Bytes bytes(n);
    for (unsigned char& b : bytes)
        b = static_cast<unsigned char>(random());
    return bytes;
}

inline int sizeOf(const Bytes& bytes) {
    return static_cast<int>(bytes.size());
}

inline const unsigned char* bytesOf(const char* sz) {
    return reinterpret_cast<const unsigned char*>(sz);
}
