// AES with the instructions of ARMv8. Compiled with their flags.
#include <arm_neon.h>
#include <utility>

#include "crypto/aes_engine_arm.h"
#include "crypto/aes_expand.h"

namespace vdx_crypto {
namespace {

// The intrinsics may be macros that no parameter pack can pass through.
uint8x16_t load(const unsigned char* p) {
    return vld1q_u8(p);
}
void store(unsigned char* p, uint8x16_t x) {
    vst1q_u8(p, x);
}

// AESE adds the key first, then does SubBytes and ShiftRows; MixColumns is AESMC. AESD and
// AESIMC are their inverses. So the last key is added alone.
struct Encryption {
    static uint8x16_t round(uint8x16_t x, uint8x16_t key) { return vaesmcq_u8(vaeseq_u8(x, key)); }
    static uint8x16_t last(uint8x16_t x, uint8x16_t key) { return vaeseq_u8(x, key); }
};

struct Decryption {
    static uint8x16_t round(uint8x16_t x, uint8x16_t key) { return vaesimcq_u8(vaesdq_u8(x, key)); }
    static uint8x16_t last(uint8x16_t x, uint8x16_t key) { return vaesdq_u8(x, key); }
};

// Blocks side by side, since each instruction takes several cycles. The keys are in the
// order of use.
template <class Cipher, std::size_t... I>
void runGroup(const unsigned char* keys, int rounds, const unsigned char* in, unsigned char* out,
              std::index_sequence<I...>) {
    uint8x16_t x[] = {load(in + I * kAesBlock)...};
    uint8x16_t key = load(keys);
    for (int r = 1; r < rounds; ++r) {
        ((x[I] = Cipher::round(x[I], key)), ...);
        key = load(keys + 16 * r);
    }
    const uint8x16_t last = load(keys + 16 * rounds);
    (store(out + I * kAesBlock, veorq_u8(Cipher::last(x[I], key), last)), ...);
}

template <class Cipher>
void runBlocks(const unsigned char* keys, int rounds, const unsigned char* in, unsigned char* out,
               std::size_t nBlocks) {
    constexpr std::size_t nGroup = 8;
    for (; nBlocks >= nGroup; nBlocks -= nGroup, in += nGroup * kAesBlock, out += nGroup * kAesBlock) {
        runGroup<Cipher>(keys, rounds, in, out, std::make_index_sequence<nGroup>{});
    }
    for (; nBlocks > 0; --nBlocks, in += kAesBlock, out += kAesBlock) {
        runGroup<Cipher>(keys, rounds, in, out, std::make_index_sequence<1>{});
    }
}

void encrypt(const unsigned char* schedule, int rounds, const unsigned char* in, unsigned char* out,
             std::size_t nBlocks) {
    runBlocks<Encryption>(schedule, rounds, in, out, nBlocks);
}

// AESIMC comes after the addition of the key, so the middle keys go through it too.
void decrypt(const unsigned char* schedule, int rounds, const unsigned char* in, unsigned char* out,
             std::size_t nBlocks) {
    unsigned char keys[kAesMaxSchedule];
    store(keys, load(schedule + 16 * rounds));
    for (int r = 1; r < rounds; ++r)
        store(keys + 16 * r, vaesimcq_u8(load(schedule + 16 * (rounds - r))));
    store(keys + 16 * rounds, load(schedule));
    runBlocks<Decryption>(keys, rounds, in, out, nBlocks);
}

// With four equal columns ShiftRows changes nothing, and AESE with a zero key is SubBytes.
std::uint32_t subWord(std::uint32_t word) {
    const uint8x16_t x = vreinterpretq_u8_u32(vdupq_n_u32(word));
    return vgetq_lane_u32(vreinterpretq_u32_u8(vaeseq_u8(x, vdupq_n_u8(0))), 0);
}

void expandKey(const unsigned char* key, std::size_t nKeySize, unsigned char* schedule) {
    aesExpandKey<subWord>(key, nKeySize, schedule);
}

}  // namespace

const aesEngine aesArmEngine = {"ARMv8", aesArmIsSupported, expandKey, encrypt, decrypt};

}  // namespace vdx_crypto
