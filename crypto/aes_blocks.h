// AES by schedules as the public functions take them: any length, in bounds.
#pragma once

#include <algorithm>
#include <cstddef>

#include "crypto/aes_engine.h"

namespace vdx_crypto {

// Fills all 240 bytes of the schedule and returns its length: 176, 208 or 240. Another
// key size leaves the key itself, as much of it as fits, filled up with zeros, and 0.
int aesSetKey(const unsigned char* key, int nKeySize, unsigned char* schedule);

// What is left of a schedule without a round: its only round key is added to the blocks,
// or they are copied.
void aesAddKey(const unsigned char* schedule, int nScheduleLength, const unsigned char* in,
               unsigned char* out, std::size_t nBlocks);

// Apply as many round keys as the schedule length holds, at most 15.
using AesBlocks = void (*)(const unsigned char* schedule, int nScheduleLength, const unsigned char* in,
                           unsigned char* out, std::size_t nBlocks);

inline int aesRounds(int nScheduleLength) {
    return std::min(nScheduleLength / static_cast<int>(kAesBlock) - 1, kAesMaxRounds);
}

inline void aesEncryptBlocks(const unsigned char* schedule, int nScheduleLength, const unsigned char* in,
                             unsigned char* out, std::size_t nBlocks) {
    const int rounds = aesRounds(nScheduleLength);
    if (rounds < 1) return aesAddKey(schedule, nScheduleLength, in, out, nBlocks);
    aesBestEngine().encrypt(schedule, rounds, in, out, nBlocks);
}

inline void aesDecryptBlocks(const unsigned char* schedule, int nScheduleLength, const unsigned char* in,
                             unsigned char* out, std::size_t nBlocks) {
    const int rounds = aesRounds(nScheduleLength);
    if (rounds < 1) return aesAddKey(schedule, nScheduleLength, in, out, nBlocks);
    aesBestEngine().decrypt(schedule, rounds, in, out, nBlocks);
}

}  // namespace vdx_crypto
