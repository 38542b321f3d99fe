// AES with the 128-bit AES instructions of x86 (AES-NI). Compiled with their flags.
#include <cpuid.h>
#include <cstdint>
#include <cstring>

#include "crypto/aes_engine_x86.h"
#include "crypto/aes_lanes_x86.h"

namespace vdx_crypto {
namespace {

template <class Cipher>
void runBlocks(const RoundKeys& k, const unsigned char* in, unsigned char* out, std::size_t nBlocks) {
    Run run{in, out, nBlocks * kAesBlock};
    runGroups<Cipher, 8>(k, run);
    runGroups<Cipher, 4>(k, run);
    runGroups<Cipher, 1>(k, run);
}

void encrypt(const unsigned char* schedule, int rounds, const unsigned char* in, unsigned char* out,
             std::size_t nBlocks) {
    if (nBlocks == 1) return runGroup<Encryption<NarrowLane>>({schedule, rounds}, in, out, OneLane{});
    runBlocks<Encryption<NarrowLane>>({schedule, rounds}, in, out, nBlocks);
}

void decrypt(const unsigned char* schedule, int rounds, const unsigned char* in, unsigned char* out,
             std::size_t nBlocks) {
    if (nBlocks == 1) return decryptOne(schedule, rounds, in, out);
    alignas(16) unsigned char keys[kAesMaxSchedule];
    decryptionKeys(schedule, rounds, keys);
    runBlocks<Decryption<NarrowLane>>({keys, rounds}, in, out, nBlocks);
}

// One word from another after it, in all four places: what every step of the expansion
// adds to the words before. AESENCLAST is SubBytes and ShiftRows; with four equal columns
// ShiftRows changes nothing. `shuffle` takes the last word of x, rotated or not.
__m128i subWord(__m128i x, __m128i shuffle, int roundConstant) {
    return _mm_aesenclast_si128(_mm_shuffle_epi8(x, shuffle), _mm_set1_epi32(roundConstant));
}

// Word i becomes the sum of words 0 to i.
__m128i runningSum(__m128i x) {
    x = _mm_xor_si128(x, _mm_slli_si128(x, 4));
    return _mm_xor_si128(x, _mm_slli_si128(x, 8));
}

int nextConstant(int c) {
    return (c << 1) ^ (c >> 7) * 0x11B;
}

__m128i rotatedLast() {
    return _mm_set1_epi32(0x0C0F0E0D);
}
__m128i plainLast() {
    return _mm_set1_epi32(0x0F0E0D0C);
}
__m128i rotatedSecond() {
    return _mm_set1_epi32(0x04070605);
}

void expand128(const unsigned char* key, unsigned char* schedule) {
    __m128i x = NarrowLane::load(key);
    NarrowLane::store(schedule, x);
    int c = 1;
    for (int r = 1; r <= 10; ++r, c = nextConstant(c)) {
        x = _mm_xor_si128(runningSum(x), subWord(x, rotatedLast(), c));
        NarrowLane::store(schedule + 16 * r, x);
    }
}

// Six words at a time: four in `low`, two in the lower half of `high`.
void expand192(const unsigned char* key, unsigned char* schedule) {
    __m128i low = NarrowLane::load(key);
    __m128i high = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(key + 16));
    int c = 1;
    for (int i = 0; i < 8; ++i, c = nextConstant(c)) {
        NarrowLane::store(schedule + 24 * i, low);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(schedule + 24 * i + 16), high);
        low = _mm_xor_si128(runningSum(low), subWord(high, rotatedSecond(), c));
        high = _mm_xor_si128(_mm_xor_si128(high, _mm_slli_si128(high, 4)), _mm_shuffle_epi32(low, 0xFF));
    }
    NarrowLane::store(schedule + 192, low);
}

void expand256(const unsigned char* key, unsigned char* schedule) {
    __m128i even = NarrowLane::load(key);
    __m128i odd = NarrowLane::load(key + 16);
    NarrowLane::store(schedule, even);
    NarrowLane::store(schedule + 16, odd);
    int c = 1;
    for (int r = 2; r <= 14; r += 2, c = nextConstant(c)) {
        even = _mm_xor_si128(runningSum(even), subWord(odd, rotatedLast(), c));
        NarrowLane::store(schedule + 16 * r, even);
        if (r == 14) break;
        odd = _mm_xor_si128(runningSum(odd), subWord(even, plainLast(), 0));
        NarrowLane::store(schedule + 16 * r + 16, odd);
    }
}

bool isSupported() {
    unsigned a = 0, b = 0, c = 0, d = 0;
    return __get_cpuid(1, &a, &b, &c, &d) != 0 && (c & bit_AES) != 0 && (c & bit_SSSE3) != 0;
}

}  // namespace

void aesExpandKeyX86(const unsigned char* key, std::size_t nKeySize, unsigned char* schedule) {
    if (nKeySize == 16) return expand128(key, schedule);
    if (nKeySize == 24) return expand192(key, schedule);
    expand256(key, schedule);
}

const aesEngine aesNarrowEngine = {"AES-NI", isSupported, aesExpandKeyX86, encrypt, decrypt};

}  // namespace vdx_crypto
