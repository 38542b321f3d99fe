// The key expansion of FIPS-197 in words, for engines without a faster one.
#pragma once

#include <cstddef>
#include <cstdint>

#include "crypto/aes_engine.h"

namespace vdx_crypto {

// Words hold their first byte lowest. SubWord puts each byte of a word through the S-box.
template <std::uint32_t (*SubWord)(std::uint32_t)>
void aesExpandKey(const unsigned char* key, std::size_t nKeySize, unsigned char* schedule) {
    const std::size_t nKeyWords = nKeySize / 4;
    const std::size_t nWords = 4 * (nKeyWords + 7);
    std::uint32_t words[kAesMaxSchedule / 4];
    std::uint32_t roundConstant = 1;
    for (std::size_t i = 0; i < nWords; ++i) {
        if (i < nKeyWords) {
            const unsigned char* p = key + 4 * i;
            words[i] =
                p[0] | std::uint32_t{p[1]} << 8 | std::uint32_t{p[2]} << 16 | std::uint32_t{p[3]} << 24;
        } else {
            // NOLINTNEXTLINE(clang-analyzer-core.*): i is at least nKeyWords, so it is set.
            std::uint32_t word = words[i - 1];
            if (i % nKeyWords == 0) {
                word = SubWord(word >> 8 | word << 24) ^ roundConstant;
                roundConstant = (roundConstant << 1) ^ (roundConstant >> 7) * 0x11B;
            } else if (nKeyWords > 6 && i % nKeyWords == 4) {
                word = SubWord(word);
            }
            words[i] = words[i - nKeyWords] ^ word;
        }
        for (std::size_t b = 0; b < 4; ++b) {
            schedule[4 * i + b] = static_cast<unsigned char>(words[i] >> (8 * b));
        }
    }
}

}  // namespace vdx_crypto
