// AES on any processor: bit-sliced, four blocks at once, without look-ups that depend on data.
#include <array>
#include <cstdint>
#include <cstring>

#include "crypto/aes_engine.h"
#include "crypto/aes_expand.h"
#include "crypto/aes_sbox.h"

// The state of four blocks is eight words, one for each bit of a byte: word j holds bit j
// of all 64 bytes. Byte i of block k (row i & 3, column i >> 2) stands at position
//   32 * (column & 1) + 8 * row + 2 * k + (column >> 1)
// which is what exchanging word and bit numbers of eight 64-bit loads gives. ShiftRows
// then costs two exchanges of bits, and going to the next row is a rotation by 8 within
// each half of the word.
namespace vdx_crypto {
namespace {

using Planes = std::array<std::uint64_t, 8>;

constexpr std::size_t kSliceBlocks = 4;
constexpr std::size_t kSliceBytes = kSliceBlocks * kAesBlock;

std::uint64_t loadLittle(const unsigned char* p) {
    std::uint64_t value = 0;
    for (int i = 7; i >= 0; --i)
        value = value << 8 | p[i];
    return value;
}

void storeLittle(unsigned char* p, std::uint64_t value) {
    for (int i = 0; i < 8; ++i)
        p[i] = static_cast<unsigned char>(value >> (8 * i));
}

// Exchanges the bits of `mask` in a with those `shift` places higher in b.
void exchange(std::uint64_t& a, std::uint64_t& b, std::uint64_t mask, int shift) {
    const std::uint64_t t = (a ^ b >> shift) & mask;
    a ^= t;
    b ^= t << shift;
}

void exchange(std::uint64_t& a, std::uint64_t mask, int shift) {
    const std::uint64_t t = (a ^ a >> shift) & mask;
    a ^= t ^ t << shift;
}

// Bit j of every byte of word g goes to bit g of the same byte of word j, and back.
void transpose(Planes& q) {
    for (std::size_t i = 0; i < 8; i += 2)
        exchange(q[i + 1], q[i], 0x5555555555555555, 1);
    for (std::size_t i : {0U, 1U, 4U, 5U})
        exchange(q[i + 2], q[i], 0x3333333333333333, 2);
    for (std::size_t i = 0; i < 4; ++i)
        exchange(q[i + 4], q[i], 0x0F0F0F0F0F0F0F0F, 4);
}

Planes load(const unsigned char* p) {
    Planes q;
    for (std::size_t i = 0; i < 8; ++i)
        q[i] = loadLittle(p + 8 * i);
    transpose(q);
    return q;
}

void store(unsigned char* p, Planes q) {
    transpose(q);
    for (std::size_t i = 0; i < 8; ++i)
        storeLittle(p + 8 * i, q[i]);
}

// The planes of one round key, the same for all four blocks.
Planes loadKey(const unsigned char* key) {
    std::array<unsigned char, kSliceBytes> copies;
    for (std::size_t k = 0; k < kSliceBlocks; ++k)
        std::memcpy(copies.data() + 16 * k, key, 16);
    return load(copies.data());
}

void addKey(Planes& q, const Planes& key) {
    for (std::size_t i = 0; i < 8; ++i)
        q[i] ^= key[i];
}

constexpr std::uint64_t kOddRows = 0x00000000FF00FF00;   // Rows 1 and 3 of the even columns.
constexpr std::uint64_t kTurnRows = 0x0055550055550000;  // Where columns 0, 1 change places with 2, 3.

void shiftRows(Planes& q) {
    for (std::uint64_t& plane : q) {
        exchange(plane, kOddRows, 32);
        exchange(plane, kTurnRows, 1);
    }
}

void inverseShiftRows(Planes& q) {
    for (std::uint64_t& plane : q) {
        exchange(plane, kTurnRows, 1);
        exchange(plane, kOddRows, 32);
    }
}

// Each byte takes the value of the next row, or of the row after that.
std::uint64_t nextRow(std::uint64_t x) {
    return (x >> 8 & 0x00FFFFFF00FFFFFF) | (x << 24 & 0xFF000000FF000000);
}
std::uint64_t rowAfterNext(std::uint64_t x) {
    return (x >> 16 & 0x0000FFFF0000FFFF) | (x << 16 & 0xFFFF0000FFFF0000);
}

// Multiplies every byte by x in GF(2^8) modulo x^8 + x^4 + x^3 + x + 1.
Planes timesX(const Planes& q) {
    return {q[7], q[0] ^ q[7], q[1], q[2] ^ q[7], q[3] ^ q[7], q[4], q[5], q[6]};
}

// Row r becomes 2 (a[r] + a[r+1]) + a[r+1] + (a[r+2] + a[r+3]).
void mixColumns(Planes& q) {
    Planes sum, next;
    for (std::size_t i = 0; i < 8; ++i) {
        next[i] = nextRow(q[i]);
        sum[i] = q[i] ^ next[i];
    }
    const Planes twice = timesX(sum);
    for (std::size_t i = 0; i < 8; ++i)
        q[i] = twice[i] ^ next[i] ^ rowAfterNext(sum[i]);
}

// The inverse matrix is the forward one times the rows (5 0 4 0).
void inverseMixColumns(Planes& q) {
    Planes sum;
    for (std::size_t i = 0; i < 8; ++i)
        sum[i] = q[i] ^ rowAfterNext(q[i]);
    const Planes fourTimes = timesX(timesX(sum));
    for (std::size_t i = 0; i < 8; ++i)
        q[i] ^= fourTimes[i];
    mixColumns(q);
}

void encryptSlice(Planes& q, const Planes* keys, int rounds) {
    addKey(q, keys[0]);
    for (int r = 1; r < rounds; ++r) {
        aesSubBytes(q);
        shiftRows(q);
        mixColumns(q);
        addKey(q, keys[r]);
    }
    aesSubBytes(q);
    shiftRows(q);
    addKey(q, keys[rounds]);
}

void decryptSlice(Planes& q, const Planes* keys, int rounds) {
    addKey(q, keys[rounds]);
    for (int r = rounds - 1; r > 0; --r) {
        inverseShiftRows(q);
        aesInverseSubBytes(q);
        addKey(q, keys[r]);
        inverseMixColumns(q);
    }
    inverseShiftRows(q);
    aesInverseSubBytes(q);
    addKey(q, keys[0]);
}

using SliceFunction = void (*)(Planes&, const Planes*, int);

template <SliceFunction cipher>
void runBlocks(const unsigned char* schedule, int rounds, const unsigned char* in, unsigned char* out,
               std::size_t nBlocks) {
    Planes keys[kAesMaxRounds + 1];
    for (int r = 0; r <= rounds; ++r)
        keys[r] = loadKey(schedule + kAesBlock * static_cast<std::size_t>(r));
    while (nBlocks >= kSliceBlocks) {
        Planes q = load(in);
        cipher(q, keys, rounds);
        store(out, q);
        in += kSliceBytes;
        out += kSliceBytes;
        nBlocks -= kSliceBlocks;
    }
    if (nBlocks == 0) return;
    std::array<unsigned char, kSliceBytes> rest{};
    std::memcpy(rest.data(), in, nBlocks * kAesBlock);
    Planes q = load(rest.data());
    cipher(q, keys, rounds);
    store(rest.data(), q);
    std::memcpy(out, rest.data(), nBlocks * kAesBlock);
}

// SubWord of FIPS-197: the four bytes of a word through the S-box.
std::uint32_t subWord(std::uint32_t word) {
    Planes q{word};
    transpose(q);
    aesSubBytes(q);
    transpose(q);
    return static_cast<std::uint32_t>(q[0]);
}

void expandKey(const unsigned char* key, std::size_t nKeySize, unsigned char* schedule) {
    aesExpandKey<subWord>(key, nKeySize, schedule);
}

bool isSupported() {
    return true;
}

}  // namespace

const aesEngine aesPortableEngine = {"portable", isSupported, expandKey, runBlocks<encryptSlice>,
                                     runBlocks<decryptSlice>};

}  // namespace vdx_crypto
