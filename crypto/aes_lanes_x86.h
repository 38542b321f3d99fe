// Runs of AES blocks on x86, for any register width; included by one file for each width.
#pragma once

#include <immintrin.h>
#include <cstddef>
#include <utility>

// Everything here has internal linkage: each including file is compiled for another
// processor, and its copies must not be taken for those of another file.
namespace {

// One block in a 128-bit register.
struct NarrowLane {
    using Register = __m128i;
    static constexpr std::size_t kBytes = 16;

    static Register key(const unsigned char* p) { return load(p); }
    static Register load(const unsigned char* p) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    }
    static void store(unsigned char* p, Register x) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), x); }
    static Register add(Register x, Register y) { return _mm_xor_si128(x, y); }
    static Register encrypt(Register x, Register k) { return _mm_aesenc_si128(x, k); }
    static Register encryptLast(Register x, Register k) { return _mm_aesenclast_si128(x, k); }
    static Register decrypt(Register x, Register k) { return _mm_aesdec_si128(x, k); }
    static Register decryptLast(Register x, Register k) { return _mm_aesdeclast_si128(x, k); }
};

template <class Lane>
struct Encryption {
    using L = Lane;
    static typename L::Register round(typename L::Register x, typename L::Register k) {
        return L::encrypt(x, k);
    }
    static typename L::Register last(typename L::Register x, typename L::Register k) {
        return L::encryptLast(x, k);
    }
};

template <class Lane>
struct Decryption {
    using L = Lane;
    static typename L::Register round(typename L::Register x, typename L::Register k) {
        return L::decrypt(x, k);
    }
    static typename L::Register last(typename L::Register x, typename L::Register k) {
        return L::decryptLast(x, k);
    }
};

// Round keys of 16 bytes in the order of use.
struct RoundKeys {
    const unsigned char* keys;
    int rounds;
};

// sizeof...(I) registers go through all rounds side by side: an AES instruction takes
// several cycles, and this many are started meanwhile.
template <class Cipher, std::size_t... I>
inline void runGroup(const RoundKeys& k, const unsigned char* in, unsigned char* out,
                     std::index_sequence<I...>) {
    using L = typename Cipher::L;
    const unsigned char* pKey = k.keys;
    const unsigned char* pLast = k.keys + 16 * k.rounds;
    auto key = L::key(pKey);
    typename L::Register x[] = {L::add(L::load(in + I * L::kBytes), key)...};
    for (pKey += 16; pKey != pLast; pKey += 16) {
        key = L::key(pKey);
        ((x[I] = Cipher::round(x[I], key)), ...);
    }
    key = L::key(pLast);
    ((x[I] = Cipher::last(x[I], key)), ...);
    (L::store(out + I * L::kBytes, x[I]), ...);
}

using OneLane = std::make_index_sequence<1>;

// Where a run stands.
struct Run {
    const unsigned char* in;
    unsigned char* out;
    std::size_t nBytes;
};

// Takes groups of N registers while there are that many.
template <class Cipher, std::size_t N>
inline void runGroups(const RoundKeys& k, Run& run) {
    constexpr std::size_t nGroup = N * Cipher::L::kBytes;
    while (run.nBytes >= nGroup) {
        runGroup<Cipher>(k, run.in, run.out, std::make_index_sequence<N>{});
        run.in += nGroup;
        run.out += nGroup;
        run.nBytes -= nGroup;
    }
}

// The decrypting instructions want the middle keys after InvMixColumns, last key first.
inline void decryptionKeys(const unsigned char* schedule, int rounds, unsigned char* keys) {
    NarrowLane::store(keys, NarrowLane::load(schedule + 16 * rounds));
    for (int r = 1; r < rounds; ++r) {
        NarrowLane::store(keys + 16 * r, _mm_aesimc_si128(NarrowLane::load(schedule + 16 * (rounds - r))));
    }
    NarrowLane::store(keys + 16 * rounds, NarrowLane::load(schedule));
}

// One block, with each middle key made when its turn comes instead of all before.
inline void decryptOne(const unsigned char* schedule, int rounds, const unsigned char* in,
                       unsigned char* out) {
    const unsigned char* pKey = schedule + 16 * rounds;
    __m128i x = _mm_xor_si128(NarrowLane::load(in), NarrowLane::load(pKey));
    for (pKey -= 16; pKey != schedule; pKey -= 16) {
        x = _mm_aesdec_si128(x, _mm_aesimc_si128(NarrowLane::load(pKey)));
    }
    NarrowLane::store(out, _mm_aesdeclast_si128(x, NarrowLane::load(schedule)));
}

}  // namespace
