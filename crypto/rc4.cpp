// The RC4 stream cipher.
#include <bit>
#include <cstring>
#include <utility>

#include <vdx/cipher.h>

#include "crypto/default_key.h"

static_assert(sizeof(rc4Transfer) == 258 * sizeof(std::uint32_t));

namespace {

constexpr int kRun = 8;  // Bytes of key stream that are made at a time.

// One byte of key stream from index i on.
std::uint32_t nextByte(std::uint32_t* state, std::uint32_t& i, std::uint32_t& j) {
    i = (i + 1) & 0xFF;
    j = (j + state[i]) & 0xFF;
    std::swap(state[i], state[j]);
    return state[(state[i] + state[j]) & 0xFF];
}

// Eight bytes of key stream, the first in the lowest byte. Entries first to first + 7 are
// used; first is a multiple of 8. Every entry at i is loaded before the exchange that
// precedes it is stored, so that the loads need not wait for the stores; where j has hit
// that entry, once in 256 times, the exchanged value takes its place. By a branch: the
// next byte would wait for a conditional move.
std::uint64_t nextRun(std::uint32_t* state, std::uint32_t first, std::uint64_t& j) {
    std::uint64_t run = 0;
    std::uint32_t x = state[first];
#pragma GCC unroll 8
    for (std::uint32_t k = 0; k < kRun; ++k) {
        j = (j + x) & 0xFF;
        const std::uint32_t y = state[j];
        const std::uint32_t next = k + 1 < kRun ? first + k + 1 : (first + kRun) & 0xFF;
        std::uint32_t nextX = state[next];
        state[j] = x;
        state[first + k] = y;
        if (next == j) [[unlikely]]
            nextX = x;
        run |= std::uint64_t{state[(x + y) & 0xFF]} << (8 * k);
        x = nextX;
    }
    return run;
}

void addRun(unsigned char* data, std::uint64_t run) {
    if constexpr (std::endian::native == std::endian::big) run = __builtin_bswap64(run);
    std::uint64_t word;
    std::memcpy(&word, data, sizeof word);
    word ^= run;
    std::memcpy(data, &word, sizeof word);
}

}  // namespace

rc4Transfer::rc4Transfer(const unsigned char* key, int keySize) : m_nI(0), m_nJ(0) {
    if (key == nullptr || keySize < 1) {
        key = vdx_crypto::defaultKey();
        keySize = vdx_crypto::kDefaultKeySize;
    }
    for (std::uint32_t k = 0; k < 256; ++k)
        m_state[k] = k;
    std::uint32_t j = 0;
    int m = 0;
    for (std::uint32_t& entry : m_state) {
        j = (j + entry + key[m]) & 0xFF;
        std::swap(entry, m_state[j]);
        m = m + 1 < keySize ? m + 1 : 0;
    }
}

void rc4Transfer::Transfer(unsigned char* data, int len) {
    if (data == nullptr || len < 1) return;
    unsigned char* const pEnd = data + len;
    while (data != pEnd && (m_nI + 1) % kRun != 0)
        *data++ ^= static_cast<unsigned char>(nextByte(m_state, m_nI, m_nJ));
    std::uint32_t i = m_nI;
    std::uint64_t j = m_nJ;
    for (; pEnd - data >= kRun; data += kRun) {
        addRun(data, nextRun(m_state, (i + 1) & 0xFF, j));
        i = (i + kRun) & 0xFF;
    }
    m_nI = i;
    m_nJ = static_cast<std::uint32_t>(j);
    while (data != pEnd)
        *data++ ^= static_cast<unsigned char>(nextByte(m_state, m_nI, m_nJ));
}
